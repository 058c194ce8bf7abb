// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "quill-grab/console/options.h"
#include "quill-grab/output/byte_sink.h"
#include "quill-grab/output/output.h"
#include "quill-grab/output/video/canvas.h"
#include "quill-grab/output/video/stream_format.h"

namespace quill_apps {

// A stream of frames of one size at a constant rate: the frame of each poll and, for each missed
// poll, the frame before it once more, so that the stream's time stays that of the run.
class VideoStream : public Output {
 public:
  // format and console must outlive the object.
  VideoStream(const StreamFormat& format, const Options& options, std::unique_ptr<ByteSink> sink,
              Console& console);

  // A frame that is not new has the pixels of the one before, except in texture output with change
  // detection, which compares with something else.
  bool NeedsPixels(const FrameRecord& record) const override {
    return record.is_new || !only_new_frames_differ_;
  }
  void Take(FrameRecord& record, const PixelView* pixels) override;
  double Completion() const override;
  void Finish(const RunResult& result) override;

 private:
  void Begin(const FrameSize& first);
  void RepeatFrame(uint64_t missed);
  void WriteFrame();
  bool IsFull() const { return limit_ != 0 && frames_ >= limit_; }

  const StreamFormat& format_;
  const double fps_;
  const uint64_t limit_;  // 0: none
  const OnResize rule_;
  const bool only_new_frames_differ_;
  std::unique_ptr<ByteSink> sink_;
  Console& console_;

  std::optional<FrameSize> size_;  // as asked for, or that of the first frame
  std::optional<Canvas> canvas_;   // from the first frame on
  std::vector<uint8_t> frame_;     // the last one, as it was written
  uint64_t frames_ = 0;
  uint64_t repeated_ = 0;  // frames written once more for missed polls
  uint64_t omitted_ = 0;   // frames that missed polls leave out of the stream
};

}  // namespace quill_apps
