// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "common/monitors.h"

#include <algorithm>

#include "common/text.h"

namespace quill_apps {

namespace {

BOOL CALLBACK AddMonitor(HMONITOR monitor, HDC, LPRECT, LPARAM list) {
  MONITORINFOEXW info{};
  info.cbSize = sizeof info;
  if (GetMonitorInfoW(monitor, &info)) {
    reinterpret_cast<std::vector<MonitorInfo>*>(list)->push_back(
        {monitor, ToUtf8(info.szDevice), info.rcMonitor,
         (info.dwFlags & MONITORINFOF_PRIMARY) != 0});
  }
  return TRUE;
}

}  // namespace

std::vector<MonitorInfo> ListMonitors() {
  std::vector<MonitorInfo> monitors;
  EnumDisplayMonitors(nullptr, nullptr, AddMonitor, reinterpret_cast<LPARAM>(&monitors));
  std::stable_sort(
      monitors.begin(), monitors.end(),
      [](const MonitorInfo& a, const MonitorInfo& b) { return a.primary > b.primary; });
  return monitors;
}

}  // namespace quill_apps
