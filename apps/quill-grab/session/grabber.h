// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "quill-grab/session/beats.h"
#include "quill-grab/console/console.h"
#include "quill-grab/console/error.h"
#include "quill-grab/session/library.h"
#include "quill-grab/console/options.h"
#include "quill-grab/output/output.h"
#include "quill-grab/console/summary.h"
#include "quill-grab/target/targets.h"
#include "quill-grab/session/texture_reader.h"
#include "quill-grab/console/watch.h"

namespace quill_grab {

// How a run ended. is_error: the text goes to standard error.
struct Outcome {
  ExitCode code;
  std::string text;
  bool is_error;
};

// Whether a reported frame differs from the one of the previous poll, as far as a host can know.
//
// wgc_get_recent_frame reports the latest frame again and again. The update ratio tells a newcomer:
// it is reset when read, so it is above 0 only when a frame has arrived since, and with change
// detection only when that frame changed something. The exceptions are frames that make the library
// set up its detection: in texture output their ratio is 0. They are the first one and those with a
// new size, and are new by that alone.
bool IsNewFrame(float ratio, const FrameSize& size, const std::optional<FrameSize>& previous);

// One capture session and the loop that polls it and gives the frames to the outputs. All of it
// runs on one thread, which has initialised COM for the multithreaded apartment.
class Grabber {
 public:
  using Outputs = std::vector<std::unique_ptr<Output>>;

  // The arguments must outlive the grabber.
  Grabber(const Library& library, const Options& options, const Outputs& outputs, Console& console);
  Grabber(const Grabber&) = delete;
  Grabber& operator=(const Grabber&) = delete;

  // Throws GrabError.
  void Start(const Target& target);

  // Polls until there are enough frames, the time is over, the target closes, an output fails or
  // interrupted becomes true.
  Outcome Run(const std::atomic<bool>& interrupted);

  const Summary& summary() const { return summary_; }
  double seconds() const { return last_poll_seconds_; }  // from the first poll to the last

 private:
  using Clock = std::chrono::steady_clock;

  void ApplySwitches();
  Outcome PollUntilEnd(const std::atomic<bool>& interrupted);
  std::optional<Outcome> End(bool interrupted) const;
  Outcome TargetClosed() const;
  Outcome TimeOver() const;
  double Share() const;
  void Poll();
  void TakeFrame(void* frame, FrameSize size);
  void GiveFrame(FrameRecord& record, void* frame, ID3D11Texture2D* texture);
  void GiveToOutputs(FrameRecord& record, const PixelView* pixels);
  void WaitForNextPoll(const std::atomic<bool>& interrupted);
  void LetFramesIn();
  void ReportProgress();
  void NoticeSilence();
  double Elapsed() const;

  const Library& library_;
  const Options& options_;
  const Outputs& outputs_;
  Console& console_;
  Target target_;
  std::unique_ptr<void, decltype(Library::wgc_session_destroy)> session_;
  std::optional<TextureReader> texture_reader_;

  Summary summary_;
  Watch watch_;
  std::optional<FrameSize> last_size_;
  uint64_t taken_ = 0;          // frames that are new, or all of them with --all
  uint64_t missed_ = 0;         // polls since the last frame
  float ratio_between_ = 0.0f;  // the greatest since the last frame, of frames between polls
  Clock::time_point start_;
  Beats beats_;
  double last_poll_seconds_ = 0.0;
  double last_new_seconds_ = 0.0;
  float last_new_ratio_ = 0.0f;
  double last_report_seconds_ = 0.0;
  bool silence_noticed_ = false;
};

}  // namespace quill_grab
