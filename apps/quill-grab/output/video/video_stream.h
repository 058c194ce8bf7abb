// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "quill-grab/output/video/byte_sink.h"
#include "quill-grab/output/video/fitting.h"
#include "quill-grab/console/options.h"
#include "quill-grab/output/output.h"

namespace quill_grab {

enum class StreamFormat { kRaw, kY4m };

// A stream of frames of one size at a steady rate: the frame of every poll, and for polls that were
// left out the frame before once more, so that the stream's time stays that of the run.
class VideoStream : public Output {
 public:
  VideoStream(StreamFormat format, const Options& options, std::unique_ptr<ByteSink> sink,
              Console& console);

  bool NeedsPixels(const FrameRecord&) const override { return true; }
  void Take(FrameRecord& record, const PixelView* pixels) override;
  double Share() const override;
  void Finish(const RunResult& result) override;

 private:
  void Begin(const FrameSize& first);
  void FillIn(uint64_t missed);
  void Lay(const PixelView& pixels);
  void WriteFrame();
  bool IsFull() const { return limit_ != 0 && frames_ >= limit_; }

  const StreamFormat format_;
  const double fps_;
  const uint64_t limit_;  // 0: none
  const OnResize rule_;
  std::unique_ptr<ByteSink> sink_;
  Console& console_;

  std::optional<FrameSize> size_;  // as asked for, or the first frame's
  FrameSize canvas_{};             // the stream's: even in y4m
  std::optional<Fitter> fitter_;
  std::vector<uint8_t> frame_;  // the last one, as it was written
  uint64_t frames_ = 0;
  uint64_t filled_in_ = 0;
  uint64_t dropped_ = 0;
};

}  // namespace quill_grab
