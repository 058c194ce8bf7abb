// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Frames on their way into the buffer: rows, sizes, and which frame of a poll is kept.
#include "native/host.h"
#include "native/session_state.h"

namespace session_test {
namespace {

class Frames : public SessionTest {
 protected:
  static std::pair<int32_t, int32_t> PoolSize() {
    return {fake::LastPool()->Size().Width, fake::LastPool()->Size().Height};
  }
};

TEST_F(Frames, RowsHaveNoPaddingWhateverTheRowPitch) {
  const struct {
    uint32_t width, height, row_padding;
  } kShapes[] = {{64, 48, 0}, {64, 48, 4}, {64, 48, 256}, {1, 1, 60},
                 {1, 7, 12},  {7, 1, 100}, {61, 33, 12},  {1366, 3, 40}};
  for (const auto& [width, height, row_padding] : kShapes) {
    fake::settings.row_padding = row_padding;
    Capture session;
    EXPECT_EQ(Pixels(session.Show(Pattern(width, height))), Pattern(width, height)) << row_padding;
  }
}

TEST_F(Frames, BytesAreInTheOrderBlueGreenRedAlpha) {
  Capture session;
  const Poll poll = session.Show(Picture(1, 1, 0x40302010));  // alpha, red, green, blue
  ASSERT_TRUE(poll.available);
  const auto* const bytes = static_cast<const uint8_t*>(poll.frame);
  EXPECT_EQ((std::vector<int>(bytes, bytes + 4)), (std::vector<int>{0x10, 0x20, 0x30, 0x40}));
}

// Which frame a poll reports.

TEST_F(Frames, UnreadableFrameLeavesThePollToTheNext) {
  Capture session;
  DeliverAnySize(Pattern(64, 48, 1));
  // Neither the persistent staging texture nor one for this frame alone can be made.
  FailCalls("CreateTexture2D", {1, 2});
  EXPECT_EQ(Pixels(session.Show(Pattern(64, 48, 2))), Pattern(64, 48, 2));
  EXPECT_EQ(fake::FaultsInjected(), 2u);
}

TEST_F(Frames, AreKeptUntilThePollWhenTheHostPumpsForItself) {
  Capture session;
  DeliverAnySize(Pattern(64, 48, 1));
  PumpAsTheHost();
  EXPECT_EQ(fake::LastPool()->FramesWaiting(), 0u);
  // The next frame is dropped, in texture output too; a poll takes frames again.
  session.ToTexture(true);
  DeliverAnySize(Pattern(64, 48, 2));
  PumpAsTheHost();
  EXPECT_FALSE(session.GetFrame().available);
  session.ToTexture(false);
  EXPECT_EQ(Pixels(session.GetFrame()), Pattern(64, 48, 1));
  EXPECT_EQ(Pixels(session.Show(Pattern(64, 48, 3))), Pattern(64, 48, 3));
}

TEST_F(Frames, EventWithoutAFrameIsIgnored) {
  Capture session;
  fake::LastPool()->RaiseFrameArrived();
  EXPECT_FALSE(session.GetFrame().available);
  EXPECT_EQ(fake::LastPool()->HandlerResult(), S_OK);
  // It does not count as the poll's frame.
  fake::LastPool()->RaiseFrameArrived();
  EXPECT_TRUE(session.Show(Pattern(64, 48)).available);
}

// The staging texture.

TEST_F(Frames, StagingTextureHasTheMipsLayersAndSamplesOfTheFirst) {
  Capture session;
  ASSERT_TRUE(
      fake::LastPool()->DeliverTexture(NewFrameTexture(LayeredFrameDesc()).get(), {64, 48}));
  auto made = LinesWith("CreateTexture2D", Recorded([&] { session.GetFrame(); }));
  ASSERT_EQ(made.size(), 1u);
  EXPECT_EQ(made[0].substr(0, made[0].find(" = ")),
            "device1.CreateTexture2D(64x48 mips 3 layers 2 format 87 samples 4/1 "
            "staging bind 0x0 cpu 0x20000 misc 0x0, null)");
  // They are not compared.
  DeliverAnySize(Pattern(64, 48));
  made = LinesWith("CreateTexture2D", Recorded([&] { session.GetFrame(); }));
  EXPECT_TRUE(made.empty());
}

// The size of the content.

TEST_F(Frames, ShrunkTargetKeepsThePoolsSizeUntilThePoolIsRecreated) {
  fake::settings.item_width = 800;
  fake::settings.item_height = 600;
  Capture session;
  // Both buffers of the pool hold this picture then.
  Picture expected = Pattern(800, 600);
  ASSERT_TRUE(fake::LastPool()->Deliver(expected));
  ASSERT_TRUE(fake::LastPool()->Deliver(expected));
  session.GetFrame();

  // The picture has shrunk, the pool's textures have not: what was around it is still there.
  const Picture shrunk = Pattern(640, 480, 2);
  for (uint32_t y = 0; y < 480; ++y) {
    for (uint32_t x = 0; x < 640; ++x) expected.At(x, y) = shrunk.At(x, y);
  }
  ASSERT_TRUE(fake::LastPool()->Deliver(shrunk));
  EXPECT_EQ(Pixels(session.GetFrame()), expected);
  ASSERT_TRUE(fake::LastPool()->Deliver(shrunk));
  EXPECT_EQ(Pixels(session.GetFrame()), shrunk);
}

TEST_F(Frames, PoolIsRecreatedForAnotherContentSizeOnly) {
  enum { kBuffer, kTexture, kUnreadable };
  for (const auto path : {kBuffer, kTexture, kUnreadable}) {
    for (const auto& [width, height] : {std::pair{64, 48}, {65, 48}, {64, 47}, {48, 64}}) {
      Capture session({.texture = path == kTexture});
      ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48), {width, height}));
      if (path == kUnreadable) FailEveryCall("CreateTexture2D");
      Poll poll;
      const auto recording = Recorded([&] { poll = session.GetFrame(); });
      fake::PlanNoFaults();
      EXPECT_EQ(Pixels(poll), path == kUnreadable ? Picture() : Pattern(64, 48));
      const bool changed = std::pair(width, height) != std::pair(64, 48);
      EXPECT_EQ(LinesWith("Recreate", recording).size(), changed ? 1u : 0u);
      EXPECT_EQ(PoolSize(), std::pair(width, height));
    }
  }
}

TEST_F(Frames, MapWithoutDataLeavesTheBufferAsItIsAndCountsAsRead) {
  Capture session;
  session.Show(Pattern(64, 48, 1));
  DeliverAnySize(Pattern(64, 48, 2));
  DeliverAnySize(Pattern(64, 48, 3));
  FailCalls("Map", {1}, kGivesNothing);
  Poll poll;
  const auto recording = Recorded([&] { poll = session.GetFrame(); });
  EXPECT_EQ(Pixels(poll), Pattern(64, 48, 1));
  EXPECT_TRUE(LinesWith("Unmap", recording).empty());
  EXPECT_EQ(CopyModeOf(session.handle()), 0u);
}

}  // namespace
}  // namespace session_test
