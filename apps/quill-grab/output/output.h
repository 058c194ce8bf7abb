// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

#include "common/log_sink.h"
#include "quill-grab/output/frame.h"
#include "quill-grab/session/summary.h"

namespace quill_apps {

// What is known when a run is over.
struct RunResult {
  std::string target;  // "window 0x3004e, class Notepad, ..."
  std::string end;     // "the time is over"
  double seconds;      // from the first poll to the last
  double fps;          // polls a second, as asked for
  const Summary& summary;
  std::vector<LogLine> log;  // the first kKeptLogLines
};

// Target, end and figures as lines, with at most max_changes changed frames.
std::string SummaryText(const RunResult& result, size_t max_changes);

// Where the frames of a run go. All calls come on the thread that polls.
class Output {
 public:
  virtual ~Output() = default;

  // Whether Take uses the pixels of this frame. In texture output they cost a copy to the CPU.
  virtual bool NeedsPixels(const FrameRecord& record) const = 0;

  // Takes the frame of a poll. pixels is valid during the call, and null when no output needs it.
  // An output that writes the frame to a file of its own names that file in record.file for the
  // outputs after it. Throws ToolError, which ends the run.
  virtual void Take(FrameRecord& record, const PixelView* pixels) = 0;

  // Progress towards the output's own frame limit, 0 to 1. The run ends at 1.
  virtual double Completion() const { return 0.0; }

  // Ends the output when the run is over, also after a Take that failed. Throws ToolError.
  virtual void Finish(const RunResult& result) = 0;
};

}  // namespace quill_apps
