// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The life of a session as a host sees it: status, device, log lines, switches; and, under Wine,
// the calls that the library makes on the capture platform, as the stand-in notes them.
#include <algorithm>
#include <sstream>

#include "system/e2e/capture.h"

namespace {

using Lines = std::vector<LogLine>;
using Calls = std::vector<std::string>;

// The calls made during the life of this object, until Stop.
class CallTrace {
 public:
  CallTrace() { reinterpret_cast<void (*)()>(Function("StandinStartTrace"))(); }

  Calls Stop() {
    char text[4096];
    reinterpret_cast<void (*)(char*, size_t)>(Function("StandinStopTrace"))(text, sizeof(text));
    Calls calls;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) calls.push_back(line);
    return calls;
  }

 private:
  static void* Function(const char* name) {
    static const HMODULE platform = LoadLibraryW(L"quill-capture-standin.dll");
    return reinterpret_cast<void*>(GetProcAddress(platform, name));
  }
};

constexpr char kNeedsTrace[] = "needs the calls that the stand-in notes";

TEST_ON_OWN_THREAD(Start, MakesTheSessionRunAndLogsIt) {
  const PatternWindow window(MakePattern(200, 100));
  Session session(window.handle());
  EXPECT_FALSE(session.IsRunning());
  EXPECT_EQ(session.Device(), nullptr);
  LogRecorder log;
  ASSERT_TRUE(session.Start());
  EXPECT_TRUE(session.IsRunning());
  EXPECT_NE(session.Device(), nullptr);
  // The lines between these depend on the version of Windows.
  const Lines lines = log.lines();
  EXPECT_EQ(lines.front(), Info("WgcCaptureSession::Start"));
  EXPECT_EQ(lines.back(), Info("Wgc session started."));
}

TEST_ON_OWN_THREAD(Start, MakesItsCallsInOrderAndLogsThem) {
  if (!IsWine()) GTEST_SKIP() << kNeedsTrace;
  const PatternWindow window(MakePattern(200, 100));
  Session session(window.handle());
  LogRecorder log;
  CallTrace trace;
  ASSERT_TRUE(session.Start());
  // Frames are listened for before the capture runs, its end only afterwards.
  EXPECT_EQ(trace.Stop(),
            (Calls{"CreateForWindow", "get_Size", "Create 87 2 200x100", "CreateCaptureSession",
                   "put_IsCursorCaptureEnabled 0", "put_IsBorderRequired 0", "add_FrameArrived",
                   "StartCapture", "add_Closed"}));
  EXPECT_EQ(log.lines(), (Lines{Info("WgcCaptureSession::Start"), Info("Wgc cursor Disable "),
                                Info("Wgc border Disable "), Info("Wgc session started.")}));
}

TEST_ON_OWN_THREAD(Start, OfAMonitorAppliesSwitchesThatWereSetBefore) {
  if (!IsWine()) GTEST_SKIP() << kNeedsTrace;
  Session session(MonitorFromPoint({0, 0}, MONITOR_DEFAULTTOPRIMARY));
  Wgc().wgc_enable_cursor(session.get(), true);
  Wgc().wgc_show_border(session.get(), true);
  CallTrace trace;
  ASSERT_TRUE(session.Start());
  const Calls calls = trace.Stop();
  ASSERT_EQ(calls.size(), 9u);
  EXPECT_EQ(calls[0], "CreateForMonitor");
  EXPECT_EQ(calls[4], "put_IsCursorCaptureEnabled 1");
  EXPECT_EQ(calls[5], "put_IsBorderRequired 1");
}

TEST(Start, OfAnInvalidTargetFailsAndLeavesNothing) {
  const auto expect_failure = [](auto target, const std::string& call) {
    OnOwnThread([&] {
      Session session(target);
      LogRecorder log;
      EXPECT_FALSE(session.Start());
      EXPECT_FALSE(session.IsRunning());
      const Lines lines = log.lines();
      ASSERT_EQ(lines.size(), 2u);
      EXPECT_EQ(lines[0], Info("WgcCaptureSession::Start"));
      EXPECT_EQ(lines[1].first, WGC_LOG_ERROR);
      // With which code Windows refuses it is not documented.
      const std::string failed = "Failed to call IGraphicsCaptureItemInterop::" + call + ", hr:";
      EXPECT_TRUE(lines[1].second.starts_with(failed + (IsWine() ? "80070057" : "")))
          << lines[1].second;
      // The device stays in the session and goes with it.
      Ref<ID3D11Device> device(session.Device());
      ASSERT_TRUE(device);
      log.Clear();
      session.Destroy();
      EXPECT_TRUE(BecomesTheOnlyReference(device));
      EXPECT_EQ(log.lines(), (Lines{Info("Try to exit wgc thread"), Info("Wgc exit.")}));
    });
  };
  expect_failure(reinterpret_cast<HWND>(0x7FFF0), "CreateForWindow");
  expect_failure(reinterpret_cast<HMONITOR>(0x7FFF0), "CreateForMonitor");
}

// The thread has its dispatcher queue already.
TEST_ON_OWN_THREAD(Start, FailsASecondTimeAndTheCaptureGoesOn) {
  Capture capture(MakePattern(96, 64, 1), true);
  ID3D11Device* const device = capture.session.Device();
  EXPECT_FALSE(capture.session.Start());
  EXPECT_TRUE(capture.session.IsRunning());
  EXPECT_EQ(capture.session.Device(), device);
  capture.window.Show(MakePattern(96, 64, 2));
  EXPECT_TRUE(capture.session.ComesToShow(MakePattern(96, 64, 2)));
}

TEST_ON_OWN_THREAD(Session, EndsWithItsWindowAndKeepsTheLastFrame) {
  const Picture picture = MakePattern(80, 60);
  LogRecorder log;
  Capture capture(picture);
  EXPECT_FALSE(log.Has(Info("Wgc on_closed")));
  capture.window.Destroy();
  EXPECT_TRUE(capture.session.PollUntil([&](const Poll&) { return !capture.session.IsRunning(); }));
  EXPECT_TRUE(log.Has(Info("Wgc on_closed")));
  EXPECT_TRUE(capture.session.Shows(capture.session.PollOnce(), picture));
}

TEST_ON_OWN_THREAD(Session, DestroyingReleasesTheDevice) {
  Capture capture(MakePattern(80, 60), true);
  const Ref<ID3D11Device> device(capture.session.Device());
  capture.session.Destroy();
  EXPECT_TRUE(BecomesTheOnlyReference(device));
}

TEST_ON_OWN_THREAD(Session, DestroyingRevokesEventsAndClosesObjects) {
  if (!IsWine()) GTEST_SKIP() << kNeedsTrace;
  Capture capture(MakePattern(80, 60), true);
  CallTrace trace;
  capture.session.Destroy();
  EXPECT_EQ(trace.Stop(),
            (Calls{"remove_FrameArrived", "remove_Closed", "pool Close", "session Close"}));
}

TEST(Session, RecreatesThePoolOnceForAFrameOfAnotherSize) {
  if (!IsWine()) GTEST_SKIP() << kNeedsTrace;
  for (const bool texture : {false, true}) {
    OnOwnThread([texture] {
      Capture capture(MakePattern(200, 100, 1));
      capture.session.SetTexture(texture);
      CallTrace trace;
      capture.window.Show(MakePattern(150, 80, 2));
      EXPECT_TRUE(capture.session.PollUntil([texture](const Poll& poll) {
        if (texture && poll.result) static_cast<IUnknown*>(poll.frame)->Release();
        return poll.width == 150;
      }));
      const Calls calls = trace.Stop();
      EXPECT_EQ(std::count(calls.begin(), calls.end(), "Recreate 87 2 150x80"), 1);
    });
  }
}

TEST_ON_OWN_THREAD(Switches, LeaveALiveSessionCapturing) {
  Capture capture(MakePattern(80, 60, 1));
  void* const session = capture.session.get();
  for (const bool on : {true, false}) {
    // Which of them Windows has depends on its version.
    Wgc().wgc_enable_cursor(session, on);
    Wgc().wgc_show_border(session, on);
  }
  capture.window.Show(MakePattern(80, 60, 2));
  EXPECT_TRUE(capture.session.ComesToShow(MakePattern(80, 60, 2)));
}

TEST_ON_OWN_THREAD(Switches, TakeEffectOnALiveSessionAtOnce) {
  if (!IsWine()) GTEST_SKIP() << kNeedsTrace;
  Capture capture(MakePattern(80, 60));
  void* const session = capture.session.get();
  LogRecorder log;
  CallTrace trace;
  for (const bool on : {true, false}) EXPECT_TRUE(Wgc().wgc_enable_cursor(session, on));
  for (const bool on : {true, false}) EXPECT_TRUE(Wgc().wgc_show_border(session, on));
  EXPECT_EQ(trace.Stop(), (Calls{"put_IsCursorCaptureEnabled 1", "put_IsCursorCaptureEnabled 0",
                                 "put_IsBorderRequired 1", "put_IsBorderRequired 0"}));
  EXPECT_EQ(log.lines(), (Lines{Info("Set enable cursor"), Info("Set disable cursor"),
                                Info("Set show border"), Info("Set hide border")}));
}

TEST_ON_OWN_THREAD(Switches, AreRefusedWhereThePlatformLacksTheProperty) {
  if (!IsWine()) GTEST_SKIP() << kNeedsStandin;
  const PlatformSetting without_cursor(L"WithoutCursorProperty", 1);
  const PlatformSetting without_border(L"WithoutBorderProperty", 1);
  LogRecorder log;
  Capture capture(MakePattern(80, 60));
  void* const session = capture.session.get();
  EXPECT_TRUE(log.Has(Info("IsCursorToggleSupported: no")));
  EXPECT_TRUE(log.Has(Info("IsBorderRequiredSupported: no")));
  log.Clear();
  EXPECT_FALSE(Wgc().wgc_enable_cursor(session, true));
  // The request reaches the capture session, which has no such interface (E_NOINTERFACE).
  EXPECT_TRUE(Wgc().wgc_enable_cursor(session, false));
  EXPECT_FALSE(Wgc().wgc_show_border(session, false));
  EXPECT_TRUE(Wgc().wgc_show_border(session, true));
  EXPECT_EQ(log.lines(), (Lines{Warning("Failed to enable cursor"), Info("Set disable cursor"),
                                Error("Winrt exception:-2147467262"),
                                Warning("Failed to  hide border"), Info("Set show border")}));
}

LRESULT CALLBACK PollInMessage(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  if (message != WM_APP) return DefWindowProcW(window, message, wparam, lparam);
  *reinterpret_cast<Poll*>(lparam) = reinterpret_cast<Session*>(wparam)->PollOnce();
  return 0;
}

TEST_ON_OWN_THREAD(Poll, DispatchesTheHostsMessagesWhichMayPollAndSwallowsWmQuit) {
  Capture capture(MakePattern(64, 64));
  WNDCLASSW window_class{};
  window_class.lpfnWndProc = PollInMessage;
  window_class.lpszClassName = L"QuillHostWindow";
  RegisterClassW(&window_class);
  const HWND host = CreateWindowW(L"QuillHostWindow", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                  nullptr, nullptr);
  Poll inner;
  // Posted, unlike that of PostQuitMessage: it stands in the queue ahead of the next message.
  PostThreadMessageW(GetCurrentThreadId(), WM_QUIT, 5, 0);
  PostMessageW(host, WM_APP, reinterpret_cast<WPARAM>(&capture.session),
               reinterpret_cast<LPARAM>(&inner));
  const Poll outer = capture.session.PollOnce();
  EXPECT_TRUE(outer.result);
  EXPECT_TRUE(inner.result);
  EXPECT_EQ(inner.frame, outer.frame);
  MSG message;
  EXPECT_FALSE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_NOREMOVE));
  DestroyWindow(host);
}

TEST_ON_OWN_THREAD(Poll, OnAnotherThreadBringsNoFrames) {
  const Picture picture = MakePattern(64, 64);
  const PatternWindow window(picture);
  Session session(window.handle());
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(AwaitFrame());
  OnOwnThread([&] { EXPECT_FALSE(session.PollOnce().result); });
  EXPECT_TRUE(session.ComesToShow(picture));
}

}  // namespace
