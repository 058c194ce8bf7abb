// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

namespace quill_apps {

// When polls are due: at the ticks start, start + 1 / fps, start + 2 / fps and so on. Each tick is
// computed from the start, so that rounding errors do not add up. Times are in seconds.
class Schedule {
 public:
  Schedule(double start, double fps) : start_(start), fps_(fps) {}

  // When the next poll is due.
  double next() const { return start_ + static_cast<double>(tick_) / fps_; }

  // Records a poll made now, at next() or later, and assigns it to the latest tick that has passed.
  // Returns the number of ticks missed before that one.
  uint64_t Take(double now);

 private:
  double start_;
  double fps_;
  uint64_t tick_ = 0;  // the next one
};

}  // namespace quill_apps
