// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <chrono>
#include <future>
#include <memory>
#include <tuple>
#include <vector>

#include "platform.h"

namespace wine_test {
namespace {

using RunningFramePool = RunningCapture;
using EveryTickFramePool = EveryTickCapture;

TEST(FramePool, NeedsADispatcherQueueOnItsThread) {
  OnOwnThread([] {
    HRESULT result = S_OK;
    EXPECT_FALSE(MakePool({64, 64}, &result));
    EXPECT_EQ(result, RPC_E_WRONG_THREAD);
  });
}

TEST(FramePool, RefusesWhatItCannotHold) {
  EnsureDispatcherQueue();
  const auto statics = ActivationFactory<IDirect3D11CaptureFramePoolStatics>(kPoolClass);
  const auto create = [&](IDirect3DDevice* device, DirectXPixelFormat format, int buffers,
                          SizeInt32 size) {
    Ref<IDirect3D11CaptureFramePool> pool;
    const HRESULT result = statics->Create(device, format, buffers, size, pool.Put());
    EXPECT_FALSE(pool);
    return result;
  };
  IDirect3DDevice* const device = Device().winrt.Get();
  const auto bgra = DirectXPixelFormat_B8G8R8A8UIntNormalized;
  EXPECT_EQ(create(nullptr, bgra, 2, {64, 64}), E_INVALIDARG);
  EXPECT_EQ(create(device, bgra, 0, {64, 64}), E_INVALIDARG);
  EXPECT_EQ(create(device, bgra, 2, {0, 64}), E_INVALIDARG);
  EXPECT_EQ(create(device, bgra, 2, {64, -1}), E_INVALIDARG);
  EXPECT_EQ(create(device, DirectXPixelFormat_Unknown, 2, {64, 64}), E_INVALIDARG);
  Ref<IInspectable> made_of_nothing;
  EXPECT_EQ(CreateDirect3D11DeviceFromDXGIDevice(nullptr, made_of_nothing.Put()), E_INVALIDARG);
  EXPECT_FALSE(made_of_nothing);
}

TEST(FramePool, GivesNoFrameWhenNothingWaitsAndNoSessionWithoutAnItem) {
  EnsureDispatcherQueue();
  const auto pool = MakePool({64, 64});
  EXPECT_FALSE(TryGetNextFrame(pool.Get()));
  Ref<IGraphicsCaptureSession> session;
  EXPECT_EQ(pool->CreateCaptureSession(nullptr, session.Put()), E_INVALIDARG);
  EXPECT_FALSE(session);
}

TEST(FramePool, HandsOutBgraTexturesOfItsSize) {
  const PatternWindow window(kFirst);
  Recording recording(MakeItem(window.handle()), {100, 90});
  const auto frame = recording.NextFrame();
  ASSERT_TRUE(frame);
  D3D11_TEXTURE2D_DESC description;
  TextureOf(frame.Get())->GetDesc(&description);
  EXPECT_EQ(std::tuple(description.Width, description.Height, description.MipLevels,
                       description.ArraySize, description.SampleDesc.Count, description.Format,
                       description.Usage, description.BindFlags),
            std::tuple(100u, 90u, 1u, 1u, 1u, DXGI_FORMAT_B8G8R8A8_UNORM, D3D11_USAGE_DEFAULT,
                       UINT{D3D11_BIND_SHADER_RESOURCE | D3D11_BIND_RENDER_TARGET}));
  Ref<IDirect3DSurface> surface;
  ASSERT_EQ(frame->get_Surface(surface.Put()), S_OK);
  Direct3DSurfaceDescription told = {};
  EXPECT_EQ(surface->get_Description(&told), S_OK);
  EXPECT_EQ(std::tuple(told.Width, told.Height, told.Format, told.MultisampleDescription.Count,
                       told.MultisampleDescription.Quality),
            std::tuple(100, 90, DirectXPixelFormat_B8G8R8A8UIntNormalized, 1, 0));
  Ref<ID3D11Device> device;
  TextureOf(frame.Get())->GetDevice(device.Put());
  EXPECT_EQ(device.Get(), Device().d3d.Get());
}

TEST_F(EveryTickFramePool, ReusesABufferOnlyOnceItsFrameIsReleasedOrClosed) {
  auto first = recording_.NextFrame();
  auto second = recording_.NextFrame();
  ASSERT_TRUE(first);
  ASSERT_TRUE(second);
  const auto first_texture = TextureOf(first.Get());
  const auto second_texture = TextureOf(second.Get());
  EXPECT_NE(first_texture.Get(), second_texture.Get());
  EXPECT_FALSE(recording_.NextFrame(300));

  first = {};
  auto third = recording_.NextFrame();
  ASSERT_TRUE(third);
  EXPECT_EQ(TextureOf(third.Get()).Get(), first_texture.Get());
  EXPECT_FALSE(recording_.NextFrame(300));

  EXPECT_EQ(Close(second.Get()), S_OK);
  auto fourth = recording_.NextFrame();
  ASSERT_TRUE(fourth);
  EXPECT_EQ(TextureOf(fourth.Get()).Get(), second_texture.Get());
}

TEST_F(RunningFramePool, KeepsTheOldestFramesForAHostThatIsLate) {
  recording_.TakeAllFrames();
  for (int picture = 1; picture <= 4; ++picture) {
    window_.Show(MakePattern(160, 120, picture));
    Sleep(120);  // Time for a picture to be taken; the queue's thread dispatches nothing.
  }
  const auto first = TryGetNextFrame(recording_.Pool());
  const auto second = TryGetNextFrame(recording_.Pool());
  ASSERT_TRUE(first);
  ASSERT_TRUE(second);
  EXPECT_EQ(ReadPixels(first.Get()).At(0, 0), PatternPixel(0, 0, 1));
  EXPECT_EQ(ReadPixels(second.Get()).At(0, 0), PatternPixel(0, 0, 2));
  EXPECT_FALSE(TryGetNextFrame(recording_.Pool()));
}

TEST_F(RunningFramePool, MakesBuffersOfTheNewSizeAndDropsWhatWaitsOnRecreate) {
  const auto old_frame = recording_.NextFrame();
  ASSERT_TRUE(old_frame);
  window_.Show(kSecond);
  Sleep(200);
  ASSERT_EQ(recording_.Pool()->Recreate(Device().winrt.Get(),
                                        DirectXPixelFormat_B8G8R8A8UIntNormalized, 2, {50, 40}),
            S_OK);
  EXPECT_FALSE(TryGetNextFrame(recording_.Pool()));
  const auto frame = recording_.NextFrame();
  ASSERT_TRUE(frame);
  EXPECT_EQ(ReadPixels(frame.Get()), MakePattern(50, 40, 1));
  // A frame that is out keeps its buffer.
  EXPECT_EQ(ReadPixels(old_frame.Get()), kFirst);
}

TEST_F(RunningFramePool, RefusesCallsOnceClosed) {
  const auto frame = recording_.NextFrame();
  ASSERT_TRUE(frame);
  IDirect3D11CaptureFramePool* const pool = recording_.Pool();
  EXPECT_EQ(Close(pool), S_OK);
  EXPECT_EQ(Close(pool), S_OK);
  Ref<IDirect3D11CaptureFrame> none;
  EXPECT_EQ(pool->TryGetNextFrame(none.Put()), kClosed);
  EXPECT_EQ(
      pool->Recreate(Device().winrt.Get(), DirectXPixelFormat_B8G8R8A8UIntNormalized, 2, {50, 40}),
      kClosed);
  const auto handler = ArrivedHandler::Make([](IDirect3D11CaptureFramePool*, IInspectable*) {});
  EventRegistrationToken token;
  EXPECT_EQ(pool->add_FrameArrived(handler.Get(), &token), kClosed);
  Ref<IGraphicsCaptureSession> session;
  EXPECT_EQ(pool->CreateCaptureSession(MakeItem(window_.handle()).Get(), session.Put()), kClosed);
  // A frame that is out stays readable.
  EXPECT_EQ(ReadPixels(frame.Get()), kFirst);
}

TEST(FramePool, LetsItsHandlersGoWhenClosedAndIsWeaklyReferable) {
  EnsureDispatcherQueue();
  auto pool = MakePool({64, 64});
  const auto weak = WeaklyReferTo(pool.Get());
  ASSERT_TRUE(weak);
  auto of_handler = std::make_shared<int>();
  const std::weak_ptr<int> alive = of_handler;
  AddHandler(pool.Get(),
             [of_handler = std::move(of_handler)](IDirect3D11CaptureFramePool*, IInspectable*) {});
  EXPECT_FALSE(alive.expired());
  EXPECT_EQ(Close(pool.Get()), S_OK);
  EXPECT_TRUE(alive.expired());
  EXPECT_TRUE(Resolve(weak.Get()));
  pool = {};
  EXPECT_FALSE(Resolve(weak.Get()));
}

// What a handler does when it is called, removed or dropped is the host's affair: it may call the
// pool, and wait for another thread that does.
TEST_F(RunningFramePool, IsNotLockedWhileItCallsAHandlerOrLetsItGo) {
  IDirect3D11CaptureFramePool* const pool = recording_.Pool();
  std::vector<std::future<HRESULT>> calls;
  int answered = 0;
  const auto call_from_another_thread = [&] {
    calls.push_back(std::async(std::launch::async, [&] { return pool->remove_FrameArrived({}); }));
    answered += calls.back().wait_for(std::chrono::seconds(2)) == std::future_status::ready;
  };
  const auto add_handler = [&] {
    const std::shared_ptr<void> at_its_end(nullptr, [&](void*) { call_from_another_thread(); });
    return AddHandler(pool, [&, at_its_end](IDirect3D11CaptureFramePool*, IInspectable*) {
      if (answered == 0) call_from_another_thread();
    });
  };
  const auto token = add_handler();
  EXPECT_TRUE(PumpUntil([&] { return answered == 1; }));
  EXPECT_EQ(pool->remove_FrameArrived(token), S_OK);
  EXPECT_EQ(answered, 2);
  add_handler();
  EXPECT_EQ(Close(pool), S_OK);
  EXPECT_EQ(answered, 3);
}

TEST_F(RunningFramePool, FrameRefusesCallsOnceClosed) {
  const auto frame = recording_.NextFrame();
  ASSERT_TRUE(frame);
  EXPECT_EQ(Close(frame.Get()), S_OK);
  EXPECT_EQ(Close(frame.Get()), S_OK);
  Ref<IDirect3DSurface> surface;
  EXPECT_EQ(frame->get_Surface(surface.Put()), kClosed);
  SizeInt32 size;
  EXPECT_EQ(frame->get_ContentSize(&size), kClosed);
  TimeSpan time;
  EXPECT_EQ(frame->get_SystemRelativeTime(&time), kClosed);
}

}  // namespace
}  // namespace wine_test
