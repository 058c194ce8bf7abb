// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The path of a frame, call by call, from the poll that pumps it to the frame's return to the pool:
// one list for each path.
#include "native/engine/engine_calls.h"
#include "native/host.h"
#include "native/platform/object.h"

namespace session_test {
namespace {

// The event's message, and how a frame is taken.
const char kTake[] = R"(
PeekMessageW(null, 0, 0, 1)
TranslateMessage(event)
DispatchMessageW(event)
pool.TryGetNextFrame() = frame
)";

// What follows for a frame that is not dropped. "source" is its texture.
const char kOpen[] = R"(
frame.get_Surface() = surface
surface.GetInterface(ID3D11Texture2D) = source
)";

// The frame goes back to the pool.
const char kEnd[] = "~frame";

const char kLastMessage[] = "PeekMessageW(null, 0, 0, 1)";

const char kMakeStaging[] = R"(
device.CreateTexture2D(64x48 mips 1 layers 1 format 87 samples 1/0
  staging bind 0x0 cpu 0x20000 misc 0x0, null) = frame_texture
)";
const char kMakeOutput[] = R"(
device.CreateTexture2D(64x48 mips 1 layers 1 format 87 samples 1/0
  default bind 0x20 cpu 0x0 misc 0x0, null) = output_texture
)";
const char kCopy[] = "context.CopyResource(frame_texture, source)";
const char kCopyToOutput[] = "context.CopyResource(output_texture, source)";
const char kUpdateOld[] = "context.CopyResource(oldTex, source)";
const char kMap[] = "context.Map(frame_texture, 0, READ, 0)";
const char kAllocate[] = "malloc(12288)";
const char kUnmap[] = "context.Unmap(frame_texture, 0)";

// The simple way of a frame that only the GPU can reach, up to its map.
const char kMapOwnStaging[] = R"(
context.Map(source, 0, READ, 0)
device.CreateTexture2D(64x48 mips 1 layers 1 format 87 samples 1/0
  staging bind 0x0 cpu 0x20000 misc 0x0, null) = staging
context.CopyResource(staging, source)
context.Map(staging, 0, READ, 0)
)";

class FrameOrder : public SessionTest {
 protected:
  void SetUp() override {
    SessionTest::SetUp();
    for (const std::string name : {"device", "context", "winrt_device", "pool"}) {
      names.Give(name + "1", name);
    }
    names.Give("shader1", "frameDiffCS");
    names.Give("shader2", "resetDiffRectsCS");
    names.Give("shader3", "getBitFlagCS");
    names.Give("49152", "event");  // the message of the platform's dispatcher queue
  }

  // steps: what happens to the frames between the take of the first and the end of the poll.
  Poll ExpectPoll(Session& session, std::initializer_list<const char*> steps) {
    Calls expected = List(kTake);
    for (const char* const step : steps) {
      // The engine's lists have numbers of their own.
      const Calls calls = step == kBuild    ? ResizeCalls(k64x48)
                          : step == kDetect ? DetectCalls("1", "1", "1")
                                            : List(step);
      expected.insert(expected.end(), calls.begin(), calls.end());
    }
    expected.push_back(kLastMessage);
    Poll poll;
    const Calls recording = Recorded([&] { poll = session.GetFrame(); });
    // The pool's textures go with the pool's buffers, whenever that is.
    const Calls named = Only(
        names.Named(WithoutProjection(recording), expected),
        [](const std::string& line) { return !line.starts_with("~texture") && line != "~source"; });
    EXPECT_EQ(Text(named), Text(expected));
    return poll;
  }

  void ExpectFrame(Session& session, const Picture& picture,
                   std::initializer_list<const char*> steps) {
    ASSERT_TRUE(fake::LastPool()->Deliver(picture));
    EXPECT_EQ(Pixels(ExpectPoll(session, steps)), picture);
  }

  void ExpectFirstFrame(Session& session, const Picture& picture) {
    ExpectFrame(session, picture, {kOpen, kMakeStaging, kCopy, kMap, kAllocate, kUnmap, kEnd});
  }

  static constexpr char kBuild[] = "the engine's build";
  static constexpr char kDetect[] = "a detection";
  Names names;
};

TEST_F(FrameOrder, FirstFrameMakesWhatALaterOneReuses) {
  Capture session;
  ExpectFirstFrame(session, Pattern(64, 48));
  ExpectFrame(session, Pattern(64, 48, 2), {kOpen, kCopy, kMap, kUnmap, kEnd});
}

// The first frame builds the engine, becomes the old frame twice, and is read whole. Of an
// unchanged frame the staging texture is not mapped.
TEST_F(FrameOrder, DetectionReadsChangedFramesOnly) {
  Capture session;
  const Picture picture = Pattern(64, 48);
  ExpectFirstFrame(session, picture);
  session.DirtyRect(true);
  ExpectFrame(session, picture, {kOpen, kCopy, kBuild, kUpdateOld, kUpdateOld, kMap, kUnmap, kEnd});
  ExpectFrame(session, picture, {kOpen, kCopy, kDetect, kUpdateOld, kEnd});
  ExpectFrame(session, Pattern(64, 48, 2), {kOpen, kCopy, kDetect, kUpdateOld, kMap, kUnmap, kEnd});
}

TEST_F(FrameOrder, TextureOutputCopiesToTheOutputTexture) {
  Capture session({.texture = true});
  ExpectFrame(session, Pattern(64, 48), {kOpen, kMakeOutput, kCopyToOutput, kEnd});
  ExpectFrame(session, Pattern(64, 48, 2), {kOpen, kCopyToOutput, kEnd});
}

// Neither the build nor a detection makes the frame the old one.
TEST_F(FrameOrder, DetectionInTextureOutputKeepsTheOldFrame) {
  Capture session({.detect = true, .texture = true});
  ExpectFrame(session, Pattern(64, 48), {kOpen, kMakeOutput, kBuild, kCopyToOutput, kEnd});
  ExpectFrame(session, Pattern(64, 48), {kOpen, kDetect, kCopyToOutput, kEnd});
}

// The pool is recreated once the frame is read, and after the copy to the output texture.
TEST_F(FrameOrder, PoolIsRecreatedOnceTheFrameIsRead) {
  Capture session;
  ExpectFirstFrame(session, Pattern(64, 48));
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2), {40, 30}));
  ExpectPoll(session,
             {kOpen, kCopy, kMap, kUnmap, "pool.Recreate(winrt_device, 87, 2, 40x30)", kEnd});
  session.ToTexture(true);
  const auto texture = NewFrameTexture(Pattern(64, 48));
  ASSERT_TRUE(fake::LastPool()->DeliverTexture(texture.get(), {80, 60}));
  Pixels(ExpectPoll(session, {kOpen, kMakeOutput, kCopyToOutput,
                              "pool.Recreate(winrt_device, 87, 2, 80x60)", kEnd}));
}

// The first frame of a poll is kept. The next ones are taken and not even asked for their size.
TEST_F(FrameOrder, LaterFramesOfAPollAreTakenAndDropped) {
  Capture session;
  ExpectFirstFrame(session, Pattern(64, 48));
  const auto texture = NewFrameTexture(Pattern(64, 48));
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2)));
  ASSERT_TRUE(fake::LastPool()->DeliverTexture(texture.get(), {80, 60}));
  ASSERT_TRUE(fake::LastPool()->DeliverTexture(texture.get(), {90, 70}));
  const Poll poll =
      ExpectPoll(session, {kOpen, kCopy, kMap, kUnmap, kEnd, kTake, kEnd, kTake, kEnd});
  EXPECT_EQ(Pixels(poll), Pattern(64, 48, 2));
}

// The simple way, for a frame that the usual one could not read.

TEST_F(FrameOrder, SimpleWayCopiesAFrameOfTheGpuToAStagingTexture) {
  Capture session;
  ExpectFirstFrame(session, Pattern(64, 48));
  FailCalls("Map", {1});
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2), {40, 30}));
  const Poll poll =
      ExpectPoll(session, {kOpen, kCopy, kMap, kMapOwnStaging, "context.Unmap(staging, 0)",
                           "~staging", "pool.Recreate(winrt_device, 87, 2, 40x30)", kEnd});
  EXPECT_EQ(Pixels(poll), Pattern(64, 48, 2));
}

TEST_F(FrameOrder, SimpleWayMapsAFrameThatTheCpuCanRead) {
  Capture session;
  const auto texture =
      NewFrameTexture(Pattern(64, 48), DXGI_FORMAT_B8G8R8A8_UNORM, D3D11_USAGE_STAGING);
  ASSERT_TRUE(fake::LastPool()->DeliverTexture(texture.get(), {64, 48}));
  FailCalls("CreateTexture2D", {1});
  const Poll poll = ExpectPoll(session, {kOpen, R"(
device.CreateTexture2D(64x48 mips 1 layers 1 format 87 samples 1/0
  staging bind 0x0 cpu 0x20000 misc 0x0, null)
context.Map(source, 0, READ, 0)
)",
                                         kAllocate, "context.Unmap(source, 0)", kEnd});
  EXPECT_EQ(Pixels(poll), Pattern(64, 48));
}

// Without memory for the buffer the usual way leaves its texture mapped, and the simple way is
// tried; if that has no memory either, it leaves its own texture mapped, too.
TEST_F(FrameOrder, BothWaysLeaveTheirTextureMappedWithoutMemory) {
  Capture session;
  FailEveryCall("malloc", kGivesNothing);
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
  const char* const no_memory = "log(3, \"Failed to allocate 12KB\")";
  const Poll poll = ExpectPoll(session, {kOpen, kMakeStaging, kCopy, kMap, kAllocate, no_memory,
                                         kMapOwnStaging, kAllocate, no_memory, "~staging", kEnd});
  EXPECT_FALSE(poll.available);
}

// Any failure of the frame's map but E_INVALIDARG goes on: the size is adopted, no row is copied,
// the unmap names no texture, and the frame counts as read.
TEST_F(FrameOrder, SimpleWayGoesOnAfterAnyOtherFailureOfTheMap) {
  for (const HRESULT result : {E_OUTOFMEMORY, E_FAIL, DXGI_ERROR_DEVICE_REMOVED,
                               DXGI_ERROR_WAS_STILL_DRAWING, DXGI_ERROR_INVALID_CALL}) {
    SCOPED_TRACE(result);
    fake::Reset();
    Capture session;
    FailEveryCall("Map", Failure(result));
    ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
    ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2)));
    const Poll poll =
        ExpectPoll(session, {kOpen, kMakeStaging, kCopy, kMap, "context.Map(source, 0, READ, 0)",
                             kAllocate, "context.Unmap(null, 0)", kEnd, kTake, kEnd});
    // As the heap gave it: the platform's heap fills every byte with 0xA5.
    EXPECT_EQ(Pixels(poll), Picture(64, 48, 0xA5A5A5A5));
    fake::PlanNoFaults();
  }
}

// The staging texture is made on the frame's device, with the frame's layout; the context is the
// session's.
TEST_F(FrameOrder, SimpleWayUsesTheDeviceAndTheLayoutOfTheFrame) {
  ExpectRefusals();
  Capture session;
  winrt::com_ptr<ID3D11Device> other;
  other.attach(fake::NewDevice());
  winrt::com_ptr<ID3D11Texture2D> texture;
  texture.attach(fake::NewTexture(other.get(), LayeredFrameDesc(DXGI_FORMAT_R8G8B8A8_UNORM)));
  ASSERT_TRUE(fake::LastPool()->DeliverTexture(texture.get(), {64, 48}));
  FailCalls("CreateTexture2D", {1});
  const Calls recording = Recorded([&] { session.GetFrame(); });
  const Calls made = LinesWith(fake::NameOf(other.get()) + ".Create", recording);
  ASSERT_EQ(made.size(), 1u);
  EXPECT_TRUE(Has(made[0], "64x48 mips 3 layers 2 format 28 samples 4/1 staging"));
  EXPECT_EQ(LinesWith("context1.Map(", recording).size(), 2u);
}

}  // namespace
}  // namespace session_test
