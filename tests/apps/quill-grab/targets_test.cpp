// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/target/targets.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <thread>

#include "quill-grab/console/error.h"
#include "support/pattern_window.h"

namespace quill_grab {
namespace {

HWND Handle(uintptr_t number) {
  return reinterpret_cast<HWND>(number);
}

WindowInfo Window(uintptr_t handle, const char* title, const char* class_name,
                  bool own_terminal = false) {
  return {Handle(handle), title, class_name, 640, 480, false, own_terminal};
}

const std::vector<WindowInfo> kWindows = {
    Window(1, "C:\\quill-grab --title mine", "ConsoleWindowClass", true),
    Window(2, "WineMine", "WineMine"),
    Window(3, "Untitled - Notepad", "Notepad"),
    Window(4, "My mines - Notepad", "Notepad"),
    Window(5, "\u00dcbersicht", "Explorer"),
};

std::vector<HWND> Matching(const Options& options) {
  std::vector<HWND> handles;
  for (const WindowInfo& window : MatchWindows(kWindows, options)) handles.push_back(window.handle);
  return handles;
}

TEST(MatchWindowsTest, FindsPartsOfTitlesWithoutRegardToCase) {
  Options options;
  options.title = "mine";
  EXPECT_EQ(Matching(options), (std::vector<HWND>{Handle(2), Handle(4)}));
  options.title = "\u00fcBER";
  EXPECT_EQ(Matching(options), (std::vector<HWND>{Handle(5)}));
  options.title = "minesweeper";
  EXPECT_TRUE(Matching(options).empty());
}

TEST(MatchWindowsTest, LeavesTheOwnTerminalOut) {
  Options options;
  options.title = "quill-grab --title";
  EXPECT_TRUE(Matching(options).empty());
}

TEST(MatchWindowsTest, FindsWholeClassNames) {
  Options options;
  options.class_name = "notepad";
  EXPECT_EQ(Matching(options), (std::vector<HWND>{Handle(3), Handle(4)}));
  options.class_name = "Note";
  EXPECT_TRUE(Matching(options).empty());
}

TEST(MatchWindowsTest, WantsTitleAndClassTogether) {
  Options options;
  options.title = "mine";
  options.class_name = "Notepad";
  EXPECT_EQ(Matching(options), (std::vector<HWND>{Handle(4)}));
}

// A real window: on top of the others, off when it is hidden.
TEST(ListWindowsTest, ShowsAVisibleTitledWindow) {
  const HWND window = CreateWindowExW(0, L"STATIC", L"quill-grab list \u00df", WS_OVERLAPPEDWINDOW,
                                      0, 0, 321, 234, nullptr, nullptr, nullptr, nullptr);
  ASSERT_NE(window, nullptr);
  Options options;
  options.title = "quill-grab list \u00df";
  EXPECT_TRUE(MatchWindows(ListWindows(), options).empty());
  ShowWindow(window, SW_SHOWNA);
  const std::vector<WindowInfo> found = MatchWindows(ListWindows(), options);
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].handle, window);
  EXPECT_EQ(found[0].class_name, "Static");
  EXPECT_EQ(found[0].width, 321);
  EXPECT_EQ(found[0].height, 234);
  EXPECT_EQ(FindTarget(options).window, window);
  DestroyWindow(window);
  EXPECT_TRUE(MatchWindows(ListWindows(), options).empty());
}

TEST(ListWindowsTest, ATitleCannotBreakLinesOrCommandTheTerminal) {
  const HWND window = CreateWindowExW(
      0, L"STATIC", L"quill-grab\r\nbreak \x1b[31m \x7f \x9b end \u00df",
      WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 200, 200, nullptr, nullptr, nullptr, nullptr);
  ASSERT_NE(window, nullptr);
  Options options;
  options.window = reinterpret_cast<uintptr_t>(window);
  const std::string description = FindTarget(options).description;
  EXPECT_TRUE(description.ends_with("\"quill-grab  break  [31m     end \u00df\"")) << description;
  DestroyWindow(window);
}

TEST(FindTargetTest, TakesTheTopmostOfSeveralAndSaysSo) {
  HWND windows[2];
  for (HWND& window : windows) {
    window = CreateWindowExW(0, L"STATIC", L"quill-grab twins", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0,
                             0, 200, 200, nullptr, nullptr, nullptr, nullptr);
    ASSERT_NE(window, nullptr);
  }
  Options options;
  options.title = "quill-grab twins";
  for (const HWND top : {windows[0], windows[1]}) {
    SetWindowPos(top, HWND_TOP, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
    const Target target = FindTarget(options);
    EXPECT_EQ(target.window, top);
    EXPECT_NE(target.notice.find("2 windows match"), std::string::npos);
  }
  for (const HWND window : windows) DestroyWindow(window);
}

TEST(FindTargetTest, NamesTheRemedyWhenNothingMatches) {
  Options by_title;
  by_title.title = "no window has this title";
  Options by_handle;
  by_handle.window = 0x7ffffff1;
  Options by_monitor;
  by_monitor.monitor = 99;
  for (const Options& options : {by_title, by_handle, by_monitor}) {
    try {
      FindTarget(options);
      ADD_FAILURE() << "found something";
    } catch (const GrabError& error) {
      EXPECT_EQ(error.code(), ExitCode::kTargetNotFound);
      EXPECT_NE(std::string(error.what()).find("quill-grab --list"), std::string::npos);
    }
  }
}

TEST(WaitForTargetTest, FindsAWindowThatAppearsLater) {
  auto appearing = std::async(std::launch::async, [] {
    // Nothing tells that the search has begun; it looks 20 times a second.
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    return std::make_unique<PatternWindow>(MakePattern(50, 40));
  });
  Options options;
  options.class_name = "QuillPatternWindow";
  options.wait_seconds = 20.0;
  const std::atomic<bool> interrupted{false};
  const Target target = WaitForTarget(options, interrupted);
  EXPECT_EQ(target.window, appearing.get()->handle());
}

TEST(WaitForTargetTest, EndsWithTheTimeOrAnInterruption) {
  const auto milliseconds = [](double wait_seconds, bool is_interrupted) {
    Options options;
    options.title = "no window has this title";
    options.wait_seconds = wait_seconds;
    const std::atomic<bool> interrupted{is_interrupted};
    const ULONGLONG begin = GetTickCount64();
    EXPECT_THROW(WaitForTarget(options, interrupted), GrabError);
    return GetTickCount64() - begin;
  };
  EXPECT_GE(milliseconds(0.2, false), 190u);
  EXPECT_LE(milliseconds(30.0, true), 5000u);
}

TEST(WaitForTargetTest, SaysThatItWasInterrupted) {
  Options options;
  options.title = "no window has this title";
  options.wait_seconds = 30.0;
  const std::atomic<bool> interrupted{true};
  try {
    WaitForTarget(options, interrupted);
    ADD_FAILURE() << "found something";
  } catch (const GrabError& error) {
    EXPECT_EQ(error.code(), ExitCode::kTargetNotFound);
    EXPECT_TRUE(std::string(error.what()).starts_with("interrupted before a window"))
        << error.what();
  }
}

TEST(ListMonitorsTest, PutsThePrimaryMonitorFirst) {
  const std::vector<MonitorInfo> monitors = ListMonitors();
  ASSERT_FALSE(monitors.empty());
  EXPECT_TRUE(monitors[0].primary);
  EXPECT_EQ(monitors[0].area.right - monitors[0].area.left, GetSystemMetrics(SM_CXSCREEN));
  EXPECT_EQ(monitors[0].area.bottom - monitors[0].area.top, GetSystemMetrics(SM_CYSCREEN));
  Options options;
  options.monitor = 0;
  EXPECT_EQ(FindTarget(options).monitor, monitors[0].handle);
}

}  // namespace
}  // namespace quill_grab
