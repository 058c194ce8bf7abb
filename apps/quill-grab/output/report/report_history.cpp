// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/report/report_history.h"

#include <algorithm>

namespace quill_apps {

namespace {

void Merge(SeriesBin& into, const SeriesBin& later) {
  if (into.polls == 0 || later.max_ratio > into.max_ratio) {
    into.max_ratio = later.max_ratio;
    into.max_seconds = later.max_seconds;
  }
  into.polls += later.polls;
  into.new_frames += later.new_frames;
  into.missed += later.missed;
  into.ratio_sum += later.ratio_sum;
}

}  // namespace

BinnedSeries::BinnedSeries(double bin_seconds, size_t max_bins)
    : bin_seconds_(bin_seconds), max_bins_(max_bins) {}

void BinnedSeries::Add(const FrameRecord& record) {
  const double step = (record.seconds - last_seconds_) / (static_cast<double>(record.missed) + 1.0);
  for (uint64_t i = 1; i <= record.missed; ++i) {
    ++BinAt(last_seconds_ + step * static_cast<double>(i)).missed;
  }
  last_seconds_ = record.seconds;
  Merge(BinAt(record.seconds),
        {1, record.is_new ? 1u : 0u, 0, record.ratio, record.ratio, record.seconds});
}

SeriesBin& BinnedSeries::BinAt(double seconds) {
  while (seconds >= bin_seconds_ * static_cast<double>(max_bins_)) HalveBins();
  const auto index = static_cast<size_t>(seconds / bin_seconds_);
  if (index >= bins_.size()) bins_.resize(index + 1);
  return bins_[index];
}

void BinnedSeries::HalveBins() {
  bin_seconds_ *= 2;
  const size_t count = (bins_.size() + 1) / 2;
  for (size_t i = 0; i < count; ++i) {
    SeriesBin merged = bins_[2 * i];
    if (2 * i + 1 < bins_.size()) Merge(merged, bins_[2 * i + 1]);
    bins_[i] = merged;
  }
  bins_.resize(count);
}

void SizeHistory::Add(const FrameRecord& record) {
  if (span_count_ == 0 || current_.size != record.size) {
    ++span_count_;
    current_ = {record.seconds, record.seconds, record.size, 0, 0};
    if (span_count_ <= kKeptSpans) spans_.push_back(current_);
  }
  current_.to = record.seconds;
  ++current_.polls;
  if (record.is_new) ++current_.new_frames;
  if (span_count_ <= kKeptSpans) spans_.back() = current_;
}

void GapList::Mark(double seconds) {
  const Gap gap{last_seconds_, seconds};
  last_seconds_ = seconds;
  if (gap.length() <= kMinSeconds) return;
  ++count_;
  total_seconds_ += gap.length();
  longest_.push_back(gap);
  if (longest_.size() <= kKeptGaps) return;
  longest_.erase(std::min_element(longest_.begin(), longest_.end(), [](const Gap& a, const Gap& b) {
    return a.length() < b.length();
  }));
}

}  // namespace quill_apps
