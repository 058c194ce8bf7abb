// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/report/report_thumbnails.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "common/fit.h"
#include "quill-grab/output/shrink.h"

namespace quill_apps {

namespace {

long Percent(float ratio) {
  return std::lround(ratio * 100.0f);
}

double DistanceToNearest(const Thumbnail& candidate, const std::vector<const Thumbnail*>& others) {
  double nearest = std::numeric_limits<double>::infinity();
  for (const Thumbnail* other : others) {
    nearest = std::min(nearest, std::abs(candidate.seconds - other->seconds));
  }
  return nearest;
}

Thumbnail MakeThumbnail(double seconds, float ratio, const PixelView& frame) {
  constexpr FrameSize kBounds{ThumbnailPicker::kMaxSide, ThumbnailPicker::kMaxSide};
  Thumbnail thumbnail{seconds, ratio, frame.size(), ShrunkToFit(frame.size(), kBounds), {}};
  Shrink(frame, thumbnail.size, thumbnail.pixels);
  return thumbnail;
}

}  // namespace

void ThumbnailPicker::Offer(double seconds, float ratio, const PixelView& frame) {
  while (seconds >= span_seconds_ * kSpans) HalveSpans();
  const bool same_span = !best_.empty() && std::floor(best_.back().seconds / span_seconds_) ==
                                               std::floor(seconds / span_seconds_);
  if (!same_span) {
    best_.push_back(MakeThumbnail(seconds, ratio, frame));
  } else if (ratio > best_.back().ratio) {
    best_.back() = MakeThumbnail(seconds, ratio, frame);
  }
}

void ThumbnailPicker::HalveSpans() {
  span_seconds_ *= 2;
  std::vector<Thumbnail> merged;
  for (Thumbnail& thumbnail : best_) {
    const bool same_span = !merged.empty() && std::floor(merged.back().seconds / span_seconds_) ==
                                                  std::floor(thumbnail.seconds / span_seconds_);
    if (!same_span) {
      merged.push_back(std::move(thumbnail));
    } else if (thumbnail.ratio > merged.back().ratio) {
      merged.back() = std::move(thumbnail);
    }
  }
  best_ = std::move(merged);
}

std::vector<Thumbnail> ThumbnailPicker::Picked() const {
  std::vector<const Thumbnail*> left;
  left.reserve(best_.size());
  for (const Thumbnail& thumbnail : best_) left.push_back(&thumbnail);
  std::vector<const Thumbnail*> picked;
  while (!left.empty() && picked.size() < kPicked) {
    const auto next =
        std::max_element(left.begin(), left.end(), [&](const Thumbnail* a, const Thumbnail* b) {
          if (Percent(a->ratio) != Percent(b->ratio)) return a->ratio < b->ratio;
          return DistanceToNearest(*a, picked) < DistanceToNearest(*b, picked);
        });
    picked.push_back(*next);
    left.erase(next);
  }
  std::sort(picked.begin(), picked.end(),
            [](const Thumbnail* a, const Thumbnail* b) { return a->seconds < b->seconds; });
  std::vector<Thumbnail> result;
  result.reserve(picked.size());
  for (const Thumbnail* thumbnail : picked) result.push_back(*thumbnail);
  return result;
}

}  // namespace quill_apps
