// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <string>

#include "common/png_encoder.h"
#include "quill-grab/output/output.h"

namespace quill_apps {

// The first frame as a PNG file.
class Screenshot : public Output {
 public:
  // path is UTF-8; encoder must outlive the object. Throws ToolError when no such file can be
  // written.
  Screenshot(const std::string& path, const PngEncoder& encoder);

  bool NeedsPixels(const FrameRecord&) const override { return !is_written_; }
  void Take(FrameRecord& record, const PixelView* pixels) override;
  double Completion() const override { return is_written_ ? 1.0 : 0.0; }
  void Finish(const RunResult&) override {}

 private:
  const std::string path_;
  const PngEncoder& encoder_;
  bool is_written_ = false;
};

}  // namespace quill_apps
