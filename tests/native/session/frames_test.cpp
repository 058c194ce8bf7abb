// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Frames on their way into the buffer: rows, sizes, the mark that a frame is held, and what the
// handler answers.
#include <cstring>

#include "native/frames.h"
#include "native/session_state.h"

namespace session_test {
namespace {

using fake::Fault;

class Frames : public SessionTest {
 protected:
  // A session whose target has that size.
  static void SetTarget(int32_t width, int32_t height) {
    fake::settings.item_width = width;
    fake::settings.item_height = height;
  }
};

struct Shape {
  uint32_t width;
  uint32_t height;
  uint32_t row_padding;
};

class FrameRows : public Frames, public testing::WithParamInterface<Shape> {};

TEST_P(FrameRows, AreTightWhateverThePitchOfTheMappedTexture) {
  const Shape shape = GetParam();
  SetTarget(static_cast<int32_t>(shape.width), static_cast<int32_t>(shape.height));
  fake::settings.row_padding = shape.row_padding;
  Session session;
  ASSERT_TRUE(session.Start());
  const reference::Image picture = Pattern(shape.width, shape.height);
  ASSERT_TRUE(fake::LastPool()->Deliver(picture));
  const Poll poll = session.GetFrame();
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(poll.width, shape.width);
  EXPECT_EQ(poll.height, shape.height);
  EXPECT_EQ(Pixels(poll).pixels, picture.pixels);
}

INSTANTIATE_TEST_SUITE_P(Shapes, FrameRows,
                         testing::Values(Shape{64, 48, 0}, Shape{64, 48, 4}, Shape{64, 48, 256},
                                         Shape{1, 1, 60}, Shape{1, 7, 12}, Shape{7, 1, 100},
                                         Shape{61, 33, 12}, Shape{1366, 3, 40}),
                         [](const auto& info) {
                           return std::to_string(info.param.width) + "x" +
                                  std::to_string(info.param.height) + "Plus" +
                                  std::to_string(info.param.row_padding);
                         });

TEST_F(Frames, HaveTheirBytesInTheOrderBlueGreenRedAlpha) {
  SetTarget(1, 1);
  Session session;
  ASSERT_TRUE(session.Start());
  reference::Image picture(1, 1);
  picture.At(0, 0) = 0x40302010;  // alpha, red, green, blue
  ASSERT_TRUE(fake::LastPool()->Deliver(picture));
  const Poll poll = session.GetFrame();
  ASSERT_TRUE(poll.available);
  const auto* const bytes = static_cast<const uint8_t*>(poll.frame);
  EXPECT_EQ((std::vector<int>(bytes, bytes + 4)), (std::vector<int>{0x10, 0x20, 0x30, 0x40}));
}

TEST_F(Frames, FollowEachOtherPollByPoll) {
  Session session;
  ASSERT_TRUE(session.Start());
  for (uint32_t seed = 1; seed <= 5; ++seed) {
    ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, seed)));
    const Poll poll = session.GetFrame();
    ASSERT_TRUE(poll.available);
    EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48, seed).pixels);
  }
}

TEST_F(Frames, OfTwoInOnePollTheFirstIsKeptAndTheSecondTakenAndDropped) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 1)));
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2)));
  // Both buffers of the pool are out.
  ASSERT_FALSE(fake::LastPool()->Deliver(Pattern(64, 48, 3)));
  fake::StartRecording();
  const Poll poll = session.GetFrame();
  const std::vector<std::string> recording = fake::TakeRecording();
  EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48, 1).pixels);
  EXPECT_EQ(LinesWith("TryGetNextFrame", recording).size(), 2u);
  EXPECT_EQ(LinesWith("frame2.", recording), std::vector<std::string>());
  // Given back to the pool.
  EXPECT_EQ(LinesWith("~frame2", recording).size(), 1u);
  EXPECT_EQ(fake::LastPool()->FramesWaiting(), 0u);
  EXPECT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 4)));
  EXPECT_EQ(Pixels(session.GetFrame()).pixels, Pattern(64, 48, 4).pixels);
}

TEST_F(Frames, OfThreeInOnePollEachEventTakesOne) {
  Session session;
  ASSERT_TRUE(session.Start());
  for (uint32_t seed = 1; seed <= 3; ++seed) DeliverAnySize(Pattern(64, 48, seed));
  fake::StartRecording();
  const Poll poll = session.GetFrame();
  EXPECT_EQ(LinesWith("TryGetNextFrame", fake::TakeRecording()).size(), 3u);
  EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48, 1).pixels);
  EXPECT_EQ(fake::LastPool()->FramesWaiting(), 0u);
}

TEST_F(Frames, ADroppedOnesContentSizeDoesNotReachThePool) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 1)));
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2), {32, 24}));
  session.GetFrame();
  EXPECT_EQ(fake::LastPool()->Size().Width, 64);
  EXPECT_EQ(fake::LastPool()->Size().Height, 48);
}

TEST_F(Frames, ThatCannotBeReadLeaveThePollToTheNext) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 1)));
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2)));
  // Neither the persistent staging texture nor one for this frame alone can be made.
  fake::PlanFaults([creations = 0](const fake::FailableCall& call) mutable {
    return call.function == "CreateTexture2D" && ++creations <= 2
               ? std::optional<Fault>({Fault::Kind::kResult, E_OUTOFMEMORY})
               : std::nullopt;
  });
  const Poll poll = session.GetFrame();
  EXPECT_EQ(fake::FaultsInjected(), 2u);
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48, 2).pixels);
  EXPECT_EQ(fake::LastPool()->HandlerResult(), S_OK);
}

TEST_F(Frames, OfTheHostsOwnPumpTheFirstIsKeptUntilTheNextPoll) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 1)));
  PumpAsTheHost();
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2)));
  PumpAsTheHost();
  EXPECT_EQ(fake::LastPool()->FramesWaiting(), 0u);
  const Poll poll = session.GetFrame();
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48, 1).pixels);
  // That poll has cleared the mark.
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 3)));
  PumpAsTheHost();
  EXPECT_EQ(Pixels(session.GetFrame()).pixels, Pattern(64, 48, 3).pixels);
}

TEST_F(Frames, HeldByTheMarkAreDroppedInTextureOutputToo) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 1)));
  PumpAsTheHost();
  session.ToTexture(true);
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2)));
  PumpAsTheHost();
  EXPECT_EQ(fake::LastPool()->FramesWaiting(), 0u);
  EXPECT_FALSE(session.GetFrame().available);
}

TEST_F(Frames, WithoutDetectionAnEqualOneIsCopiedAgain) {
  Session session;
  ASSERT_TRUE(session.Start());
  const reference::Image picture = Pattern(64, 48);
  ASSERT_TRUE(fake::LastPool()->Deliver(picture));
  Poll poll = session.GetFrame();
  std::memset(poll.frame, 0, 64 * 48 * 4);
  ASSERT_TRUE(fake::LastPool()->Deliver(picture));
  poll = session.GetFrame();
  EXPECT_EQ(Pixels(poll).pixels, picture.pixels);
}

TEST_F(Frames, AStagingTextureServesAllOfOneSize) {
  Session session;
  ASSERT_TRUE(session.Start());
  fake::StartRecording();
  for (uint32_t seed = 1; seed <= 3; ++seed) {
    ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, seed)));
    session.GetFrame();
  }
  EXPECT_EQ(LinesWith("CreateTexture2D", fake::TakeRecording()).size(), 1u);
}

std::string StagingTexture(const char* size, int format) {
  return "device1.CreateTexture2D(" + std::string(size) + " mips 1 layers 1 format " +
         std::to_string(format) + " samples 1/0 staging bind 0x0 cpu 0x20000 misc 0x0, null)";
}

TEST_F(Frames, OfAnotherWidthHeightOrFormatGetAStagingTextureOfTheirOwn) {
  Session session;
  ASSERT_TRUE(session.Start());
  const auto texture_made_for = [&](const reference::Image& picture, DXGI_FORMAT format) {
    fake::StartRecording();
    DeliverAnySize(picture, format);
    const Poll poll = session.GetFrame();
    EXPECT_TRUE(poll.available);
    EXPECT_EQ(Pixels(poll).pixels, picture.pixels);
    std::string line;
    for (const std::string& made : LinesWith("CreateTexture2D", fake::TakeRecording())) {
      line += made.substr(0, made.find(" = "));
    }
    return line;
  };
  constexpr auto kBgra = DXGI_FORMAT_B8G8R8A8_UNORM;
  constexpr auto kRgba = DXGI_FORMAT_R8G8B8A8_UNORM;
  EXPECT_EQ(texture_made_for(Pattern(64, 48, 1), kBgra), StagingTexture("64x48", 87));
  EXPECT_EQ(texture_made_for(Pattern(65, 48, 2), kBgra), StagingTexture("65x48", 87));
  EXPECT_EQ(texture_made_for(Pattern(65, 47, 3), kBgra), StagingTexture("65x47", 87));
  EXPECT_EQ(texture_made_for(Pattern(65, 47, 4), kRgba), StagingTexture("65x47", 28));
  EXPECT_EQ(texture_made_for(Pattern(65, 47, 5), kRgba), "");
}

TEST_F(Frames, MipLevelsAndLayersAreTakenOverButNotCompared) {
  Session session;
  ASSERT_TRUE(session.Start());
  D3D11_TEXTURE2D_DESC desc = fake::FrameDesc(64, 48);
  desc.MipLevels = 2;
  desc.ArraySize = 3;
  fake::StartRecording();
  ASSERT_TRUE(fake::LastPool()->DeliverTexture(NewFrameTexture(desc).get(), {64, 48}));
  session.GetFrame();
  EXPECT_EQ(
      LinesWith("CreateTexture2D", fake::TakeRecording())
          .at(0)
          .rfind("device1.CreateTexture2D(64x48 mips 2 layers 3 format 87 samples 1/0 staging "
                 "bind 0x0 cpu 0x20000 misc 0x0, null)",
                 0),
      0u);
  fake::StartRecording();
  DeliverAnySize(Pattern(64, 48));
  session.GetFrame();
  EXPECT_EQ(LinesWith("CreateTexture2D", fake::TakeRecording()), std::vector<std::string>());
}

TEST_F(Frames, OfAShrunkTargetKeepThePoolsSizeUntilThePoolIsMadeAnew) {
  SetTarget(800, 600);
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(800, 600, 1)));
  session.GetFrame();

  // The picture has shrunk, the pool's textures have not: what was around it is still there.
  const reference::Image shrunk = Pattern(640, 480, 2);
  reference::Image expected = Pattern(800, 600, 3);
  {
    // Both buffers of the pool hold the third pattern then.
    ASSERT_TRUE(fake::LastPool()->Deliver(expected));
    ASSERT_TRUE(fake::LastPool()->Deliver(expected));
    session.GetFrame();
  }
  for (uint32_t y = 0; y < 480; ++y) {
    for (uint32_t x = 0; x < 640; ++x) expected.At(x, y) = shrunk.At(x, y);
  }
  ASSERT_TRUE(fake::LastPool()->Deliver(shrunk));
  fake::StartRecording();
  Poll poll = session.GetFrame();
  EXPECT_EQ(LinesWith("Recreate", fake::TakeRecording()),
            std::vector<std::string>{"pool1.Recreate(winrt_device1, 87, 2, 640x480)"});
  EXPECT_EQ(poll.width, 800u);
  EXPECT_EQ(poll.height, 600u);
  EXPECT_EQ(Pixels(poll).pixels, expected.pixels);

  ASSERT_TRUE(fake::LastPool()->Deliver(shrunk));
  fake::StartRecording();
  poll = session.GetFrame();
  EXPECT_EQ(LinesWith("Recreate", fake::TakeRecording()), std::vector<std::string>());
  EXPECT_EQ(poll.width, 640u);
  EXPECT_EQ(poll.height, 480u);
  EXPECT_EQ(Pixels(poll).pixels, shrunk.pixels);
}

struct ContentSize {
  int32_t width;
  int32_t height;
  const char* recreated;  // empty: not at all
};

class FrameContentSize : public Frames, public testing::WithParamInterface<ContentSize> {};

TEST_P(FrameContentSize, MakesThePoolAnewInBufferOutput) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48), {GetParam().width, GetParam().height}));
  fake::StartRecording();
  EXPECT_TRUE(session.GetFrame().available);
  std::string lines;
  for (const std::string& line : LinesWith("Recreate", fake::TakeRecording())) lines += line;
  EXPECT_EQ(lines, GetParam().recreated);
}

TEST_P(FrameContentSize, MakesThePoolAnewInTextureOutput) {
  Session session;
  session.ToTexture(true);
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48), {GetParam().width, GetParam().height}));
  fake::StartRecording();
  const Poll poll = session.GetFrame();
  std::string lines;
  for (const std::string& line : LinesWith("Recreate", fake::TakeRecording())) lines += line;
  EXPECT_EQ(lines, GetParam().recreated);
  ASSERT_TRUE(poll.available);
  TexturePixels(poll);
}

TEST_P(FrameContentSize, MakesThePoolAnewAlsoWhenTheFrameCannotBeRead) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48), {GetParam().width, GetParam().height}));
  fake::PlanFaults(fake::EveryCallOf("CreateTexture2D", {Fault::Kind::kResult, E_FAIL}));
  fake::StartRecording();
  EXPECT_FALSE(session.GetFrame().available);
  std::string lines;
  for (const std::string& line : LinesWith("Recreate", fake::TakeRecording())) lines += line;
  EXPECT_EQ(lines, GetParam().recreated);
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, FrameContentSize,
    testing::Values(ContentSize{64, 48, ""},
                    ContentSize{65, 48, "pool1.Recreate(winrt_device1, 87, 2, 65x48)"},
                    ContentSize{64, 47, "pool1.Recreate(winrt_device1, 87, 2, 64x47)"},
                    ContentSize{48, 64, "pool1.Recreate(winrt_device1, 87, 2, 48x64)"}));

TEST_F(Frames, APoolThatCannotBeMadeAnewIsTriedAgainWithTheNextFrame) {
  Session session;
  ASSERT_TRUE(session.Start());
  fake::PlanFaults(fake::NthCallOf("Recreate", 1, {Fault::Kind::kResult, E_ACCESSDENIED}));
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 1), {32, 24}));
  EXPECT_TRUE(session.GetFrame().available);
  EXPECT_EQ(fake::LastPool()->HandlerResult(), E_ACCESSDENIED);
  EXPECT_EQ(fake::LastPool()->Size().Width, 64);
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2), {32, 24}));
  EXPECT_TRUE(session.GetFrame().available);
  EXPECT_EQ(fake::LastPool()->HandlerResult(), S_OK);
  EXPECT_EQ(fake::LastPool()->Size().Width, 32);
  EXPECT_EQ(fake::LastPool()->Size().Height, 24);
}

TEST_F(Frames, AnErrorOfThePlatformEndsTheHandlerBeforeTheMarkIsSet) {
  Session session;
  ASSERT_TRUE(session.Start());
  fake::PlanFaults(fake::NthCallOf("Recreate", 1, {Fault::Kind::kResult, E_ACCESSDENIED}));
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 1), {32, 24}));
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2)));
  EXPECT_EQ(Pixels(session.GetFrame()).pixels, Pattern(64, 48, 2).pixels);
}

struct HandlerFailure {
  const char* name;
  const char* function;
  Fault fault;
  HRESULT answer;
};

class FailedHandler : public Frames, public testing::WithParamInterface<HandlerFailure> {};

TEST_P(FailedHandler, AnswersTheErrorLosesTheFrameAndLogsNothing) {
  Session session;
  ASSERT_TRUE(session.Start());
  TakeLog();
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 1)));
  fake::PlanFaults(fake::NthCallOf(GetParam().function, 1, GetParam().fault));
  EXPECT_FALSE(session.GetFrame().available);
  EXPECT_EQ(fake::LastPool()->HandlerResult(), GetParam().answer);
  EXPECT_EQ(TakeLog(), std::vector<LogLine>());
  // The next one is taken as if nothing had been.
  const size_t lost_frames = fake::LastPool()->FramesWaiting();
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2)));
  if (lost_frames > 0) fake::LastPool()->RaiseFrameArrived();
  EXPECT_TRUE(session.GetFrame().available);
  EXPECT_EQ(fake::LastPool()->HandlerResult(), S_OK);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, FailedHandler,
    testing::Values(
        HandlerFailure{
            "TryGetNextFrame", "TryGetNextFrame", {Fault::Kind::kResult, RO_E_CLOSED}, RO_E_CLOSED},
        HandlerFailure{"ContentSize",
                       "get_ContentSize",
                       {Fault::Kind::kResult, E_ACCESSDENIED},
                       E_ACCESSDENIED},
        HandlerFailure{
            "Surface", "get_Surface", {Fault::Kind::kResult, E_OUTOFMEMORY}, E_OUTOFMEMORY},
        HandlerFailure{"NoSurface", "get_Surface", {Fault::Kind::kNothing}, E_POINTER},
        HandlerFailure{"GetInterface",
                       "GetInterface",
                       {Fault::Kind::kResult, DXGI_ERROR_DEVICE_REMOVED},
                       DXGI_ERROR_DEVICE_REMOVED},
        HandlerFailure{"NoTexture", "GetInterface", {Fault::Kind::kNothing}, E_POINTER}),
    [](const auto& info) { return info.param.name; });

TEST_F(Frames, AnEventWithoutOneIsSurvived) {
  Session session;
  ASSERT_TRUE(session.Start());
  fake::LastPool()->RaiseFrameArrived();
  EXPECT_FALSE(session.GetFrame().available);
  EXPECT_EQ(fake::LastPool()->HandlerResult(), S_OK);
  // It does not count as the poll's frame.
  fake::LastPool()->RaiseFrameArrived();
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
  EXPECT_TRUE(session.GetFrame().available);
}

TEST_F(Frames, ASurfaceWithoutATextureIsAnError) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->DeliverTexture(nullptr, {64, 48}));
  EXPECT_FALSE(session.GetFrame().available);
  EXPECT_EQ(fake::LastPool()->HandlerResult(), E_POINTER);
  session.ToTexture(true);
  ASSERT_TRUE(fake::LastPool()->DeliverTexture(nullptr, {64, 48}));
  EXPECT_FALSE(session.GetFrame().available);
  EXPECT_EQ(fake::LastPool()->HandlerResult(), E_POINTER);
}

// The simple way, which serves when the persistent staging texture cannot be made or mapped.

class FramesTheSimpleWay : public Frames {
 protected:
  static fake::FaultPlan FailFirst(const char* function, HRESULT result) {
    return fake::NthCallOf(function, 1, {Fault::Kind::kResult, result});
  }
};

TEST_F(FramesTheSimpleWay, AStagingTextureOfTheirOwnIsCopiedAndMapped) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
  fake::PlanFaults(FailFirst("CreateTexture2D", E_OUTOFMEMORY));
  fake::StartRecording();
  const Poll poll = session.GetFrame();
  const std::vector<std::string> recording = fake::TakeRecording();
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48).pixels);
  const std::vector<std::string> made = LinesWith("CreateTexture2D", recording);
  ASSERT_EQ(made.size(), 2u);
  EXPECT_EQ(made[0], StagingTexture("64x48", 87));
  EXPECT_EQ(made[1].substr(0, made[1].find(" = ")), StagingTexture("64x48", 87));
  // For this frame only.
  const std::string name = made[1].substr(made[1].find("texture"));
  EXPECT_EQ(LinesWith("~" + name, recording).size(), 1u);
}

TEST_F(FramesTheSimpleWay, ATextureThatTheCpuCanReadIsMappedItself) {
  Session session;
  ASSERT_TRUE(session.Start());
  const auto texture =
      NewFrameTexture(fake::FrameDesc(64, 48, DXGI_FORMAT_B8G8R8A8_UNORM, D3D11_USAGE_STAGING));
  fake::Draw(texture.get(), Pattern(64, 48));
  ASSERT_TRUE(fake::LastPool()->DeliverTexture(texture.get(), {64, 48}));
  fake::PlanFaults(FailFirst("CreateTexture2D", E_OUTOFMEMORY));
  fake::StartRecording();
  const Poll poll = session.GetFrame();
  const std::vector<std::string> recording = fake::TakeRecording();
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48).pixels);
  EXPECT_EQ(LinesWith("CreateTexture2D", recording).size(), 1u);
  EXPECT_EQ(LinesWith("CopyResource", recording), std::vector<std::string>());
  EXPECT_FALSE(fake::IsMapped(texture.get()));
}

TEST_F(FramesTheSimpleWay, SetTheMarkAndSizeToo) {
  Session session;
  ASSERT_TRUE(session.Start());
  DeliverAnySize(Pattern(80, 20, 1));
  DeliverAnySize(Pattern(64, 48, 2));
  fake::PlanFaults(FailFirst("CreateTexture2D", E_OUTOFMEMORY));
  const Poll poll = session.GetFrame();
  EXPECT_EQ(poll.width, 80u);
  EXPECT_EQ(poll.height, 20u);
  EXPECT_EQ(Pixels(poll).pixels, Pattern(80, 20, 1).pixels);
}

TEST_F(FramesTheSimpleWay, AMapThatFailsOtherwiseCopiesNothingAndCountsAsRead) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 1)));
  Poll poll = session.GetFrame();
  // Both maps of the next frame fail: that of the staging texture and that of the frame's own.
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2)));
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 3)));
  int maps = 0;
  fake::PlanFaults([&](const fake::FailableCall& call) {
    return call.function == "Map" && ++maps <= 2
               ? std::optional<Fault>({Fault::Kind::kResult, DXGI_ERROR_DEVICE_REMOVED})
               : std::nullopt;
  });
  fake::StartRecording();
  poll = session.GetFrame();
  const std::vector<std::string> recording = fake::TakeRecording();
  EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48, 1).pixels);
  EXPECT_EQ(LinesWith("Unmap", recording), std::vector<std::string>{"context1.Unmap(null, 0)"});
  EXPECT_EQ(LinesWith("CreateTexture2D", recording), std::vector<std::string>());
}

TEST_F(Frames, AMapWithoutDataLeavesTheBufferAsItIsAndCountsAsRead) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 1)));
  session.GetFrame();
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2)));
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 3)));
  fake::PlanFaults(fake::NthCallOf("Map", 1, {Fault::Kind::kNothing}));
  const Poll poll = session.GetFrame();
  EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48, 1).pixels);
  EXPECT_EQ(CopyModeOf(session.handle()), 0u);
}

}  // namespace
}  // namespace session_test
