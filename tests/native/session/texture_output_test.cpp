// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Frames handed out as a texture: how it is made, whose it is, and what a change of output does.
#include "native/host.h"
#include "native/session_state.h"

namespace session_test {
namespace {

class TextureOutput : public SessionTest {
 protected:
  static ID3D11Texture2D* TextureOf(const Poll& poll) {
    return static_cast<ID3D11Texture2D*>(poll.frame);
  }
  static ULONG ReferencesOf(const Poll& poll) {
    TextureOf(poll)->AddRef();
    return TextureOf(poll)->Release();
  }
};

TEST_F(TextureOutput, IsATextureOfTheSessionsDeviceThatCanBeDrawnTo) {
  Capture session({.texture = true});
  ASSERT_TRUE(
      fake::LastPool()->DeliverTexture(NewFrameTexture(LayeredFrameDesc()).get(), {64, 48}));
  const Poll poll = session.GetFrame();
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(std::pair(poll.width, poll.height), std::pair(64u, 48u));
  // Of the frame's layout only format and samples.
  EXPECT_EQ(fake::Text(fake::DescOf(TextureOf(poll))),
            "64x48 mips 1 layers 1 format 87 samples 4/1 default bind 0x20 cpu 0x0 misc 0x0");
  winrt::com_ptr<ID3D11Device> device;
  TextureOf(poll)->GetDevice(device.put());
  EXPECT_EQ(device.get(), wgc_get_device(session.handle()));
  // There is no buffer for it.
  EXPECT_EQ(fake::HeapBytes(), 0);
  TextureOf(poll)->Release();
}

TEST_F(TextureOutput, EachPollAddsAReferenceForTheHost) {
  Capture session({.texture = true});
  const Poll first = session.Show(Pattern(64, 48));
  ASSERT_TRUE(first.available);
  EXPECT_EQ(ReferencesOf(first), 2u);  // the session's and ours
  const Poll second = session.Show(Pattern(64, 48, 2));
  const Poll third = session.GetFrame();
  EXPECT_EQ(second.frame, first.frame);
  EXPECT_EQ(third.frame, first.frame);
  EXPECT_EQ(ReferencesOf(first), 4u);
  wgc_free_recent_frame(session.handle(), first.frame);
  EXPECT_EQ(ReferencesOf(first), 4u);
  session.Destroy();
  EXPECT_EQ(ReferencesOf(first), 3u);
  for (const Poll& poll : {first, second, third}) EXPECT_EQ(Pixels(poll), Pattern(64, 48, 2));
}

TEST_F(TextureOutput, HandlesEveryFrameOfAPollAndTheLastWins) {
  Capture session({.texture = true});
  for (uint32_t seed = 1; seed <= 3; ++seed) DeliverAnySize(Pattern(64, 48, seed));
  Poll poll;
  const auto recording = Recorded([&] { poll = session.GetFrame(); });
  EXPECT_EQ(LinesWith("CopyResource", recording).size(), 3u);
  EXPECT_EQ(Pixels(poll), Pattern(64, 48, 3));
}

TEST_F(TextureOutput, DoesNotKeepALaterFrameFromTheBuffer) {
  Capture session({.texture = true});
  DeliverAnySize(Pattern(64, 48, 1));
  PumpAsTheHost();
  session.ToTexture(false);
  DeliverAnySize(Pattern(64, 48, 2));
  PumpAsTheHost();
  EXPECT_EQ(Pixels(session.GetFrame()), Pattern(64, 48, 2));
}

// The staging texture of buffer output, too.
TEST_F(TextureOutput, IsReplacedForAnotherWidthHeightOrFormatOnly) {
  constexpr auto kBgra = DXGI_FORMAT_B8G8R8A8_UNORM;
  constexpr auto kRgba = DXGI_FORMAT_R8G8B8A8_UNORM;
  const struct {
    uint32_t width, height;
    DXGI_FORMAT format;
    bool replaced;
  } kSteps[] = {{64, 48, kBgra, true}, {64, 48, kBgra, false}, {65, 48, kBgra, true},
                {65, 47, kBgra, true}, {65, 47, kRgba, true},  {65, 47, kRgba, false},
                {64, 48, kBgra, true}};
  for (const bool texture : {false, true}) {
    Capture session({.texture = texture});
    uint32_t seed = 0;
    for (const auto& [width, height, format, replaced] : kSteps) {
      SCOPED_TRACE(++seed);
      DeliverAnySize(Pattern(width, height, seed), format);
      Poll poll;
      const auto recording = Recorded([&] { poll = session.GetFrame(); });
      const auto made = LinesWith("CreateTexture2D", recording);
      ASSERT_EQ(made.size(), replaced ? 1u : 0u);
      if (replaced) {
        EXPECT_NE(made[0].find(format == kBgra ? " format 87 " : " format 28 "), std::string::npos);
      }
      ASSERT_TRUE(poll.available);
      EXPECT_EQ(std::pair(poll.width, poll.height), std::pair(width, height));
      EXPECT_EQ(Pixels(poll), Pattern(width, height, seed));
    }
  }
}

TEST_F(TextureOutput, ReplacedTextureStaysTheHostsAndIsNotWrittenAgain) {
  Capture session({.texture = true});
  const Poll old = session.Show(Pattern(64, 48, 1));
  EXPECT_EQ(Pixels(session.Show(Pattern(32, 24, 2))), Pattern(32, 24, 2));
  EXPECT_EQ(ReferencesOf(old), 1u);
  EXPECT_EQ(Pixels(session.Show(Pattern(64, 48, 3))), Pattern(64, 48, 3));
  EXPECT_EQ(Pixels(old), Pattern(64, 48, 1));
}

TEST_F(TextureOutput, SwitchedOnReportsTheTextureOfEarlierFramesIfAny) {
  Capture session;
  session.Show(Pattern(64, 48));
  session.ToTexture(true);
  const Poll none = session.GetFrame();
  EXPECT_FALSE(none.available);
  EXPECT_EQ(none.frame, kUntouched);
  EXPECT_EQ(std::pair(none.width, none.height), std::pair(64u, 48u));

  Pixels(session.Show(Pattern(64, 48, 2)));
  session.ToTexture(false);
  session.Show(Pattern(64, 48, 3));
  session.ToTexture(true);
  EXPECT_EQ(Pixels(session.GetFrame()), Pattern(64, 48, 2));
}

TEST_F(TextureOutput, SwitchedOffReportsTheBufferAsItWasWithTheSizeOfTheLastFrame) {
  Capture session;
  const Poll buffer = session.Show(Pattern(64, 48, 1));
  session.ToTexture(true);
  Pixels(session.Show(Pattern(32, 24, 2)));
  session.ToTexture(false);
  const Poll poll = session.GetFrame();
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(poll.frame, buffer.frame);
  EXPECT_EQ(std::pair(poll.width, poll.height), std::pair(32u, 24u));
  EXPECT_EQ(Pixels(buffer), Pattern(64, 48, 1));
}

}  // namespace
}  // namespace session_test
