// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/session/run_end.h"

#include <algorithm>
#include <cmath>

#include "common/text.h"

namespace quill_apps {

namespace {

Outcome TargetClosed(const Options& options, const RunState& state) {
  const bool had_another_end = options.frames != 0 || std::isfinite(options.seconds);
  if (had_another_end) {
    return {ExitCode::kTargetClosed,
            "the target was closed before the end; the frames so far are kept", true};
  }
  if (state.frames == 0) {
    return {ExitCode::kNoFrame, "the target was closed before any frame arrived", true};
  }
  return {ExitCode::kOk, "the target was closed", false};
}

Outcome TimeOver(const Options& options, const RunState& state) {
  if (state.frames == 0) {
    return {ExitCode::kNoFrame,
            Format("no frame arrived in %.1f s: a minimised window delivers none; restore it",
                   options.seconds),
            true};
  }
  if (options.frames == 0) return {ExitCode::kOk, "the time is over", false};
  if (options.HasStream()) {
    return {ExitCode::kOk,
            Format("the time was over before %llu frames. Use --seconds for more time",
                   Number(options.frames)),
            false};
  }
  // --all is for these outputs only.
  const bool can_repeat = (options.out || options.json) && !options.all;
  return {ExitCode::kOk,
          Format("the time is over with %llu of %llu frames: the picture did not change more "
                 "often. Use --seconds for more time%s",
                 Number(state.counted), Number(options.frames),
                 can_repeat ? " or --all to write repeated frames" : ""),
          false};
}

}  // namespace

double Completion(const Options& options, const RunState& state) {
  // A stream counts its own frames.
  if (options.frames == 0 || options.HasStream()) return state.outputs;
  return std::max(state.outputs,
                  static_cast<double>(state.counted) / static_cast<double>(options.frames));
}

std::optional<Outcome> RunEnd(const Options& options, const RunState& state) {
  if (Completion(options, state) >= 1.0) {
    return Outcome{ExitCode::kOk, "all frames are written", false};
  }
  if (!state.is_running) return TargetClosed(options, state);
  if (state.interrupted && state.frames > 0) return Outcome{ExitCode::kOk, "interrupted", false};
  if (state.interrupted) {
    return Outcome{ExitCode::kNoFrame, "interrupted before any frame arrived", true};
  }
  // When polls before the end were missed, one more poll stands for them.
  const bool is_time_over = state.seconds >= options.seconds && state.next_poll >= options.seconds;
  if (is_time_over) return TimeOver(options, state);
  return std::nullopt;
}

}  // namespace quill_apps
