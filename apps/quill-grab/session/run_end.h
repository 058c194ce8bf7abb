// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "common/error.h"
#include "quill-grab/console/options.h"

namespace quill_apps {

// How a run ended. is_error: the text goes to standard error.
struct Outcome {
  ExitCode code;
  std::string text;
  bool is_error;
};

// What decides whether a run ends.
struct RunState {
  double seconds = 0.0;    // since the start of the run
  double next_poll = 0.0;  // when the next poll is due
  uint64_t frames = 0;     // polls that gave a frame
  uint64_t counted = 0;    // frames that --frames counts: the new ones, or all with --all
  double outputs = 0.0;    // the greatest Completion() of the outputs
  bool is_running = true;  // false when the target has closed
  bool interrupted = false;
};

// Progress towards the frame limit, 0 to 1. The run ends at 1.
double Completion(const Options& options, const RunState& state);

// The end of the run, or nothing while it goes on.
std::optional<Outcome> RunEnd(const Options& options, const RunState& state);

}  // namespace quill_apps
