// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/png/png_series.h"

namespace quill_apps {

PngSeries::PngSeries(bool all, const OutputFolder& folder, const PngEncoder& encoder)
    : all_(all), folder_(folder), encoder_(encoder) {}

void PngSeries::Take(FrameRecord& record, const PixelView* pixels) {
  if (!NeedsPixels(record)) return;
  const std::string name = FrameFileName(written_ + 1);
  folder_.Write(name, encoder_.Encode(*pixels));
  record.file = name;
  ++written_;
}

void PngSeries::Finish(const RunResult& result) {
  constexpr size_t kChanges = 1000;
  const std::string text = SummaryText(result, kChanges) + "\n";
  folder_.Write("summary.txt", {reinterpret_cast<const uint8_t*>(text.data()), text.size()});
}

}  // namespace quill_apps
