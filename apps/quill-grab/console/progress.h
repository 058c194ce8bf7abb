// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <cstdint>
#include <deque>
#include <string>

#include "common/console.h"
#include "quill-grab/console/options.h"
#include "quill-grab/session/summary.h"

namespace quill_apps {

// The status line of --watch.
class WatchLine {
 public:
  // seconds: since the first poll. The rates are those of the last two seconds.
  std::string Text(double seconds, const Summary& summary);

 private:
  struct Sample {
    double seconds;
    uint64_t polls;
    uint64_t new_frames;
  };
  std::deque<Sample> samples_{{0.0, 0, 0}};
};

// Reports on a run while it goes on: a line about its progress from time to time, and a notice when
// the target delivers no frames.
class Progress {
 public:
  // window: the target, or null for a monitor. The references must outlive the object.
  Progress(const Options& options, HWND window, Console& console)
      : options_(options), window_(window), console_(console) {}
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // After each poll. completion: progress towards the frame limit, 0 to 1.
  void Update(double seconds, double completion, const Summary& summary);

 private:
  void PrintNotice(double seconds, const Summary& summary);

  const Options& options_;
  const HWND window_;
  Console& console_;
  WatchLine watch_line_;
  double last_line_seconds_ = 0.0;
  bool notice_printed_ = false;
};

}  // namespace quill_apps
