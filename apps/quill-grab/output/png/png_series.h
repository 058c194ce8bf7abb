// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

#include "common/png_encoder.h"
#include "quill-grab/output/output.h"
#include "quill-grab/output/output_folder.h"

namespace quill_apps {

// frame-0001.png and so on, of the new frames or of the frame of each poll, and summary.txt.
class PngSeries : public Output {
 public:
  // The references must outlive the object.
  PngSeries(bool all, const OutputFolder& folder, const PngEncoder& encoder);

  bool NeedsPixels(const FrameRecord& record) const override { return all_ || record.is_new; }
  void Take(FrameRecord& record, const PixelView* pixels) override;
  void Finish(const RunResult& result) override;

 private:
  const bool all_;
  const OutputFolder& folder_;
  const PngEncoder& encoder_;
  uint64_t written_ = 0;
};

}  // namespace quill_apps
