// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace quill_grab {

struct FrameSize {
  uint32_t width;
  uint32_t height;
  bool operator==(const FrameSize&) const = default;
};

// One poll that reported a frame.
struct FrameRecord {
  double seconds;  // since the start of the run
  FrameSize size;
  float ratio;       // what wgc_get_update_ratio gave after the poll
  bool is_new;       // see IsNewFrame
  uint64_t missed;   // polls since the previous frame that were left out, as they came due while
                     // it was handled, or that gave none
  std::string file;  // empty when the frame was not written
};

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

  // Of all polls with a frame; 0 when there was none.
  float min_ratio() const { return min_ratio_; }
  float max_ratio() const { return max_ratio_; }
  double mean_ratio() const {
    return frames_ == 0 ? 0.0 : ratio_sum_ / static_cast<double>(frames_);
  }
  uint64_t zero_ratios() const { return zero_ratios_; }

  // Each size with its number of polls, in the order of first appearance.
  const std::vector<std::pair<FrameSize, uint64_t>>& sizes() const { return sizes_; }

  // The figures as lines, with at most max_changes of the frames whose ratio is above 0.
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
  std::vector<std::pair<FrameSize, uint64_t>> sizes_;
  std::vector<FrameRecord> changes_;  // the first kKeptChanges of them
};

}  // namespace quill_grab
