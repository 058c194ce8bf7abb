// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/session/grabber.h"

#include <algorithm>
#include <cmath>
#include <thread>
#include <utility>

#include "quill-grab/session/log_sink.h"
#include "quill-grab/console/text.h"

namespace quill_grab {

namespace {

using Microsoft::WRL::ComPtr;
using std::chrono::duration;

// The longest sleep, so that Ctrl-C and a closing target are answered at once.
constexpr double kSliceSeconds = 0.05;
constexpr double kQuietSeconds = 3.0;
// Between two reports on a terminal and elsewhere.
constexpr double kStatusSeconds = 0.25;
constexpr double kPlainReportSeconds = 2.0;

unsigned long long Number(uint64_t value) {
  return value;
}

}  // namespace

bool IsNewFrame(float ratio, const FrameSize& size, const std::optional<FrameSize>& previous) {
  return ratio > 0.0f || !previous || *previous != size;
}

// Until the first frame is there polls come at least once a slice, so that a slow rate does not
// delay it.
Grabber::Grabber(const Library& library, const Options& options, const Outputs& outputs,
                 Console& console)
    : library_(library),
      options_(options),
      outputs_(outputs),
      console_(console),
      session_(nullptr, library.wgc_session_destroy),
      beats_(0.0, std::max(options.fps, 1.0 / kSliceSeconds)) {}

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
    console_.PrintLine("Notice: this Windows has no switch for the cursor: it may be missing.");
  }
  if (options_.border) library_.wgc_show_border(session, true);
  if (options_.detect) library_.wgc_set_dirty_rect(session, true);
  if (options_.texture) library_.wgc_set_capture_to_texture(session, true);
}

Outcome Grabber::Run(const std::atomic<bool>& interrupted) {
  start_ = Clock::now();
  try {
    Outcome outcome = PollUntilEnd(interrupted);
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
    if (const std::optional<Outcome> outcome = End(interrupted)) return *outcome;
  }
}

std::optional<Outcome> Grabber::End(bool interrupted) const {
  if (Share() >= 1.0) return Outcome{ExitCode::kOk, "all frames are written", false};
  if (!library_.wgc_get_status(session_.get())) return TargetClosed();
  if (interrupted && summary_.frames() > 0) return Outcome{ExitCode::kOk, "interrupted", false};
  if (interrupted) {
    return Outcome{ExitCode::kNoFrame, "interrupted before any frame arrived", true};
  }
  // The polls that came due before the end and were missed are made up for by one more.
  if (Elapsed() >= options_.seconds && beats_.next() >= options_.seconds) return TimeOver();
  return std::nullopt;
}

// How much of the frames that end the run is there.
double Grabber::Share() const {
  double share = 0.0;
  for (const std::unique_ptr<Output>& output : outputs_) share = std::max(share, output->Share());
  if (options_.frames == 0 || options_.HasStream()) return share;
  return std::max(share, static_cast<double>(taken_) / static_cast<double>(options_.frames));
}

Outcome Grabber::TargetClosed() const {
  const bool was_to_end_otherwise = options_.frames != 0 || std::isfinite(options_.seconds);
  if (was_to_end_otherwise) {
    return {ExitCode::kTargetClosed,
            "the target was closed before the end; the frames so far are kept", true};
  }
  if (summary_.frames() == 0) {
    return {ExitCode::kNoFrame, "the target was closed before any frame arrived", true};
  }
  return {ExitCode::kOk, "the target was closed", false};
}

Outcome Grabber::TimeOver() const {
  if (summary_.frames() == 0) {
    return {ExitCode::kNoFrame,
            Format("no frame arrived in %.1f s: a minimised window delivers none; restore it",
                   options_.seconds),
            true};
  }
  if (options_.frames == 0) return {ExitCode::kOk, "the time is over", false};
  if (options_.HasStream()) {
    return {ExitCode::kOk,
            Format("the time is over before %llu frames. Use --seconds for more time",
                   Number(options_.frames)),
            false};
  }
  return {ExitCode::kOk,
          Format("the time is over with %llu of %llu frames: the picture did not change more "
                 "often. Use --seconds for more time or --all to write repeats",
                 Number(taken_), Number(options_.frames)),
          false};
}

void Grabber::Poll() {
  // No poll stands for a beat after the end.
  missed_ += beats_.Take(std::min(Elapsed(), options_.seconds));
  last_poll_seconds_ = Elapsed();
  void* frame = nullptr;
  FrameSize size{};
  bool cursor;
  if (library_.wgc_get_recent_frame(session_.get(), &frame, nullptr, &size.width, &size.height,
                                    &cursor)) {
    TakeFrame(frame, size);
  } else {
    summary_.AddPollWithoutFrame();
    ++missed_;
  }
}

void Grabber::TakeFrame(void* frame, FrameSize size) {
  ComPtr<ID3D11Texture2D> texture;
  // The reference is ours now. Attach would say so, but mingw-w64's adds another one.
  if (options_.texture) *texture.GetAddressOf() = static_cast<ID3D11Texture2D*>(frame);
  FrameRecord record;
  record.seconds = Elapsed();
  record.size = size;
  record.ratio =
      std::max(library_.wgc_get_update_ratio(session_.get()), std::exchange(ratio_between_, 0.0f));
  record.is_new = IsNewFrame(record.ratio, size, last_size_);
  const bool is_first = !last_size_;
  record.missed = is_first ? 0 : missed_;
  missed_ = 0;
  last_size_ = size;
  if (record.is_new) {
    last_new_seconds_ = record.seconds;
    last_new_ratio_ = record.ratio;
  }
  if (record.is_new || options_.all) ++taken_;
  if (is_first) {
    // From here on the polls have the rate that was asked for.
    beats_ = Beats(record.seconds, options_.fps);
    beats_.Take(record.seconds);
  }
  try {
    GiveFrame(record, frame, texture.Get());
  } catch (const GrabError&) {
    summary_.AddFrame(record);  // it did arrive
    throw;
  }
  library_.wgc_free_recent_frame(session_.get(), frame);
  summary_.AddFrame(record);
}

// Pixels are read once for all outputs, and only when one of them wants them.
void Grabber::GiveFrame(FrameRecord& record, void* frame, ID3D11Texture2D* texture) {
  const bool wanted = std::any_of(outputs_.begin(), outputs_.end(),
                                  [&](const auto& output) { return output->NeedsPixels(record); });
  if (!wanted) {
    GiveToOutputs(record, nullptr);
  } else if (texture != nullptr) {
    const MappedPixels mapped = texture_reader_->Read(texture);
    GiveToOutputs(record, &mapped.view());
  } else {
    const FrameSize& size = record.size;
    const PixelView view{static_cast<const uint8_t*>(frame), size.width, size.height,
                         size_t{size.width} * 4};
    GiveToOutputs(record, &view);
  }
}

void Grabber::GiveToOutputs(FrameRecord& record, const PixelView* pixels) {
  for (const std::unique_ptr<Output>& output : outputs_) output->Take(record, pixels);
}

void Grabber::WaitForNextPoll(const std::atomic<bool>& interrupted) {
  const double due = std::min(beats_.next(), options_.seconds);
  for (double now = Elapsed(); now < due; now = Elapsed()) {
    if (interrupted || !library_.wgc_get_status(session_.get())) return;
    const double left = due - now;
    std::this_thread::sleep_for(duration<double>(std::min(left, kSliceSeconds)));
    if (left > kSliceSeconds) LetFramesIn();
  }
}

// Frames wait in the platform until the library is called, and of those that wait the oldest is
// taken. At a slow rate a poll would get what the target showed just after the poll before.
void Grabber::LetFramesIn() {
  void* frame = nullptr;
  FrameSize size{};
  bool cursor;
  if (!library_.wgc_get_recent_frame(session_.get(), &frame, nullptr, &size.width, &size.height,
                                     &cursor)) {
    return;
  }
  ratio_between_ = std::max(ratio_between_, library_.wgc_get_update_ratio(session_.get()));
  if (options_.texture) static_cast<ID3D11Texture2D*>(frame)->Release();
  library_.wgc_free_recent_frame(session_.get(), frame);
}

void Grabber::ReportProgress() {
  const double elapsed = Elapsed();
  const bool is_terminal = console_.is_terminal();
  if (elapsed - last_report_seconds_ < (is_terminal ? kStatusSeconds : kPlainReportSeconds)) return;
  last_report_seconds_ = elapsed;
  std::string text;
  if (options_.watch) {
    text = watch_.Line(elapsed, last_size_, last_new_ratio_, summary_);
  } else {
    text = Format("%.1f s, %llu polls, %llu new", elapsed, Number(summary_.polls()),
                  Number(summary_.new_frames()));
  }
  if (!is_terminal) {
    console_.PrintLine(text);
  } else if (options_.frames != 0 || std::isfinite(options_.seconds)) {
    console_.ShowProgress(std::max(Share(), elapsed / options_.seconds), text);
  } else {
    console_.ShowStatus(text);
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
