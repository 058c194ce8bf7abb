// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <vector>

#include "common/pixels.h"

namespace quill_apps {

// Fills bgra with the picture at that size, which is nowhere larger than its own; rows without
// gaps. Each pixel is the mean of the area that it covers. So is its alpha.
void Shrink(const PixelView& picture, const FrameSize& size, std::vector<uint8_t>& bgra);

}  // namespace quill_apps
