// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <filesystem>
#include <string>

#include "quill-grab/output/output.h"
#include "quill-grab/output/report/report_history.h"
#include "quill-grab/output/report/report_thumbnails.h"
#include "quill-grab/output/report/tile_heat.h"

namespace quill_apps {

// A run as one self-contained HTML page: figures, the update ratio and the polls over time,
// pictures of the moments of greatest change, and how often each tile changed. What is kept during
// the run is bounded, however long it lasts. The thread must have initialised COM.
class Report : public Output {
 public:
  // path (UTF-8) gets the page when the run is over. Throws ToolError when it cannot be written, or
  // when this program was built without the page.
  explicit Report(const std::string& path);

  bool NeedsPixels(const FrameRecord& record) const override { return record.is_new; }
  void Take(FrameRecord& record, const PixelView* pixels) override;
  void Finish(const RunResult& result) override;

 private:
  std::string Data(const RunResult& result) const;

  std::filesystem::path path_;
  BinnedSeries ratios_;
  BinnedSeries rates_;
  SizeHistory sizes_;
  GapList gaps_;
  ThumbnailPicker thumbnails_;
  TileHeat heat_;
};

}  // namespace quill_apps
