// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-check/plan.h"

namespace quill_apps {

std::deque<Group> FirstGroup() {
  return {{{0, 1}, true}};
}

// Two groups run at a time. What only waits comes first, and what measures times comes last, alone.
std::deque<Group> OtherGroups() {
  return {
      // The first session, undisturbed.
      {{2}, true},
      {{19}, false},
      {{3, 4, 5}, false},
      {{17, 13, 22}, false},
      {{10, 11}, false},
      {{16, 18, 21}, false},
      {{8, 12, 15, 23}, false},
      // These measure times, 9 covers the monitor, and 14 moves the pointer.
      {{6, 7, 9, 14}, true},
      {{20}, true},
  };
}

}  // namespace quill_apps
