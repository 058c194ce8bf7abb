// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/session/schedule.h"

#include <algorithm>

namespace quill_apps {

uint64_t Schedule::Take(double now) {
  // Rounding may place now just before the tick that is due.
  const auto last = static_cast<uint64_t>(std::max((now - start_) * fps_, 0.0));
  const uint64_t missed = std::max(last, tick_) - tick_;
  tick_ += missed + 1;
  return missed;
}

}  // namespace quill_apps
