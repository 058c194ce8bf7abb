// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/video/video_stream.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "common/error.h"
#include "common/text.h"

namespace quill_apps {

VideoStream::VideoStream(const StreamFormat& format, const Options& options,
                         std::unique_ptr<ByteSink> sink, Console& console)
    : format_(format),
      fps_(options.fps),
      limit_(options.frames),
      rule_(options.on_resize),
      only_new_frames_differ_(!options.texture || !options.detect),
      sink_(std::move(sink)),
      console_(console),
      size_(options.size) {}

void VideoStream::Take(FrameRecord& record, const PixelView* pixels) {
  const bool is_first = !canvas_;
  if (is_first) Begin(record.size);
  if (rule_ == OnResize::kStop && record.size != *size_) {
    throw ToolError(ExitCode::kSizeChanged,
                    Format("the stream has ended because the size changed from %u x %u to %u x %u: "
                           "with --on-resize letterbox or crop it goes on",
                           size_->width, size_->height, record.size.width, record.size.height));
  }
  if (!is_first) RepeatFrame(record.missed);
  if (IsFull()) return;
  if (NeedsPixels(record)) format_.fill_frame(canvas_->Compose(*pixels), frame_);
  WriteFrame();
}

void VideoStream::Begin(const FrameSize& first) {
  if (!size_) size_ = first;
  canvas_.emplace(format_.canvas_size(*size_), rule_);
}

// Makes up for at most one second, so that a reader that stays slow does not get ever more to read.
void VideoStream::RepeatFrame(uint64_t missed) {
  const auto second = static_cast<uint64_t>(std::ceil(fps_));
  const uint64_t repeats = std::min(missed, second);
  omitted_ += missed - repeats;
  for (uint64_t i = 0; i < repeats && !IsFull(); ++i) {
    WriteFrame();
    ++repeated_;
  }
}

void VideoStream::WriteFrame() {
  if (frames_ == 0) {
    const std::string header = format_.header(canvas_->size(), fps_);
    sink_->Write({reinterpret_cast<const uint8_t*>(header.data()), header.size()});
  }
  sink_->Write(frame_);
  ++frames_;
}

double VideoStream::Completion() const {
  return limit_ == 0 ? 0.0 : static_cast<double>(frames_) / static_cast<double>(limit_);
}

void VideoStream::Finish(const RunResult&) {
  const FrameSize size = canvas_ ? canvas_->size() : FrameSize{};
  console_.PrintLine(
      Format("Stream: %llu frames of %u x %u into %s, of which %llu repeat the frame before for a "
             "missed poll; %llu omitted",
             Number(frames_), size.width, size.height, sink_->name().c_str(), Number(repeated_),
             Number(omitted_)));
}

}  // namespace quill_apps
