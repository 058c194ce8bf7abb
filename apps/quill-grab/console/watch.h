// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>

#include "quill-grab/console/summary.h"

namespace quill_grab {

// The status line of --watch.
class Watch {
 public:
  // seconds: since the first poll. size and ratio: of the last new frame. The two rates are those
  // of the last two seconds.
  std::string Line(double seconds, const std::optional<FrameSize>& size, float ratio,
                   const Summary& summary);

 private:
  struct Sample {
    double seconds;
    uint64_t polls;
    uint64_t new_frames;
  };
  std::deque<Sample> samples_{{0.0, 0, 0}};
};

}  // namespace quill_grab
