// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <string>

namespace quill_apps {

// What a process of check 22 does: "WHAT,NAME,WINDOW". WHAT: "probe", "destroyed" or "live". Then
// it sets the event of that name and returns the exit code for wmain.
int RunExitTask(const std::string& task);

}  // namespace quill_apps
