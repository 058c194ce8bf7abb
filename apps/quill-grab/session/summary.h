// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "quill-grab/output/frame.h"

namespace quill_apps {

// Figures of one run.
class Summary {
 public:
  void AddPollWithoutFrame() { ++polls_; }
  void AddFrame(const FrameRecord& frame);

  uint64_t polls() const { return polls_; }
  uint64_t frames() const { return frames_; }
  uint64_t new_frames() const { return new_frames_; }
  uint64_t written() const { return written_; }
  uint64_t missed() const { return missed_; }

  // Of the last frame; none before the first one.
  const std::optional<FrameSize>& last_size() const { return last_size_; }
  // Of the last new frame; 0 before the first one.
  double last_new_seconds() const { return last_new_seconds_; }
  float last_new_ratio() const { return last_new_ratio_; }

  // Of all polls with a frame; 0 when there was none.
  float min_ratio() const { return min_ratio_; }
  float max_ratio() const { return max_ratio_; }
  double mean_ratio() const {
    return frames_ == 0 ? 0.0 : ratio_sum_ / static_cast<double>(frames_);
  }
  uint64_t zero_ratios() const { return zero_ratios_; }

  // Each size with its number of polls, in the order of first appearance.
  const std::vector<std::pair<FrameSize, uint64_t>>& sizes() const { return sizes_; }

  // The figures as lines, with at most max_changes of the frames with a ratio above 0.
  std::string Text(size_t max_changes) const;

 private:
  void CountSize(const FrameSize& size);
  std::string ChangesText(size_t max_changes) const;

  uint64_t polls_ = 0;
  uint64_t frames_ = 0;
  uint64_t new_frames_ = 0;
  uint64_t written_ = 0;
  uint64_t missed_ = 0;
  uint64_t zero_ratios_ = 0;
  double ratio_sum_ = 0.0;
  float min_ratio_ = 0.0f;
  float max_ratio_ = 0.0f;
  std::optional<FrameSize> last_size_;
  double last_new_seconds_ = 0.0;
  float last_new_ratio_ = 0.0f;
  std::vector<std::pair<FrameSize, uint64_t>> sizes_;
  std::vector<FrameRecord> changes_;  // the first kKeptChanges of them
};

}  // namespace quill_apps
