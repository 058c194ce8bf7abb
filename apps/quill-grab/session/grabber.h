// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <vector>

#include "common/capture_session.h"
#include "common/clock.h"
#include "quill-grab/console/options.h"
#include "quill-grab/console/progress.h"
#include "quill-grab/output/output.h"
#include "quill-grab/session/run_end.h"
#include "quill-grab/session/schedule.h"
#include "quill-grab/session/summary.h"

namespace quill_apps {

// Whether a reported frame differs from that of the previous poll, as far as a host can know.
//
// The library reports its latest frame again and again. The update ratio tells whether it is
// another one: reading the ratio resets it, so it is above 0 only when a frame has arrived since,
// and with change detection only when that frame changed something. In texture output, the frames
// for which the library sets up its detection have the ratio 0 as well. They are the first one and
// those of another size, so these always count as new.
bool IsNewFrame(float ratio, const FrameSize& size, const std::optional<FrameSize>& previous);

// Polls a session at the rate of --fps and gives the frames to the outputs. All of it runs on one
// thread, the session's.
class Grabber {
 public:
  using Outputs = std::vector<std::unique_ptr<Output>>;

  // The arguments must outlive the object.
  Grabber(CaptureSession& session, const Options& options, const Outputs& outputs,
          Progress& progress, Clock& clock);

  // Polls until RunEnd says so or an output fails.
  Outcome Run(const std::atomic<bool>& interrupted);

  const Summary& summary() const { return summary_; }
  double seconds() const { return last_poll_seconds_; }  // from the first poll to the last

 private:
  Outcome PollUntilEnd(const std::atomic<bool>& interrupted);
  void Poll();
  void TakeFrame(const CapturedFrame& frame);
  void GiveToOutputs(FrameRecord& record, const CapturedFrame& frame);
  void WaitForNextPoll(const std::atomic<bool>& interrupted);
  void PollBetweenTicks();
  RunState State(bool interrupted) const;
  double Elapsed() const { return clock_.Now() - start_; }

  CaptureSession& session_;
  const Options& options_;
  const Outputs& outputs_;
  Progress& progress_;
  Clock& clock_;

  Summary summary_;
  double start_ = 0.0;  // by clock_
  Schedule schedule_;
  uint64_t counted_ = 0;        // see RunState
  uint64_t missed_ = 0;         // polls since the last frame
  float ratio_between_ = 0.0f;  // the greatest since the last frame, of frames between ticks
  double last_poll_seconds_ = 0.0;
};

}  // namespace quill_apps
