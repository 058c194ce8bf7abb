// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Frames handed out as a texture: how it is made, whose it is, and what a change of output does.
#include "native/frames.h"
#include "native/session_state.h"

namespace session_test {
namespace {

using fake::Fault;

class TextureOutput : public SessionTest {
 protected:
  static Poll PollOf(Session& session, const reference::Image& picture,
                     DXGI_FORMAT format = DXGI_FORMAT_B8G8R8A8_UNORM) {
    DeliverAnySize(picture, format);
    return session.GetFrame();
  }

  // The references that a texture has.
  static ULONG ReferencesOf(const Poll& poll) {
    auto* const texture = static_cast<ID3D11Texture2D*>(poll.frame);
    texture->AddRef();
    return texture->Release();
  }

  static void Release(const Poll& poll) { static_cast<ID3D11Texture2D*>(poll.frame)->Release(); }
};

TEST_F(TextureOutput, IsATextureOfTheSessionsDeviceThatCanBeDrawnTo) {
  Session session;
  session.ToTexture(true);
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
  fake::StartRecording();
  const Poll poll = session.GetFrame();
  const std::vector<std::string> made = LinesWith("CreateTexture2D", fake::TakeRecording());
  ASSERT_EQ(made.size(), 1u);
  EXPECT_EQ(made[0].substr(0, made[0].find(" = ")),
            "device1.CreateTexture2D(64x48 mips 1 layers 1 format 87 samples 1/0 default "
            "bind 0x20 cpu 0x0 misc 0x0, null)");
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(poll.width, 64u);
  EXPECT_EQ(poll.height, 48u);
  winrt::com_ptr<ID3D11Device> device;
  static_cast<ID3D11Texture2D*>(poll.frame)->GetDevice(device.put());
  EXPECT_EQ(device.get(), wgc_get_device(session.handle()));
  EXPECT_EQ(TexturePixels(poll).pixels, Pattern(64, 48).pixels);
  // There is no buffer for it.
  EXPECT_EQ(fake::HeapBytes(), 0);
}

TEST_F(TextureOutput, HasOneLevelAndOneLayerWhateverTheFrameHas) {
  Session session;
  session.ToTexture(true);
  ASSERT_TRUE(session.Start());
  D3D11_TEXTURE2D_DESC desc = fake::FrameDesc(64, 48);
  desc.MipLevels = 2;
  desc.ArraySize = 3;
  ASSERT_TRUE(fake::LastPool()->DeliverTexture(NewFrameTexture(desc).get(), {64, 48}));
  const Poll poll = session.GetFrame();
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(fake::Text(fake::DescOf(static_cast<ID3D11Texture2D*>(poll.frame))),
            "64x48 mips 1 layers 1 format 87 samples 1/0 default bind 0x20 cpu 0x0 misc 0x0");
  Release(poll);
}

TEST_F(TextureOutput, ThreePollsAddThreeReferencesToOneTexture) {
  Session session;
  session.ToTexture(true);
  ASSERT_TRUE(session.Start());
  const Poll first = PollOf(session, Pattern(64, 48));
  ASSERT_TRUE(first.available);
  EXPECT_EQ(ReferencesOf(first), 2u);  // the session's and ours
  const Poll second = PollOf(session, Pattern(64, 48, 2));
  const Poll third = session.GetFrame();
  EXPECT_EQ(second.frame, first.frame);
  EXPECT_EQ(third.frame, first.frame);
  EXPECT_EQ(ReferencesOf(first), 4u);
  // Giving frames back is the host's work.
  wgc_free_recent_frame(session.handle(), first.frame);
  EXPECT_EQ(ReferencesOf(first), 4u);
  for (const Poll& poll : {first, second, third}) Release(poll);
}

TEST_F(TextureOutput, OutlivesTheSessionInTheHostsHands) {
  Session session;
  session.ToTexture(true);
  ASSERT_TRUE(session.Start());
  const Poll poll = PollOf(session, Pattern(64, 48));
  session.Destroy();
  EXPECT_EQ(ReferencesOf(poll), 1u);
  EXPECT_EQ(TexturePixels(poll).pixels, Pattern(64, 48).pixels);
}

TEST_F(TextureOutput, HandlesEveryFrameOfAPollAndTheLastWins) {
  Session session;
  session.ToTexture(true);
  ASSERT_TRUE(session.Start());
  for (uint32_t seed = 1; seed <= 3; ++seed) DeliverAnySize(Pattern(64, 48, seed));
  fake::StartRecording();
  const Poll poll = session.GetFrame();
  EXPECT_EQ(LinesWith("CopyResource", fake::TakeRecording()).size(), 3u);
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(TexturePixels(poll).pixels, Pattern(64, 48, 3).pixels);
}

TEST_F(TextureOutput, DoesNotHoldAFrameBackFromTheBuffer) {
  Session session;
  session.ToTexture(true);
  ASSERT_TRUE(session.Start());
  DeliverAnySize(Pattern(64, 48, 1));
  PumpAsTheHost();
  session.ToTexture(false);
  DeliverAnySize(Pattern(64, 48, 2));
  PumpAsTheHost();
  const Poll poll = session.GetFrame();
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48, 2).pixels);
}

TEST_F(TextureOutput, IsMadeAnewForAnotherWidthHeightOrFormatOnly) {
  Session session;
  session.ToTexture(true);
  ASSERT_TRUE(session.Start());
  constexpr auto kBgra = DXGI_FORMAT_B8G8R8A8_UNORM;
  constexpr auto kRgba = DXGI_FORMAT_R8G8B8A8_UNORM;
  struct Step {
    uint32_t width;
    uint32_t height;
    DXGI_FORMAT format;
    bool made;
  };
  uint32_t seed = 0;
  for (const Step step :
       {Step{64, 48, kBgra, true}, Step{64, 48, kBgra, false}, Step{65, 48, kBgra, true},
        Step{65, 47, kBgra, true}, Step{65, 47, kRgba, true}, Step{65, 47, kRgba, false},
        Step{64, 48, kBgra, true}}) {
    SCOPED_TRACE(std::to_string(step.width) + "x" + std::to_string(step.height) + " " +
                 std::to_string(step.format));
    const reference::Image picture = Pattern(step.width, step.height, ++seed);
    fake::StartRecording();
    const Poll poll = PollOf(session, picture, step.format);
    EXPECT_EQ(LinesWith("CreateTexture2D", fake::TakeRecording()).size(), step.made ? 1u : 0u);
    ASSERT_TRUE(poll.available);
    EXPECT_EQ(poll.width, step.width);
    EXPECT_EQ(poll.height, step.height);
    EXPECT_EQ(fake::DescOf(static_cast<ID3D11Texture2D*>(poll.frame)).Format, step.format);
    EXPECT_EQ(TexturePixels(poll).pixels, picture.pixels);
  }
}

TEST_F(TextureOutput, AReplacedTextureLivesOnInTheHostsHandsAndIsNotWrittenAgain) {
  Session session;
  session.ToTexture(true);
  ASSERT_TRUE(session.Start());
  const Poll old = PollOf(session, Pattern(64, 48, 1));
  const Poll replaced = PollOf(session, Pattern(32, 24, 2));
  EXPECT_NE(replaced.frame, old.frame);
  EXPECT_EQ(ReferencesOf(old), 1u);  // ours alone
  const Poll again = PollOf(session, Pattern(64, 48, 3));
  EXPECT_NE(again.frame, old.frame);
  EXPECT_EQ(TexturePixels(old).pixels, Pattern(64, 48, 1).pixels);
  EXPECT_EQ(TexturePixels(replaced).pixels, Pattern(32, 24, 2).pixels);
  EXPECT_EQ(TexturePixels(again).pixels, Pattern(64, 48, 3).pixels);
}

TEST_F(TextureOutput, ThatCannotBeMadeDropsTheFrameAndChangesNothingElse) {
  Session session;
  session.ToTexture(true);
  ASSERT_TRUE(session.Start());
  Release(PollOf(session, Pattern(64, 48)));
  TakeLog();
  fake::PlanFaults(fake::EveryCallOf("CreateTexture2D", {Fault::Kind::kResult, E_OUTOFMEMORY}));
  const Poll poll = PollOf(session, Pattern(100, 90));
  EXPECT_FALSE(poll.available);
  EXPECT_EQ(poll.frame, kUntouched);
  EXPECT_EQ(poll.width, 64u);
  EXPECT_EQ(poll.height, 48u);
  EXPECT_EQ(session.Ratio(), 1.0f);  // the first frame's
  EXPECT_EQ(TakeLog(), std::vector<LogLine>());

  fake::PlanNoFaults();
  const Poll next = PollOf(session, Pattern(100, 90, 2));
  ASSERT_TRUE(next.available);
  EXPECT_EQ(TexturePixels(next).pixels, Pattern(100, 90, 2).pixels);
}

TEST_F(TextureOutput, ThatCannotBeMadeForOneFrameIsMadeForTheNextOfThatSize) {
  Session session;
  session.ToTexture(true);
  ASSERT_TRUE(session.Start());
  fake::PlanFaults(fake::NthCallOf("CreateTexture2D", 1, {Fault::Kind::kNothing}));
  EXPECT_FALSE(PollOf(session, Pattern(64, 48)).available);
  const Poll poll = PollOf(session, Pattern(64, 48, 2));
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(TexturePixels(poll).pixels, Pattern(64, 48, 2).pixels);
}

TEST_F(TextureOutput, TurnedOnReportsNothingUntilAFrameCameThatWay) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(PollOf(session, Pattern(64, 48)).available);
  session.ToTexture(true);
  const Poll poll = session.GetFrame();
  EXPECT_FALSE(poll.available);
  EXPECT_EQ(poll.frame, kUntouched);
  EXPECT_EQ(poll.width, 64u);
  EXPECT_EQ(poll.height, 48u);
}

TEST_F(TextureOutput, LeftFromEarlierIsReportedAtOnce) {
  Session session;
  session.ToTexture(true);
  ASSERT_TRUE(session.Start());
  Release(PollOf(session, Pattern(64, 48, 1)));
  session.ToTexture(false);
  ASSERT_TRUE(PollOf(session, Pattern(64, 48, 2)).available);
  session.ToTexture(true);
  const Poll poll = session.GetFrame();
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(TexturePixels(poll).pixels, Pattern(64, 48, 1).pixels);
}

TEST_F(TextureOutput, TurnedOffGivesTheBufferAsItWasWithTheSizeOfTheLastFrame) {
  Session session;
  ASSERT_TRUE(session.Start());
  const Poll buffer = PollOf(session, Pattern(64, 48, 1));
  session.ToTexture(true);
  Release(PollOf(session, Pattern(32, 24, 2)));
  session.ToTexture(false);
  const Poll poll = session.GetFrame();
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(poll.frame, buffer.frame);
  EXPECT_EQ(poll.width, 32u);
  EXPECT_EQ(poll.height, 24u);
  const auto* const pixels = static_cast<const uint32_t*>(poll.frame);
  EXPECT_TRUE(std::equal(pixels, pixels + 64 * 48, Pattern(64, 48, 1).pixels.begin()));
}

}  // namespace
}  // namespace session_test
