// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The calls that the library makes on the capture platform, in their order and with their plain
// arguments, as the stand-in notes them.
#include <sstream>

#include "system/e2e/capture.h"

namespace {

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

TEST_ON_OWN_THREAD(Calls, OfAStartInTheirOrder) {
  PatternWindow window(MakePattern(200, 100));
  Session session(Wgc().wgc_session_create(window.handle()));
  CallTrace trace;
  ASSERT_TRUE(session.Start());
  // Frames are listened for before the capture runs, its end only afterwards.
  const Calls expected = {
      "CreateForWindow",
      "get_Size",
      "Create 87 2 200x100",
      "CreateCaptureSession",
      "put_IsCursorCaptureEnabled 0",
      "put_IsBorderRequired 0",
      "add_FrameArrived",
      "StartCapture",
      "add_Closed",
  };
  EXPECT_EQ(trace.Stop(), expected);
}

TEST_ON_OWN_THREAD(Calls, OfAStartPassTheSwitchesSetBefore) {
  PatternWindow window(MakePattern(200, 100));
  Session session(Wgc().wgc_session_create(window.handle()));
  Wgc().wgc_enable_cursor(session.get(), true);
  Wgc().wgc_show_border(session.get(), true);
  CallTrace trace;
  ASSERT_TRUE(session.Start());
  const Calls calls = trace.Stop();
  ASSERT_EQ(calls.size(), 9u);
  EXPECT_EQ(calls[4], "put_IsCursorCaptureEnabled 1");
  EXPECT_EQ(calls[5], "put_IsBorderRequired 1");
}

TEST_ON_OWN_THREAD(Calls, OfAMonitorsStartAskForTheMonitor) {
  Session session(
      Wgc().wgc_session_create2(MonitorFromPoint(POINT{0, 0}, MONITOR_DEFAULTTOPRIMARY)));
  CallTrace trace;
  ASSERT_TRUE(session.Start());
  const Calls calls = trace.Stop();
  ASSERT_EQ(calls.size(), 9u);
  EXPECT_EQ(calls[0], "CreateForMonitor");
}

TEST_ON_OWN_THREAD(Calls, OfADestructionRevokeBothEventsThenCloseThePoolAndTheSession) {
  PatternWindow window(MakePattern(200, 100));
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  CallTrace trace;
  session.Destroy();
  const Calls expected = {"remove_FrameArrived", "remove_Closed", "pool Close", "session Close"};
  EXPECT_EQ(trace.Stop(), expected);
}

TEST_ON_OWN_THREAD(Calls, OfTheLiveSwitchesReachTheSessionAtOnce) {
  PatternWindow window(MakePattern(200, 100));
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  CallTrace trace;
  Wgc().wgc_enable_cursor(session.get(), true);
  Wgc().wgc_enable_cursor(session.get(), false);
  Wgc().wgc_show_border(session.get(), true);
  Wgc().wgc_show_border(session.get(), false);
  Wgc().wgc_set_dirty_rect(session.get(), true);
  Wgc().wgc_set_capture_to_texture(session.get(), true);
  const Calls expected = {
      "put_IsCursorCaptureEnabled 1",
      "put_IsCursorCaptureEnabled 0",
      "put_IsBorderRequired 1",
      "put_IsBorderRequired 0",
  };
  EXPECT_EQ(trace.Stop(), expected);
}

TEST_ON_OWN_THREAD(Calls, WithoutTheBorderPropertyTheSessionIsLeftAlone) {
  PlatformSetting old_platform(L"WithoutBorderProperty", 1);
  PatternWindow window(MakePattern(200, 100));
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  CallTrace trace;
  EXPECT_TRUE(Wgc().wgc_show_border(session.get(), true));
  EXPECT_EQ(trace.Stop(), Calls{});
}

TEST_ON_OWN_THREAD(Calls, EachEventTakesOneFrameAndADroppedOneDoesNothingElse) {
  PatternWindow window(MakePattern(200, 100, 1));
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(ComesToShow(session.get(), MakePattern(200, 100, 1)));
  ShowAndWait(window, MakePattern(200, 100, 2));
  ShowAndWait(window, MakePattern(150, 80, 3));
  CallTrace trace;
  PollOnce(session.get());
  const Calls expected = {"TryGetNextFrame", "TryGetNextFrame"};
  EXPECT_EQ(trace.Stop(), expected);
}

TEST(Calls, AFrameOfAnotherSizeMakesThePoolAnewOnce) {
  for (const bool texture : {false, true}) {
    OnOwnThread([texture] {
      PatternWindow window(MakePattern(200, 100, 1));
      Session session(Wgc().wgc_session_create(window.handle()));
      ASSERT_TRUE(session.Start());
      ASSERT_TRUE(ComesToShow(session.get(), MakePattern(200, 100, 1)));
      Wgc().wgc_set_capture_to_texture(session.get(), texture);
      ShowAndWait(window, MakePattern(150, 80, 2));
      CallTrace trace;
      const Poll poll = PollOnce(session.get());
      if (texture && poll.result) static_cast<IUnknown*>(poll.frame)->Release();
      const Calls calls = trace.Stop();
      ASSERT_GE(calls.size(), 2u);
      EXPECT_EQ(calls[0], "TryGetNextFrame");
      EXPECT_EQ(calls[1], "Recreate 87 2 150x80");
      for (size_t i = 2; i < calls.size(); ++i) EXPECT_EQ(calls[i], "TryGetNextFrame");
    });
  }
}

}  // namespace
