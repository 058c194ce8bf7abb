// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/session/beats.h"

#include <algorithm>

namespace quill_grab {

uint64_t Beats::Take(double now) {
  // Rounding may put the beat that is due just now behind it.
  const auto come = static_cast<uint64_t>(std::max((now - start_) * fps_, 0.0));
  const uint64_t left_out = std::max(come, beat_) - beat_;
  beat_ += left_out + 1;
  return left_out;
}

}  // namespace quill_grab
