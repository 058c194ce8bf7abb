// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/png/screenshot.h"

#include "common/text.h"
#include "common/whole_file.h"

namespace quill_apps {

namespace {

constexpr char kScreenshotRemedy[] = "choose another file with --screenshot";

}  // namespace

Screenshot::Screenshot(const std::string& path, const PngEncoder& encoder)
    : path_(path), encoder_(encoder) {
  CheckWritable(ToWide(path_), kScreenshotRemedy);
}

void Screenshot::Take(FrameRecord& record, const PixelView* pixels) {
  if (is_written_) return;
  WriteWholeFile(ToWide(path_), encoder_.Encode(*pixels), kScreenshotRemedy);
  record.file = path_;
  is_written_ = true;
}

}  // namespace quill_apps
