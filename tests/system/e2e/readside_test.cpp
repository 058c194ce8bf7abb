// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What a poll reports, and the update ratio.
#include <d3d11.h>

#include "system/e2e/capture.h"

namespace {

TEST(Poll, BeforeAnyFrameWritesZerosAndTheCursorSwitchAndLeavesTheFrame) {
  Session session(Wgc().wgc_session_create(nullptr));
  Wgc().wgc_enable_cursor(session.get(), true);
  for (const bool texture : {false, true}) {
    Wgc().wgc_set_capture_to_texture(session.get(), texture);
    const Poll poll = PollOnce(session.get());
    EXPECT_FALSE(poll.result);
    EXPECT_EQ(poll.frame, Poll{}.frame);
    EXPECT_EQ(poll.width, 0u);
    EXPECT_EQ(poll.height, 0u);
    EXPECT_TRUE(poll.cursor);
  }
  EXPECT_EQ(Wgc().wgc_get_update_ratio(session.get()), 0.0f);
}

TEST(Poll, BeforeStartIsSafe) {
  PatternWindow window(MakePattern(64, 64));
  Session session(Wgc().wgc_session_create(window.handle()));
  EXPECT_FALSE(PollOnce(session.get()).result);
  Wgc().wgc_set_dirty_rect(session.get(), true);
  EXPECT_FALSE(PollOnce(session.get()).result);
}

TEST_ON_OWN_THREAD(Poll, TwiceWithoutAFrameBetweenReportsTheSameBuffer) {
  PatternWindow window(MakePattern(90, 70));
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(ComesToShow(session.get(), MakePattern(90, 70)));
  Wgc().wgc_get_update_ratio(session.get());
  const Poll first = PollOnce(session.get());
  const Poll second = PollOnce(session.get());
  EXPECT_TRUE(first.result);
  EXPECT_TRUE(second.result);
  EXPECT_EQ(first.frame, second.frame);
  EXPECT_EQ(first.width, second.width);
  EXPECT_EQ(first.height, second.height);
  EXPECT_EQ(Wgc().wgc_get_update_ratio(session.get()), 0.0f);
}

TEST_ON_OWN_THREAD(Poll, TheThirdArgumentMayBeAnything) {
  PatternWindow window(MakePattern(90, 70));
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(ComesToShow(session.get(), MakePattern(90, 70)));
  int untouched = 42;
  EXPECT_TRUE(PollOnce(session.get(), &untouched).result);
  EXPECT_EQ(untouched, 42);
  EXPECT_TRUE(PollOnce(session.get(), reinterpret_cast<void*>(3)).result);
}

TEST(Poll, SwallowsAQuitMessage) {
  Session session(Wgc().wgc_session_create(nullptr));
  // Posted, not PostQuitMessage: so it stands in the queue ahead of the message behind it.
  PostThreadMessageW(GetCurrentThreadId(), WM_QUIT, 5, 0);
  PostThreadMessageW(GetCurrentThreadId(), WM_APP, 0, 0);
  PollOnce(session.get());
  MSG message;
  EXPECT_FALSE(PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE));
}

struct Host {
  void* session = nullptr;
  DWORD thread = 0;
  bool inside = false;
  Poll poll;
};

LRESULT CALLBACK HostProcedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  if (message == WM_APP) {
    auto* host = reinterpret_cast<Host*>(lparam);
    host->thread = GetCurrentThreadId();
    host->inside = true;
    host->poll = PollOnce(host->session);
    return 0;
  }
  return DefWindowProcW(window, message, wparam, lparam);
}

TEST_ON_OWN_THREAD(Poll, DispatchesTheHostsOwnWindowsWhichMayCallBackIntoTheSession) {
  PatternWindow target(MakePattern(64, 64));
  Session session(Wgc().wgc_session_create(target.handle()));
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(ComesToShow(session.get(), MakePattern(64, 64)));

  WNDCLASSW window_class{};
  window_class.lpfnWndProc = HostProcedure;
  window_class.lpszClassName = L"QuillHostWindow";
  RegisterClassW(&window_class);
  HWND window = CreateWindowW(L"QuillHostWindow", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                              nullptr, nullptr);
  Host host;
  host.session = session.get();
  PostMessageW(window, WM_APP, 0, reinterpret_cast<LPARAM>(&host));
  const Poll outer = PollOnce(session.get());
  EXPECT_TRUE(outer.result);
  EXPECT_TRUE(host.inside);
  EXPECT_EQ(host.thread, GetCurrentThreadId());
  EXPECT_TRUE(host.poll.result);
  EXPECT_EQ(host.poll.frame, outer.frame);
  DestroyWindow(window);
}

TEST_ON_OWN_THREAD(Poll, OnAnotherThreadBringsNoFrames) {
  PatternWindow window(MakePattern(64, 64));
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(AwaitFrame());
  OnOwnThread([&] { EXPECT_FALSE(PollOnce(session.get()).result); });
  // The frame was there all along, for the start thread.
  EXPECT_TRUE(SamePixels(PollOnce(session.get()), MakePattern(64, 64)));
}

TEST_ON_OWN_THREAD(Poll, AHostThatNeverPollsReceivesNoFrames) {
  PatternWindow window(MakePattern(64, 64));
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(AwaitFrame());
  EXPECT_EQ(Wgc().wgc_get_update_ratio(session.get()), 0.0f);
  EXPECT_TRUE(PollOnce(session.get()).result);  // it was there
}

TEST_ON_OWN_THREAD(UpdateRatio, IsOneWithoutDetectionAndZeroOnceRead) {
  PatternWindow window(MakePattern(64, 64));
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(ComesToShow(session.get(), MakePattern(64, 64)));
  EXPECT_EQ(Wgc().wgc_get_update_ratio(session.get()), 1.0f);
  EXPECT_EQ(Wgc().wgc_get_update_ratio(session.get()), 0.0f);
}

TEST_ON_OWN_THREAD(TextureOutput, EachSuccessfulPollAddsOneReference) {
  PatternWindow window(MakePattern(64, 64));
  Session session(Wgc().wgc_session_create(window.handle()));
  Wgc().wgc_set_capture_to_texture(session.get(), true);
  ASSERT_TRUE(session.Start());
  Poll first;
  ASSERT_TRUE(PollUntil(session.get(), &first, [](const Poll& p) { return p.result; }));
  auto* texture = static_cast<ID3D11Texture2D*>(first.frame);
  const ULONG one = (texture->AddRef(), texture->Release());
  const Poll second = PollOnce(session.get());
  const Poll third = PollOnce(session.get());
  EXPECT_EQ(second.frame, texture);
  EXPECT_EQ(third.frame, texture);
  EXPECT_EQ((texture->AddRef(), texture->Release()), one + 2);
  for (int i = 0; i < 3; ++i) texture->Release();
}

}  // namespace
