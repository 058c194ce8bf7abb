// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The host's poll: what it writes, what it pumps, and what may happen inside it.
#include <cstring>
#include <future>
#include <thread>

#include "native/frames.h"

namespace session_test {
namespace {

class Polls : public SessionTest {};

void ExpectNothing(const Poll& poll, bool cursor_enabled) {
  EXPECT_FALSE(poll.available);
  EXPECT_EQ(poll.frame, kUntouched);
  EXPECT_EQ(poll.width, 0u);
  EXPECT_EQ(poll.height, 0u);
  EXPECT_EQ(poll.cursor_enabled, cursor_enabled);
}

// As GetFrame, with results that held something else before.
Poll PollOverwriting(Session& session) {
  Poll poll;
  poll.frame = kUntouched;
  poll.width = 1234;
  poll.height = 5678;
  poll.cursor_enabled = true;
  poll.available = wgc_get_recent_frame(session.handle(), &poll.frame, nullptr, &poll.width,
                                        &poll.height, &poll.cursor_enabled);
  return poll;
}

TEST_F(Polls, BeforeAnyFrameWriteZerosAndTheCursorSwitchAndLeaveTheFrame) {
  Session session;
  ExpectNothing(PollOverwriting(session), false);
  ASSERT_TRUE(session.Start());
  ExpectNothing(PollOverwriting(session), false);
  session.ToTexture(true);
  ExpectNothing(PollOverwriting(session), false);
  ASSERT_TRUE(wgc_enable_cursor(session.handle(), true));
  ExpectNothing(session.GetFrame(), true);
}

TEST_F(Polls, TwiceWithoutAFrameBetweenReportTheSameBuffer) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
  const Poll first = session.GetFrame();
  EXPECT_EQ(session.Ratio(), 1.0f);
  const Poll second = PollOverwriting(session);
  ASSERT_TRUE(first.available);
  ASSERT_TRUE(second.available);
  EXPECT_EQ(second.frame, first.frame);
  EXPECT_EQ(second.width, 64u);
  EXPECT_EQ(second.height, 48u);
  EXPECT_FALSE(second.cursor_enabled);
  EXPECT_EQ(Pixels(second).pixels, Pattern(64, 48).pixels);
  EXPECT_EQ(session.Ratio(), 0.0f);
}

TEST_F(Polls, KeepTheAddressFromFrameToFrame) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 1)));
  const Poll first = session.GetFrame();
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2)));
  const Poll second = session.GetFrame();
  EXPECT_EQ(second.frame, first.frame);
  // What the host kept is the new frame now.
  EXPECT_EQ(Pixels(first).pixels, Pattern(64, 48, 2).pixels);
}

TEST_F(Polls, TheThirdArgumentMayBeAnything) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
  uint8_t word[sizeof(void*)];
  std::memset(word, 0x77, sizeof(word));
  for (void* const reserved :
       {static_cast<void*>(nullptr), static_cast<void*>(word), reinterpret_cast<void*>(0x1)}) {
    void* frame = nullptr;
    uint32_t width = 0, height = 0;
    bool cursor_enabled = true;
    EXPECT_TRUE(
        wgc_get_recent_frame(session.handle(), &frame, reserved, &width, &height, &cursor_enabled));
    EXPECT_NE(frame, nullptr);
    EXPECT_EQ(width, 64u);
    EXPECT_EQ(height, 48u);
    EXPECT_FALSE(cursor_enabled);
  }
  for (const uint8_t byte : word) EXPECT_EQ(byte, 0x77);
}

TEST_F(Polls, FreeingAFrameHasNoEffect) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
  const Poll poll = session.GetFrame();
  fake::StartRecording(true);
  wgc_free_recent_frame(session.handle(), poll.frame);
  wgc_free_recent_frame(session.handle(), poll.frame);
  wgc_free_recent_frame(session.handle(), nullptr);
  wgc_free_recent_frame(nullptr, poll.frame);
  wgc_free_recent_frame(nullptr, nullptr);
  wgc_free_recent_frame(reinterpret_cast<void*>(1), reinterpret_cast<void*>(2));
  EXPECT_EQ(fake::TakeRecording(), std::vector<std::string>());
  EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48).pixels);
  EXPECT_EQ(session.GetFrame().frame, poll.frame);
}

TEST_F(Polls, ReportTheCursorSwitchOfTheMomentWhateverTheFrame) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
  EXPECT_FALSE(session.GetFrame().cursor_enabled);
  wgc_enable_cursor(session.handle(), true);
  EXPECT_TRUE(session.GetFrame().cursor_enabled);
  wgc_enable_cursor(session.handle(), false);
  EXPECT_FALSE(session.GetFrame().cursor_enabled);
}

TEST_F(Polls, ReadingTheRatioResetsIt) {
  Session session;
  EXPECT_EQ(session.Ratio(), 0.0f);
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
  EXPECT_EQ(session.Ratio(), 0.0f);
  session.GetFrame();
  // Polls do not.
  session.GetFrame();
  EXPECT_EQ(session.Ratio(), 1.0f);
  EXPECT_EQ(session.Ratio(), 0.0f);
}

// The pump.

constexpr UINT kHostMessage = WM_APP + 1;

TEST_F(Polls, TakeAndDispatchEveryMessageOfTheThreadUnfiltered) {
  Session session;
  ASSERT_TRUE(session.Start());
  std::vector<UINT> dispatched;
  fake::window_procedure = [&](UINT message) { dispatched.push_back(message); };
  fake::ThreadQueue()->Post(kHostMessage);
  fake::ThreadQueue()->Post(WM_QUIT);
  fake::ThreadQueue()->Post(WM_KEYDOWN);
  fake::StartRecording();
  session.GetFrame();
  // 32769 is the host's own, 18 asks to quit, 256 is a key.
  EXPECT_EQ(fake::TakeRecording(),
            (std::vector<std::string>{"PeekMessageW(null, 0, 0, 1)", "TranslateMessage(32769)",
                                      "DispatchMessageW(32769)", "PeekMessageW(null, 0, 0, 1)",
                                      "TranslateMessage(18)", "DispatchMessageW(18)",
                                      "PeekMessageW(null, 0, 0, 1)", "TranslateMessage(256)",
                                      "DispatchMessageW(256)", "PeekMessageW(null, 0, 0, 1)"}));
  EXPECT_EQ(dispatched, (std::vector<UINT>{kHostMessage, WM_QUIT, WM_KEYDOWN}));
}

TEST_F(Polls, AQuitMessageIsTakenAndEndsNothing) {
  Session session;
  ASSERT_TRUE(session.Start());
  fake::ThreadQueue()->Post(WM_QUIT);
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
  EXPECT_TRUE(session.GetFrame().available);
  // The host's own loop will not see it.
  MSG message;
  EXPECT_FALSE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
}

TEST_F(Polls, PumpUntilTheQueueIsEmptyAlsoOfWhatIsPostedMeanwhile) {
  Session session;
  ASSERT_TRUE(session.Start());
  int left = 1000;
  fake::window_procedure = [&](UINT message) {
    if (--left > 0) fake::ThreadQueue()->Post(message);
  };
  fake::ThreadQueue()->Post(kHostMessage);
  session.GetFrame();
  EXPECT_EQ(left, 0);
  EXPECT_EQ(fake::ThreadQueue()->Size(), 0u);
}

TEST_F(Polls, PumpEvenWhenNothingWasStarted) {
  Session session;
  fake::ThreadQueue()->Post(kHostMessage);
  session.GetFrame();
  EXPECT_EQ(fake::ThreadQueue()->Size(), 0u);
}

TEST_F(Polls, AWindowProcedureMayReadAndSwitchTheSession) {
  Session session;
  ASSERT_TRUE(session.Start());
  bool running = false;
  float ratio = -1.0f;
  fake::window_procedure = [&](UINT) {
    running = session.Running();
    ratio = session.Ratio();
    session.ToTexture(true);
    wgc_enable_cursor(session.handle(), true);
  };
  // The first frame goes to the buffer, the second is dropped, as the buffer has one already.
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 1)));
  fake::ThreadQueue()->Post(kHostMessage);
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2)));
  const Poll poll = session.GetFrame();
  EXPECT_TRUE(running);
  EXPECT_EQ(ratio, 1.0f);
  // What is reported goes by the switches at the end.
  EXPECT_FALSE(poll.available);
  EXPECT_EQ(poll.width, 64u);
  EXPECT_TRUE(poll.cursor_enabled);
  session.ToTexture(false);
  EXPECT_EQ(Pixels(session.GetFrame()).pixels, Pattern(64, 48, 1).pixels);
}

TEST_F(Polls, AWindowProcedureMayPoll) {
  Session session;
  ASSERT_TRUE(session.Start());
  Poll inner;
  reference::Image inner_pixels;
  fake::window_procedure = [&](UINT) {
    inner = session.GetFrame();
    if (inner.available) inner_pixels = Pixels(inner);
  };
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 1)));
  fake::ThreadQueue()->Post(kHostMessage);
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2)));
  const Poll outer = session.GetFrame();
  // The inner poll is one like any other: it takes the next frame.
  ASSERT_TRUE(inner.available);
  EXPECT_EQ(inner_pixels.pixels, Pattern(64, 48, 2).pixels);
  ASSERT_TRUE(outer.available);
  EXPECT_EQ(outer.frame, inner.frame);
  EXPECT_EQ(Pixels(outer).pixels, Pattern(64, 48, 2).pixels);
}

TEST_F(Polls, AWindowProcedureMayCreateStartAndDestroyAnotherSession) {
  fake::settings.several_queues_a_thread = true;
  Session session;
  ASSERT_TRUE(session.Start());
  fake::FramePool* const pool = fake::LastPool();
  bool other_available = false;
  fake::window_procedure = [&](UINT) {
    Session other(kMonitor);
    ASSERT_TRUE(other.Start());
    ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 5)));
    other_available = other.GetFrame().available;
  };
  fake::ThreadQueue()->Post(kHostMessage);
  ASSERT_TRUE(pool->Deliver(Pattern(64, 48, 1)));
  const Poll poll = session.GetFrame();
  EXPECT_TRUE(other_available);
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48, 1).pixels);
}

TEST_F(Polls, OfOneSessionDeliverTheFramesOfAllOnTheThread) {
  fake::settings.several_queues_a_thread = true;
  Session first;
  ASSERT_TRUE(first.Start());
  fake::FramePool* const first_pool = fake::LastPool();
  Session second(kMonitor);
  ASSERT_TRUE(second.Start());
  ASSERT_TRUE(first_pool->Deliver(Pattern(64, 48, 1)));
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2)));
  EXPECT_EQ(Pixels(second.GetFrame()).pixels, Pattern(64, 48, 2).pixels);
  // The first's frame is there already, and its mark keeps it until its own poll.
  EXPECT_EQ(first_pool->FramesWaiting(), 0u);
  EXPECT_EQ(Pixels(first.GetFrame()).pixels, Pattern(64, 48, 1).pixels);
}

TEST_F(Polls, OnAnotherThreadBringNoFramesAndReportWhatIsThere) {
  Session session;
  ASSERT_TRUE(session.Start());
  fake::FramePool* const pool = fake::LastPool();
  ASSERT_TRUE(pool->Deliver(Pattern(64, 48, 1)));
  const auto poll_elsewhere = [&] {
    return std::async(std::launch::async, [&] { return session.GetFrame(); }).get();
  };
  EXPECT_FALSE(poll_elsewhere().available);
  EXPECT_EQ(pool->FramesWaiting(), 1u);
  EXPECT_TRUE(session.GetFrame().available);
  ASSERT_TRUE(pool->Deliver(Pattern(64, 48, 2)));
  const Poll poll = poll_elsewhere();
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48, 1).pixels);
}

TEST_F(Polls, AHostThatNeverPollsReceivesNoFrames) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
  EXPECT_EQ(fake::LastPool()->FramesWaiting(), 1u);
  EXPECT_EQ(session.Ratio(), 0.0f);
  EXPECT_EQ(fake::LastPool()->HandlerResult(), S_FALSE);  // not called
}

}  // namespace
}  // namespace session_test
