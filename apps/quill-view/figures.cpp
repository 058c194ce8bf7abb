// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-view/figures.h"

#include <algorithm>

#include "common/text.h"

namespace quill_apps {

namespace {

constexpr double kRecentSeconds = 2.0;

}  // namespace

void Figures::Add(double seconds, const FrameTimes& times) {
  ++frames_;
  sum_.work += times.work;
  sum_.latency += times.latency;
  recent_.push_back({seconds, times});
  while (recent_.front().seconds <= seconds - kRecentSeconds) recent_.pop_front();
}

std::string Figures::Text(double seconds) const {
  double work = 0.0;
  uint64_t count = 0;
  for (const Sample& sample : recent_) {
    if (sample.seconds <= seconds - kRecentSeconds) continue;
    work += sample.times.work;
    ++count;
  }
  std::string text = Format("%.1f new frames/s", static_cast<double>(count) / kRecentSeconds);
  if (count == 0) return text;
  return text + Format("\n%.1f ms from poll to display, newest frame\n%.1f ms of work a frame",
                       recent_.back().times.latency, work / static_cast<double>(count));
}

std::string Figures::Summary(double run_seconds) const {
  std::string text = Format("Shown: %llu frames in %.1f s", Number(frames_), run_seconds);
  if (frames_ == 0) return text;
  const auto frames = static_cast<double>(frames_);
  return text + Format(", %.1f a second; each took %.2f ms of work, and %.2f ms until displayed",
                       frames / run_seconds, sum_.work / frames, sum_.latency / frames);
}

}  // namespace quill_apps
