// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include "common/pixels.h"

namespace quill_apps {

// The largest size within bounds that keeps the picture's aspect ratio. Each side is at least 1.
FrameSize ScaledToFit(const FrameSize& picture, const FrameSize& bounds);

// The picture's own size where it fits into bounds, else ScaledToFit.
FrameSize ShrunkToFit(const FrameSize& picture, const FrameSize& bounds);

}  // namespace quill_apps
