// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The life of a session as a host sees it: handles, status, device, log lines, switches.
#include <d3d11.h>

#include <atomic>
#include <functional>
#include <thread>

#include "system/e2e/capture.h"

namespace {

const std::vector<LogLine> kStopLines = {Info("Try to exit wgc thread"), Info("Wgc exit.")};

TEST(Export, CreateForANullMonitorReturnsNullAndLogsNothing) {
  LogRecorder log;
  EXPECT_EQ(Wgc().wgc_session_create2(nullptr), nullptr);
  EXPECT_TRUE(log.lines().empty());
}

TEST_ON_OWN_THREAD(Export, CreateForANullWindowReturnsASessionWithoutATarget) {
  LogRecorder log;
  Session session(Wgc().wgc_session_create(nullptr));
  ASSERT_NE(session.get(), nullptr);
  EXPECT_FALSE(session.Start());
  EXPECT_FALSE(Wgc().wgc_get_status(session.get()));
  const auto lines = log.lines();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.front(), Info("WgcCaptureSession::Start"));
  EXPECT_EQ(lines.back().level, 3);
}

TEST_ON_OWN_THREAD(Export, FreeRecentFrameIgnoresItsArguments) {
  Wgc().wgc_free_recent_frame(nullptr, nullptr);
  Wgc().wgc_free_recent_frame(reinterpret_cast<void*>(1), reinterpret_cast<void*>(2));
  PatternWindow window(MakePattern(64, 64));
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(ComesToShow(session.get(), MakePattern(64, 64)));
  const Poll poll = PollOnce(session.get());
  Wgc().wgc_free_recent_frame(session.get(), poll.frame);
  EXPECT_TRUE(SamePixels(PollOnce(session.get()), MakePattern(64, 64)));
}

TEST_ON_OWN_THREAD(Status, FollowsTheLifeOfTheCapture) {
  PatternWindow window(MakePattern(80, 60));
  LogRecorder log;
  Session session(Wgc().wgc_session_create(window.handle()));
  EXPECT_FALSE(Wgc().wgc_get_status(session.get()));
  ASSERT_TRUE(session.Start());
  EXPECT_TRUE(Wgc().wgc_get_status(session.get()));
  EXPECT_FALSE(log.Has(Info("Wgc on_closed")));

  window.Destroy();
  Poll poll;
  EXPECT_TRUE(PollUntil(session.get(), &poll,
                        [&](const Poll&) { return !Wgc().wgc_get_status(session.get()); }));
  EXPECT_TRUE(log.Has(Info("Wgc on_closed")));
}

TEST_ON_OWN_THREAD(Status, ChangesBeforeStartSaysSoAndAfterClosedSaysSo) {
  PatternWindow window(MakePattern(80, 60));
  LogRecorder log;
  Session session(Wgc().wgc_session_create(window.handle()));
  struct Seen {
    void* session;
    int at_started = -1;
    std::atomic<int> at_closed = -1;
  } seen{session.get()};
  log.context = &seen;
  log.on_line = [](const LogLine& line, void* context) {
    auto* seen = static_cast<Seen*>(context);
    const bool status = Wgc().wgc_get_status(seen->session);
    if (line.text == "Wgc session started.") seen->at_started = status;
    if (line.text == "Wgc on_closed") seen->at_closed = status;
  };
  ASSERT_TRUE(session.Start());
  EXPECT_EQ(seen.at_started, 1);
  window.Destroy();
  Poll poll;
  ASSERT_TRUE(PollUntil(session.get(), &poll,
                        [&](const Poll&) { return !Wgc().wgc_get_status(session.get()); }));
  EXPECT_EQ(seen.at_closed, 1);
}

TEST_ON_OWN_THREAD(Status, StaysTrueAfterTheStopSequenceWhenTheItemNeverClosed) {
  PatternWindow window(MakePattern(80, 60));
  LogRecorder log;
  void* handle = Wgc().wgc_session_create(window.handle());
  ASSERT_TRUE(Wgc().wgc_session_start(handle));

  struct Seen {
    void* session;
    bool stopped = false;
    bool status = false;
  } seen{handle};
  log.context = &seen;
  // The line comes at the end of the stop sequence, while the session still exists.
  log.on_line = [](const LogLine& line, void* context) {
    auto* seen = static_cast<Seen*>(context);
    if (line.text != "Wgc exit.") return;
    seen->stopped = true;
    seen->status = Wgc().wgc_get_status(seen->session);
  };
  Wgc().wgc_session_destroy(handle);
  EXPECT_TRUE(seen.stopped);
  EXPECT_TRUE(seen.status);
}

TEST_ON_OWN_THREAD(Device, IsNullBeforeStartAndTheSamePointerAfterwards) {
  PatternWindow window(MakePattern(80, 60));
  Session session(Wgc().wgc_session_create(window.handle()));
  EXPECT_EQ(Wgc().wgc_get_device(session.get()), nullptr);
  ASSERT_TRUE(session.Start());
  ID3D11Device* const device = Wgc().wgc_get_device(session.get());
  ASSERT_NE(device, nullptr);
  EXPECT_EQ(Wgc().wgc_get_device(session.get()), device);
  // Lent, not handed over: the call adds no reference.
  const ULONG before = (device->AddRef(), device->Release());
  Wgc().wgc_get_device(session.get());
  EXPECT_EQ((device->AddRef(), device->Release()), before);
}

TEST_ON_OWN_THREAD(Device, IsReleasedWithTheSession) {
  PatternWindow window(MakePattern(80, 60));
  Session session(Wgc().wgc_session_create(window.handle()));
  Wgc().wgc_set_dirty_rect(session.get(), true);
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(ComesToShow(session.get(), MakePattern(80, 60)));
  ID3D11Device* const device = Wgc().wgc_get_device(session.get());
  device->AddRef();
  session.Destroy();
  EXPECT_EQ(device->Release(), 0u);
}

TEST(Stop, OfASessionThatNeverStartedStillLogsItsTwoLines) {
  LogRecorder log;
  PatternWindow window(MakePattern(80, 60));
  void* handle = Wgc().wgc_session_create(window.handle());
  Wgc().wgc_session_destroy(handle);
  EXPECT_EQ(log.lines(), kStopLines);
}

TEST(Lifecycle, TwoSessionsInitialiseComOnceOnTheFirstThread) {
  Session first(Wgc().wgc_session_create(nullptr));
  ASSERT_NE(first.get(), nullptr);
  // A later construction does not touch COM, so a single-threaded apartment does not stop it.
  std::thread([] {
    ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    Session second(Wgc().wgc_session_create(nullptr));
    EXPECT_NE(second.get(), nullptr);
    second.Destroy();
    CoUninitialize();
  }).join();
}

TEST(Lifecycle, TwoSessionsCaptureSideBySideOnTwoThreads) {
  const Picture left = MakePattern(96, 64, 1);
  const Picture right = MakePattern(128, 48, 2);
  PatternWindow left_window(left, 20, 20);
  PatternWindow right_window(right, 400, 300);
  const auto capture = [](HWND window, const Picture& picture, bool* same) {
    Session session(Wgc().wgc_session_create(window));
    *same = session.Start() && ComesToShow(session.get(), picture);
  };
  bool left_same = false;
  bool right_same = false;
  std::thread left_thread(capture, left_window.handle(), std::cref(left), &left_same);
  std::thread right_thread(capture, right_window.handle(), std::cref(right), &right_same);
  left_thread.join();
  right_thread.join();
  EXPECT_TRUE(left_same);
  EXPECT_TRUE(right_same);
}

// The thread has its dispatcher queue already.
TEST_ON_OWN_THREAD(Lifecycle, ASecondStartFailsAndTheCaptureGoesOn) {
  const Picture picture = MakePattern(96, 64, 1);
  const Picture other = MakePattern(96, 64, 2);
  PatternWindow window(picture);
  Session session(Wgc().wgc_session_create(window.handle()));
  Wgc().wgc_set_dirty_rect(session.get(), true);
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(ComesToShow(session.get(), picture));
  ID3D11Device* const device = Wgc().wgc_get_device(session.get());

  EXPECT_FALSE(session.Start());
  EXPECT_TRUE(Wgc().wgc_get_status(session.get()));
  EXPECT_EQ(Wgc().wgc_get_device(session.get()), device);
  window.Show(other);
  EXPECT_TRUE(ComesToShow(session.get(), other));
  window.Destroy();
  Poll poll;
  EXPECT_TRUE(PollUntil(session.get(), &poll,
                        [&](const Poll&) { return !Wgc().wgc_get_status(session.get()); }));
}

TEST_ON_OWN_THREAD(Log, WithoutACallbackEverythingWorks) {
  Wgc().wgc_register_logger(nullptr);
  PatternWindow window(MakePattern(80, 60));
  Session session(Wgc().wgc_session_create(window.handle()));
  EXPECT_TRUE(Wgc().wgc_enable_cursor(session.get(), true));
  EXPECT_TRUE(session.Start());
  EXPECT_TRUE(Wgc().wgc_enable_cursor(session.get(), false));
  EXPECT_TRUE(ComesToShow(session.get(), MakePattern(80, 60)));
}

TEST(Log, RegisteringNullStopsDelivery) {
  LogRecorder log;
  Session session(Wgc().wgc_session_create(nullptr));
  Wgc().wgc_set_dirty_rect(session.get(), true);
  EXPECT_EQ(log.lines().size(), 1u);
  Wgc().wgc_register_logger(nullptr);
  Wgc().wgc_set_dirty_rect(session.get(), false);
  EXPECT_EQ(log.lines().size(), 1u);
}

TEST_ON_OWN_THREAD(Start, WithDefaultSwitchesLogsThatCursorAndBorderAreDisabled) {
  PatternWindow window(MakePattern(80, 60));
  LogRecorder log;
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  const std::vector<LogLine> expected = {
      Info("WgcCaptureSession::Start"),
      Info("Wgc cursor Disable "),
      Info("Wgc border Disable "),
      Info("Wgc session started."),
  };
  EXPECT_EQ(log.lines(), expected);
}

TEST_ON_OWN_THREAD(Start, AppliesTheSwitchesSetBefore) {
  PatternWindow window(MakePattern(80, 60));
  LogRecorder log;
  Session session(Wgc().wgc_session_create(window.handle()));
  EXPECT_TRUE(Wgc().wgc_enable_cursor(session.get(), true));
  EXPECT_TRUE(Wgc().wgc_show_border(session.get(), true));
  ASSERT_TRUE(session.Start());
  const std::vector<LogLine> expected = {
      Info("Set enable cursor"),  Info("Set show border"),    Info("WgcCaptureSession::Start"),
      Info("Wgc cursor Enable "), Info("Wgc border Enable "), Info("Wgc session started."),
  };
  EXPECT_EQ(log.lines(), expected);
}

TEST_ON_OWN_THREAD(Start, OfAnInvalidWindowFailsWithTheCreateForWindowLine) {
  LogRecorder log;
  Session session(Wgc().wgc_session_create(reinterpret_cast<HWND>(0x7FFF0)));
  EXPECT_FALSE(session.Start());
  EXPECT_FALSE(Wgc().wgc_get_status(session.get()));
  const std::vector<LogLine> expected = {
      Info("WgcCaptureSession::Start"),
      Error("Failed to call IGraphicsCaptureItemInterop::CreateForWindow, hr:80070057"),
  };
  EXPECT_EQ(log.lines(), expected);
  log.Clear();
  session.Destroy();
  EXPECT_EQ(log.lines(), kStopLines);
}

TEST_ON_OWN_THREAD(Start, OfAnInvalidMonitorFailsWithTheCreateForMonitorLine) {
  LogRecorder log;
  Session session(Wgc().wgc_session_create2(reinterpret_cast<HMONITOR>(0x7FFF0)));
  EXPECT_FALSE(session.Start());
  EXPECT_TRUE(
      log.Has(Error("Failed to call IGraphicsCaptureItemInterop::CreateForMonitor, hr:80070057")));
}

TEST_ON_OWN_THREAD(Start, OfAWindowDestroyedSinceCreationFails) {
  PatternWindow window(MakePattern(80, 60));
  Session session(Wgc().wgc_session_create(window.handle()));
  window.Destroy();
  EXPECT_FALSE(session.Start());
  const Poll poll = PollOnce(session.get());
  EXPECT_FALSE(poll.result);
}

TEST_ON_OWN_THREAD(Start, AFailedStartHandsEverythingBackAtDestruction) {
  // A failed start leaves the device in the session; it must go with it.
  void* handle = Wgc().wgc_session_create(reinterpret_cast<HWND>(0x7FFF0));
  ASSERT_FALSE(Wgc().wgc_session_start(handle));
  ID3D11Device* const device = Wgc().wgc_get_device(handle);
  ASSERT_NE(device, nullptr);
  device->AddRef();
  Wgc().wgc_session_destroy(handle);
  EXPECT_EQ(device->Release(), 0u);
}

TEST(Switches, BeforeStartTheCursorIsAcceptedAndReported) {
  LogRecorder log;
  Session session(Wgc().wgc_session_create(nullptr));
  EXPECT_FALSE(PollOnce(session.get()).cursor);
  EXPECT_TRUE(Wgc().wgc_enable_cursor(session.get(), true));
  EXPECT_TRUE(PollOnce(session.get()).cursor);
  EXPECT_TRUE(Wgc().wgc_enable_cursor(session.get(), false));
  EXPECT_FALSE(PollOnce(session.get()).cursor);
  const std::vector<LogLine> expected = {Info("Set enable cursor"), Info("Set disable cursor")};
  EXPECT_EQ(log.lines(), expected);
}

TEST(Switches, DirtyRectAlwaysLogsAlsoWhenNothingChanges) {
  LogRecorder log;
  Session session(Wgc().wgc_session_create(nullptr));
  Wgc().wgc_set_dirty_rect(session.get(), true);
  Wgc().wgc_set_dirty_rect(session.get(), true);
  Wgc().wgc_set_dirty_rect(session.get(), false);
  Wgc().wgc_set_dirty_rect(session.get(), false);
  const std::vector<LogLine> expected = {Info("Set dirtyRect enable"), Info("Set dirtyRect enable"),
                                         Info("Set dirtyRect disable"),
                                         Info("Set dirtyRect disable")};
  EXPECT_EQ(log.lines(), expected);
}

TEST(Switches, CaptureToTextureNeverLogs) {
  LogRecorder log;
  Session session(Wgc().wgc_session_create(nullptr));
  Wgc().wgc_set_capture_to_texture(session.get(), true);
  Wgc().wgc_set_capture_to_texture(session.get(), false);
  EXPECT_TRUE(log.lines().empty());
}

TEST_ON_OWN_THREAD(Switches, OnALiveSessionTheyActAtOnceAndLogInLowerCase) {
  PatternWindow window(MakePattern(80, 60));
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  LogRecorder log;
  EXPECT_TRUE(Wgc().wgc_enable_cursor(session.get(), true));
  EXPECT_TRUE(Wgc().wgc_enable_cursor(session.get(), false));
  EXPECT_TRUE(Wgc().wgc_show_border(session.get(), true));
  EXPECT_TRUE(Wgc().wgc_show_border(session.get(), false));
  const std::vector<LogLine> expected = {Info("Set enable cursor"), Info("Set disable cursor"),
                                         Info("Set show border"), Info("Set hide border")};
  EXPECT_EQ(log.lines(), expected);
}

TEST(PlatformWithoutCursorProperty, RefusesToEnableAndAcceptsToDisable) {
  PlatformSetting old_platform(L"WithoutCursorProperty", 1);
  LogRecorder log;
  Session session(Wgc().wgc_session_create(nullptr));
  EXPECT_FALSE(Wgc().wgc_enable_cursor(session.get(), true));
  EXPECT_FALSE(PollOnce(session.get()).cursor);
  EXPECT_TRUE(Wgc().wgc_enable_cursor(session.get(), false));
  const std::vector<LogLine> expected = {Warning("Failed to enable cursor"),
                                         Info("Set disable cursor")};
  EXPECT_EQ(log.lines(), expected);
}

TEST_ON_OWN_THREAD(PlatformWithoutCursorProperty,
                   StartSaysSoAndDisablingOnTheLiveSessionAnswersTrue) {
  PlatformSetting old_platform(L"WithoutCursorProperty", 1);
  PatternWindow window(MakePattern(80, 60));
  LogRecorder log;
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  EXPECT_TRUE(log.Has(Info("IsCursorToggleSupported: no")));
  log.Clear();
  // The request reaches the session, which has no such property: E_NOINTERFACE, -2147467262.
  EXPECT_TRUE(Wgc().wgc_enable_cursor(session.get(), false));
  const std::vector<LogLine> expected = {Info("Set disable cursor"),
                                         Error("Winrt exception:-2147467262")};
  EXPECT_EQ(log.lines(), expected);
}

TEST_ON_OWN_THREAD(PlatformWithoutBorderProperty, RefusesToHideAndAcceptsToShow) {
  PlatformSetting old_platform(L"WithoutBorderProperty", 1);
  PatternWindow window(MakePattern(80, 60));
  LogRecorder log;
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  EXPECT_TRUE(log.Has(Info("IsBorderRequiredSupported: no")));
  log.Clear();
  EXPECT_FALSE(Wgc().wgc_show_border(session.get(), false));
  EXPECT_TRUE(Wgc().wgc_show_border(session.get(), true));
  const std::vector<LogLine> expected = {Warning("Failed to  hide border"),
                                         Info("Set show border")};
  EXPECT_EQ(log.lines(), expected);
}

TEST(SupportProbe, AnswersByTheUniversalApiContract) {
  EXPECT_TRUE(Wgc().is_wgc_session_supported());
  {
    PlatformSetting old_platform(L"UniversalApiContract", 7);
    EXPECT_FALSE(Wgc().is_wgc_session_supported());
  }
  PlatformSetting oldest_supported(L"UniversalApiContract", 8);
  EXPECT_TRUE(Wgc().is_wgc_session_supported());
}

}  // namespace
