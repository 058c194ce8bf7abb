// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/grabber.h"

#include <algorithm>
#include <thread>

#include "quill-grab/log_sink.h"
#include "quill-grab/text.h"

namespace quill_grab {

namespace {

using Microsoft::WRL::ComPtr;
using std::chrono::duration;
using std::chrono::duration_cast;

// The longest sleep, so that Ctrl-C and a closing target are answered at once.
constexpr std::chrono::milliseconds kSlice{50};
constexpr double kQuietSeconds = 3.0;
constexpr double kPlainReportSeconds = 2.0;

unsigned long long Number(uint64_t value) {
  return value;
}

}  // namespace

bool IsNewFrame(float ratio, const FrameSize& size, const std::optional<FrameSize>& previous) {
  return ratio > 0.0f || !previous || *previous != size;
}

Grabber::Grabber(const Library& library, const Options& options, const OutputFolder& folder,
                 Console& console)
    : library_(library),
      options_(options),
      folder_(folder),
      console_(console),
      session_(nullptr, library.wgc_session_destroy) {}

void Grabber::Start(const Target& target) {
  target_ = target;
  session_.reset(target.window != nullptr ? library_.wgc_session_create(target.window)
                                          : library_.wgc_session_create2(target.monitor));
  if (!session_) {
    throw GrabError(ExitCode::kCaptureFailed,
                    "no session could be created: memory is short; close other programs");
  }
  ApplySwitches();
  if (!library_.wgc_session_start(session_.get())) {
    const std::string reason = LastLoggedError();
    throw GrabError(ExitCode::kCaptureFailed,
                    "capture could not start: " + (reason.empty() ? "no reason given" : reason) +
                        ": try another target of quill-grab --list, or --verbose for the log");
  }
  if (options_.texture) texture_reader_.emplace(library_.wgc_get_device(session_.get()));
}

void Grabber::ApplySwitches() {
  void* session = session_.get();
  if (options_.cursor && !library_.wgc_enable_cursor(session, true)) {
    console_.PrintLine("Notice: this Windows cannot draw the cursor into the frames.");
  }
  if (options_.border && !library_.wgc_show_border(session, true)) {
    console_.PrintLine("Notice: this Windows cannot show the border.");
  }
  if (options_.detect) library_.wgc_set_dirty_rect(session, true);
  if (options_.texture) library_.wgc_set_capture_to_texture(session, true);
}

Outcome Grabber::Run(const std::atomic<bool>& interrupted) {
  start_ = next_poll_ = Clock::now();
  try {
    const Outcome outcome = PollUntilEnd(interrupted);
    console_.ClearProgress();
    return outcome;
  } catch (const GrabError& error) {
    console_.ClearProgress();
    return {error.code(), error.what(), true};
  }
}

Outcome Grabber::PollUntilEnd(const std::atomic<bool>& interrupted) {
  for (;;) {
    Poll();
    ReportProgress();
    NoticeSilence();
    if (const std::optional<Outcome> outcome = End(interrupted)) return *outcome;
    WaitForNextPoll(interrupted);
  }
}

std::optional<Outcome> Grabber::End(bool interrupted) const {
  if (options_.frames != 0 && summary_.written() >= options_.frames) {
    return Outcome{ExitCode::kOk, "all frames are written", false};
  }
  if (!library_.wgc_get_status(session_.get())) {
    return Outcome{ExitCode::kTargetClosed,
                   "the target was closed before the end; the frames so far are kept", true};
  }
  if (interrupted && summary_.frames() > 0) return Outcome{ExitCode::kOk, "interrupted", false};
  if (interrupted) {
    return Outcome{ExitCode::kNoFrame, "interrupted before any frame arrived", true};
  }
  if (Elapsed() >= options_.seconds) return TimeOver();
  return std::nullopt;
}

Outcome Grabber::TimeOver() const {
  if (summary_.frames() == 0) {
    return {ExitCode::kNoFrame,
            Format("no frame arrived in %.1f s: a minimised window delivers none; restore it",
                   options_.seconds),
            true};
  }
  if (options_.frames != 0) {
    return {ExitCode::kOk,
            Format("the time is over with %llu of %llu frames: the picture did not change more "
                   "often. Use --seconds for more time or --all to write repeats",
                   Number(summary_.written()), Number(options_.frames)),
            false};
  }
  return {ExitCode::kOk, "the time is over", false};
}

void Grabber::Poll() {
  void* frame = nullptr;
  FrameSize size{};
  bool cursor;
  if (library_.wgc_get_recent_frame(session_.get(), &frame, nullptr, &size.width, &size.height,
                                    &cursor)) {
    TakeFrame(frame, size);
  } else {
    summary_.AddPollWithoutFrame();
  }
}

void Grabber::TakeFrame(void* frame, FrameSize size) {
  ComPtr<ID3D11Texture2D> texture;
  // The reference is ours now. Attach would say so, but mingw-w64's adds another one.
  if (options_.texture) *texture.GetAddressOf() = static_cast<ID3D11Texture2D*>(frame);
  FrameRecord record;
  record.seconds = Elapsed();
  record.size = size;
  record.ratio = library_.wgc_get_update_ratio(session_.get());
  record.is_new = IsNewFrame(record.ratio, size, last_size_);
  if (record.is_new) last_new_seconds_ = record.seconds;
  last_size_ = size;
  try {
    if (record.is_new || options_.all) record.file = WriteFrame(frame, texture.Get(), size);
  } catch (const GrabError&) {
    summary_.AddFrame(record);  // it did arrive
    throw;
  }
  library_.wgc_free_recent_frame(session_.get(), frame);
  summary_.AddFrame(record);
}

std::string Grabber::WriteFrame(void* bytes, ID3D11Texture2D* texture, FrameSize size) {
  const std::string name = FrameFileName(summary_.written() + 1);
  if (texture != nullptr) {
    const MappedPixels mapped = texture_reader_->Read(texture);
    folder_.Write(name, encoder_.Encode(mapped.view()));
  } else {
    const PixelView view{static_cast<const uint8_t*>(bytes), size.width, size.height,
                         size_t{size.width} * 4};
    folder_.Write(name, encoder_.Encode(view));
  }
  return name;
}

// Polls keep to a fixed beat; those that encoding has made impossible are left out. Until the first
// frame is there the beat is at least that of kSlice, so that a slow rate does not delay it.
void Grabber::WaitForNextPoll(const std::atomic<bool>& interrupted) {
  auto interval = duration_cast<Clock::duration>(duration<double>(1.0 / options_.fps));
  if (!last_size_) interval = std::min<Clock::duration>(interval, kSlice);
  const Clock::time_point end =
      start_ + duration_cast<Clock::duration>(duration<double>(options_.seconds));
  next_poll_ = std::min(std::max(next_poll_ + interval, Clock::now()), end);
  while (Clock::now() < next_poll_ && !interrupted && library_.wgc_get_status(session_.get())) {
    std::this_thread::sleep_until(std::min(next_poll_, Clock::now() + kSlice));
  }
}

void Grabber::ReportProgress() {
  const double elapsed = Elapsed();
  const std::string text = Format("%.1f s, %llu new, %llu written", elapsed,
                                  Number(summary_.new_frames()), Number(summary_.written()));
  if (console_.is_terminal()) {
    double share = elapsed / options_.seconds;
    if (options_.frames != 0) {
      share = std::max(
          share, static_cast<double>(summary_.written()) / static_cast<double>(options_.frames));
    }
    console_.ShowProgress(share, text);
  } else if (elapsed - last_report_seconds_ >= kPlainReportSeconds) {
    last_report_seconds_ = elapsed;
    console_.PrintLine(text);
  }
}

// A picture that stays the same brings no frames either, so silence after the first frame is
// remarkable only for a minimised window.
void Grabber::NoticeSilence() {
  if (silence_noticed_ || Elapsed() - last_new_seconds_ < kQuietSeconds) return;
  const bool minimised = target_.window != nullptr && IsIconic(target_.window);
  if (minimised) {
    console_.PrintLine("Notice: the window is minimised and delivers no frames: restore it.");
  } else if (!last_size_) {
    console_.PrintLine(Format("Notice: no frame has arrived for %.0f s.", kQuietSeconds));
  }
  silence_noticed_ = minimised || !last_size_;
}

double Grabber::Elapsed() const {
  return duration<double>(Clock::now() - start_).count();
}

}  // namespace quill_grab
