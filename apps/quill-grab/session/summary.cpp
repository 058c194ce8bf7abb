// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/session/summary.h"

#include <algorithm>

#include "common/text.h"

namespace quill_apps {

namespace {

// Further changes are counted but not listed, so that a run of days stays small.
constexpr size_t kKeptChanges = 1000;

}  // namespace

void Summary::AddFrame(const FrameRecord& frame) {
  ++polls_;
  min_ratio_ = frames_ == 0 ? frame.ratio : std::min(min_ratio_, frame.ratio);
  max_ratio_ = std::max(max_ratio_, frame.ratio);
  ratio_sum_ += frame.ratio;
  ++frames_;
  missed_ += frame.missed;
  last_size_ = frame.size;
  if (frame.is_new) {
    ++new_frames_;
    last_new_seconds_ = frame.seconds;
    last_new_ratio_ = frame.ratio;
  }
  if (!frame.file.empty()) ++written_;
  if (frame.ratio == 0.0f) ++zero_ratios_;
  if (frame.ratio > 0.0f && changes_.size() < kKeptChanges) changes_.push_back(frame);
  CountSize(frame.size);
}

void Summary::CountSize(const FrameSize& size) {
  const auto known = std::find_if(sizes_.begin(), sizes_.end(),
                                  [&](const auto& entry) { return entry.first == size; });
  if (known != sizes_.end()) {
    ++known->second;
  } else {
    sizes_.emplace_back(size, 1);
  }
}

std::string Summary::Text(size_t max_changes) const {
  std::string text = Format("Polls: %llu, of which %llu gave a frame; %llu missed", Number(polls_),
                            Number(frames_), Number(missed_));
  text += Format("\nFrames: %llu new, %llu written as PNG", Number(new_frames_), Number(written_));
  text += "\nSizes:";
  if (sizes_.empty()) text += " none";
  for (const auto& [size, count] : sizes_) {
    text += Format(" %u x %u (%llu)", size.width, size.height, Number(count));
  }
  if (frames_ == 0) return text;
  text += Format("\nUpdate ratio: min %.4f, mean %.4f, max %.4f; 0 for %llu of %llu", min_ratio_,
                 mean_ratio(), max_ratio_, Number(zero_ratios_), Number(frames_));
  return text + ChangesText(max_changes);
}

std::string Summary::ChangesText(size_t max_changes) const {
  const uint64_t total = frames_ - zero_ratios_;
  const size_t listed = std::min(max_changes, changes_.size());
  std::string text = "\nFrames with an update ratio above 0:";
  if (total == 0) text += " none";
  for (size_t i = 0; i < listed; ++i) {
    const FrameRecord& frame = changes_[i];
    text += Format("\n  %9.3f s  %.4f  %u x %u", frame.seconds, frame.ratio, frame.size.width,
                   frame.size.height);
    if (!frame.file.empty()) text += "  " + frame.file;
  }
  if (listed < total) text += Format("\n  ... and %llu more", Number(total - listed));
  return text;
}

}  // namespace quill_apps
