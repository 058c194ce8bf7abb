// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "common/targets.h"

#include <memory>

#include "apps/quill-grab/grab_error.h"
#include "apps/quill-grab/grab_test.h"
#include "support/pattern_window.h"

namespace quill_apps {
namespace {

WindowInfo Window(uintptr_t handle, const char* title, const char* class_name) {
  return {reinterpret_cast<HWND>(handle), title, class_name, 640, 480, false, handle == 1};
}

TargetOptions Titled(const char* title) {
  TargetOptions options;
  options.title = title;
  return options;
}

TEST(MatchWindowsTest, WindowsAreChosenByTitleAndClassIgnoringCase) {
  const std::vector<WindowInfo> windows = {
      Window(1, "C:\\quill-grab --title mine", "ConsoleWindowClass"),  // the own terminal
      Window(2, "WineMine", "WineMine"),
      Window(3, "Untitled - Notepad", "Notepad"),
      Window(4, "My mines - Notepad", "Notepad"),
      Window(5, "\u00dcbersicht", "Explorer"),
  };
  struct {
    const char* title;
    const char* class_name;
    std::vector<uintptr_t> expected;
  } const cases[] = {
      {"mine", nullptr, {2, 4}},    {"\u00fcBER", nullptr, {5}},
      {"minesweeper", nullptr, {}}, {"quill-grab --title", nullptr, {}},
      {nullptr, "notepad", {3, 4}}, {nullptr, "Note", {}},
      {"mine", "Notepad", {4}},
  };
  for (const auto& [title, class_name, expected] : cases) {
    TargetOptions options;
    if (title != nullptr) options.title = title;
    if (class_name != nullptr) options.class_name = class_name;
    std::vector<uintptr_t> found;
    for (const WindowInfo& window : MatchWindows(windows, options)) {
      found.push_back(reinterpret_cast<uintptr_t>(window.handle));
    }
    EXPECT_EQ(found, expected);
  }
}

TEST(TargetOfTest, NameIsTheTitleOrElseTheHandle) {
  EXPECT_EQ(TargetOf(Window(2, "WineMine", "WineMine")).name, "WineMine");
  EXPECT_EQ(TargetOf(Window(0x3004e, "", "WineMine")).name, "window 0x3004e");
}

PatternWindow WindowTitled(const wchar_t* title) {
  return PatternWindow(MakePattern(321, 234), {.title = title});
}

TEST(ListWindowsTest, VisibleWindowIsListedWithTitleClassAndSize) {
  const TargetOptions options = Titled("quill-grab list \u00df");
  PatternWindow window = WindowTitled(L"quill-grab list \u00df");
  const std::vector<WindowInfo> found = MatchWindows(ListWindows(), options);
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].handle, window.handle());
  EXPECT_EQ(found[0].class_name, "QuillPatternWindow");
  EXPECT_EQ(found[0].width, 321);
  EXPECT_EQ(found[0].height, 234);
  EXPECT_EQ(FindTarget(options).window, window.handle());
  window.SetState(SW_HIDE);
  EXPECT_TRUE(MatchWindows(ListWindows(), options).empty());
}

TEST(ListWindowsTest, ControlCharactersOfATitleBecomeSpaces) {
  const PatternWindow window = WindowTitled(L"quill-grab\r\nbreak \x1b[31m \x7f \x9b end \u00df");
  TargetOptions options;
  options.window = reinterpret_cast<uintptr_t>(window.handle());
  const std::string description = FindTarget(options).description;
  EXPECT_TRUE(description.ends_with("\"quill-grab  break  [31m     end \u00df\"")) << description;
}

TEST(FormatListsTest, MinimisedWindowHasNoSize) {
  WindowInfo window = Window(2, "WineMine", "WineMine");
  EXPECT_TRUE(Contains(FormatLists({window}, {}), "0x2            640 x 480   WineMine"));
  window.minimised = true;
  EXPECT_TRUE(Contains(FormatLists({window}, {}),
                       "0x2                        WineMine  \"WineMine\"  minimised"));
}

TEST(ListMonitorsTest, PrimaryMonitorIsFirst) {
  const std::vector<MonitorInfo> monitors = ListMonitors();
  ASSERT_FALSE(monitors.empty());
  EXPECT_TRUE(monitors[0].primary);
  EXPECT_EQ(monitors[0].area.right - monitors[0].area.left, GetSystemMetrics(SM_CXSCREEN));
  EXPECT_EQ(monitors[0].area.bottom - monitors[0].area.top, GetSystemMetrics(SM_CYSCREEN));
  TargetOptions options;
  options.monitor = 0;
  EXPECT_EQ(FindTarget(options).monitor, monitors[0].handle);
}

TEST(FindTargetTest, TopmostOfSeveralWindowsIsTakenWithANotice) {
  const PatternWindow windows[] = {WindowTitled(L"quill-grab twins"),
                                   WindowTitled(L"quill-grab twins")};
  for (const PatternWindow& top : windows) {
    // The display server may still be showing the windows, which raises them.
    const ULONGLONG end = GetTickCount64() + 5000;
    Target target;
    do {
      SetWindowPos(top.handle(), HWND_TOP, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
      target = FindTarget(Titled("quill-grab twins"));
    } while (target.window != top.handle() && GetTickCount64() < end);
    EXPECT_EQ(target.window, top.handle());
    EXPECT_TRUE(Contains(target.notice, "2 windows match"));
  }
}

TEST(FindTargetTest, ErrorOfAMissingTargetNamesTheList) {
  TargetOptions by_handle;
  by_handle.window = 0x7ffffff1;
  TargetOptions by_monitor;
  by_monitor.monitor = 99;
  for (const TargetOptions& options : {Titled("no window has this title"), by_handle, by_monitor}) {
    const ToolError error = ErrorOf([&] { FindTarget(options); });
    EXPECT_EQ(error.code(), ExitCode::kTargetNotFound);
    EXPECT_TRUE(Contains(error.what(), "--list"));
  }
}

// Calls on_sleep at each sleep, and lets no time pass but that of the sleeps.
struct SleepClock : Clock {
  double Now() override { return now; }
  void Sleep(double seconds) override {
    now += seconds;
    on_sleep(++sleeps);
  }
  double now = 7.0;
  int sleeps = 0;
  std::function<void(int)> on_sleep = [](int) {};
};

TEST(WaitForTargetTest, WindowThatAppearsDuringTheWaitIsFound) {
  std::unique_ptr<PatternWindow> window;
  SleepClock clock;
  clock.on_sleep = [&](int sleeps) {
    if (sleeps == 3) window = std::make_unique<PatternWindow>(MakePattern(50, 40));
  };
  TargetOptions options;
  options.class_name = "QuillPatternWindow";
  options.wait_seconds = 20.0;
  const Target target = WaitForTarget(options, clock, false);
  ASSERT_NE(window, nullptr);
  EXPECT_EQ(target.window, window->handle());
  EXPECT_EQ(clock.sleeps, 3);
}

TEST(WaitForTargetTest, WaitEndsWithTheTimeOrAnInterruption) {
  TargetOptions options = Titled("no window has this title");
  options.wait_seconds = 0.3;
  SleepClock clock;
  ToolError error = ErrorOf([&] { WaitForTarget(options, clock, false); });
  EXPECT_EQ(error.code(), ExitCode::kTargetNotFound);
  EXPECT_TRUE(Contains(error.what(), "there is no window with \"no window has this title\""));
  EXPECT_NEAR(clock.now, 7.3, 0.05 + 1e-6);
  std::atomic<bool> interrupted{false};
  clock.on_sleep = [&](int) { interrupted = true; };
  options.wait_seconds = 1000.0;
  error = ErrorOf([&] { WaitForTarget(options, clock, interrupted); });
  EXPECT_EQ(error.code(), ExitCode::kTargetNotFound);
  EXPECT_TRUE(std::string(error.what()).starts_with("interrupted before a window"));
  EXPECT_LT(clock.now, 8.0);
}

}  // namespace
}  // namespace quill_apps
