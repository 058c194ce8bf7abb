// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include <weakreference.h>

#include <chrono>
#include <future>
#include <memory>
#include <vector>

#include "platform.h"

namespace wine_test {
namespace {

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
  const auto device = Device().winrt;
  const auto bgra = DirectXPixelFormat_B8G8R8A8UIntNormalized;
  Ref<IDirect3D11CaptureFramePool> pool;
  EXPECT_EQ(statics->Create(nullptr, bgra, 2, {64, 64}, pool.Put()), E_INVALIDARG);
  EXPECT_EQ(statics->Create(device.Get(), bgra, 0, {64, 64}, pool.Put()), E_INVALIDARG);
  EXPECT_EQ(statics->Create(device.Get(), bgra, 2, {0, 64}, pool.Put()), E_INVALIDARG);
  EXPECT_EQ(statics->Create(device.Get(), bgra, 2, {64, -1}, pool.Put()), E_INVALIDARG);
  const auto unknown = ABI::Windows::Graphics::DirectX::DirectXPixelFormat_Unknown;
  EXPECT_EQ(statics->Create(device.Get(), unknown, 2, {64, 64}, pool.Put()), E_INVALIDARG);
  EXPECT_FALSE(pool);
}

TEST(FramePool, GivesNoFrameWhenNothingWaitsAndNoSessionWithoutAnItem) {
  EnsureDispatcherQueue();
  const auto pool = MakePool({64, 64});
  EXPECT_FALSE(TryGetNextFrame(pool.Get()));
  Ref<IGraphicsCaptureSession> session;
  EXPECT_EQ(pool->CreateCaptureSession(nullptr, session.Put()), E_INVALIDARG);
  EXPECT_FALSE(session);
}

TEST(Direct3DDevice, IsNotMadeOfNothing) {
  Ref<IInspectable> device;
  EXPECT_EQ(CreateDirect3D11DeviceFromDXGIDevice(nullptr, device.Put()), E_INVALIDARG);
  EXPECT_FALSE(device);
}

TEST(FramePool, HandsOutBgraTexturesOfItsSize) {
  const PatternWindow window(MakePattern(160, 120));
  Recording recording(MakeItem(window.handle()), {100, 90});
  const auto frame = recording.NextFrame();
  ASSERT_TRUE(frame);
  D3D11_TEXTURE2D_DESC description;
  TextureOf(frame.Get())->GetDesc(&description);
  EXPECT_EQ(description.Width, 100u);
  EXPECT_EQ(description.Height, 90u);
  EXPECT_EQ(description.MipLevels, 1u);
  EXPECT_EQ(description.ArraySize, 1u);
  EXPECT_EQ(description.SampleDesc.Count, 1u);
  EXPECT_EQ(description.Format, DXGI_FORMAT_B8G8R8A8_UNORM);
  EXPECT_EQ(description.Usage, D3D11_USAGE_DEFAULT);
  EXPECT_EQ(description.BindFlags,
            static_cast<UINT>(D3D11_BIND_SHADER_RESOURCE | D3D11_BIND_RENDER_TARGET));
  Ref<IDirect3DSurface> surface;
  ASSERT_EQ(frame->get_Surface(surface.Put()), S_OK);
  ABI::Windows::Graphics::DirectX::Direct3D11::Direct3DSurfaceDescription told = {};
  EXPECT_EQ(surface->get_Description(&told), S_OK);
  EXPECT_EQ(told.Width, 100);
  EXPECT_EQ(told.Height, 90);
  EXPECT_EQ(told.Format, DirectXPixelFormat_B8G8R8A8UIntNormalized);
  EXPECT_EQ(told.MultisampleDescription.Count, 1);
  EXPECT_EQ(told.MultisampleDescription.Quality, 0);
  Ref<ID3D11Device> device;
  TextureOf(frame.Get())->GetDevice(device.Put());
  EXPECT_EQ(device.Get(), Device().d3d.Get());
}

TEST(FramePool, ReusesABufferOnlyOnceItsFrameIsReleasedOrClosed) {
  const PlatformSetting setting(L"SendUnchangedFrames", 1);
  const PatternWindow window(MakePattern(160, 120));
  Recording recording(window);
  auto first = recording.NextFrame();
  auto second = recording.NextFrame();
  ASSERT_TRUE(first);
  ASSERT_TRUE(second);
  const auto first_texture = TextureOf(first.Get());
  const auto second_texture = TextureOf(second.Get());
  EXPECT_NE(first_texture.Get(), second_texture.Get());
  EXPECT_FALSE(recording.NextFrame(300));

  first = {};
  auto third = recording.NextFrame();
  ASSERT_TRUE(third);
  EXPECT_EQ(TextureOf(third.Get()).Get(), first_texture.Get());
  EXPECT_FALSE(recording.NextFrame(300));

  EXPECT_EQ(Close(second.Get()), S_OK);
  auto fourth = recording.NextFrame();
  ASSERT_TRUE(fourth);
  EXPECT_EQ(TextureOf(fourth.Get()).Get(), second_texture.Get());
}

TEST(FramePool, KeepsTheOldestFramesForAHostThatIsLate) {
  PatternWindow window(MakePattern(160, 120));
  Recording recording(window);
  recording.TakeAllFrames();
  for (int picture = 1; picture <= 4; ++picture) {
    window.Show(MakePattern(160, 120, picture));
    Sleep(120);  // Time for a picture to be taken; the queue's thread dispatches nothing.
  }
  const auto first = TryGetNextFrame(recording.Pool());
  const auto second = TryGetNextFrame(recording.Pool());
  ASSERT_TRUE(first);
  ASSERT_TRUE(second);
  EXPECT_EQ(ReadPixels(first.Get()).At(0, 0), PatternPixel(0, 0, 1));
  EXPECT_EQ(ReadPixels(second.Get()).At(0, 0), PatternPixel(0, 0, 2));
  EXPECT_FALSE(TryGetNextFrame(recording.Pool()));
}

TEST(FramePool, MakesBuffersOfTheNewSizeAndDropsWhatWaitsOnRecreate) {
  PatternWindow window(MakePattern(160, 120));
  Recording recording(window);
  const auto old_frame = recording.NextFrame();
  ASSERT_TRUE(old_frame);
  window.Show(MakePattern(160, 120, 1));
  Sleep(200);
  ASSERT_EQ(recording.Pool()->Recreate(Device().winrt.Get(),
                                       DirectXPixelFormat_B8G8R8A8UIntNormalized, 2, {50, 40}),
            S_OK);
  EXPECT_FALSE(TryGetNextFrame(recording.Pool()));
  const auto frame = recording.NextFrame();
  ASSERT_TRUE(frame);
  EXPECT_EQ(ReadPixels(frame.Get()), MakePattern(50, 40, 1));
  // A frame that is out keeps its buffer.
  EXPECT_EQ(ReadPixels(old_frame.Get()), MakePattern(160, 120));
}

TEST(FramePool, RefusesCallsOnceClosed) {
  const PatternWindow window(MakePattern(160, 120));
  Recording recording(window);
  const auto frame = recording.NextFrame();
  ASSERT_TRUE(frame);
  IDirect3D11CaptureFramePool* const pool = recording.Pool();
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
  EXPECT_EQ(pool->CreateCaptureSession(MakeItem(window.handle()).Get(), session.Put()), kClosed);
  // A frame that is out stays readable.
  EXPECT_EQ(ReadPixels(frame.Get()), MakePattern(160, 120));
}

TEST(FramePool, LetsItsHandlersGoWhenClosed) {
  EnsureDispatcherQueue();
  const auto pool = MakePool({64, 64});
  auto of_handler = std::make_shared<int>();
  const std::weak_ptr<int> alive = of_handler;
  auto handler = ArrivedHandler::Make(
      [of_handler = std::move(of_handler)](IDirect3D11CaptureFramePool*, IInspectable*) {});
  EventRegistrationToken token;
  ASSERT_EQ(pool->add_FrameArrived(handler.Get(), &token), S_OK);
  handler = {};
  EXPECT_FALSE(alive.expired());
  EXPECT_EQ(Close(pool.Get()), S_OK);
  EXPECT_TRUE(alive.expired());
}

// What a handler does when it is called, removed or dropped is the host's affair: it may call the
// pool, and wait for another thread that does.
TEST(FramePool, IsNotLockedWhileItCallsAHandlerOrLetsItGo) {
  const PatternWindow window(MakePattern(160, 120));
  Recording recording(window);
  IDirect3D11CaptureFramePool* const pool = recording.Pool();
  std::vector<std::future<HRESULT>> calls;
  int answered = 0;
  const auto call_from_another_thread = [&] {
    calls.push_back(std::async(std::launch::async, [&] { return pool->remove_FrameArrived({}); }));
    answered += calls.back().wait_for(std::chrono::seconds(2)) == std::future_status::ready;
  };
  const auto add_handler = [&] {
    const std::shared_ptr<void> at_its_end(nullptr, [&](void*) { call_from_another_thread(); });
    const auto handler =
        ArrivedHandler::Make([&, at_its_end](IDirect3D11CaptureFramePool*, IInspectable*) {
          if (answered == 0) call_from_another_thread();
        });
    EventRegistrationToken token = {};
    EXPECT_EQ(pool->add_FrameArrived(handler.Get(), &token), S_OK);
    return token;
  };
  const auto token = add_handler();
  EXPECT_TRUE(PumpUntil([&] { return answered == 1; }));
  EXPECT_EQ(pool->remove_FrameArrived(token), S_OK);
  EXPECT_EQ(answered, 2);
  add_handler();
  EXPECT_EQ(Close(pool), S_OK);
  EXPECT_EQ(answered, 3);
}

TEST(FramePool, IsWeaklyReferable) {
  EnsureDispatcherQueue();
  auto pool = MakePool({64, 64});
  const auto weak = WeaklyReferTo(pool.Get());
  ASSERT_TRUE(weak);
  EXPECT_TRUE(Resolve(weak.Get()));
  pool = {};
  EXPECT_FALSE(Resolve(weak.Get()));
}

TEST(Frame, RefusesCallsOnceClosed) {
  const PatternWindow window(MakePattern(160, 120));
  Recording recording(window);
  const auto frame = recording.NextFrame();
  ASSERT_TRUE(frame);
  EXPECT_EQ(Close(frame.Get()), S_OK);
  EXPECT_EQ(Close(frame.Get()), S_OK);
  Ref<IDirect3DSurface> surface;
  EXPECT_EQ(frame->get_Surface(surface.Put()), kClosed);
  SizeInt32 size;
  EXPECT_EQ(frame->get_ContentSize(&size), kClosed);
  ABI::Windows::Foundation::TimeSpan time;
  EXPECT_EQ(frame->get_SystemRelativeTime(&time), kClosed);
}

}  // namespace
}  // namespace wine_test
