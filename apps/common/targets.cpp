// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "common/targets.h"

#include <dwmapi.h>

#include <algorithm>

#include "common/error.h"
#include "common/text.h"

namespace quill_apps {

namespace {

// A title may contain anything: line breaks would split the line, and escape characters would
// control the terminal.
std::string Printable(std::wstring_view text) {
  std::wstring printable(text);
  const auto is_control = [](wchar_t c) { return c < 0x20 || (c >= 0x7f && c < 0xa0); };
  std::replace_if(printable.begin(), printable.end(), is_control, L' ');
  return ToUtf8(printable);
}

std::string TitleOf(HWND window) {
  wchar_t text[512];
  const int length = GetWindowTextW(window, text, static_cast<int>(std::size(text)));
  return Printable({text, static_cast<size_t>(std::max(length, 0))});
}

std::string ClassOf(HWND window) {
  wchar_t text[257];
  const int length = GetClassNameW(window, text, static_cast<int>(std::size(text)));
  return Printable({text, static_cast<size_t>(std::max(length, 0))});
}

// Windows of other virtual desktops and suspended apps are "visible" but cloaked.
bool IsCloaked(HWND window) {
  DWORD cloaked = 0;
  return SUCCEEDED(DwmGetWindowAttribute(window, DWMWA_CLOAKED, &cloaked, sizeof cloaked)) &&
         cloaked != 0;
}

// The window of a pseudo-console is hidden. Its root owner is the terminal's window.
HWND OwnTerminal() {
  const HWND console = GetConsoleWindow();
  return console == nullptr ? nullptr : GetAncestor(console, GA_ROOTOWNER);
}

// What is seen of the window. GetWindowRect includes its invisible borders for resizing.
RECT VisibleArea(HWND window) {
  RECT area{};
  if (FAILED(DwmGetWindowAttribute(window, DWMWA_EXTENDED_FRAME_BOUNDS, &area, sizeof area))) {
    GetWindowRect(window, &area);
  }
  return area;
}

WindowInfo Describe(HWND window) {
  const RECT area = VisibleArea(window);
  return {window,
          TitleOf(window),
          ClassOf(window),
          area.right - area.left,
          area.bottom - area.top,
          IsIconic(window) != 0,
          window == OwnTerminal()};
}

BOOL CALLBACK AddWindow(HWND window, LPARAM list) {
  const bool capturable =
      IsWindowVisible(window) && window != GetShellWindow() && GetWindowTextLengthW(window) > 0 &&
      (GetWindowLongW(window, GWL_EXSTYLE) & WS_EX_TOOLWINDOW) == 0 && !IsCloaked(window);
  if (capturable) reinterpret_cast<std::vector<WindowInfo>*>(list)->push_back(Describe(window));
  return TRUE;
}

bool ContainsIgnoringCase(const std::string& text, const std::string& part) {
  const std::wstring wide_text = ToWide(text);
  const std::wstring wide_part = ToWide(part);
  return FindStringOrdinal(FIND_FROMSTART, wide_text.c_str(), static_cast<int>(wide_text.size()),
                           wide_part.c_str(), static_cast<int>(wide_part.size()), TRUE) >= 0;
}

bool EqualsIgnoringCase(const std::string& a, const std::string& b) {
  return CompareStringOrdinal(ToWide(a).c_str(), -1, ToWide(b).c_str(), -1, TRUE) == CSTR_EQUAL;
}

unsigned long long HandleNumber(HWND window) {
  return static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(window));
}

std::string DescribeMonitor(size_t index, const MonitorInfo& monitor) {
  return Format("monitor %zu, %s, %ld x %ld", index, monitor.name.c_str(),
                monitor.area.right - monitor.area.left, monitor.area.bottom - monitor.area.top);
}

std::string DescribeWindow(const WindowInfo& window) {
  return Format("window 0x%llx, class %s, \"%s\"", HandleNumber(window.handle),
                window.class_name.c_str(), window.title.c_str());
}

Target FindByHandle(uint64_t number) {
  const HWND window = reinterpret_cast<HWND>(static_cast<uintptr_t>(number));
  if (!IsWindow(window)) {
    throw ToolError(ExitCode::kTargetNotFound,
                    Format("there is no window 0x%llx: --list shows the handles",
                           static_cast<unsigned long long>(number)));
  }
  return TargetOf(Describe(window));
}

Target FindMonitor(unsigned index) {
  const std::vector<MonitorInfo> monitors = ListMonitors();
  if (index >= monitors.size()) {
    throw ToolError(ExitCode::kTargetNotFound,
                    Format("there is no monitor %u: --list shows the numbers", index));
  }
  Target target;
  target.monitor = monitors[index].handle;
  target.name = Format("monitor %u", index);
  target.description = DescribeMonitor(index, monitors[index]);
  return target;
}

std::string DescribeSearch(const TargetOptions& options) {
  std::string text;
  if (options.title) text += " with \"" + *options.title + "\" in its title";
  if (options.class_name) {
    text += (options.title ? " and" : " with") + (" the class \"" + *options.class_name) + "\"";
  }
  return text;
}

Target FindBySearch(const TargetOptions& options) {
  const std::vector<WindowInfo> matches = MatchWindows(ListWindows(), options);
  if (matches.empty()) {
    throw ToolError(ExitCode::kTargetNotFound, "there is no window" + DescribeSearch(options) +
                                                   ": --list shows what is there");
  }
  Target target = TargetOf(matches.front());
  if (matches.size() > 1) {
    target.notice = Format(
        "%zu windows match; the topmost is captured. --window N chooses another:", matches.size());
    for (const WindowInfo& window : matches) target.notice += "\n  " + DescribeWindow(window);
  }
  return target;
}

}  // namespace

std::vector<WindowInfo> ListWindows() {
  std::vector<WindowInfo> windows;
  EnumWindows(AddWindow, reinterpret_cast<LPARAM>(&windows));
  return windows;
}

std::string FormatLists(const std::vector<WindowInfo>& windows,
                        const std::vector<MonitorInfo>& monitors) {
  std::string text = "Windows, topmost first (--window HANDLE, --class, --title):";
  if (windows.empty()) text += "\n  none";
  for (const WindowInfo& window : windows) {
    // The area of a minimised window is its icon's.
    const std::string size =
        window.minimised ? std::string() : Format("%5ld x %-5ld", window.width, window.height);
    text += Format("\n  0x%-10llx %-13s %s  \"%s\"%s%s", HandleNumber(window.handle), size.c_str(),
                   window.class_name.c_str(), window.title.c_str(),
                   window.minimised ? "  minimised: delivers no frames" : "",
                   window.own_terminal ? "  this terminal: --window only" : "");
  }
  text += "\nMonitors (--monitor N):";
  if (monitors.empty()) text += "\n  none";
  for (size_t i = 0; i < monitors.size(); ++i) {
    const RECT& area = monitors[i].area;
    text += Format("\n  %zu  %ld x %ld at %ld, %ld  %s%s", i, area.right - area.left,
                   area.bottom - area.top, area.left, area.top, monitors[i].name.c_str(),
                   monitors[i].primary ? "  primary" : "");
  }
  return text;
}

std::vector<WindowInfo> MatchWindows(const std::vector<WindowInfo>& windows,
                                     const TargetOptions& options) {
  std::vector<WindowInfo> matches;
  std::copy_if(
      windows.begin(), windows.end(), std::back_inserter(matches), [&](const WindowInfo& window) {
        return !window.own_terminal &&
               (!options.title || ContainsIgnoringCase(window.title, *options.title)) &&
               (!options.class_name || EqualsIgnoringCase(window.class_name, *options.class_name));
      });
  return matches;
}

Target TargetOf(const WindowInfo& window) {
  Target target;
  target.window = window.handle;
  target.name =
      window.title.empty() ? Format("window 0x%llx", HandleNumber(window.handle)) : window.title;
  target.description = DescribeWindow(window);
  return target;
}

Target FindTarget(const TargetOptions& options) {
  if (options.window) return FindByHandle(*options.window);
  if (options.monitor) return FindMonitor(*options.monitor);
  return FindBySearch(options);
}

Target WaitForTarget(const TargetOptions& options, Clock& clock,
                     const std::atomic<bool>& interrupted) {
  constexpr double kSliceSeconds = 0.05;
  const double end = clock.Now() + options.wait_seconds;
  const auto is_missing = [&] { return MatchWindows(ListWindows(), options).empty(); };
  while (options.IsSearch() && !interrupted && clock.Now() < end && is_missing()) {
    clock.Sleep(kSliceSeconds);
  }
  if (options.IsSearch() && interrupted && is_missing()) {
    throw ToolError(ExitCode::kTargetNotFound,
                    "interrupted before a window" + DescribeSearch(options) + " appeared");
  }
  return FindTarget(options);
}

}  // namespace quill_apps
