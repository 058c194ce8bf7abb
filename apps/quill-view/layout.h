// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include "common/pixels.h"

namespace quill_apps {

// Where something is drawn in the client area, in pixels.
struct Area {
  float left;
  float top;
  float right;
  float bottom;
  bool operator==(const Area&) const = default;
};

// A rectangle with corners on whole pixels.
Area AreaAt(uint32_t left, uint32_t top, const FrameSize& size);

// The strip chart below the picture.
constexpr uint32_t kChartHeight = 64;

struct Layout {
  Area picture;  // as large as fits, with its aspect ratio kept, in the middle
  FrameSize picture_size;
  Area chart;  // along the lower edge
  FrameSize chart_size;
};

// Without a chart, or where it would leave less than half of the height, chart_size is 0 x 0.
Layout LayOut(const FrameSize& client, const FrameSize& picture, bool has_chart);

// The client area that shows a picture pixel by pixel.
FrameSize ClientFor(const FrameSize& picture, bool has_chart);

}  // namespace quill_apps
