// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Detection in a session: which frames are copied, and what the update ratio is after each.
#include <cstring>

#include "native/host.h"
#include "native/session_state.h"

namespace session_test {
namespace {

using fake::Fault;
using reference::Image;

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
  static constexpr Fault kDeviceRemoved = Failure(DXGI_ERROR_DEVICE_REMOVED);

  static Image Picture(uint32_t seed = 1) { return Pattern(kWidth, kHeight, seed); }
  static Image With(Image picture, uint32_t x, uint32_t y) {
    picture.At(x, y) ^= 0x00000100;
    return picture;
  }

  // Shows a picture, which must arrive at the host, and tells the ratio.
  static float RatioOf(Session& session, const Image& picture) {
    EXPECT_EQ(Pixels(session.Show(picture)), picture);
    return session.Ratio();
  }
  // The same picture comes again and is not copied again: only the engine's flags are mapped.
  static void ExpectSpared(Session& session, const Image& picture) {
    const auto recording = Recorded([&] { EXPECT_EQ(RatioOf(session, picture), 0.0f); });
    EXPECT_EQ(LinesWith(".Map(", recording).size(), 1u);
  }
  // Writes over the host's bytes, so that a copy shows.
  static void Blacken(const Poll& poll) { std::memset(poll.frame, 0, kWidth * kHeight * 4); }
};

// The update ratio.

TEST_F(Detection, RatioIsOneWithDetectionOff) {
  Capture session;
  EXPECT_EQ(session.Ratio(), 0.0f);
  for (const bool texture : {false, true}) {
    session.ToTexture(texture);
    EXPECT_EQ(RatioOf(session, Picture()), 1.0f);
    EXPECT_EQ(session.Ratio(), 0.0f);
    EXPECT_EQ(RatioOf(session, Picture()), 1.0f);
  }
}

TEST_F(Detection, RatioInBufferOutputIsTheShareOfTheChangedTiles) {
  Capture session({.detect = true});
  EXPECT_EQ(RatioOf(session, Picture()), 1.0f);
  // Each compared with the one before.
  const Image one = With(Picture(), 31, 31);
  EXPECT_EQ(RatioOf(session, one), kOneTile);
  EXPECT_EQ(RatioOf(session, With(one, 63, 0)), kOneTile);
  EXPECT_EQ(RatioOf(session, Picture()), kTwoTiles);
  EXPECT_EQ(RatioOf(session, Picture()), 0.0f);
  // Another width, another height, and the size before.
  for (const auto& [width, height] : {std::pair{96u, 40u}, {96u, 70u}, {80u, 40u}}) {
    EXPECT_EQ(RatioOf(session, Pattern(width, height)), 1.0f);
    EXPECT_EQ(RatioOf(session, Pattern(width, height)), 0.0f);
  }
  // Three of four tiles, and rounded once: the product with the reciprocal is another float.
  const Image larger = Pattern(96, 70);
  EXPECT_EQ(RatioOf(session, larger), 1.0f);
  EXPECT_EQ(RatioOf(session, With(With(With(larger, 0, 0), 40, 0), 0, 40)),
            static_cast<float>(3072.0 / 6720.0));
}

TEST_F(Detection, TextureOutputComparesEveryFrameWithABlackOne) {
  Capture session({.detect = true, .texture = true});
  const Image black(kWidth, kHeight);
  EXPECT_EQ(RatioOf(session, Picture()), 0.0f);
  EXPECT_EQ(RatioOf(session, Picture()), kTwoTiles);
  EXPECT_EQ(RatioOf(session, Picture()), kTwoTiles);
  EXPECT_EQ(RatioOf(session, black), 0.0f);
  EXPECT_EQ(RatioOf(session, With(black, 40, 5)), kOneTile);
}

TEST_F(Detection, NewSizeInTextureOutputReplacesAnUnreadRatio) {
  Capture session;
  session.Show(Picture());
  session.DirtyRect(true);
  session.ToTexture(true);
  EXPECT_EQ(RatioOf(session, Pattern(96, 70)), 0.0f);
}

// As long as texture output rebuilds nothing, it compares with the last frame of buffer output, and
// the buffer stays what the engine compares with.
TEST_F(Detection, TextureOutputComparesWithTheLastFrameOfBufferOutput) {
  Capture session({.detect = true});
  session.Show(Picture());
  session.ToTexture(true);
  EXPECT_EQ(RatioOf(session, Picture()), 0.0f);
  EXPECT_EQ(RatioOf(session, With(Picture(), 0, 0)), kOneTile);
  EXPECT_EQ(RatioOf(session, Picture()), 0.0f);
  EXPECT_EQ(RatioOf(session, Picture(2)), kTwoTiles);
  session.ToTexture(false);
  ExpectSpared(session, Picture());
  EXPECT_EQ(RatioOf(session, Picture(2)), kTwoTiles);
}

TEST_F(Detection, FrameWithoutAStagingTextureKeepsTheRatioOfTheFrameBefore) {
  Capture session({.detect = true});
  session.Show(Picture());
  session.Show(With(Picture(), 0, 0));
  FailCalls("CreateTexture2D", {1});
  EXPECT_EQ(RatioOf(session, Pattern(33, 33)), kOneTile);
}

TEST_F(Detection, DroppedFrameIsNotComparedWith) {
  Capture session({.detect = true});
  session.Show(Picture());
  const Image changed = With(Picture(), 0, 0);
  DeliverAnySize(changed);
  EXPECT_EQ(Pixels(session.Show(Picture(2))), changed);
  EXPECT_EQ(session.Ratio(), kOneTile);
  EXPECT_EQ(RatioOf(session, changed), 0.0f);
}

TEST_F(Detection, EveryFrameIsCopiedWithRatioOneWithoutThePrograms) {
  fake::settings.feature_level = D3D_FEATURE_LEVEL_10_0;
  FailCalls("CreateComputeShader", {3});
  Capture session({.detect = true});
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(RatioOf(session, Picture()), 1.0f);
    Blacken(session.GetFrame());
  }
}

// Which frames are copied.

TEST_F(Detection, UnchangedFrameIsNotCopied) {
  Capture session({.detect = true});
  const Poll before = session.Show(Picture());
  session.Ratio();
  static_cast<uint32_t*>(before.frame)[5] = 0xCAFEF00D;
  DeliverAnySize(Picture());
  const Poll poll = session.Show(Picture(2));
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(poll.frame, before.frame);
  EXPECT_EQ(static_cast<uint32_t*>(poll.frame)[5], 0xCAFEF00D);
  EXPECT_EQ(session.Ratio(), 0.0f);
  EXPECT_EQ(CopyModeOf(session.handle()), 0u);
}

TEST_F(Detection, ChangeInABlindTileIsNotCopied) {
  Capture session({.detect = true});
  session.Show(Picture());
  session.Ratio();
  for (const auto& [x, y] : {std::pair{64u, 0u}, {79u, 31u}, {0u, 32u}, {40u, 39u}}) {
    EXPECT_EQ(Pixels(session.Show(With(Picture(), x, y))), Picture());
    EXPECT_EQ(session.Ratio(), 0.0f);
  }
}

TEST_F(Detection, FirstFrameAfterTheSwitchIsCopied) {
  Capture session;
  for (const bool on : {true, false}) {
    Blacken(session.Show(Picture()));
    session.DirtyRect(on);
    session.Ratio();
    EXPECT_EQ(RatioOf(session, Picture()), 1.0f);
    EXPECT_EQ(CopyModeOf(session.handle()), 2u);
  }
}

TEST_F(Detection, UnchangedFrameOfANewContentSizeRecreatesThePool) {
  Capture session({.detect = true});
  ASSERT_TRUE(fake::LastPool()->Deliver(Picture()));
  session.GetFrame();
  session.Ratio();
  ASSERT_TRUE(fake::LastPool()->Deliver(Picture(), {40, 36}));
  session.GetFrame();
  EXPECT_EQ(session.Ratio(), 0.0f);
  EXPECT_EQ(fake::LastPool()->Size().Width, 40);
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(40, 36)));
  EXPECT_EQ(Pixels(session.GetFrame()), Pattern(40, 36));
  EXPECT_EQ(session.Ratio(), 1.0f);
}

// "Unchanged" compared with a frame that the buffer does not hold.

// The engine is built in texture output and compares with a black frame.
TEST_F(Detection, FrameUnchangedSinceTextureOutputIsCopied) {
  const Image none;
  const struct {
    Image buffer;  // what the buffer holds
    bool detect;   // whether the engine has seen that
    Image texture;
  } kCases[] = {{none, true, Image(kWidth, kHeight)},
                {Picture(), false, Image(kWidth, kHeight)},
                {Picture(), true, Image(64, 36)},
                {Picture(), true, Image(96, 70)}};
  for (const auto& [buffer, detect, texture] : kCases) {
    Capture session({.detect = detect});
    if (buffer != none) session.Show(buffer);
    session.DirtyRect(true);
    session.ToTexture(true);
    EXPECT_EQ(Pixels(session.Show(texture)), texture);
    session.ToTexture(false);
    EXPECT_EQ(RatioOf(session, texture), 1.0f);
    ExpectSpared(session, texture);
  }
}

TEST_F(Detection, FrameUnchangedSinceDetectionWasTurnedOffIsCopied) {
  Capture session({.detect = true});
  const Image changed = With(Picture(1), 0, 0);
  session.Show(Picture(1));
  for (const auto& [picture, ratio] :
       {std::pair{Picture(1), 1.0f}, {changed, kOneTile}, {changed, 1.0f}}) {
    session.DirtyRect(false);
    session.Show(Picture(2));
    session.DirtyRect(true);
    // Compared with what the engine saw last; the buffer has another since, and so has the host.
    EXPECT_EQ(RatioOf(session, picture), ratio);
    ExpectSpared(session, picture);
  }
}

TEST_F(Detection, UnchangedFrameFillsABufferThatFailedToGrow) {
  // The staging texture is still mapped then, so the frame is read the simple way.
  ExpectRefusals();
  Capture session({.detect = true});
  session.Show(Pattern(64, 48));
  FailEveryCall("malloc", kGivesNothing);
  EXPECT_FALSE(session.Show(Picture()).available);
  fake::PlanNoFaults();
  session.Ratio();
  EXPECT_EQ(RatioOf(session, Picture()), 1.0f);
  ExpectSpared(session, Picture());
  EXPECT_EQ(RatioOf(session, With(Picture(), 0, 0)), kOneTile);
  ExpectSpared(session, With(Picture(), 0, 0));
}

TEST_F(Detection, FrameThatWasNotReadIsCopiedWhenItComesAgain) {
  for (const Fault fault : {kGivesNothing, kDeviceRemoved}) {
    Capture session({.detect = true});
    session.Show(Picture(1));
    session.Show(Picture(1));
    // The engine's own map is the first, the staging texture's the second; then the simple way's.
    FailCalls("Map", {2, 3, 4}, fault);
    EXPECT_EQ(Pixels(session.Show(Picture(2))), Picture(1));
    EXPECT_GE(fake::FaultsInjected(), 1u);
    fake::PlanNoFaults();
    EXPECT_EQ(RatioOf(session, Picture(2)), 1.0f);
    ExpectSpared(session, Picture(2));
  }
}

// The simple way reads the frame that the engine has just seen.
TEST_F(Detection, FrameReadTheSimpleWayIsNotCopiedAgain) {
  Capture session({.detect = true});
  // The maps of the engine's build come before that of the staging texture, as do its flags.
  for (const auto& [seed, map] : {std::pair{1u, 4u}, {2u, 2u}}) {
    FailCalls("Map", {map});
    EXPECT_GT(RatioOf(session, Picture(seed)), 0.0f);
    EXPECT_EQ(fake::FaultsInjected(), 1u);
    fake::PlanNoFaults();
    ExpectSpared(session, Picture(seed));
  }
}

// The pool cannot follow the first frame's content, so the poll goes on to the second: the host
// sees that one first.
TEST_F(Detection, FrameEqualToOneThatDidNotCountIsCopied) {
  Capture session({.detect = true});
  session.Show(Picture(1));
  session.Ratio();
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(fake::LastPool()->DeliverTexture(NewFrameTexture(Picture(2)).get(), {40, 36}));
  }
  FailCalls("Recreate", {1});
  EXPECT_EQ(Pixels(session.GetFrame()), Picture(2));
  EXPECT_EQ(fake::FaultsInjected(), 1u);
  EXPECT_EQ(session.Ratio(), 1.0f);
}

// An engine that fails.

TEST_F(Detection, FrameIsReadTheSimpleWayIfTheEngineCannotBeBuilt) {
  Capture session({.detect = true});
  FailCalls("CreateRenderTargetView", {1});
  const auto recording = Recorded([&] { EXPECT_EQ(RatioOf(session, Picture()), 1.0f); });
  EXPECT_EQ(fake::FaultsInjected(), 1u);
  // The copy to the persistent staging texture, and the one to a texture of the frame's own.
  EXPECT_EQ(LinesWith("CopyResource", recording).size(), 2u);
}

TEST_F(Detection, TextureOutputReportsNoChangeIfTheEngineCannotBeBuilt) {
  Capture session({.detect = true, .texture = true});
  FailCalls("CreateRenderTargetView", {1});
  EXPECT_EQ(RatioOf(session, Picture()), 0.0f);
  EXPECT_EQ(fake::FaultsInjected(), 1u);
  EXPECT_EQ(RatioOf(session, Picture()), 0.0f);
  // Nor does it leave the ratio of a frame before, which nobody has read.
  session.DirtyRect(false);
  Pixels(session.Show(Picture()));
  session.DirtyRect(true);
  EXPECT_EQ(RatioOf(session, Picture()), 0.0f);
}

// Such a frame was not compared, but copied, and is what the next frame is compared with.
TEST_F(Detection, FrameIsCopiedWithRatioOneIfTheFlagsCannotBeRead) {
  Capture session({.detect = true});
  session.Show(Picture());
  session.Ratio();
  for (const Fault fault : {kDeviceRemoved, kGivesNothing}) {
    for (const uint32_t in_a_row : {1u, 2u}) {
      for (uint32_t i = 0; i < in_a_row; ++i) {
        FailCalls("Map", {1}, fault);
        EXPECT_EQ(RatioOf(session, Picture(2 + i)), 1.0f);
        fake::PlanNoFaults();
      }
      const Image last = Picture(1 + in_a_row);
      ExpectSpared(session, last);
      EXPECT_EQ(RatioOf(session, With(last, 0, 0)), kOneTile);
      ExpectSpared(session, With(last, 0, 0));
    }
  }
  // The same after a rebuild.
  FailCalls("Map", {1}, kDeviceRemoved);
  session.Show(Picture(4));
  fake::PlanNoFaults();
  session.Show(Pattern(kWidth + 40, kHeight, 3));
  session.Ratio();
  ExpectSpared(session, Pattern(kWidth + 40, kHeight, 3));
}

TEST_F(Detection, RectanglesOfAFailedDetectionDoNotCountForTheNextFrame) {
  Capture session({.detect = true});
  const Image wide = Pattern(160, 64);
  session.Show(wide);
  // Two rectangles, and no memory for the second.
  DeliverAnySize(With(With(wide, 0, 0), 64, 0));
  fake::FailNew(2);
  session.GetFrame();
  EXPECT_EQ(fake::NewCalls(), 2u);
  fake::FailNew(0);
  FailCalls("Map", {1}, kDeviceRemoved);
  EXPECT_EQ(RatioOf(session, Pattern(160, 64, 2)), 1.0f);
}

// Direct3D leaves the contents of a new texture undefined: the measures of the edge tiles, which no
// program writes, must not be what was left in the memory.
TEST_F(Detection, UndefinedTextureContentsAreNoChangeAtTheEdges) {
  fake::settings.new_texture_byte = 0xA5;
  Capture session({.detect = true});
  for (const auto& picture : {Picture(), Pattern(96, 70), Pattern(33, 65), Picture()}) {
    EXPECT_EQ(RatioOf(session, picture), 1.0f);
    ExpectSpared(session, picture);
  }
  EXPECT_EQ(RatioOf(session, With(Picture(), 0, 0)), kOneTile);
}

// A rebuild may fail at any of its resources, and the engine may still run on what is left of the
// old ones; what it does not see then is copied all the same, in each output.
TEST_F(Detection, EngineThatWasNotRebuiltIsNotReliedOn) {
  ExpectRefusals();
  for (const bool rebuilt_in_texture_output : {false, true}) {
    bool failed = true;
    uint64_t creation = 0;
    while (failed) {
      ++creation;
      SCOPED_TRACE(creation);
      Capture session({.detect = true});
      session.Show(Picture());
      session.ToTexture(rebuilt_in_texture_output);
      // The frame's own staging or output texture is made first, and does not fail.
      fake::PlanFaults([&, calls = uint64_t{0}](const fake::FailableCall& call) mutable {
        return call.function.starts_with("Create") && ++calls == creation + 1
                   ? std::optional(kFails)
                   : std::nullopt;
      });
      Pixels(session.Show(Pattern(120, 80)));
      failed = fake::FaultsInjected() > 0;
      fake::PlanNoFaults();
      session.ToTexture(false);
      for (uint32_t seed = 1; seed <= 3; ++seed) {
        session.Ratio();
        const float ratio = RatioOf(session, Pattern(120, 80, seed));
        // What is new to the host never comes as unchanged.
        if (seed > 1 || rebuilt_in_texture_output) {
          EXPECT_GT(ratio, 0.0f);
        }
        RatioOf(session, Pattern(120, 80, seed));
      }
    }
    EXPECT_GT(creation, 15u);
  }
}

}  // namespace
}  // namespace session_test
