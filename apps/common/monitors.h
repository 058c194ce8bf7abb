// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace quill_apps {

struct MonitorInfo {
  HMONITOR handle;
  std::string name;
  RECT area;
  bool primary;
};

// The primary monitor first.
std::vector<MonitorInfo> ListMonitors();

}  // namespace quill_apps
