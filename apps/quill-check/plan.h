// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <deque>

#include "quill-check/conductor.h"

namespace quill_apps {

// What tells whether the rest makes sense: the machine and the DLL.
std::deque<Group> FirstGroup();

// All other checks.
std::deque<Group> OtherGroups();

}  // namespace quill_apps
