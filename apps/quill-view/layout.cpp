// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-view/layout.h"

#include "common/fit.h"

namespace quill_apps {

Area AreaAt(uint32_t left, uint32_t top, const FrameSize& size) {
  return {static_cast<float>(left), static_cast<float>(top), static_cast<float>(left + size.width),
          static_cast<float>(top + size.height)};
}

Layout LayOut(const FrameSize& client, const FrameSize& picture, bool has_chart) {
  const uint32_t chart_height = has_chart && client.height >= 2 * kChartHeight ? kChartHeight : 0;
  const FrameSize room{client.width, client.height - chart_height};
  Layout layout{};
  layout.picture_size = ScaledToFit(picture, room);
  layout.picture = AreaAt((room.width - layout.picture_size.width) / 2,
                          (room.height - layout.picture_size.height) / 2, layout.picture_size);
  if (chart_height != 0) layout.chart_size = {client.width, chart_height};
  layout.chart = AreaAt(0, room.height, layout.chart_size);
  return layout;
}

FrameSize ClientFor(const FrameSize& picture, bool has_chart) {
  return {picture.width, picture.height + (has_chart ? kChartHeight : 0)};
}

}  // namespace quill_apps
