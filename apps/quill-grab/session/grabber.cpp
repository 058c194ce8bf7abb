// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/session/grabber.h"

#include <algorithm>
#include <new>
#include <utility>

#include "common/text.h"

namespace quill_apps {

namespace {

// The longest sleep: Ctrl-C and a closed target end the run within it.
constexpr double kSliceSeconds = 0.05;

}  // namespace

bool IsNewFrame(float ratio, const FrameSize& size, const std::optional<FrameSize>& previous) {
  return ratio > 0.0f || !previous || *previous != size;
}

// Until the first frame has arrived, polls are at most a slice apart, so that a low rate does not
// delay it.
Grabber::Grabber(CaptureSession& session, const Options& options, const Outputs& outputs,
                 Progress& progress, Clock& clock)
    : session_(session),
      options_(options),
      outputs_(outputs),
      progress_(progress),
      clock_(clock),
      schedule_(0.0, std::max(options.fps, 1.0 / kSliceSeconds)) {}

Outcome Grabber::Run(const std::atomic<bool>& interrupted) {
  start_ = clock_.Now();
  try {
    return PollUntilEnd(interrupted);
  } catch (const ToolError& error) {
    return {error.code(), error.what(), true};
  }
}

Outcome Grabber::PollUntilEnd(const std::atomic<bool>& interrupted) {
  for (;;) {
    Poll();
    const RunState state = State(interrupted);
    progress_.Update(state.seconds, Completion(options_, state), summary_);
    if (const std::optional<Outcome> end = RunEnd(options_, state)) return *end;
    WaitForNextPoll(interrupted);
    if (const std::optional<Outcome> end = RunEnd(options_, State(interrupted))) return *end;
  }
}

RunState Grabber::State(bool interrupted) const {
  double outputs = 0.0;
  for (const std::unique_ptr<Output>& output : outputs_) {
    outputs = std::max(outputs, output->Completion());
  }
  return {Elapsed(), schedule_.next(),      summary_.frames(), counted_,
          outputs,   session_.is_running(), interrupted};
}

void Grabber::Poll() {
  // Ticks after the end of the run are not missed.
  missed_ += schedule_.Take(std::min(Elapsed(), options_.seconds));
  last_poll_seconds_ = Elapsed();
  if (const std::optional<CapturedFrame> frame = session_.Poll()) {
    TakeFrame(*frame);
  } else {
    summary_.AddPollWithoutFrame();
    ++missed_;
  }
}

void Grabber::TakeFrame(const CapturedFrame& frame) {
  const bool is_first = summary_.frames() == 0;
  FrameRecord record;
  record.seconds = Elapsed();
  record.size = frame.size;
  record.ratio = std::max(frame.ratio, std::exchange(ratio_between_, 0.0f));
  record.is_new = IsNewFrame(record.ratio, record.size, summary_.last_size());
  record.missed = is_first ? 0 : missed_;
  missed_ = 0;
  if (record.is_new || options_.all) ++counted_;
  if (is_first) {
    // From here on, polls follow the rate that was asked for.
    schedule_ = Schedule(record.seconds, options_.fps);
    schedule_.Take(record.seconds);
  }
  try {
    GiveToOutputs(record, frame);
  } catch (const ToolError&) {
    summary_.AddFrame(record);  // although an output could not take it
    throw;
  }
  summary_.AddFrame(record);
}

void Grabber::GiveToOutputs(FrameRecord& record, const CapturedFrame& frame) {
  const auto give = [&](const PixelView* pixels) {
    for (const std::unique_ptr<Output>& output : outputs_) output->Take(record, pixels);
  };
  const bool needs_pixels = std::any_of(outputs_.begin(), outputs_.end(), [&](const auto& output) {
    return output->NeedsPixels(record);
  });
  try {
    if (needs_pixels) {
      give(&session_.Read(frame).view());
    } else {
      give(nullptr);
    }
  } catch (const std::bad_alloc&) {
    throw ToolError(ExitCode::kCaptureFailed,
                    Format("out of memory: the frame of %u x %u could not be written: capture a "
                           "smaller window, use fewer outputs or close other programs",
                           record.size.width, record.size.height));
  }
}

void Grabber::WaitForNextPoll(const std::atomic<bool>& interrupted) {
  const double due = std::min(schedule_.next(), options_.seconds);
  for (double now = Elapsed(); now < due; now = Elapsed()) {
    if (interrupted || !session_.is_running()) return;
    const double left = due - now;
    clock_.Sleep(std::min(left, kSliceSeconds));
    if (left > kSliceSeconds) PollBetweenTicks();
  }
}

// Frames wait in the platform until the library is called, and of those that wait it takes the
// oldest. Without this, a poll at a low rate would get what the target showed just after the poll
// before.
void Grabber::PollBetweenTicks() {
  const std::optional<CapturedFrame> frame = session_.Poll();
  if (frame) ratio_between_ = std::max(ratio_between_, frame->ratio);
}

}  // namespace quill_apps
