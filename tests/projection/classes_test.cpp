// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The classes of the capture platform: what a call passes on, and what it makes of the answer.
#include <chrono>

#include "projection/test_objects.h"

namespace {

namespace direct3d_abi = ABI::Windows::Graphics::DirectX::Direct3D11;
using winrt::Windows::Graphics::DirectX::DirectXPixelFormat;

using Classes = ObjectsTest;

struct Device : TestObject<direct3d_abi::IDirect3DDevice> {
  HRESULT STDMETHODCALLTYPE Trim() override { return S_OK; }
};

struct Surface : TestObject<direct3d_abi::IDirect3DSurface> {
  HRESULT STDMETHODCALLTYPE get_Description(direct3d_abi::Direct3DSurfaceDescription*) override {
    return E_NOTIMPL;
  }
};

struct Frame
    : TestObject<capture_abi::IDirect3D11CaptureFrame, ABI::Windows::Foundation::IClosable> {
  HRESULT STDMETHODCALLTYPE get_Surface(direct3d_abi::IDirect3DSurface** value) override {
    *value = new ::Surface;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE
  get_SystemRelativeTime(ABI::Windows::Foundation::TimeSpan* value) override {
    value->Duration = 10'000'000;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE get_ContentSize(ABI::Windows::Graphics::SizeInt32* value) override {
    *value = {1920, 1080};
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Close() override {
    ++closes;
    return close_result;
  }

  int closes = 0;
  HRESULT close_result = S_OK;
};

// A session of the first platform version, which has no settings.
struct FirstSession : TestObject<capture_abi::IGraphicsCaptureSession> {
  HRESULT STDMETHODCALLTYPE StartCapture() override {
    ++starts;
    return S_OK;
  }
  int starts = 0;
};

struct Session
    : TestObject<capture_abi::IGraphicsCaptureSession, capture_abi::IGraphicsCaptureSession2,
                 capture_abi::IGraphicsCaptureSession3> {
  HRESULT STDMETHODCALLTYPE StartCapture() override { return E_ACCESSDENIED; }
  HRESULT STDMETHODCALLTYPE get_IsCursorCaptureEnabled(boolean* value) override {
    *value = cursor;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE put_IsCursorCaptureEnabled(boolean value) override {
    cursor = value;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE get_IsBorderRequired(boolean* value) override {
    *value = border;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE put_IsBorderRequired(boolean value) override {
    border = value;
    return S_OK;
  }
  boolean cursor = 77;
  boolean border = 78;
};

struct Pool : TestObject<capture_abi::IDirect3D11CaptureFramePool> {
  using Handler =
      __FITypedEventHandler_2_Windows__CGraphics__CCapture__CDirect3D11CaptureFramePool_IInspectable;

  HRESULT STDMETHODCALLTYPE Recreate(direct3d_abi::IDirect3DDevice* the_device,
                                     ABI::Windows::Graphics::DirectX::DirectXPixelFormat the_format,
                                     INT32 the_buffers,
                                     ABI::Windows::Graphics::SizeInt32 the_size) override {
    device = the_device;
    format = the_format;
    buffers = the_buffers;
    size = the_size;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE
  TryGetNextFrame(capture_abi::IDirect3D11CaptureFrame** result) override {
    *result = std::exchange(next_frame, nullptr);
    return next_result;
  }
  HRESULT STDMETHODCALLTYPE add_FrameArrived(Handler*, EventRegistrationToken*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE remove_FrameArrived(EventRegistrationToken) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE
  CreateCaptureSession(capture_abi::IGraphicsCaptureItem* the_item,
                       capture_abi::IGraphicsCaptureSession** result) override {
    item = the_item;
    *result = new FirstSession;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE get_DispatcherQueue(::IInspectable**) override { return E_NOTIMPL; }

  direct3d_abi::IDirect3DDevice* device = nullptr;
  int format = 0;
  INT32 buffers = 0;
  ABI::Windows::Graphics::SizeInt32 size{};
  capture_abi::IDirect3D11CaptureFrame* next_frame = nullptr;
  HRESULT next_result = S_OK;
  capture_abi::IGraphicsCaptureItem* item = nullptr;
};

TEST_F(Classes, GettersReturnWhatTheObjectsAnswer) {
  auto const frame = Make<Frame>().as<capture::Direct3D11CaptureFrame>();
  EXPECT_EQ(frame.ContentSize(), (winrt::Windows::Graphics::SizeInt32{1920, 1080}));
  EXPECT_EQ(frame.SystemRelativeTime(), std::chrono::seconds(1));
  direct3d::IDirect3DSurface const surface = frame.Surface();
  ASSERT_TRUE(surface);
  EXPECT_EQ(objects_alive, 2);
  EXPECT_EQ(Make<Item>().as<capture::GraphicsCaptureItem>().DisplayName(), L"a window");
}

TEST_F(Classes, CloseGoesThroughIClosableAndThrowsWithoutIt) {
  auto const object = Make<Frame>();
  auto const frame = object.as<capture::Direct3D11CaptureFrame>();
  frame.Close();
  EXPECT_EQ(object->closes, 1);
  object->close_result = E_ACCESSDENIED;
  EXPECT_THROW(frame.Close(), winrt::hresult_access_denied);
  EXPECT_EQ(object->references(), 2u);
  EXPECT_THROW(Make<FirstSession>().as<capture::GraphicsCaptureSession>().Close(),
               winrt::hresult_no_interface);
  EXPECT_THROW(Make<Pool>().as<capture::Direct3D11CaptureFramePool>().Close(),
               winrt::hresult_no_interface);
}

TEST_F(Classes, SettingsThatTheSessionLacksThrow) {
  auto const object = Make<FirstSession>();
  auto const session = object.as<capture::GraphicsCaptureSession>();
  EXPECT_THROW(session.IsCursorCaptureEnabled(true), winrt::hresult_no_interface);
  EXPECT_THROW(session.IsCursorCaptureEnabled(), winrt::hresult_no_interface);
  EXPECT_THROW(session.IsBorderRequired(false), winrt::hresult_no_interface);
  EXPECT_THROW(session.IsBorderRequired(), winrt::hresult_no_interface);
  session.StartCapture();
  EXPECT_EQ(object->starts, 1);
}

TEST_F(Classes, SettingsReachTheSession) {
  auto const object = Make<Session>();
  auto const session = object.as<capture::GraphicsCaptureSession>();
  session.IsCursorCaptureEnabled(false);
  session.IsBorderRequired(true);
  EXPECT_EQ(object->cursor, 0);
  EXPECT_EQ(object->border, 1);
  EXPECT_FALSE(session.IsCursorCaptureEnabled());
  EXPECT_TRUE(session.IsBorderRequired());
  EXPECT_THROW(session.StartCapture(), winrt::hresult_access_denied);
}

TEST_F(Classes, RecreatePassesEveryArgument) {
  auto const object = Make<Pool>();
  auto const device = Make<Device>();
  object.as<capture::Direct3D11CaptureFramePool>().Recreate(
      device.as<direct3d::IDirect3DDevice>(), DirectXPixelFormat::B8G8R8A8UIntNormalized, 2,
      {-7, 0x7fffffff});
  EXPECT_EQ(object->device, device.get());
  EXPECT_EQ(object->format, 87);
  EXPECT_EQ(object->buffers, 2);
  EXPECT_EQ(object->size.Width, -7);
  EXPECT_EQ(object->size.Height, 0x7fffffff);
  EXPECT_EQ(device->references(), 1u);
}

TEST_F(Classes, TryGetNextFrameGivesAnEmptyReferenceWithoutAFrame) {
  auto const object = Make<Pool>();
  auto const pool = object.as<capture::Direct3D11CaptureFramePool>();
  EXPECT_FALSE(pool.TryGetNextFrame());
  object->next_frame = new Frame;
  EXPECT_TRUE(pool.TryGetNextFrame());
  EXPECT_FALSE(pool.TryGetNextFrame());
  object->next_result = E_ACCESSDENIED;
  EXPECT_THROW(pool.TryGetNextFrame(), winrt::hresult_access_denied);
}

TEST_F(Classes, CreateCaptureSessionPassesTheItem) {
  auto const object = Make<Pool>();
  auto const item = Make<Item>();
  EXPECT_TRUE(object.as<capture::Direct3D11CaptureFramePool>().CreateCaptureSession(
      item.as<capture::GraphicsCaptureItem>()));
  EXPECT_EQ(object->item, item.get());
}

}  // namespace
