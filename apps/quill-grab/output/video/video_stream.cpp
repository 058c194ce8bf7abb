// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/video/video_stream.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "quill-grab/console/error.h"
#include "quill-grab/output/video/frame_format.h"
#include "quill-grab/console/text.h"

namespace quill_grab {

namespace {

FrameSize RoundedUpToEven(const FrameSize& size) {
  return {size.width + size.width % 2, size.height + size.height % 2};
}

unsigned long long Number(uint64_t value) {
  return value;
}

}  // namespace

VideoStream::VideoStream(StreamFormat format, const Options& options,
                         std::unique_ptr<ByteSink> sink, Console& console)
    : format_(format),
      fps_(options.fps),
      limit_(options.frames),
      rule_(options.on_resize),
      sink_(std::move(sink)),
      console_(console),
      size_(options.size) {}

void VideoStream::Take(FrameRecord& record, const PixelView* pixels) {
  const bool is_first = !fitter_;
  if (is_first) Begin(record.size);
  if (rule_ == OnResize::kStop && record.size != *size_) {
    throw GrabError(ExitCode::kSizeChanged,
                    Format("the stream has ended, as the size changed from %u x %u to %u x %u: "
                           "--on-resize letterbox or crop goes on",
                           size_->width, size_->height, record.size.width, record.size.height));
  }
  if (!is_first) FillIn(record.missed);
  if (IsFull()) return;
  Lay(*pixels);
  WriteFrame();
}

void VideoStream::Begin(const FrameSize& first) {
  if (!size_) size_ = first;
  canvas_ = format_ == StreamFormat::kY4m ? RoundedUpToEven(*size_) : *size_;
  fitter_.emplace(canvas_, rule_);
}

// At most a second's worth, so that a reader that is slow for long is not offered ever more.
void VideoStream::FillIn(uint64_t missed) {
  const auto second = static_cast<uint64_t>(std::ceil(fps_));
  const uint64_t fill = std::min(missed, second);
  dropped_ += missed - fill;
  for (uint64_t i = 0; i < fill && !IsFull(); ++i) {
    WriteFrame();
    ++filled_in_;
  }
}

void VideoStream::Lay(const PixelView& pixels) {
  const PixelView picture = fitter_->Fit(pixels);
  frame_.clear();
  if (format_ == StreamFormat::kY4m) {
    AddY4mFrame(picture, frame_);
  } else {
    AddRawFrame(picture, frame_);
  }
}

void VideoStream::WriteFrame() {
  if (frames_ == 0 && format_ == StreamFormat::kY4m) {
    const std::string header = Y4mHeader(canvas_, fps_);
    sink_->Write({reinterpret_cast<const uint8_t*>(header.data()), header.size()});
  }
  sink_->Write(frame_);
  ++frames_;
}

double VideoStream::Share() const {
  return limit_ == 0 ? 0.0 : static_cast<double>(frames_) / static_cast<double>(limit_);
}

void VideoStream::Finish(const RunResult&) {
  console_.PrintLine(Format(
      "Stream: %llu frames of %u x %u into %s, of which %llu repeat one for dropped polls; %llu "
      "dropped",
      Number(frames_), canvas_.width, canvas_.height, sink_->name().c_str(), Number(filled_in_),
      Number(dropped_)));
}

}  // namespace quill_grab
