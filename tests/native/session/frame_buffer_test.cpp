// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The memory that frames are copied to: how large it is, what it holds before a frame is copied,
// and what happens when there is not enough.
#include <cstring>

#include "native/host.h"
#include "native/session_state.h"

namespace session_test {
namespace {

class FrameBuffer : public SessionTest {
 protected:
  // New memory of the C heap is filled with this on the tests' platform.
  static constexpr uint32_t kNeverWritten = 0xA5A5A5A5;

  // A frame whose pixels cannot be read: the buffer is made ready for it and not written.
  static Poll ShowWithoutPixels(Session& session, uint32_t width, uint32_t height) {
    FailEveryCall("Map", kGivesNothing);
    const Poll poll = session.Show(Picture(width, height));
    fake::PlanNoFaults();
    EXPECT_TRUE(poll.available);
    EXPECT_EQ(std::pair(poll.width, poll.height), std::pair(width, height));
    return poll;
  }
  static uint64_t CapacityOf(const Session& session) { return BufferCapacityOf(session.handle()); }
};

TEST_F(FrameBuffer, FirstBufferIsExactlyAsLargeAsTheFrameAndNotCleared) {
  for (const auto& [width, height] : {std::pair{1920u, 1080u}, {33u, 7u}}) {
    Capture session;
    EXPECT_FALSE(session.GetFrame().available);
    EXPECT_EQ(fake::HeapBytes(), 0);
    EXPECT_EQ(Pixels(ShowWithoutPixels(session, width, height)),
              Picture(width, height, kNeverWritten));
    EXPECT_EQ(CapacityOf(session), width * height * 4);
    EXPECT_EQ(fake::HeapBytes(), width * height * 4);
  }
}

TEST_F(FrameBuffer, GrowsToTheNextLargerScreenAndIsZeroFilled) {
  const struct {
    uint32_t width, height;
    uint64_t capacity;                      // bytes
  } kGrowths[] = {{65, 48, 8294400},        // 12,480 bytes
                  {64, 49, 8294400},        // 12,544
                  {1920, 1080, 14745600},   // 8,294,400: as large as a screen
                  {2560, 1439, 14745600},   // 14,735,360
                  {3840, 2160, 35389440},   // 33,177,600
                  {4096, 2160, 35389440},   // 35,389,440: beyond the screens, exact
                  {5120, 2880, 58982400}};  // the same
  for (const auto& [width, height, capacity] : kGrowths) {
    SCOPED_TRACE(capacity);
    Capture session;
    session.Show(Pattern(64, 48));
    fake::ResetHeapPeak();
    const Poll poll = ShowWithoutPixels(session, width, height);
    // The old buffer went before the new one came.
    EXPECT_EQ(fake::HeapPeak(), static_cast<int64_t>(capacity));
    EXPECT_EQ(CapacityOf(session), capacity);
    // All of it, also beyond the frame: the first byte, and each like the one before it.
    const auto* const bytes = static_cast<const uint8_t*>(poll.frame);
    EXPECT_EQ(bytes[0], 0);
    EXPECT_EQ(std::memcmp(bytes, bytes + 1, capacity - 1), 0);
  }
}

TEST_F(FrameBuffer, IsReusedWithoutClearingAndNeverShrinks) {
  Capture session;
  session.Show(Picture(1920, 1080, 1));
  const Picture large = Pattern(1921, 1080, 2);
  const void* const address = session.Show(large).frame;
  const Poll poll = ShowWithoutPixels(session, 1280, 720);
  EXPECT_EQ(poll.frame, address);
  EXPECT_EQ(CapacityOf(session), 14745600u);
  // Still the larger frame's first bytes.
  EXPECT_EQ(std::memcmp(poll.frame, large.pixels.data(), 1280 * 720 * 4), 0);
}

TEST_F(FrameBuffer, IsKeptForAFrameWithTheSameNumberOfBytes) {
  Capture session;
  const void* const address = session.Show(Pattern(64, 48)).frame;
  const Poll poll = session.Show(Pattern(48, 64, 2));
  EXPECT_EQ(poll.frame, address);
  EXPECT_EQ(Pixels(poll), Pattern(48, 64, 2));
  EXPECT_EQ(CapacityOf(session), 12288u);
}

// The growth fails, and as there is no buffer then, so does the first allocation of the simple way.
// Only the latter is logged.
TEST_F(FrameBuffer, FailedGrowthReportsNoFrameWithTheOldSize) {
  Capture session;
  session.Show(Pattern(64, 48));
  FailEveryCall("malloc", kGivesNothing);
  const Poll poll = session.Show(Pattern(100, 90));
  fake::PlanNoFaults();
  EXPECT_FALSE(poll.available);
  EXPECT_EQ(poll.frame, kUntouched);
  EXPECT_EQ(std::pair(poll.width, poll.height), std::pair(64u, 48u));
  EXPECT_EQ(TakeLog().size(), 1u);
  // The size is the one that the session last knew, but there is no buffer of it any more.
  EXPECT_EQ(Pixels(session.Show(Pattern(64, 48, 2))), Pattern(64, 48, 2));
  EXPECT_EQ(CapacityOf(session), 12288u);
}

TEST_F(FrameBuffer, AfterAFailedGrowthTheSimpleWayAllocatesExactly) {
  Capture session;
  session.Show(Pattern(64, 48));
  FailCalls("malloc", {1}, kGivesNothing);
  EXPECT_EQ(Pixels(session.Show(Pattern(100, 90, 2))), Pattern(100, 90, 2));
  EXPECT_EQ(CapacityOf(session), 36000u);
  EXPECT_EQ(TakeLog(), Log());
}

TEST_F(FrameBuffer, FailedGrowthWithoutTheSimpleWayLeavesNoCapacity) {
  Capture session;
  session.Show(Pattern(64, 48));
  DeliverAnySize(Pattern(100, 90));
  fake::PlanFaults([textures = 0](const fake::FailableCall& call) mutable {
    const bool second = call.function == "CreateTexture2D" && ++textures == 2;
    return second || call.function == "malloc" ? std::optional(kGivesNothing) : std::nullopt;
  });
  EXPECT_FALSE(session.GetFrame().available);
  EXPECT_EQ(CapacityOf(session), 0u);
  EXPECT_EQ(fake::HeapBytes(), 0);
}

// Both outputs share the frame's size; only buffer output looks after the buffer.

TEST_F(FrameBuffer, IsLargeEnoughAfterTheSizeGrewInTextureOutput) {
  for (const bool simple_way : {false, true}) {
    Capture session;
    session.Show(Pattern(64, 48));
    session.ToTexture(true);
    Pixels(session.Show(Pattern(128, 96, 2)));
    session.ToTexture(false);
    DeliverAnySize(Pattern(128, 96, 3));
    if (simple_way) FailCalls("CreateTexture2D", {1});
    EXPECT_EQ(Pixels(session.GetFrame()), Pattern(128, 96, 3));
    EXPECT_EQ(CapacityOf(session), 8294400u);
    fake::PlanNoFaults();
  }
}

TEST_F(FrameBuffer, IsKeptAfterTheSizeShrankInTextureOutput) {
  Capture session;
  session.Show(Pattern(128, 96));
  session.ToTexture(true);
  Pixels(session.Show(Pattern(64, 48, 2)));
  session.ToTexture(false);
  EXPECT_EQ(Pixels(session.Show(Pattern(64, 48, 3))), Pattern(64, 48, 3));
  EXPECT_EQ(CapacityOf(session), 49152u);
}

TEST_F(FrameBuffer, IsAllocatedForTheFirstFrameAfterTextureOutput) {
  Capture session({.texture = true});
  Pixels(session.Show(Pattern(64, 48)));
  EXPECT_EQ(CapacityOf(session), 0u);
  session.ToTexture(false);
  // The size is known, the buffer is not there, and is not made for a map without data.
  EXPECT_FALSE(session.GetFrame().available);
  FailEveryCall("Map", kGivesNothing);
  EXPECT_FALSE(session.Show(Pattern(64, 48)).available);
  EXPECT_EQ(CapacityOf(session), 0u);
  fake::PlanNoFaults();
  EXPECT_EQ(Pixels(session.Show(Pattern(64, 48, 2))), Pattern(64, 48, 2));
  EXPECT_EQ(CapacityOf(session), 12288u);
}

}  // namespace
}  // namespace session_test
