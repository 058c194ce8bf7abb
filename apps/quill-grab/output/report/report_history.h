// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <vector>

#include "quill-grab/output/frame.h"

namespace quill_apps {

// One span of time.
struct SeriesBin {
  uint64_t polls = 0;  // that gave a frame
  uint64_t new_frames = 0;
  uint64_t missed = 0;
  double ratio_sum = 0.0;
  float max_ratio = 0.0f;
  double max_seconds = 0.0;  // when max_ratio was first seen
};

// Polls over time in bins of equal width, from second 0 on. When a run outlasts max_bins bins,
// neighbours are merged and the width doubles. Missed polls are spread evenly over the time since
// the frame before, in which they came due.
class BinnedSeries {
 public:
  BinnedSeries(double bin_seconds, size_t max_bins);

  void Add(const FrameRecord& record);

  double bin_seconds() const { return bin_seconds_; }
  const std::vector<SeriesBin>& bins() const { return bins_; }

 private:
  SeriesBin& BinAt(double seconds);
  void HalveBins();

  double bin_seconds_;
  size_t max_bins_;
  double last_seconds_ = 0.0;
  std::vector<SeriesBin> bins_;
};

// Successive polls whose frames have the same size.
struct SizeSpan {
  double from;  // seconds of the first and of the last of these polls
  double to;
  FrameSize size;
  uint64_t polls;
  uint64_t new_frames;
};

// The sizes in the order of time. Keeps the first kKeptSpans spans and counts the others.
class SizeHistory {
 public:
  static constexpr size_t kKeptSpans = 200;

  void Add(const FrameRecord& record);

  const std::vector<SizeSpan>& spans() const { return spans_; }
  uint64_t span_count() const { return span_count_; }

 private:
  SizeSpan current_{};
  uint64_t span_count_ = 0;
  std::vector<SizeSpan> spans_;
};

// Seconds without a new frame.
struct Gap {
  double from;
  double to;
  double length() const { return to - from; }
};

// Stretches of more than kMinSeconds without a new frame. Keeps the kKeptGaps longest and counts
// all.
class GapList {
 public:
  static constexpr double kMinSeconds = 1.0;
  static constexpr size_t kKeptGaps = 20;

  // A new frame, or the end of the run.
  void Mark(double seconds);

  // In the order of time.
  const std::vector<Gap>& longest() const { return longest_; }
  uint64_t count() const { return count_; }
  double total_seconds() const { return total_seconds_; }

 private:
  double last_seconds_ = 0.0;
  uint64_t count_ = 0;
  double total_seconds_ = 0.0;
  std::vector<Gap> longest_;
};

}  // namespace quill_apps
