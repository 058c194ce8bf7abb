// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The path of a frame, call by call, from the poll that pumps it to the frame's return to the pool.
#include <gtest/gtest.h>

#include <winrt/base.h>

#include "native/engine/engine_calls.h"
#include "native/host.h"
#include "native/platform/object.h"

namespace session_test {
namespace {

using fake::Fault;

constexpr char kStaging64x48[] = R"(
device.CreateTexture2D(64x48 mips 1 layers 1 format 87 samples 1/0
  staging bind 0x0 cpu 0x20000 misc 0x0, null) = frame_texture
)";
constexpr char kOutput64x48[] = R"(
device.CreateTexture2D(64x48 mips 1 layers 1 format 87 samples 1/0
  default bind 0x20 cpu 0x0 misc 0x0, null) = output_texture
)";

// A message is taken out, without a filter.
constexpr char kTakeMessage[] = "PeekMessageW(null, 0, 0, 1)";

// The event's message, and what every frame that is handled begins with. "source" is the frame's
// own texture.
Calls ArrivalCalls() {
  return List(R"(
PeekMessageW(null, 0, 0, 1)
TranslateMessage(event)
DispatchMessageW(event)
pool.TryGetNextFrame() = frame
frame.get_ContentSize()
frame.get_Surface() = surface
surface.QueryInterface(IDirect3DDxgiInterfaceAccess)
surface.GetInterface(ID3D11Texture2D) = source
)");
}

// One that is taken and dropped.
Calls DropCalls() {
  return List(R"(
PeekMessageW(null, 0, 0, 1)
TranslateMessage(event)
DispatchMessageW(event)
pool.TryGetNextFrame() = frame
~frame
)");
}

// The frame goes back to the pool, and there is no further message.
Calls EndCalls() {
  return List(R"(
~frame
PeekMessageW(null, 0, 0, 1)
)");
}

// The staging texture is as large as the frame already.
Calls KeptStagingCalls() {
  return List(R"(
frame_texture.GetDesc()
source.GetDesc()
source.GetDesc()
context.CopyResource(frame_texture, source)
)");
}

Calls ReadCalls() {
  return List(R"(
context.Map(frame_texture, 0, READ, 0)
context.Unmap(frame_texture, 0)
)");
}

class FrameOrder : public SessionTest {
 protected:
  void SetUp() override {
    SessionTest::SetUp();
    names.Give("device1", "device");
    names.Give("context1", "context");
    names.Give("shader1", "frameDiffCS");
    names.Give("shader2", "resetDiffRectsCS");
    names.Give("shader3", "getBitFlagCS");
    names.Give("winrt_device1", "winrt_device");
    names.Give("pool1", "pool");
    names.Give("49152", "event");  // the message by which the platform's work comes
    names.Give("1024", "WM_USER");
    names.Give("18", "WM_QUIT");
  }

  Poll ExpectPoll(Session& session, const Calls& expected) {
    fake::StartRecording();
    const Poll poll = session.GetFrame();
    const Calls named = names.Named(WithoutProjection(fake::TakeRecording()), expected);
    EXPECT_EQ(Text(Only(named, IsNoPoolTexture)), Text(expected));
    return poll;
  }

  // The pool's textures go with the pool's buffers, whenever that is; all others have names.
  static bool IsNoPoolTexture(const std::string& line) {
    return !line.starts_with("~texture") && line != "~source";
  }

  // A poll with one frame before it.
  Poll ExpectFrame(Session& session, const reference::Image& picture, const Calls& expected) {
    EXPECT_TRUE(fake::LastPool()->Deliver(picture));
    return ExpectPoll(session, expected);
  }

  // Frames until nothing is made for a frame any more; with detection, `picture` is the old frame.
  void Settle(Session& session, const reference::Image& picture) {
    ExpectFrame(session, picture,
                Joined({ArrivalCalls(), List("source.GetDesc()"), List(kStaging64x48), List(R"(
source.GetDesc()
context.CopyResource(frame_texture, source)
context.Map(frame_texture, 0, READ, 0)
malloc(12288)
context.Unmap(frame_texture, 0)
)"),
                        EndCalls()}));
  }

  void SettleWithDetection(Session& session, const reference::Image& picture) {
    Settle(session, picture);
    session.DirtyRect(true);
    ExpectFrame(session, picture,
                Joined({ArrivalCalls(), KeptStagingCalls(), ResizeCalls(k64x48), List(R"(
context.CopyResource(oldTex, source)
context.CopyResource(oldTex, source)
)"),
                        ReadCalls(), EndCalls()}));
  }

  Names names;
};

TEST_F(FrameOrder, FirstFrame) {
  Session session;
  ASSERT_TRUE(session.Start());
  Settle(session, Pattern(64, 48));
}

TEST_F(FrameOrder, LaterFramesReuseTextureAndBuffer) {
  Session session;
  ASSERT_TRUE(session.Start());
  Settle(session, Pattern(64, 48));
  for (uint32_t seed = 2; seed < 5; ++seed) {
    const Poll poll =
        ExpectFrame(session, Pattern(64, 48, seed),
                    Joined({ArrivalCalls(), KeptStagingCalls(), ReadCalls(), EndCalls()}));
    EXPECT_TRUE(poll.available);
  }
}

// The staging texture is described by the frame: mips, layers and samples are taken from it.
TEST_F(FrameOrder, StagingTextureHasTheLayoutOfTheFrame) {
  Session session;
  ASSERT_TRUE(session.Start());
  D3D11_TEXTURE2D_DESC desc = fake::FrameDesc(64, 48);
  desc.MipLevels = 3;
  desc.ArraySize = 2;
  desc.SampleDesc = {4, 1};
  desc.MiscFlags = D3D11_RESOURCE_MISC_SHARED;
  winrt::com_ptr<ID3D11Texture2D> texture;
  texture.attach(fake::NewTexture(wgc_get_device(session.handle()), desc));
  ASSERT_TRUE(fake::LastPool()->DeliverTexture(texture.get(), {64, 48}));
  ExpectPoll(session, Joined({ArrivalCalls(), List(R"(
source.GetDesc()
device.CreateTexture2D(64x48 mips 3 layers 2 format 87 samples 4/1
  staging bind 0x0 cpu 0x20000 misc 0x0, null) = frame_texture
source.GetDesc()
context.CopyResource(frame_texture, source)
context.Map(frame_texture, 0, READ, 0)
malloc(12288)
context.Unmap(frame_texture, 0)
)"),
                              EndCalls()}));
  // But only width, height and format make a new one.
  ExpectFrame(session, Pattern(64, 48),
              Joined({ArrivalCalls(), KeptStagingCalls(), ReadCalls(), EndCalls()}));
}

TEST_F(FrameOrder, AnotherFormatMakesANewStagingTexture) {
  Session session;
  ASSERT_TRUE(session.Start());
  Settle(session, Pattern(64, 48));
  winrt::com_ptr<ID3D11Texture2D> texture;
  texture.attach(fake::NewTexture(wgc_get_device(session.handle()),
                                  fake::FrameDesc(64, 48, DXGI_FORMAT_R8G8B8A8_UNORM)));
  ASSERT_TRUE(fake::LastPool()->DeliverTexture(texture.get(), {64, 48}));
  ExpectPoll(session, Joined({ArrivalCalls(), List(R"(
frame_texture.GetDesc()
source.GetDesc()
~frame_texture
device.CreateTexture2D(64x48 mips 1 layers 1 format 28 samples 1/0
  staging bind 0x0 cpu 0x20000 misc 0x0, null) = frame_texture
source.GetDesc()
context.CopyResource(frame_texture, source)
)"),
                              ReadCalls(), EndCalls()}));
}

// The frame with which detection begins builds the engine, becomes the old frame twice, and is read
// whole.
TEST_F(FrameOrder, FirstFrameWithDetection) {
  Session session;
  ASSERT_TRUE(session.Start());
  SettleWithDetection(session, Pattern(64, 48));
  EXPECT_EQ(session.Ratio(), 1.0f);
}

TEST_F(FrameOrder, FirstFrameOfAllWithDetection) {
  Session session;
  ASSERT_TRUE(session.Start());
  session.DirtyRect(true);
  ExpectFrame(session, Pattern(64, 48),
              Joined({ArrivalCalls(), List("source.GetDesc()"), List(kStaging64x48), List(R"(
source.GetDesc()
context.CopyResource(frame_texture, source)
)"),
                      ResizeCalls(k64x48), List(R"(
context.CopyResource(oldTex, source)
context.CopyResource(oldTex, source)
context.Map(frame_texture, 0, READ, 0)
malloc(12288)
context.Unmap(frame_texture, 0)
)"),
                      EndCalls()}));
}

// The staging texture is neither mapped nor unmapped.
TEST_F(FrameOrder, UnchangedFrame) {
  Session session;
  ASSERT_TRUE(session.Start());
  const reference::Image picture = Pattern(64, 48);
  SettleWithDetection(session, picture);
  const Poll poll =
      ExpectFrame(session, picture,
                  Joined({ArrivalCalls(), KeptStagingCalls(), DetectCalls("1", "1", "1"),
                          List("context.CopyResource(oldTex, source)"), EndCalls()}));
  EXPECT_TRUE(poll.available);
  EXPECT_EQ(session.Ratio(), 0.0f);
}

TEST_F(FrameOrder, ChangedFrame) {
  Session session;
  ASSERT_TRUE(session.Start());
  SettleWithDetection(session, Pattern(64, 48));
  const reference::Image changed = Pattern(64, 48, 2);
  const Poll poll =
      ExpectFrame(session, changed,
                  Joined({ArrivalCalls(), KeptStagingCalls(), DetectCalls("1", "1", "1"),
                          List("context.CopyResource(oldTex, source)"), ReadCalls(), EndCalls()}));
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, changed.pixels);
  EXPECT_EQ(session.Ratio(), static_cast<float>(1024.0 / 3072.0));
}

// A detection that cannot run: the frame is read whole and becomes the old frame all the same.
TEST_F(FrameOrder, DetectionThatAnswersFalse) {
  Session session;
  fake::PlanFaults(fake::NthCallOf("CreateComputeShader", 3, {Fault::Kind::kResult, E_FAIL}));
  ASSERT_TRUE(session.Start());
  fake::PlanNoFaults();
  SettleWithDetection(session, Pattern(64, 48));
  EXPECT_EQ(session.Ratio(), 1.0f);
  ExpectFrame(session, Pattern(64, 48),
              Joined({ArrivalCalls(), KeptStagingCalls(),
                      List("context.CopyResource(oldTex, source)"), ReadCalls(), EndCalls()}));
  EXPECT_EQ(session.Ratio(), 1.0f);
}

// Texture output.

TEST_F(FrameOrder, OutputTextureIsMadeOnceAndCopiedToLast) {
  Session session;
  ASSERT_TRUE(session.Start());
  session.ToTexture(true);
  Poll poll =
      ExpectFrame(session, Pattern(64, 48),
                  Joined({ArrivalCalls(), List("source.GetDesc()"), List(kOutput64x48),
                          List("context.CopyResource(output_texture, source)"), EndCalls()}));
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(TexturePixels(poll).pixels, Pattern(64, 48).pixels);
  poll = ExpectFrame(session, Pattern(64, 48, 2),
                     Joined({ArrivalCalls(), List(R"(
source.GetDesc()
context.CopyResource(output_texture, source)
)"),
                             EndCalls()}));
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(TexturePixels(poll).pixels, Pattern(64, 48, 2).pixels);
}

// Neither the build nor a detection makes the frame the old one.
TEST_F(FrameOrder, OutputTextureWithDetection) {
  Session session;
  ASSERT_TRUE(session.Start());
  session.ToTexture(true);
  session.DirtyRect(true);
  Poll poll = ExpectFrame(
      session, Pattern(64, 48),
      Joined({ArrivalCalls(), List("source.GetDesc()"), List(kOutput64x48), ResizeCalls(k64x48),
              List("context.CopyResource(output_texture, source)"), EndCalls()}));
  ASSERT_TRUE(poll.available);
  TexturePixels(poll);
  EXPECT_EQ(session.Ratio(), 0.0f);
  for (int frame = 0; frame < 2; ++frame) {
    poll = ExpectFrame(session, Pattern(64, 48),
                       Joined({ArrivalCalls(), List("source.GetDesc()"), DetectCalls("1", "1", "1"),
                               List("context.CopyResource(output_texture, source)"), EndCalls()}));
    ASSERT_TRUE(poll.available);
    TexturePixels(poll);
    // Compared with zeros each time.
    EXPECT_EQ(session.Ratio(), static_cast<float>(1024.0 / 3072.0));
  }
}

// One mip, one layer, and the frame's format and samples; another format makes another texture.
TEST_F(FrameOrder, OutputTextureHasFormatAndSamplesOfTheFrame) {
  Session session;
  ASSERT_TRUE(session.Start());
  session.ToTexture(true);
  D3D11_TEXTURE2D_DESC desc = fake::FrameDesc(64, 48);
  desc.MipLevels = 3;
  desc.ArraySize = 2;
  desc.SampleDesc = {4, 1};
  desc.MiscFlags = D3D11_RESOURCE_MISC_SHARED;
  ID3D11Device* const device = wgc_get_device(session.handle());
  winrt::com_ptr<ID3D11Texture2D> texture;
  texture.attach(fake::NewTexture(device, desc));
  ASSERT_TRUE(fake::LastPool()->DeliverTexture(texture.get(), {64, 48}));
  Poll poll = ExpectPoll(session, Joined({ArrivalCalls(), List(R"(
source.GetDesc()
device.CreateTexture2D(64x48 mips 1 layers 1 format 87 samples 4/1
  default bind 0x20 cpu 0x0 misc 0x0, null) = output_texture
context.CopyResource(output_texture, source)
)"),
                                          EndCalls()}));
  ASSERT_TRUE(poll.available);
  TexturePixels(poll);

  winrt::com_ptr<ID3D11Texture2D> other;
  other.attach(fake::NewTexture(device, fake::FrameDesc(64, 48, DXGI_FORMAT_R8G8B8A8_UNORM)));
  ASSERT_TRUE(fake::LastPool()->DeliverTexture(other.get(), {64, 48}));
  poll = ExpectPoll(session, Joined({ArrivalCalls(), List(R"(
source.GetDesc()
~output_texture
device.CreateTexture2D(64x48 mips 1 layers 1 format 28 samples 1/0
  default bind 0x20 cpu 0x0 misc 0x0, null) = output_texture
context.CopyResource(output_texture, source)
)"),
                                     EndCalls()}));
  ASSERT_TRUE(poll.available);
  TexturePixels(poll);
}

TEST_F(FrameOrder, FrameIsDroppedWithoutAnOutputTexture) {
  Session session;
  ASSERT_TRUE(session.Start());
  session.ToTexture(true);
  session.DirtyRect(true);
  fake::PlanFaults(fake::NthCallOf("CreateTexture2D", 1, {Fault::Kind::kResult, E_OUTOFMEMORY}));
  const Poll poll = ExpectFrame(session, Pattern(64, 48),
                                Joined({ArrivalCalls(), List(R"(
source.GetDesc()
device.CreateTexture2D(64x48 mips 1 layers 1 format 87 samples 1/0
  default bind 0x20 cpu 0x0 misc 0x0, null)
)"),
                                        EndCalls()}));
  EXPECT_FALSE(poll.available);
  EXPECT_EQ(poll.width, 0u);
}

// A build that fails in texture output is not asked about.
TEST_F(FrameOrder, OutputTextureWithAnEngineThatCannotBeBuilt) {
  Session session;
  ASSERT_TRUE(session.Start());
  session.ToTexture(true);
  session.DirtyRect(true);
  fake::PlanFaults(fake::NthCallOf("CreateTexture2D", 2, {Fault::Kind::kResult, E_OUTOFMEMORY}));
  const Poll poll =
      ExpectFrame(session, Pattern(64, 48),
                  Joined({ArrivalCalls(), List("source.GetDesc()"), List(kOutput64x48), List(R"(
device.CreateTexture2D(64x48 mips 1 layers 1 format 87 samples 1/0
  default bind 0x28 cpu 0x0 misc 0x1, null)
context.CopyResource(output_texture, source)
)"),
                          EndCalls()}));
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(TexturePixels(poll).pixels, Pattern(64, 48).pixels);
}

// The pool follows the content.

TEST_F(FrameOrder, PoolIsMadeAnewOnceTheFrameIsRead) {
  Session session;
  ASSERT_TRUE(session.Start());
  Settle(session, Pattern(64, 48));
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48), {40, 30}));
  ExpectPoll(session, Joined({ArrivalCalls(), KeptStagingCalls(), ReadCalls(),
                              List("pool.Recreate(winrt_device, 87, 2, 40x30)"), EndCalls()}));
}

TEST_F(FrameOrder, PoolFollowsWidthAndHeightAlone) {
  Session session;
  ASSERT_TRUE(session.Start());
  Settle(session, Pattern(64, 48));
  winrt::com_ptr<ID3D11Texture2D> texture;
  texture.attach(fake::NewTexture(wgc_get_device(session.handle()), fake::FrameDesc(64, 48)));
  const struct {
    fake::SizeInt32 size;
    const char* recreate;
  } frames[] = {
      {{63, 48}, "pool.Recreate(winrt_device, 87, 2, 63x48)"}, {{63, 48}, ""},
      {{63, 47}, "pool.Recreate(winrt_device, 87, 2, 63x47)"}, {{63, 47}, ""},
      {{47, 63}, "pool.Recreate(winrt_device, 87, 2, 47x63)"},
  };
  for (const auto& frame : frames) {
    ASSERT_TRUE(fake::LastPool()->DeliverTexture(texture.get(), frame.size));
    ExpectPoll(session, Joined({ArrivalCalls(), KeptStagingCalls(), ReadCalls(),
                                List(frame.recreate), EndCalls()}));
  }
}

TEST_F(FrameOrder, PoolIsMadeAnewAfterTheCopyToTheOutputTexture) {
  Session session;
  ASSERT_TRUE(session.Start());
  session.ToTexture(true);
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48), {80, 60}));
  const Poll poll = ExpectPoll(
      session, Joined({ArrivalCalls(), List("source.GetDesc()"), List(kOutput64x48), List(R"(
context.CopyResource(output_texture, source)
pool.Recreate(winrt_device, 87, 2, 80x60)
)"),
                       EndCalls()}));
  ASSERT_TRUE(poll.available);
  TexturePixels(poll);
}

TEST_F(FrameOrder, PoolIsMadeAnewWhenDetectionFoundNoChange) {
  Session session;
  ASSERT_TRUE(session.Start());
  const reference::Image picture = Pattern(64, 48);
  SettleWithDetection(session, picture);
  ASSERT_TRUE(fake::LastPool()->Deliver(picture, {40, 30}));
  ExpectPoll(session, Joined({ArrivalCalls(), KeptStagingCalls(), DetectCalls("1", "1", "1"),
                              List("context.CopyResource(oldTex, source)"),
                              List("pool.Recreate(winrt_device, 87, 2, 40x30)"), EndCalls()}));
}

// The first frame of a poll is kept. The next ones are taken and nothing is asked of them, not even
// their size.
TEST_F(FrameOrder, LaterFramesOfAPollAreTakenAndDropped) {
  Session session;
  ASSERT_TRUE(session.Start());
  Settle(session, Pattern(64, 48));
  winrt::com_ptr<ID3D11Texture2D> texture;
  texture.attach(fake::NewTexture(wgc_get_device(session.handle()), fake::FrameDesc(64, 48)));
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2)));
    ASSERT_TRUE(fake::LastPool()->DeliverTexture(texture.get(), {80, 60}));
    ASSERT_TRUE(fake::LastPool()->DeliverTexture(texture.get(), {90, 70}));
    ExpectPoll(session, Joined({ArrivalCalls(), KeptStagingCalls(), ReadCalls(), List("~frame"),
                                DropCalls(), DropCalls(), List(kTakeMessage)}));
  }
}

// In texture output nothing is kept back: every frame of a poll is handled.
TEST_F(FrameOrder, EveryFrameOfAPollIsHandledInTextureOutput) {
  Session session;
  ASSERT_TRUE(session.Start());
  session.ToTexture(true);
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2)));
  const Poll poll =
      ExpectPoll(session, Joined({ArrivalCalls(), List("source.GetDesc()"), List(kOutput64x48),
                                  List("context.CopyResource(output_texture, source)"),
                                  List("~frame"), ArrivalCalls(), List(R"(
source.GetDesc()
context.CopyResource(output_texture, source)
)"),
                                  EndCalls()}));
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(TexturePixels(poll).pixels, Pattern(64, 48, 2).pixels);
}

// The simple way, for a frame that the usual one could not read.

// Where the usual way ends when its map fails.
Calls UsualWayFailedCalls() {
  return Joined({KeptStagingCalls(), List("context.Map(frame_texture, 0, READ, 0)")});
}

TEST_F(FrameOrder, SimpleWayOfAFrameOnTheGpuGoesThroughAStagingTexture) {
  Session session;
  ASSERT_TRUE(session.Start());
  Settle(session, Pattern(64, 48));
  fake::PlanFaults(fake::NthCallOf("Map", 1, {Fault::Kind::kResult, E_FAIL}));
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2), {40, 30}));
  const Poll poll = ExpectPoll(session, Joined({ArrivalCalls(), UsualWayFailedCalls(), List(R"(
source.GetDesc()
source.GetDevice()
context.Map(source, 0, READ, 0)
device.CreateTexture2D(64x48 mips 1 layers 1 format 87 samples 1/0
  staging bind 0x0 cpu 0x20000 misc 0x0, null) = staging
context.CopyResource(staging, source)
context.Map(staging, 0, READ, 0)
context.Unmap(staging, 0)
~staging
pool.Recreate(winrt_device, 87, 2, 40x30)
)"),
                                                EndCalls()}));
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48, 2).pixels);
}

TEST_F(FrameOrder, SimpleWayMapsAFrameThatTheCpuCanRead) {
  Session session;
  ASSERT_TRUE(session.Start());
  winrt::com_ptr<ID3D11Texture2D> texture;
  texture.attach(
      fake::NewTexture(wgc_get_device(session.handle()),
                       fake::FrameDesc(64, 48, DXGI_FORMAT_B8G8R8A8_UNORM, D3D11_USAGE_STAGING)));
  fake::Draw(texture.get(), Pattern(64, 48));
  ASSERT_TRUE(fake::LastPool()->DeliverTexture(texture.get(), {64, 48}));
  fake::PlanFaults(fake::NthCallOf("CreateTexture2D", 1, {Fault::Kind::kResult, E_FAIL}));
  const Poll poll = ExpectPoll(session, Joined({ArrivalCalls(), List(R"(
source.GetDesc()
device.CreateTexture2D(64x48 mips 1 layers 1 format 87 samples 1/0
  staging bind 0x0 cpu 0x20000 misc 0x0, null)
source.GetDesc()
source.GetDevice()
context.Map(source, 0, READ, 0)
malloc(12288)
context.Unmap(source, 0)
)"),
                                                EndCalls()}));
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48).pixels);
}

// The staging texture is made where the frame's texture is at home, the context is the session's,
// and the description is the frame's.
TEST_F(FrameOrder, SimpleWayUsesTheDeviceAndTheLayoutOfTheFrame) {
  Session session;
  ASSERT_TRUE(session.Start());
  winrt::com_ptr<ID3D11Device> other;
  other.attach(fake::NewDevice());
  names.Give(fake::NameOf(other.get()), "other_device");
  D3D11_TEXTURE2D_DESC desc = fake::FrameDesc(64, 48, DXGI_FORMAT_R8G8B8A8_UNORM);
  desc.MipLevels = 3;
  desc.ArraySize = 2;
  desc.SampleDesc = {4, 1};
  desc.MiscFlags = D3D11_RESOURCE_MISC_SHARED;
  winrt::com_ptr<ID3D11Texture2D> texture;
  texture.attach(fake::NewTexture(other.get(), desc));
  fake::Draw(texture.get(), Pattern(64, 48));
  ASSERT_TRUE(fake::LastPool()->DeliverTexture(texture.get(), {64, 48}));
  fake::PlanFaults(fake::NthCallOf("CreateTexture2D", 1, {Fault::Kind::kResult, E_FAIL}));
  const Poll poll = ExpectPoll(session, Joined({ArrivalCalls(), List(R"(
source.GetDesc()
device.CreateTexture2D(64x48 mips 3 layers 2 format 28 samples 4/1
  staging bind 0x0 cpu 0x20000 misc 0x0, null)
source.GetDesc()
source.GetDevice()
context.Map(source, 0, READ, 0)
other_device.CreateTexture2D(64x48 mips 3 layers 2 format 28 samples 4/1
  staging bind 0x0 cpu 0x20000 misc 0x0, null) = staging
context.CopyResource(staging, source)
context.Map(staging, 0, READ, 0)
malloc(12288)
context.Unmap(staging, 0)
~staging
)"),
                                                EndCalls()}));
  ASSERT_TRUE(poll.available);
  // The session's context cannot copy what is another device's: what is read is a new texture.
  EXPECT_EQ(Pixels(poll).pixels, reference::Image(64, 48).pixels);
  ExpectRefusals();
}

TEST_F(FrameOrder, SimpleWayWithoutABufferLeavesItsTextureMapped) {
  Session session;
  ASSERT_TRUE(session.Start());
  const auto texture = [] {
    winrt::com_ptr<ID3D11Texture2D> made;
    made.attach(
        fake::NewTexture(fake::LastPool()->Direct3DDevice(),
                         fake::FrameDesc(64, 48, DXGI_FORMAT_B8G8R8A8_UNORM, D3D11_USAGE_STAGING)));
    return made;
  }();
  ASSERT_TRUE(fake::LastPool()->DeliverTexture(texture.get(), {64, 48}));
  fake::PlanFaults([](const fake::FailableCall& call) {
    const bool fails = call.function == "CreateTexture2D" || call.function == "malloc";
    return fails ? std::optional(Fault{Fault::Kind::kResult, E_FAIL}) : std::nullopt;
  });
  EXPECT_FALSE(session.GetFrame().available);
  EXPECT_TRUE(fake::IsMapped(texture.get()));
}

// Any failure of the frame's map but "not for the CPU" goes on: the size is adopted, no row is
// copied, the unmap names nothing, and the frame counts as read.
TEST_F(FrameOrder, SimpleWayGoesOnAfterAnyOtherFailure) {
  for (const HRESULT result : {E_OUTOFMEMORY, E_FAIL, DXGI_ERROR_DEVICE_REMOVED,
                               DXGI_ERROR_WAS_STILL_DRAWING, DXGI_ERROR_INVALID_CALL}) {
    SCOPED_TRACE(result);
    fake::Reset();
    Session session;
    ASSERT_TRUE(session.Start());
    fake::PlanFaults(fake::EveryCallOf("Map", {Fault::Kind::kResult, result}));
    ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
    ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2)));
    const Poll poll = ExpectPoll(
        session, Joined({ArrivalCalls(), List("source.GetDesc()"), List(kStaging64x48), List(R"(
source.GetDesc()
context.CopyResource(frame_texture, source)
context.Map(frame_texture, 0, READ, 0)
source.GetDesc()
source.GetDevice()
context.Map(source, 0, READ, 0)
malloc(12288)
context.Unmap(null, 0)
~frame
)"),
                         DropCalls(), List(kTakeMessage)}));
    ASSERT_TRUE(poll.available);
    // As the heap gave it: the platform's heap fills every byte with 0xA5.
    EXPECT_EQ(Pixels(poll).pixels, reference::Image(64, 48, 0xA5A5A5A5).pixels);
    fake::PlanNoFaults();
  }
}

// A frame that the simple way cannot read either is given up, the pool follows the content all the
// same, and the next frame of the same poll is tried.
TEST_F(FrameOrder, SimpleWayWithoutAStagingTexture) {
  Session session;
  ASSERT_TRUE(session.Start());
  fake::PlanFaults(fake::EveryCallOf("CreateTexture2D", {Fault::Kind::kResult, E_OUTOFMEMORY}));
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48), {40, 30}));
  const Poll poll = ExpectPoll(session, Joined({ArrivalCalls(), List(R"(
source.GetDesc()
device.CreateTexture2D(64x48 mips 1 layers 1 format 87 samples 1/0
  staging bind 0x0 cpu 0x20000 misc 0x0, null)
source.GetDesc()
source.GetDevice()
context.Map(source, 0, READ, 0)
device.CreateTexture2D(64x48 mips 1 layers 1 format 87 samples 1/0
  staging bind 0x0 cpu 0x20000 misc 0x0, null)
pool.Recreate(winrt_device, 87, 2, 40x30)
)"),
                                                EndCalls()}));
  EXPECT_FALSE(poll.available);
}

TEST_F(FrameOrder, SimpleWayWithAStagingTextureThatCannotBeMapped) {
  Session session;
  ASSERT_TRUE(session.Start());
  Settle(session, Pattern(64, 48));
  // The frame's own map answers for itself; those of the two staging textures fail.
  fake::PlanFaults([maps = 0](const fake::FailableCall& call) mutable {
    return call.function == "Map" && ++maps != 2
               ? std::optional(Fault{Fault::Kind::kResult, E_FAIL})
               : std::nullopt;
  });
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2)));
  const Poll poll = ExpectPoll(session, Joined({ArrivalCalls(), UsualWayFailedCalls(), List(R"(
source.GetDesc()
source.GetDevice()
context.Map(source, 0, READ, 0)
device.CreateTexture2D(64x48 mips 1 layers 1 format 87 samples 1/0
  staging bind 0x0 cpu 0x20000 misc 0x0, null) = staging
context.CopyResource(staging, source)
context.Map(staging, 0, READ, 0)
~staging
)"),
                                                EndCalls()}));
  // The frame before is still there.
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48).pixels);
}

// Without the engine's resources a frame takes the simple way, and is nobody's old frame.
TEST_F(FrameOrder, SimpleWayWhenTheEngineCannotBeBuilt) {
  Session session;
  ASSERT_TRUE(session.Start());
  Settle(session, Pattern(64, 48));
  session.DirtyRect(true);
  fake::PlanFaults(
      fake::NthCallOf("CreateRenderTargetView", 1, {Fault::Kind::kResult, E_OUTOFMEMORY}));
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2)));
  const Poll poll = ExpectPoll(session, Joined({ArrivalCalls(), KeptStagingCalls(), List(R"(
device.CreateTexture2D(64x48 mips 1 layers 1 format 87 samples 1/0
  default bind 0x28 cpu 0x0 misc 0x1, null) = texture
device.CreateRenderTargetView(texture, format 87 dimension 4 mip 0)
source.GetDesc()
source.GetDevice()
context.Map(source, 0, READ, 0)
device.CreateTexture2D(64x48 mips 1 layers 1 format 87 samples 1/0
  staging bind 0x0 cpu 0x20000 misc 0x0, null) = staging
context.CopyResource(staging, source)
context.Map(staging, 0, READ, 0)
context.Unmap(staging, 0)
~staging
)"),
                                                EndCalls()}));
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48, 2).pixels);
}

// Without memory for the buffer the usual way leaves its texture mapped, and the simple way is
// tried.
TEST_F(FrameOrder, UsualWayWithoutABufferLeavesItsTextureMapped) {
  Session session;
  ASSERT_TRUE(session.Start());
  fake::PlanFaults(fake::NthCallOf("malloc", 1, {Fault::Kind::kResult, E_OUTOFMEMORY}));
  const Poll poll =
      ExpectFrame(session, Pattern(64, 48),
                  Joined({ArrivalCalls(), List("source.GetDesc()"), List(kStaging64x48), List(R"(
source.GetDesc()
context.CopyResource(frame_texture, source)
context.Map(frame_texture, 0, READ, 0)
malloc(12288)
log(3, "Failed to allocate 12KB")
source.GetDesc()
source.GetDevice()
context.Map(source, 0, READ, 0)
device.CreateTexture2D(64x48 mips 1 layers 1 format 87 samples 1/0
  staging bind 0x0 cpu 0x20000 misc 0x0, null) = staging
context.CopyResource(staging, source)
context.Map(staging, 0, READ, 0)
malloc(12288)
context.Unmap(staging, 0)
~staging
)"),
                          EndCalls()}));
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48).pixels);
}

// A map that gives no data copies nothing and is not undone; the frame counts as read.
TEST_F(FrameOrder, UsualWayWithAMapThatGivesNothing) {
  Session session;
  ASSERT_TRUE(session.Start());
  Settle(session, Pattern(64, 48));
  fake::PlanFaults(fake::NthCallOf("Map", 1, {Fault::Kind::kNothing, S_OK}));
  const Poll poll =
      ExpectFrame(session, Pattern(64, 48, 2),
                  Joined({ArrivalCalls(), KeptStagingCalls(),
                          List("context.Map(frame_texture, 0, READ, 0)"), EndCalls()}));
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48).pixels);
}

// An event without a frame behind it.
TEST_F(FrameOrder, NoFrame) {
  Session session;
  ASSERT_TRUE(session.Start());
  fake::LastPool()->RaiseFrameArrived();
  ExpectPoll(session, List(R"(
PeekMessageW(null, 0, 0, 1)
TranslateMessage(event)
DispatchMessageW(event)
pool.TryGetNextFrame()
PeekMessageW(null, 0, 0, 1)
)"));
}

// The poll.

// Every message of the thread is taken, translated and dispatched, one after the other; WM_QUIT is
// a message like the others.
TEST_F(FrameOrder, PollTakesEveryMessage) {
  Session session;
  fake::ThreadQueue()->Post(WM_USER);
  fake::ThreadQueue()->Post(WM_QUIT);
  fake::ThreadQueue()->Post(WM_USER);
  const Poll poll = ExpectPoll(session, List(R"(
PeekMessageW(null, 0, 0, 1)
TranslateMessage(WM_USER)
DispatchMessageW(WM_USER)
PeekMessageW(null, 0, 0, 1)
TranslateMessage(WM_QUIT)
DispatchMessageW(WM_QUIT)
PeekMessageW(null, 0, 0, 1)
TranslateMessage(WM_USER)
DispatchMessageW(WM_USER)
PeekMessageW(null, 0, 0, 1)
)"));
  EXPECT_FALSE(poll.available);
  EXPECT_EQ(fake::ThreadQueue()->Size(), 0u);
}

TEST_F(FrameOrder, PollWithoutAMessageAsksOnce) {
  Session session;
  ExpectPoll(session, List(kTakeMessage));
}

// Each poll that hands out the texture adds one reference, after the pump; those that hand out
// nothing, or the buffer, add none.
TEST_F(FrameOrder, PollAddsAReferenceToTheTexture) {
  Session session;
  ASSERT_TRUE(session.Start());
  const Calls none = List(kTakeMessage);
  const Calls one = List(R"(
PeekMessageW(null, 0, 0, 1)
output_texture.AddRef()
)");
  const auto expect_poll = [&](const Calls& expected, bool available) {
    fake::StartRecording(true);
    const Poll poll = session.GetFrame();
    EXPECT_EQ(names.Read(fake::TakeRecording(), expected), Text(expected));
    EXPECT_EQ(poll.available, available);
    return poll.frame;
  };

  session.ToTexture(true);
  expect_poll(none, false);
  Poll first =
      ExpectFrame(session, Pattern(64, 48),
                  Joined({ArrivalCalls(), List("source.GetDesc()"), List(kOutput64x48),
                          List("context.CopyResource(output_texture, source)"), EndCalls()}));
  ASSERT_TRUE(first.available);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(expect_poll(one, true), first.frame);
  session.ToTexture(false);
  expect_poll(none, false);

  auto* const texture = static_cast<ID3D11Texture2D*>(first.frame);
  for (int i = 0; i < 4; ++i) texture->Release();
}

}  // namespace
}  // namespace session_test
