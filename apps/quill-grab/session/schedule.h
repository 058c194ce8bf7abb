// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

namespace quill_grab {

// When polls are due: at the ticks start, start + 1 / fps, start + 2 / fps and so on. Each tick is
// computed from the start, so that rounding errors do not add up. Times are in seconds.
class Schedule {
 public:
  Schedule(double start, double fps) : start_(start), fps_(fps) {}

  // When the next poll is due.
  double next() const { return start_ + static_cast<double>(tick_) / fps_; }

  // A poll is made now, at next() or later. It stands for the last tick that has passed. Returns
  // the number of ticks before that one that were missed.
  uint64_t Take(double now);

 private:
  double start_;
  double fps_;
  uint64_t tick_ = 0;  // the next one
};

}  // namespace quill_grab
