// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The host's poll: what it writes, what it pumps, and what may happen inside it.
#include <cstring>
#include <future>

#include "native/host.h"

namespace session_test {
namespace {

class Polls : public SessionTest {};

// As GetFrame, with results that held something else before.
Poll PollOverwriting(Session& session, void* reserved = nullptr) {
  Poll poll;
  poll.frame = kUntouched;
  poll.width = 1234;
  poll.height = 5678;
  poll.cursor_enabled = true;
  poll.available = wgc_get_recent_frame(session.handle(), &poll.frame, reserved, &poll.width,
                                        &poll.height, &poll.cursor_enabled);
  return poll;
}

TEST_F(Polls, WriteZerosAndLeaveTheFrameBeforeTheFirst) {
  Session session;
  const auto expect_nothing = [&](bool cursor_enabled) {
    const Poll poll = PollOverwriting(session);
    EXPECT_FALSE(poll.available);
    EXPECT_EQ(poll.frame, kUntouched);
    EXPECT_EQ(std::pair(poll.width, poll.height), std::pair(0u, 0u));
    EXPECT_EQ(poll.cursor_enabled, cursor_enabled);
  };
  expect_nothing(false);
  ASSERT_TRUE(session.Start());
  expect_nothing(false);
  session.ToTexture(true);
  expect_nothing(false);
  ASSERT_TRUE(session.EnableCursor(true));
  expect_nothing(true);
}

TEST_F(Polls, ReportTheSameBufferUntilANewerFrameComes) {
  Capture session;
  const Poll first = session.Show(Pattern(64, 48));
  ASSERT_TRUE(first.available);
  uint8_t word[sizeof(void*)];
  std::memset(word, 0x77, sizeof(word));
  // The third argument may be anything.
  for (void* const reserved :
       {static_cast<void*>(nullptr), static_cast<void*>(word), reinterpret_cast<void*>(0x1)}) {
    const Poll again = PollOverwriting(session, reserved);
    EXPECT_EQ(again.frame, first.frame);
    EXPECT_FALSE(again.cursor_enabled);
    EXPECT_EQ(Pixels(again), Pattern(64, 48));
  }
  for (const uint8_t byte : word) EXPECT_EQ(byte, 0x77);
  EXPECT_EQ(session.Show(Pattern(64, 48, 2)).frame, first.frame);
  // What the host kept is the new frame now.
  EXPECT_EQ(Pixels(first), Pattern(64, 48, 2));
}

TEST_F(Polls, FreeingAFrameHasNoEffect) {
  Capture session;
  const Poll poll = session.Show(Pattern(64, 48));
  fake::StartRecording(true);
  wgc_free_recent_frame(session.handle(), poll.frame);
  wgc_free_recent_frame(session.handle(), nullptr);
  wgc_free_recent_frame(nullptr, poll.frame);
  wgc_free_recent_frame(reinterpret_cast<void*>(1), reinterpret_cast<void*>(2));
  EXPECT_EQ(fake::TakeRecording(), std::vector<std::string>());
  EXPECT_EQ(Pixels(poll), Pattern(64, 48));
  EXPECT_EQ(session.GetFrame().frame, poll.frame);
}

TEST_F(Polls, ReadingTheRatioResetsItAndPollsDoNot) {
  Session session;
  EXPECT_EQ(session.Ratio(), 0.0f);
  ASSERT_TRUE(session.Start());
  DeliverAnySize(Pattern(64, 48));
  EXPECT_EQ(session.Ratio(), 0.0f);
  session.GetFrame();
  session.GetFrame();
  EXPECT_EQ(session.Ratio(), 1.0f);
  EXPECT_EQ(session.Ratio(), 0.0f);
}

// The pump.

constexpr UINT kHostMessage = WM_APP + 1;

TEST_F(Polls, DispatchEveryMessageOfTheThreadUnfiltered) {
  Session session;  // a poll pumps even when nothing was started
  std::vector<UINT> dispatched;
  fake::window_procedure = [&](UINT message) { dispatched.push_back(message); };
  for (const UINT message : {kHostMessage, UINT{WM_QUIT}, UINT{WM_KEYDOWN}}) {
    fake::ThreadQueue()->Post(message);
  }
  // 32769 is the host's own, 18 asks to quit and ends nothing, 256 is a key.
  EXPECT_EQ(Recorded([&] { session.GetFrame(); }),
            (std::vector<std::string>{"PeekMessageW(null, 0, 0, 1)", "TranslateMessage(32769)",
                                      "DispatchMessageW(32769)", "PeekMessageW(null, 0, 0, 1)",
                                      "TranslateMessage(18)", "DispatchMessageW(18)",
                                      "PeekMessageW(null, 0, 0, 1)", "TranslateMessage(256)",
                                      "DispatchMessageW(256)", "PeekMessageW(null, 0, 0, 1)"}));
  EXPECT_EQ(dispatched, (std::vector<UINT>{kHostMessage, WM_QUIT, WM_KEYDOWN}));
}

TEST_F(Polls, DispatchMessagesThatArePostedMeanwhile) {
  Capture session;
  int left = 1000;
  fake::window_procedure = [&](UINT message) {
    if (--left > 0) fake::ThreadQueue()->Post(message);
  };
  fake::ThreadQueue()->Post(kHostMessage);
  session.GetFrame();
  EXPECT_EQ(left, 0);
  EXPECT_EQ(fake::ThreadQueue()->Size(), 0u);
}

TEST_F(Polls, WindowProcedureMayReadAndSwitchTheSession) {
  Capture session;
  bool running = false;
  float ratio = -1.0f;
  fake::window_procedure = [&](UINT) {
    running = session.Running();
    ratio = session.Ratio();
    session.ToTexture(true);
    session.EnableCursor(true);
  };
  // The first frame goes to the buffer, the second is dropped, as the buffer has one already.
  DeliverAnySize(Pattern(64, 48, 1));
  fake::ThreadQueue()->Post(kHostMessage);
  const Poll poll = session.Show(Pattern(64, 48, 2));
  EXPECT_TRUE(running);
  EXPECT_EQ(ratio, 1.0f);
  // What is reported goes by the switches at the end.
  EXPECT_FALSE(poll.available);
  EXPECT_EQ(poll.width, 64u);
  EXPECT_TRUE(poll.cursor_enabled);
  session.ToTexture(false);
  EXPECT_EQ(Pixels(session.GetFrame()), Pattern(64, 48, 1));
}

TEST_F(Polls, WindowProcedureMayPoll) {
  Capture session;
  Poll inner;
  Picture inner_pixels;
  fake::window_procedure = [&](UINT) {
    inner = session.GetFrame();
    inner_pixels = Pixels(inner);
  };
  DeliverAnySize(Pattern(64, 48, 1));
  fake::ThreadQueue()->Post(kHostMessage);
  const Poll outer = session.Show(Pattern(64, 48, 2));
  // The inner poll is one like any other: it takes the next frame.
  EXPECT_EQ(inner_pixels, Pattern(64, 48, 2));
  EXPECT_EQ(outer.frame, inner.frame);
  EXPECT_EQ(Pixels(outer), Pattern(64, 48, 2));
}

TEST_F(Polls, WindowProcedureMayCreateStartAndDestroyAnotherSession) {
  fake::settings.several_queues_a_thread = true;
  Capture session;
  fake::FramePool* const pool = fake::LastPool();
  Picture other_pixels;
  fake::window_procedure = [&](UINT) {
    Capture other;
    other_pixels = Pixels(other.Show(Pattern(64, 48, 5)));
  };
  fake::ThreadQueue()->Post(kHostMessage);
  ASSERT_TRUE(pool->Deliver(Pattern(64, 48, 1)));
  EXPECT_EQ(Pixels(session.GetFrame()), Pattern(64, 48, 1));
  EXPECT_EQ(other_pixels, Pattern(64, 48, 5));
}

TEST_F(Polls, DeliverTheFramesOfAllSessionsOfTheThread) {
  fake::settings.several_queues_a_thread = true;
  Capture first;
  fake::FramePool* const first_pool = fake::LastPool();
  Capture second;
  ASSERT_TRUE(first_pool->Deliver(Pattern(64, 48, 1)));
  EXPECT_EQ(Pixels(second.Show(Pattern(64, 48, 2))), Pattern(64, 48, 2));
  // The first's frame is there already, and is kept until its own poll.
  EXPECT_EQ(first_pool->FramesWaiting(), 0u);
  EXPECT_EQ(Pixels(first.GetFrame()), Pattern(64, 48, 1));
}

TEST_F(Polls, BringNoFramesOnAnotherThread) {
  Capture session;
  const auto poll_elsewhere = [&] {
    return std::async(std::launch::async, [&] { return session.GetFrame(); }).get();
  };
  DeliverAnySize(Pattern(64, 48, 1));
  EXPECT_FALSE(poll_elsewhere().available);
  EXPECT_EQ(fake::LastPool()->HandlerResult(), S_FALSE);  // not called
  EXPECT_EQ(fake::LastPool()->FramesWaiting(), 1u);
  EXPECT_TRUE(session.GetFrame().available);
  DeliverAnySize(Pattern(64, 48, 2));
  EXPECT_EQ(Pixels(poll_elsewhere()), Pattern(64, 48, 1));
}

}  // namespace
}  // namespace session_test
