// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <memory>
#include <string>

#include "quill-grab/output/byte_sink.h"
#include "quill-grab/output/output.h"

namespace quill_apps {

// Writes a JSON object a line for each new frame, or for the frame of each poll.
class JsonLines : public Output {
 public:
  JsonLines(bool all, std::unique_ptr<ByteSink> sink);

  bool NeedsPixels(const FrameRecord&) const override { return false; }
  void Take(FrameRecord& record, const PixelView* pixels) override;
  void Finish(const RunResult&) override {}

 private:
  const bool all_;
  std::unique_ptr<ByteSink> sink_;
  uint64_t missed_ = 0;  // since the last line
};

// The line with its line feed. "missed" is the given number.
std::string JsonLine(const FrameRecord& record, uint64_t missed);

}  // namespace quill_apps
