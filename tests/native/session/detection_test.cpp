// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Detection in a session: which frames are copied, and what the update ratio is after each.
#include <cstring>

#include "native/frames.h"
#include "native/session_state.h"

namespace session_test {
namespace {

using fake::Fault;

class Detection : public SessionTest {
 protected:
  void SetUp() override {
    SessionTest::SetUp();
    fake::settings.item_width = kWidth;
    fake::settings.item_height = kHeight;
  }

  // Three tile columns and two tile rows, of which the last ones are blind: what can change are the
  // tiles at (0, 0) and (32, 0).
  static constexpr uint32_t kWidth = 80;
  static constexpr uint32_t kHeight = 40;
  static constexpr float kOneTile = 1024.0f / (80 * 40);
  static constexpr float kTwoTiles = 2048.0f / (80 * 40);

  static reference::Image Picture(uint32_t seed = 1) { return Pattern(kWidth, kHeight, seed); }
  static reference::Image With(reference::Image picture, uint32_t x, uint32_t y) {
    picture.At(x, y) ^= 0x00000100;
    return picture;
  }

  static Poll PollOf(Session& session, const reference::Image& picture) {
    DeliverAnySize(picture);
    return session.GetFrame();
  }
  // The picture comes again and is not copied again: the engine's flags are all that is mapped.
  static void ExpectSpared(Session& session, const reference::Image& picture) {
    fake::StartRecording();
    EXPECT_EQ(Pixels(PollOf(session, picture)).pixels, picture.pixels);
    EXPECT_EQ(LinesWith(".Map(", fake::TakeRecording()).size(), 1u);
    EXPECT_EQ(session.Ratio(), 0.0f);
  }
  static void TexturePollOf(Session& session, const reference::Image& picture) {
    const Poll poll = PollOf(session, picture);
    ASSERT_TRUE(poll.available);
    EXPECT_EQ(TexturePixels(poll).pixels, picture.pixels);
  }
};

// The update ratio, case by case.

TEST_F(Detection, OffTheRatioIsOneInBothOutputs) {
  Session session;
  ASSERT_TRUE(session.Start());
  EXPECT_EQ(session.Ratio(), 0.0f);
  PollOf(session, Picture());
  EXPECT_EQ(session.Ratio(), 1.0f);
  EXPECT_EQ(session.Ratio(), 0.0f);
  PollOf(session, Picture());
  EXPECT_EQ(session.Ratio(), 1.0f);
  session.ToTexture(true);
  TexturePollOf(session, Picture());
  EXPECT_EQ(session.Ratio(), 1.0f);
  TexturePollOf(session, Picture());
  EXPECT_EQ(session.Ratio(), 1.0f);
}

TEST_F(Detection, OfTheFirstFrameInBufferOutputIsOne) {
  Session session;
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  const Poll poll = PollOf(session, Picture());
  EXPECT_EQ(Pixels(poll).pixels, Picture().pixels);
  EXPECT_EQ(session.Ratio(), 1.0f);
}

TEST_F(Detection, OfAnotherSizeInBufferOutputIsOne) {
  Session session;
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  PollOf(session, Picture());
  session.Ratio();
  for (const auto& [width, height] : {std::pair{96u, 40u}, {96u, 70u}, {80u, 40u}}) {
    const reference::Image picture = Pattern(width, height);
    EXPECT_EQ(Pixels(PollOf(session, picture)).pixels, picture.pixels);
    EXPECT_EQ(session.Ratio(), 1.0f);
    PollOf(session, picture);
    EXPECT_EQ(session.Ratio(), 0.0f);
  }
}

TEST_F(Detection, InBufferOutputGivesTheShareOfTheChangedTiles) {
  Session session;
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  PollOf(session, Picture());
  session.Ratio();
  // Each compared with the one before.
  const reference::Image one = With(Picture(), 31, 31);
  EXPECT_EQ(Pixels(PollOf(session, one)).pixels, one.pixels);
  EXPECT_EQ(session.Ratio(), kOneTile);
  const reference::Image other = With(one, 63, 0);
  EXPECT_EQ(Pixels(PollOf(session, other)).pixels, other.pixels);
  EXPECT_EQ(session.Ratio(), kOneTile);
  EXPECT_EQ(Pixels(PollOf(session, Picture())).pixels, Picture().pixels);
  EXPECT_EQ(session.Ratio(), kTwoTiles);
  PollOf(session, Picture());
  EXPECT_EQ(session.Ratio(), 0.0f);
  // Three of four tiles, and rounded once: the product with the reciprocal is another float.
  const reference::Image larger = Pattern(96, 70);
  PollOf(session, larger);
  PollOf(session, With(With(With(larger, 0, 0), 40, 0), 0, 40));
  EXPECT_EQ(session.Ratio(), static_cast<float>(3072.0 / 6720.0));
}

TEST_F(Detection, OfTheFirstFrameInTextureOutputIsZero) {
  Session session;
  session.DirtyRect(true);
  session.ToTexture(true);
  ASSERT_TRUE(session.Start());
  TexturePollOf(session, Picture());
  EXPECT_EQ(session.Ratio(), 0.0f);
}

TEST_F(Detection, OfAnotherSizeInTextureOutputIsZero) {
  Session session;
  ASSERT_TRUE(session.Start());
  PollOf(session, Picture());
  session.DirtyRect(true);
  session.ToTexture(true);
  // The ratio of the frame before has not been read.
  TexturePollOf(session, Pattern(96, 70));
  EXPECT_EQ(session.Ratio(), 0.0f);
}

TEST_F(Detection, InTextureOutputEveryFrameIsComparedWithABlackOne) {
  Session session;
  session.DirtyRect(true);
  session.ToTexture(true);
  ASSERT_TRUE(session.Start());
  TexturePollOf(session, Picture());
  session.Ratio();
  for (int i = 0; i < 2; ++i) {
    TexturePollOf(session, Picture());
    EXPECT_EQ(session.Ratio(), kTwoTiles);
  }
  const reference::Image black(kWidth, kHeight);
  TexturePollOf(session, black);
  EXPECT_EQ(session.Ratio(), 0.0f);
  TexturePollOf(session, With(black, 40, 5));
  EXPECT_EQ(session.Ratio(), kOneTile);
}

TEST_F(Detection, InTextureOutputComparesWithTheLastFrameOfBufferOutput) {
  Session session;
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  PollOf(session, Picture());
  session.ToTexture(true);
  TexturePollOf(session, Picture());
  EXPECT_EQ(session.Ratio(), 0.0f);
  TexturePollOf(session, With(Picture(), 0, 0));
  EXPECT_EQ(session.Ratio(), kOneTile);
  TexturePollOf(session, Picture());
  EXPECT_EQ(session.Ratio(), 0.0f);
}

TEST_F(Detection, AFrameThatGetsNoStagingTextureLeavesTheRatio) {
  Session session;
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  PollOf(session, Picture());
  PollOf(session, With(Picture(), 0, 0));
  DeliverAnySize(Pattern(33, 33));
  fake::PlanFaults(fake::NthCallOf("CreateTexture2D", 1, {Fault::Kind::kResult, E_FAIL}));
  EXPECT_EQ(Pixels(session.GetFrame()).pixels, Pattern(33, 33).pixels);
  EXPECT_EQ(session.Ratio(), kOneTile);
}

TEST_F(Detection, ADroppedFrameLeavesTheRatio) {
  Session session;
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  PollOf(session, Picture());
  const reference::Image changed = With(Picture(), 0, 0);
  DeliverAnySize(changed);
  DeliverAnySize(changed);
  session.GetFrame();
  EXPECT_EQ(session.Ratio(), kOneTile);
  // And the comparison: what was dropped is not what the next frame is compared with.
  DeliverAnySize(changed);
  DeliverAnySize(Picture());
  session.GetFrame();
  PollOf(session, changed);
  EXPECT_EQ(session.Ratio(), 0.0f);
}

TEST_F(Detection, ThatCannotRunCopiesEveryFrameWithTheRatioOne) {
  Session session;
  session.DirtyRect(true);
  fake::PlanFaults(fake::NthCallOf("CreateComputeShader", 3, {Fault::Kind::kResult, E_FAIL}));
  ASSERT_TRUE(session.Start());
  for (int i = 0; i < 3; ++i) {
    const Poll poll = PollOf(session, Picture());
    EXPECT_EQ(Pixels(poll).pixels, Picture().pixels);
    EXPECT_EQ(session.Ratio(), 1.0f);
    std::memset(poll.frame, 0, kWidth * kHeight * 4);
  }
}

// Which frames are copied.

TEST_F(Detection, AnUnchangedFrameIsNeitherMappedNorCopied) {
  Session session;
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  PollOf(session, Picture());
  const Poll before = session.GetFrame();
  static_cast<uint32_t*>(before.frame)[5] = 0xCAFEF00D;
  DeliverAnySize(Picture());
  fake::StartRecording();
  const Poll poll = session.GetFrame();
  const std::vector<std::string> recording = fake::TakeRecording();
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(poll.frame, before.frame);
  EXPECT_EQ(static_cast<uint32_t*>(poll.frame)[5], 0xCAFEF00D);
  EXPECT_EQ(LinesWith("Map(texture", recording), std::vector<std::string>());
  EXPECT_EQ(CopyModeOf(session.handle()), 0u);
}

TEST_F(Detection, AnUnchangedFrameIsThePollsFrame) {
  Session session;
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  PollOf(session, Picture());
  DeliverAnySize(Picture());
  DeliverAnySize(Picture(2));
  EXPECT_EQ(Pixels(session.GetFrame()).pixels, Picture().pixels);
  EXPECT_EQ(session.Ratio(), 0.0f);
}

TEST_F(Detection, AChangeInABlindTileIsNotCopied) {
  Session session;
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  PollOf(session, Picture());
  session.Ratio();
  for (const auto& [x, y] : {std::pair{64u, 0u}, {79u, 31u}, {0u, 32u}, {40u, 39u}}) {
    EXPECT_EQ(Pixels(PollOf(session, With(Picture(), x, y))).pixels, Picture().pixels);
    EXPECT_EQ(session.Ratio(), 0.0f);
  }
}

TEST_F(Detection, TurnedOnLateTheNextFrameIsCopiedWholeAndTheOneAfterCompared) {
  Session session;
  ASSERT_TRUE(session.Start());
  Poll poll = PollOf(session, Picture());
  session.Ratio();
  session.DirtyRect(true);
  std::memset(poll.frame, 0, kWidth * kHeight * 4);
  poll = PollOf(session, Picture());
  EXPECT_EQ(Pixels(poll).pixels, Picture().pixels);
  EXPECT_EQ(session.Ratio(), 1.0f);
  EXPECT_EQ(CopyModeOf(session.handle()), 2u);
  PollOf(session, Picture());
  EXPECT_EQ(session.Ratio(), 0.0f);
  PollOf(session, With(Picture(), 0, 0));
  EXPECT_EQ(session.Ratio(), kOneTile);
}

TEST_F(Detection, TurnedOffEveryFrameIsCopiedAgain) {
  Session session;
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  Poll poll = PollOf(session, Picture());
  session.DirtyRect(false);
  std::memset(poll.frame, 0, kWidth * kHeight * 4);
  poll = PollOf(session, Picture());
  EXPECT_EQ(Pixels(poll).pixels, Picture().pixels);
  EXPECT_EQ(session.Ratio(), 1.0f);
}

TEST_F(Detection, ATargetThatShrinksIsCopiedWholeUnderEachSize) {
  Session session;
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Picture()));
  session.GetFrame();
  session.Ratio();
  // Same texture size, same pixels, other content: the pool is made anew and nothing copied.
  ASSERT_TRUE(fake::LastPool()->Deliver(Picture(), {40, 36}));
  fake::StartRecording();
  session.GetFrame();
  EXPECT_EQ(LinesWith("Recreate", fake::TakeRecording()),
            std::vector<std::string>{"pool1.Recreate(winrt_device1, 87, 2, 40x36)"});
  EXPECT_EQ(session.Ratio(), 0.0f);
  const reference::Image shrunk = Pattern(40, 36);
  ASSERT_TRUE(fake::LastPool()->Deliver(shrunk));
  EXPECT_EQ(Pixels(session.GetFrame()).pixels, shrunk.pixels);
  EXPECT_EQ(session.Ratio(), 1.0f);
}

// A buffer that holds no frame of this layout is written whatever the detector found.

TEST_F(Detection, OfAnUnchangedFrameStillFillsABufferThatIsNew) {
  Session session;
  session.DirtyRect(true);
  session.ToTexture(true);
  ASSERT_TRUE(session.Start());
  const reference::Image black(kWidth, kHeight);
  TexturePollOf(session, black);
  session.ToTexture(false);
  // Equal to the black frame that texture output compares with, and new to the buffer.
  const Poll poll = PollOf(session, black);
  EXPECT_EQ(Pixels(poll).pixels, black.pixels);
  EXPECT_EQ(session.Ratio(), 1.0f);
  ExpectSpared(session, black);
}

TEST_F(Detection, OfAnUnchangedFrameStillFillsABufferOfAnotherLayout) {
  Session session;
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  PollOf(session, Pattern(64, 48));
  session.ToTexture(true);
  const reference::Image black(96, 70);
  TexturePollOf(session, black);
  session.ToTexture(false);
  EXPECT_EQ(Pixels(PollOf(session, black)).pixels, black.pixels);
}

TEST_F(Detection, OfAnUnchangedFrameStillFillsABufferThatFailedToGrow) {
  Session session;
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  PollOf(session, Pattern(64, 48));
  // The growth fails, and so does the simple way.
  DeliverAnySize(Picture());
  fake::PlanFaults(fake::EveryCallOf("malloc", {Fault::Kind::kNothing}));
  EXPECT_FALSE(session.GetFrame().available);
  fake::PlanNoFaults();
  // The engine has seen that frame; the buffer has not. Its staging texture is still mapped, so the
  // frame is read the simple way, after which the two are in step again.
  ExpectRefusals();
  const Poll poll = PollOf(session, Picture());
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, Picture().pixels);
  EXPECT_EQ(session.Ratio(), 1.0f);
  ExpectSpared(session, Picture());
  PollOf(session, With(Picture(), 0, 0));
  EXPECT_EQ(session.Ratio(), kOneTile);
  ExpectSpared(session, With(Picture(), 0, 0));
}

TEST_F(Detection, AMapThatGivesNothingMakesNoBufferForASizeThatIsKnown) {
  Session session;
  session.ToTexture(true);
  ASSERT_TRUE(session.Start());
  TexturePollOf(session, Picture());
  session.ToTexture(false);
  DeliverAnySize(Picture());
  fake::PlanFaults(fake::EveryCallOf("Map", {Fault::Kind::kNothing, S_OK}));
  EXPECT_FALSE(session.GetFrame().available);
  EXPECT_EQ(BufferCapacityOf(session.handle()), 0u);
  fake::PlanNoFaults();
  EXPECT_EQ(Pixels(PollOf(session, Picture())).pixels, Picture().pixels);
}

TEST_F(Detection, AMapThatGivesNothingReportsTheFramesSizeAllTheSame) {
  for (const auto& [width, height] : {std::pair{kWidth, kHeight - 8}, {kWidth - 8, kHeight}}) {
    Session session;
    ASSERT_TRUE(session.Start());
    PollOf(session, Picture());
    DeliverAnySize(Pattern(width, height));
    fake::PlanFaults(fake::EveryCallOf("Map", {Fault::Kind::kNothing, S_OK}));
    const Poll poll = session.GetFrame();
    fake::PlanNoFaults();
    ASSERT_TRUE(poll.available);
    EXPECT_EQ(poll.width, width);
    EXPECT_EQ(poll.height, height);
  }
}

// An engine that cannot be built.

TEST_F(Detection, WhoseEngineCannotBeBuiltTakesTheSimpleWay) {
  Session session;
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  fake::PlanFaults(fake::NthCallOf("CreateRenderTargetView", 1, {Fault::Kind::kResult, E_FAIL}));
  const Poll poll = PollOf(session, Picture());
  EXPECT_EQ(Pixels(poll).pixels, Picture().pixels);
  EXPECT_EQ(session.Ratio(), 1.0f);
}

TEST_F(Detection, WhoseEngineCannotBeBuiltIsNoMatterInTextureOutput) {
  Session session;
  session.DirtyRect(true);
  session.ToTexture(true);
  ASSERT_TRUE(session.Start());
  fake::PlanFaults(fake::NthCallOf("CreateRenderTargetView", 1, {Fault::Kind::kResult, E_FAIL}));
  TexturePollOf(session, Picture());
  EXPECT_EQ(session.Ratio(), 0.0f);
  // Half built, it cannot compare.
  TexturePollOf(session, Picture());
  EXPECT_EQ(session.Ratio(), 0.0f);
  // Nor does it leave the ratio of a frame before, which nobody has read.
  session.DirtyRect(false);
  TexturePollOf(session, Picture());
  session.DirtyRect(true);
  TexturePollOf(session, Picture());
  EXPECT_EQ(session.Ratio(), 0.0f);
}

// Nobody knows what the flags would have said: such a frame was not compared.
TEST_F(Detection, WhoseFlagsCannotBeReadCopiesTheFrameWithTheRatioOne) {
  Session session;
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  PollOf(session, Picture());
  for (const uint64_t in_a_row : {1u, 2u}) {
    for (const Fault fault : {Fault{Fault::Kind::kResult, DXGI_ERROR_DEVICE_REMOVED},
                              Fault{Fault::Kind::kNothing, S_OK}}) {
      for (uint64_t i = 0; i < in_a_row; ++i) {
        const reference::Image picture = Picture(2 + static_cast<uint32_t>(i));
        DeliverAnySize(picture);
        fake::PlanFaults(fake::NthCallOf("Map", 1, fault));
        EXPECT_EQ(Pixels(session.GetFrame()).pixels, picture.pixels);
        EXPECT_EQ(session.Ratio(), 1.0f);
        fake::PlanNoFaults();
      }
      // Not compared, but copied, and what the next frame is compared with.
      const reference::Image last = Picture(1 + static_cast<uint32_t>(in_a_row));
      ExpectSpared(session, last);
      PollOf(session, With(last, 0, 0));
      EXPECT_EQ(session.Ratio(), kOneTile);
      ExpectSpared(session, With(last, 0, 0));
    }
  }
}

TEST_F(Detection, IsReliedOnAgainAfterARebuild) {
  Session session;
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  PollOf(session, Picture());
  DeliverAnySize(Picture(2));
  fake::PlanFaults(fake::NthCallOf("Map", 1, {Fault::Kind::kResult, DXGI_ERROR_DEVICE_REMOVED}));
  session.GetFrame();
  fake::PlanNoFaults();
  const reference::Image larger = Pattern(kWidth + 40, kHeight, 3);
  PollOf(session, larger);
  ExpectSpared(session, larger);
}

// What a detection without memory for all its rectangles has left is no answer about the next
// frame.
TEST_F(Detection, RectanglesLeftByAFailureAreNoMeasureOfTheNextFrame) {
  Session session;
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  const reference::Image wide = Pattern(160, 64);
  PollOf(session, wide);
  // Two rectangles, and no memory for the second.
  DeliverAnySize(With(With(wide, 0, 0), 64, 0));
  fake::FailNew(2);
  session.GetFrame();
  EXPECT_EQ(fake::NewCalls(), 2u);
  fake::FailNew(0);
  const reference::Image other = Pattern(160, 64, 2);
  DeliverAnySize(other);
  fake::PlanFaults(fake::NthCallOf("Map", 1, {Fault::Kind::kResult, DXGI_ERROR_DEVICE_REMOVED}));
  EXPECT_EQ(Pixels(session.GetFrame()).pixels, other.pixels);
  EXPECT_EQ(session.Ratio(), 1.0f);
}

// Direct3D leaves the contents of a new texture undefined: the measures of the edge tiles, which no
// program writes, must not be what was left in the memory.
TEST_F(Detection, InMemoryThatWasUsedBeforeFindsNoChangeAtTheEdges) {
  fake::settings.new_texture_byte = 0xA5;
  Session session;
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  for (const auto& picture : {Picture(), Pattern(96, 70), Pattern(33, 65), Picture()}) {
    PollOf(session, picture);
    EXPECT_EQ(session.Ratio(), 1.0f);
    ExpectSpared(session, picture);
  }
  PollOf(session, With(Picture(), 0, 0));
  EXPECT_EQ(session.Ratio(), kOneTile);
}

// "Unchanged" compared with a frame that the buffer does not hold.

TEST_F(Detection, TurnedOnAgainFindsTheBufferOutOfDate) {
  Session session;
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  PollOf(session, Picture(1));
  session.DirtyRect(false);
  PollOf(session, Picture(2));
  session.DirtyRect(true);
  // What the engine saw last; the buffer has another since, and so has the host.
  EXPECT_EQ(Pixels(PollOf(session, Picture(1))).pixels, Picture(1).pixels);
  EXPECT_EQ(session.Ratio(), 1.0f);
  ExpectSpared(session, Picture(1));
}

// With a change, too, the frame is copied, and its measure is that of the comparison.
TEST_F(Detection, TurnedOnAgainMeasuresAgainstTheLastFrameThatItSaw) {
  Session session;
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  PollOf(session, Picture(1));
  session.DirtyRect(false);
  PollOf(session, Picture(2));
  session.DirtyRect(true);
  const reference::Image changed = With(Picture(1), 0, 0);
  EXPECT_EQ(Pixels(PollOf(session, changed)).pixels, changed.pixels);
  EXPECT_EQ(session.Ratio(), kOneTile);
  ExpectSpared(session, changed);
}

TEST_F(Detection, AfterTextureOutputFindsTheBufferOutOfDate) {
  Session session;
  ASSERT_TRUE(session.Start());
  PollOf(session, Picture());
  session.DirtyRect(true);
  session.ToTexture(true);
  const reference::Image black(kWidth, kHeight);
  TexturePollOf(session, black);
  session.ToTexture(false);
  // The engine was built in texture output and compares with a black frame.
  session.Ratio();
  EXPECT_EQ(Pixels(PollOf(session, black)).pixels, black.pixels);
  EXPECT_EQ(session.Ratio(), 1.0f);
  ExpectSpared(session, black);
}

TEST_F(Detection, AfterASmallerTextureFindsTheBufferInAnotherLayout) {
  Session session;
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  PollOf(session, Picture());
  session.ToTexture(true);
  const reference::Image black(64, 36);
  TexturePollOf(session, black);
  session.ToTexture(false);
  EXPECT_EQ(Pixels(PollOf(session, black)).pixels, black.pixels);
}

TEST_F(Detection, AFrameThatWasNotReadIsCopiedWhenItComesAgain) {
  for (const Fault fault : {Fault{Fault::Kind::kNothing, S_OK},
                            Fault{Fault::Kind::kResult, DXGI_ERROR_DEVICE_REMOVED}}) {
    Session session;
    session.DirtyRect(true);
    ASSERT_TRUE(session.Start());
    PollOf(session, Picture(1));
    PollOf(session, Picture(1));
    // The engine's own map is the first, the staging texture's the second; then the simple way's.
    uint64_t maps = 0;
    fake::PlanFaults([&](const fake::FailableCall& call) {
      return call.function == "Map" && ++maps >= 2 ? std::optional(fault) : std::nullopt;
    });
    EXPECT_EQ(Pixels(PollOf(session, Picture(2))).pixels, Picture(1).pixels);
    EXPECT_GE(fake::FaultsInjected(), 1u);
    fake::PlanNoFaults();
    EXPECT_EQ(Pixels(PollOf(session, Picture(2))).pixels, Picture(2).pixels);
    EXPECT_EQ(session.Ratio(), 1.0f);
    ExpectSpared(session, Picture(2));
  }
}

// The simple way reads the frame that the engine has just seen.
TEST_F(Detection, AFrameThatWasReadTheSimpleWayIsNotCopiedAgain) {
  Session session;
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  for (const uint32_t seed : {1u, 2u}) {
    DeliverAnySize(Picture(seed));
    // The engine's flags, or the map of its build, are the first to be mapped.
    fake::PlanFaults(
        fake::NthCallOf("Map", seed == 1 ? 4 : 2, {Fault::Kind::kResult, DXGI_ERROR_INVALID_CALL}));
    EXPECT_EQ(Pixels(session.GetFrame()).pixels, Picture(seed).pixels);
    EXPECT_EQ(fake::FaultsInjected(), 1u);
    fake::PlanNoFaults();
    EXPECT_GT(session.Ratio(), 0.0f);
    ExpectSpared(session, Picture(seed));
  }
}

// The pool cannot follow the first frame's content, so the poll goes on to the second: the host
// sees that one first.
TEST_F(Detection, AFrameThatDoesNotCountIsCopiedAgainForTheNext) {
  Session session;
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  PollOf(session, Picture(1));
  session.Ratio();
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(fake::LastPool()->DeliverTexture(NewFrameTexture(Picture(2)).get(), {40, 36}));
  }
  fake::PlanFaults(fake::NthCallOf("Recreate", 1, {Fault::Kind::kResult, E_FAIL}));
  EXPECT_EQ(Pixels(session.GetFrame()).pixels, Picture(2).pixels);
  EXPECT_EQ(fake::FaultsInjected(), 1u);
  EXPECT_EQ(session.Ratio(), 1.0f);
}

// As long as texture output rebuilds nothing, the buffer stays what the engine compares with.
TEST_F(Detection, AfterTextureOutputOfTheSameSizeStillSparesTheCopy) {
  Session session;
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  PollOf(session, Picture(1));
  session.ToTexture(true);
  TexturePollOf(session, Picture(2));
  session.ToTexture(false);
  ExpectSpared(session, Picture(1));
  EXPECT_EQ(Pixels(PollOf(session, Picture(2))).pixels, Picture(2).pixels);
}

// A rebuild may fail at any of its resources, and the engine may still run on what is left of the
// old ones; what it does not see then is copied all the same, in each output.
TEST_F(Detection, OfAnEngineThatWasNotRebuiltIsNotBelieved) {
  const reference::Image larger = Pattern(kWidth + 40, kHeight + 40, 1);
  for (const bool rebuilt_in_texture_output : {false, true}) {
    for (uint64_t creation = 1;; ++creation) {
      ExpectRefusals();
      Session session;
      session.DirtyRect(true);
      ASSERT_TRUE(session.Start());
      PollOf(session, Picture());
      session.ToTexture(rebuilt_in_texture_output);
      // The frame's own staging or output texture is made first, and does not fail.
      uint64_t calls = 0;
      fake::PlanFaults([&](const fake::FailableCall& call) {
        const bool creates = call.function.starts_with("Create");
        return creates && ++calls == creation + 1
                   ? std::optional(Fault{Fault::Kind::kResult, E_OUTOFMEMORY})
                   : std::nullopt;
      });
      const Poll poll = PollOf(session, larger);
      if (rebuilt_in_texture_output) {
        ASSERT_TRUE(poll.available);
        TexturePixels(poll);
      }
      const bool failed = fake::FaultsInjected() > 0;
      fake::PlanNoFaults();
      session.ToTexture(false);
      for (uint32_t seed = 1; seed <= 3; ++seed) {
        for (int repeat = 0; repeat < 2; ++repeat) {
          const reference::Image picture = Pattern(larger.width, larger.height, seed);
          session.Ratio();
          EXPECT_EQ(Pixels(PollOf(session, picture)).pixels, picture.pixels) << creation;
          // What is new to the host never comes as unchanged.
          if (repeat == 0 && (seed > 1 || rebuilt_in_texture_output)) {
            EXPECT_GT(session.Ratio(), 0.0f) << creation;
          }
        }
      }
      if (!failed) {
        EXPECT_GT(creation, 15u);
        break;
      }
    }
  }
}

}  // namespace
}  // namespace session_test
