// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

#include "quill-grab/session/log_sink.h"
#include "quill-grab/output/pixel_view.h"
#include "quill-grab/console/summary.h"

namespace quill_grab {

// What is known when a run is over. The references last as long as the run's objects.
struct RunResult {
  std::string target;  // "window 0x3004e, class Notepad, ..."
  std::string end;     // "the time is over"
  double seconds;      // from the first poll to the last
  double fps;          // polls a second as asked for
  const Summary& summary;
  std::vector<LogLine> log;  // the first kKeptLogLines
};

// Target, end and figures as lines, with at most max_changes frames.
std::string SummaryText(const RunResult& result, size_t max_changes);

// Where the frames of a run go. All calls come on the thread that polls.
class Output {
 public:
  virtual ~Output() = default;

  // Whether Take wants the pixels of this frame: in texture output they cost a copy to the CPU.
  virtual bool NeedsPixels(const FrameRecord& record) const = 0;

  // A poll that gave a frame. pixels is valid during the call, and null when no output needs it.
  // An output that puts the frame into a file of its own names it in record.file, where the
  // outputs after it find it. Throws GrabError, which ends the run.
  virtual void Take(FrameRecord& record, const PixelView* pixels) = 0;

  // How much of the frames it is to take it has: 1 ends the run.
  virtual double Share() const { return 0.0; }

  // The run is over; also called when a Take has failed. Throws GrabError.
  virtual void Finish(const RunResult& result) = 0;
};

}  // namespace quill_grab
