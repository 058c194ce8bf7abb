// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "common/pixels.h"

namespace quill_apps {

// All that distinguishes one kind of video stream from another. The options, --help and the outputs
// follow from the table of these records, so a new format is a new record.
struct StreamFormat {
  const char* option;  // "--raw"
  const char* help;    // its line in --help

  // The size of the stream's frames when its pictures have this size. The colour matrix follows
  // from it, too.
  FrameSize (*canvas_size)(const FrameSize& picture);
  // What the stream begins with. fps has at most three decimals.
  std::string (*header)(const FrameSize& canvas, double fps);
  // Replaces bytes by one frame. The picture has the canvas size.
  void (*fill_frame)(const PixelView& picture, std::vector<uint8_t>& bytes);
};

// In the order of --help.
std::span<const StreamFormat> StreamFormats();

}  // namespace quill_apps
