// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <deque>
#include <string>

namespace quill_apps {

// The time that one frame took, in milliseconds.
struct FrameTimes {
  double work;     // from the poll that took the frame until it was handed to the display
  double latency;  // until Present returned, which may wait for the display
};

// Rate and times of the frames that were shown.
class Figures {
 public:
  // seconds: any clock, the same in all calls.
  void Add(double seconds, const FrameTimes& times);

  // Lines about the last two seconds and the newest frame.
  std::string Text(double seconds) const;

  // A line about all frames. run_seconds: how long they took.
  std::string Summary(double run_seconds) const;

 private:
  struct Sample {
    double seconds;
    FrameTimes times;
  };
  std::deque<Sample> recent_;
  uint64_t frames_ = 0;
  FrameTimes sum_{};
};

}  // namespace quill_apps
