// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/console/watch.h"

#include "quill-grab/console/text.h"

namespace quill_grab {

namespace {

constexpr double kRateSeconds = 2.0;

}  // namespace

std::string Watch::Line(double seconds, const std::optional<FrameSize>& size, float ratio,
                        const Summary& summary) {
  while (samples_.size() > 1 && samples_[1].seconds <= seconds - kRateSeconds) samples_.pop_front();
  const Sample& from = samples_.front();
  const double span = seconds - from.seconds;
  const auto rate = [&](uint64_t now, uint64_t then) {
    return span > 0.0 ? static_cast<double>(now - then) / span : 0.0;
  };
  std::string line = Format("%.1f s", seconds);
  line += size ? Format("  %u x %u", size->width, size->height) : "  no frame";
  line += Format("  %.1f polls/s  %.1f new/s  ratio %.4f  %llu missed",
                 rate(summary.polls(), from.polls), rate(summary.new_frames(), from.new_frames),
                 static_cast<double>(ratio), static_cast<unsigned long long>(summary.missed()));
  samples_.push_back({seconds, summary.polls(), summary.new_frames()});
  return line;
}

}  // namespace quill_grab
