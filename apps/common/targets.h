// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/clock.h"
#include "common/monitors.h"

namespace quill_apps {

// What the command line says of the target. Texts are UTF-8.
struct TargetOptions {
  std::optional<std::string> title;
  std::optional<std::string> class_name;
  std::optional<uint64_t> window;
  std::optional<unsigned> monitor;
  double wait_seconds = 0.0;

  bool IsSearch() const { return title || class_name; }
};

struct WindowInfo {
  HWND handle;
  std::string title;
  std::string class_name;
  long width;
  long height;
  bool minimised;
  // The terminal that this program runs in. Its title often repeats the command line, and so the
  // text that is searched for.
  bool own_terminal;
};

// What is captured: one of the two handles is set.
struct Target {
  HWND window = nullptr;
  HMONITOR monitor = nullptr;
  std::string name;  // a window's title or "monitor 0"; without a title, "window 0x3004e"
  std::string description;
  std::string notice;  // something the user should know about the choice, or empty
};

// The visible top-level windows with a title, topmost first; without the desktop, tool windows and
// those of other virtual desktops.
std::vector<WindowInfo> ListWindows();

std::string FormatLists(const std::vector<WindowInfo>& windows,
                        const std::vector<MonitorInfo>& monitors);

// The windows that options.title and options.class_name select, ignoring case, in the order of the
// list; never the terminal that the program runs in.
std::vector<WindowInfo> MatchWindows(const std::vector<WindowInfo>& windows,
                                     const TargetOptions& options);

Target TargetOf(const WindowInfo& window);

// Finds the target that the options select. Throws ToolError.
Target FindTarget(const TargetOptions& options);

// First waits until the window appears, for at most options.wait_seconds or until interrupted is
// true. Throws ToolError.
Target WaitForTarget(const TargetOptions& options, Clock& clock,
                     const std::atomic<bool>& interrupted);

}  // namespace quill_apps
