// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

namespace quill_grab {

// When polls are due: at start, start + 1 / fps, start + 2 / fps and so on. Each due time is
// computed from the start, so that no rounding adds up. Times are in seconds.
class Beats {
 public:
  Beats(double start, double fps) : start_(start), fps_(fps) {}

  // When the next poll is due.
  double next() const { return start_ + static_cast<double>(beat_) / fps_; }

  // The poll is done now, at next() or later, and stands for the last beat that has come. Returns
  // how many beats before it are left out.
  uint64_t Take(double now);

 private:
  double start_;
  double fps_;
  uint64_t beat_ = 0;  // the next one
};

}  // namespace quill_grab
