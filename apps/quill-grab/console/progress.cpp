// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/console/progress.h"

#include <algorithm>
#include <cmath>

#include "common/text.h"

namespace quill_apps {

namespace {

constexpr double kRateSeconds = 2.0;
// Seconds between two lines, on a terminal and elsewhere.
constexpr double kTerminalSeconds = 0.25;
constexpr double kPlainSeconds = 2.0;
// Seconds without a frame before the notice.
constexpr double kQuietSeconds = 3.0;

}  // namespace

std::string WatchLine::Text(double seconds, const Summary& summary) {
  while (samples_.size() > 1 && samples_[1].seconds <= seconds - kRateSeconds) samples_.pop_front();
  const Sample& from = samples_.front();
  const double span = seconds - from.seconds;
  const auto rate = [&](uint64_t now, uint64_t then) {
    return span > 0.0 ? static_cast<double>(now - then) / span : 0.0;
  };
  const auto size = summary.last_size();
  std::string line = Format("%.1f s", seconds);
  line += size ? Format("  %u x %u", size->width, size->height) : "  no frame";
  line += Format("  %.1f polls/s  %.1f new/s  ratio %.4f  %llu missed",
                 rate(summary.polls(), from.polls), rate(summary.new_frames(), from.new_frames),
                 static_cast<double>(summary.last_new_ratio()), Number(summary.missed()));
  samples_.push_back({seconds, summary.polls(), summary.new_frames()});
  return line;
}

void Progress::Update(double seconds, double completion, const Summary& summary) {
  PrintNotice(seconds, summary);
  const bool is_terminal = console_.is_terminal();
  if (seconds - last_line_seconds_ < (is_terminal ? kTerminalSeconds : kPlainSeconds)) return;
  last_line_seconds_ = seconds;
  const std::string text = options_.watch
                               ? watch_line_.Text(seconds, summary)
                               : Format("%.1f s, %llu polls, %llu new", seconds,
                                        Number(summary.polls()), Number(summary.new_frames()));
  if (!is_terminal) {
    console_.PrintLine(text);
  } else if (options_.frames != 0 || std::isfinite(options_.seconds)) {
    console_.ShowProgress(std::max(completion, seconds / options_.seconds), text);
  } else {
    console_.ShowStatus(text);
  }
}

// A picture that stays the same brings no new frames either, so after the first frame only a
// minimised window is worth a notice.
void Progress::PrintNotice(double seconds, const Summary& summary) {
  if (notice_printed_ || seconds - summary.last_new_seconds() < kQuietSeconds) return;
  const bool is_minimised = window_ != nullptr && IsIconic(window_);
  if (is_minimised) {
    console_.PrintLine("Notice: the window is minimised and delivers no frames: restore it.");
  } else if (!summary.last_size()) {
    console_.PrintLine(Format("Notice: no frame has arrived for %.0f s.", kQuietSeconds));
  }
  notice_printed_ = is_minimised || !summary.last_size();
}

}  // namespace quill_apps
