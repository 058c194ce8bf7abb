// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <string>

#include "common/pixels.h"

namespace quill_apps {

// One poll that reported a frame.
struct FrameRecord {
  double seconds;  // since the start of the run
  FrameSize size;
  float ratio;       // the update ratio; see CapturedFrame
  bool is_new;       // see IsNewFrame
  uint64_t missed;   // polls since the previous frame that were not made, because they came due
                     // while it was handled, or that gave no frame
  std::string file;  // empty when the frame was not written to a file of its own
};

}  // namespace quill_apps
