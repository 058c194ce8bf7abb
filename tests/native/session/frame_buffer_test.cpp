// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The memory that frames are copied to: how large it is, what it holds before a frame is copied,
// and what becomes of it when there is not enough.
#include <cstring>

#include "native/frames.h"
#include "native/session_state.h"

namespace session_test {
namespace {

using fake::Fault;

class FrameBuffer : public SessionTest {
 protected:
  // New memory of the C heap is filled with this on the tests' platform.
  static constexpr uint32_t kNeverWritten = 0xA5A5A5A5;

  // A frame whose pixels the GPU keeps to itself: the buffer is made ready for it and not written.
  static Poll PollWithoutPixels(Session& session, uint32_t width, uint32_t height) {
    fake::FramePool* const pool = fake::LastPool();
    EXPECT_TRUE(
        pool->DeliverTexture(NewFrameTexture(fake::FrameDesc(width, height)).get(), pool->Size()));
    fake::PlanFaults(fake::EveryCallOf("Map", {Fault::Kind::kNothing}));
    const Poll poll = session.GetFrame();
    fake::PlanNoFaults();
    return poll;
  }

  static Poll PollOf(Session& session, const reference::Image& picture) {
    DeliverAnySize(picture);
    return session.GetFrame();
  }

  static std::vector<std::string> HeapCalls(const std::vector<std::string>& recording) {
    std::vector<std::string> lines;
    for (const std::string& line : recording) {
      if (line.starts_with("malloc(") || line.starts_with("free(")) lines.push_back(line);
    }
    return lines;
  }
};

TEST_F(FrameBuffer, DoesNotExistBeforeTheFirstFrame) {
  Session session;
  ASSERT_TRUE(session.Start());
  EXPECT_FALSE(session.GetFrame().available);
  EXPECT_EQ(fake::HeapBytes(), 0);
  EXPECT_EQ(BufferCapacityOf(session.handle()), 0u);
}

TEST_F(FrameBuffer, IsAtFirstExactlyAsLargeAsTheFrame) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(PollOf(session, reference::Image(1920, 1080, 7)).available);
  EXPECT_EQ(BufferCapacityOf(session.handle()), 8294400u);
  EXPECT_EQ(fake::HeapBytes(), 8294400);

  ContinueOnNewThread();
  Session other;
  ASSERT_TRUE(other.Start());
  ASSERT_TRUE(PollOf(other, Pattern(33, 7)).available);
  EXPECT_EQ(BufferCapacityOf(other.handle()), 924u);
}

TEST_F(FrameBuffer, IsNotClearedAtFirst) {
  Session session;
  ASSERT_TRUE(session.Start());
  const Poll poll = PollWithoutPixels(session, 64, 48);
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, reference::Image(64, 48, kNeverWritten).pixels);
}

struct Growth {
  uint32_t width;
  uint32_t height;
  uint64_t capacity;  // bytes
};

class FrameBufferGrowth : public FrameBuffer, public testing::WithParamInterface<Growth> {};

TEST_P(FrameBufferGrowth, GoesToTheNextLargerScreenAndIsZeroFilled) {
  const Growth growth = GetParam();
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(PollOf(session, Pattern(64, 48)).available);
  fake::StartRecording();
  fake::ResetHeapPeak();
  Poll poll = PollWithoutPixels(session, growth.width, growth.height);
  EXPECT_EQ(
      HeapCalls(fake::TakeRecording()),
      (std::vector<std::string>{"free(12288)", "malloc(" + std::to_string(growth.capacity) + ")"}));
  // The old buffer went before the new one came.
  EXPECT_EQ(fake::HeapPeak(), static_cast<int64_t>(growth.capacity));
  EXPECT_EQ(BufferCapacityOf(session.handle()), growth.capacity);
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(poll.width, growth.width);
  EXPECT_EQ(poll.height, growth.height);
  // All of it, also beyond the frame: the first byte, and each like the one before it.
  const auto* const bytes = static_cast<const uint8_t*>(poll.frame);
  EXPECT_EQ(bytes[0], 0);
  EXPECT_EQ(std::memcmp(bytes, bytes + 1, growth.capacity - 1), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Tiers, FrameBufferGrowth,
    testing::Values(Growth{65, 48, 8294400},       // 12,480 bytes
                    Growth{1920, 1079, 8294400},   // 8,286,720
                    Growth{1920, 1080, 14745600},  // 8,294,400: as large as a screen
                    Growth{1921, 1080, 14745600},  // 8,298,720
                    Growth{2560, 1439, 14745600},  // 14,735,360
                    Growth{2560, 1440, 23040000},  // 14,745,600
                    Growth{3200, 1799, 23040000},  // 23,027,200
                    Growth{3200, 1800, 33177600},  // 23,040,000
                    Growth{3840, 2159, 33177600},  // 33,162,240
                    Growth{3840, 2160, 35389440},  // 33,177,600
                    Growth{4096, 2159, 35389440},  // 35,373,056
                    Growth{4096, 2160, 35389440},  // 35,389,440: beyond the screens, exact
                    Growth{4096, 2161, 35405824}, Growth{5120, 2880, 58982400}),
    [](const auto& info) {
      return std::to_string(info.param.width) + "x" + std::to_string(info.param.height);
    });

TEST_F(FrameBuffer, HoldsTheFrameAfterGrowing) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(PollOf(session, Pattern(64, 48)).available);
  const reference::Image larger = Pattern(100, 90, 2);
  const Poll poll = PollOf(session, larger);
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, larger.pixels);
}

TEST_F(FrameBuffer, IsReusedWithoutClearingAndNeverShrinks) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(PollOf(session, reference::Image(1920, 1080, 1)).available);
  const reference::Image large = Pattern(1921, 1080, 2);
  const void* const address = PollOf(session, large).frame;
  fake::StartRecording();
  const Poll poll = PollWithoutPixels(session, 1280, 720);
  EXPECT_EQ(HeapCalls(fake::TakeRecording()), std::vector<std::string>());
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(poll.width, 1280u);
  EXPECT_EQ(poll.height, 720u);
  EXPECT_EQ(poll.frame, address);
  EXPECT_EQ(BufferCapacityOf(session.handle()), 14745600u);
  // Still the larger frame's first bytes.
  EXPECT_TRUE(std::equal(large.pixels.begin(), large.pixels.begin() + 1280 * 720,
                         Pixels(poll).pixels.begin()));
}

TEST_F(FrameBuffer, OfAFrameWithTheSameNumberOfBytesIsKept) {
  Session session;
  ASSERT_TRUE(session.Start());
  const void* const address = PollOf(session, Pattern(64, 48)).frame;
  const Poll poll = PollOf(session, Pattern(48, 64, 2));
  EXPECT_EQ(poll.frame, address);
  EXPECT_EQ(poll.width, 48u);
  EXPECT_EQ(poll.height, 64u);
  EXPECT_EQ(Pixels(poll).pixels, Pattern(48, 64, 2).pixels);
  EXPECT_EQ(BufferCapacityOf(session.handle()), 12288u);
}

TEST_F(FrameBuffer, FailedAtFirstIsLoggedAndReportsNoFrame) {
  Session session;
  ASSERT_TRUE(session.Start());
  TakeLog();
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
  fake::PlanFaults(fake::EveryCallOf("malloc", {Fault::Kind::kNothing}));
  const Poll poll = session.GetFrame();
  EXPECT_FALSE(poll.available);
  EXPECT_EQ(poll.frame, kUntouched);
  EXPECT_EQ(poll.width, 0u);
  EXPECT_EQ(poll.height, 0u);
  // Once for each way of reading a frame.
  EXPECT_EQ(TakeLog(),
            (std::vector<LogLine>{{3, "Failed to allocate 12KB"}, {3, "Failed to allocate 12KB"}}));
  // What was wanted is remembered all the same.
  EXPECT_EQ(BufferCapacityOf(session.handle()), 12288u);
}

TEST_F(FrameBuffer, FailedAtFirstComesWithALaterFrame) {
  // The staging texture is still mapped from the failed attempt: the device drops the next copy.
  ExpectRefusals();
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 1)));
  fake::PlanFaults(fake::EveryCallOf("malloc", {Fault::Kind::kNothing}));
  EXPECT_FALSE(session.GetFrame().available);
  fake::PlanNoFaults();
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2)));
  const Poll poll = session.GetFrame();
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48, 2).pixels);
  EXPECT_EQ(BufferCapacityOf(session.handle()), 12288u);
}

TEST_F(FrameBuffer, FailedToGrowIsSilentAndReportsNoFrameWithTheOldSize) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(PollOf(session, Pattern(64, 48)).available);
  TakeLog();
  // Each growth fails: the first, and as there is no buffer then, the first allocation of the
  // simple way. Only the latter is worth a line.
  DeliverAnySize(Pattern(100, 90));
  fake::PlanFaults(fake::EveryCallOf("malloc", {Fault::Kind::kNothing}));
  fake::StartRecording();
  const Poll poll = session.GetFrame();
  EXPECT_EQ(HeapCalls(fake::TakeRecording()),
            (std::vector<std::string>{"free(12288)", "malloc(8294400)", "malloc(36000)"}));
  EXPECT_FALSE(poll.available);
  EXPECT_EQ(poll.frame, kUntouched);
  EXPECT_EQ(poll.width, 64u);
  EXPECT_EQ(poll.height, 48u);
  EXPECT_EQ(TakeLog(), (std::vector<LogLine>{{3, "Failed to allocate 35KB"}}));
}

TEST_F(FrameBuffer, FailedToGrowIsAllocatedExactlyByTheSimpleWay) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(PollOf(session, Pattern(64, 48)).available);
  TakeLog();
  DeliverAnySize(Pattern(100, 90, 2));
  fake::PlanFaults(fake::NthCallOf("malloc", 1, {Fault::Kind::kNothing}));
  const Poll poll = session.GetFrame();
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, Pattern(100, 90, 2).pixels);
  EXPECT_EQ(BufferCapacityOf(session.handle()), 36000u);
  EXPECT_EQ(TakeLog(), std::vector<LogLine>());
}

TEST_F(FrameBuffer, FailedToGrowLeavesNoCapacityWhenNothingElseCanRead) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(PollOf(session, Pattern(64, 48)).available);
  DeliverAnySize(Pattern(100, 90));
  // The simple way has no staging texture then.
  fake::PlanFaults([creations = 0](const fake::FailableCall& call) mutable {
    const bool second = call.function == "CreateTexture2D" && ++creations == 2;
    return second || call.function == "malloc" ? std::optional(Fault{Fault::Kind::kNothing})
                                               : std::nullopt;
  });
  const Poll poll = session.GetFrame();
  EXPECT_FALSE(poll.available);
  EXPECT_EQ(poll.width, 64u);
  EXPECT_EQ(poll.height, 48u);
  EXPECT_EQ(BufferCapacityOf(session.handle()), 0u);
  EXPECT_EQ(fake::HeapBytes(), 0);
}

TEST_F(FrameBuffer, FailedToGrowComesBackWithAFrameOfTheOldSize) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(PollOf(session, Pattern(64, 48)).available);
  DeliverAnySize(Pattern(100, 90));
  fake::PlanFaults(fake::EveryCallOf("malloc", {Fault::Kind::kNothing}));
  EXPECT_FALSE(session.GetFrame().available);
  fake::PlanNoFaults();
  // The size is the one that the session last knew, but there is no buffer of it any more.
  const Poll poll = PollOf(session, Pattern(64, 48, 2));
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48, 2).pixels);
  EXPECT_EQ(BufferCapacityOf(session.handle()), 12288u);
}

TEST_F(FrameBuffer, IsFreedOnceWithTheSession) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(PollOf(session, Pattern(64, 48)).available);
  fake::StartRecording();
  session.Destroy();
  EXPECT_EQ(HeapCalls(fake::TakeRecording()), std::vector<std::string>{"free(12288)"});
  EXPECT_EQ(fake::HeapBytes(), 0);
}

// Both outputs share the frame's size; only buffer output looks after the buffer.

TEST_F(FrameBuffer, IsLargeEnoughAfterTheSizeGrewInTextureOutput) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(PollOf(session, Pattern(64, 48)).available);
  session.ToTexture(true);
  TexturePixels(PollOf(session, Pattern(128, 96, 2)));
  session.ToTexture(false);
  const Poll poll = PollOf(session, Pattern(128, 96, 3));
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, Pattern(128, 96, 3).pixels);
  EXPECT_EQ(BufferCapacityOf(session.handle()), 8294400u);
}

TEST_F(FrameBuffer, IsKeptAfterTheSizeShrankInTextureOutput) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(PollOf(session, Pattern(128, 96)).available);
  session.ToTexture(true);
  TexturePixels(PollOf(session, Pattern(64, 48, 2)));
  session.ToTexture(false);
  const Poll poll = PollOf(session, Pattern(64, 48, 3));
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48, 3).pixels);
  EXPECT_EQ(BufferCapacityOf(session.handle()), 49152u);
}

TEST_F(FrameBuffer, ComesWithTheFirstFrameAfterTextureOutput) {
  Session session;
  session.ToTexture(true);
  ASSERT_TRUE(session.Start());
  TexturePixels(PollOf(session, Pattern(64, 48)));
  EXPECT_EQ(BufferCapacityOf(session.handle()), 0u);
  session.ToTexture(false);
  // The size is known, the buffer is not there.
  EXPECT_FALSE(session.GetFrame().available);
  const Poll poll = PollOf(session, Pattern(64, 48, 2));
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48, 2).pixels);
  EXPECT_EQ(BufferCapacityOf(session.handle()), 12288u);
}

TEST_F(FrameBuffer, OfTheSimpleWayIsLargeEnoughAfterTheSizeGrewInTextureOutput) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(PollOf(session, Pattern(64, 48)).available);
  session.ToTexture(true);
  TexturePixels(PollOf(session, Pattern(128, 96, 2)));
  session.ToTexture(false);
  DeliverAnySize(Pattern(128, 96, 3));
  fake::PlanFaults(fake::NthCallOf("CreateTexture2D", 1, {Fault::Kind::kResult, E_FAIL}));
  const Poll poll = session.GetFrame();
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, Pattern(128, 96, 3).pixels);
}

}  // namespace
}  // namespace session_test
