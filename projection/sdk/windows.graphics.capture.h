// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The capture interfaces of Windows.Graphics.Capture as the Windows SDK declares them (same file
// name, namespaces and member names); mingw-w64 and Wine ship no such header. Identifiers and
// method orders are facts of the platform and are written here once.
#pragma once

#include <eventtoken.h>
#include <windows.foundation.h>
#include <windows.graphics.directx.direct3d11.h>
#include <windows.graphics.h>

namespace ABI::Windows::Graphics::Capture {
struct IGraphicsCaptureItem;
struct IGraphicsCaptureSession;
struct IDirect3D11CaptureFrame;
struct IDirect3D11CaptureFramePool;
}  // namespace ABI::Windows::Graphics::Capture

// TypedEventHandler<GraphicsCaptureItem, IInspectable>
struct __FITypedEventHandler_2_Windows__CGraphics__CCapture__CGraphicsCaptureItem_IInspectable
    : ::IUnknown {
  virtual HRESULT STDMETHODCALLTYPE
  Invoke(ABI::Windows::Graphics::Capture::IGraphicsCaptureItem* sender, ::IInspectable* args) = 0;
};
__CRT_UUID_DECL(
    __FITypedEventHandler_2_Windows__CGraphics__CCapture__CGraphicsCaptureItem_IInspectable,
    0xe9c610c0, 0xa68c, 0x5bd9, 0x80, 0x21, 0x85, 0x89, 0x34, 0x6e, 0xee, 0xe2)

// TypedEventHandler<Direct3D11CaptureFramePool, IInspectable>
struct
    __FITypedEventHandler_2_Windows__CGraphics__CCapture__CDirect3D11CaptureFramePool_IInspectable
    : ::IUnknown {
  virtual HRESULT STDMETHODCALLTYPE
  Invoke(ABI::Windows::Graphics::Capture::IDirect3D11CaptureFramePool* sender,
         ::IInspectable* args) = 0;
};
__CRT_UUID_DECL(
    __FITypedEventHandler_2_Windows__CGraphics__CCapture__CDirect3D11CaptureFramePool_IInspectable,
    0x51a947f7, 0x79cf, 0x5a3e, 0xa3, 0xa5, 0x12, 0x89, 0xcf, 0xa6, 0xdf, 0xe8)

namespace ABI::Windows::Graphics::Capture {

struct IGraphicsCaptureItem : ::IInspectable {
  virtual HRESULT STDMETHODCALLTYPE get_DisplayName(HSTRING* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Size(SizeInt32* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE add_Closed(
      __FITypedEventHandler_2_Windows__CGraphics__CCapture__CGraphicsCaptureItem_IInspectable*
          handler,
      EventRegistrationToken* token) = 0;
  virtual HRESULT STDMETHODCALLTYPE remove_Closed(EventRegistrationToken token) = 0;
};

struct IDirect3D11CaptureFrame : ::IInspectable {
  virtual HRESULT STDMETHODCALLTYPE get_Surface(DirectX::Direct3D11::IDirect3DSurface** value) = 0;
  // A TimeSpan: 100-nanosecond units of the performance counter's time line.
  virtual HRESULT STDMETHODCALLTYPE
  get_SystemRelativeTime(ABI::Windows::Foundation::TimeSpan* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_ContentSize(SizeInt32* value) = 0;
};

struct IDirect3D11CaptureFramePool : ::IInspectable {
  virtual HRESULT STDMETHODCALLTYPE Recreate(DirectX::Direct3D11::IDirect3DDevice* device,
                                             DirectX::DirectXPixelFormat pixelFormat,
                                             INT32 numberOfBuffers, SizeInt32 size) = 0;
  virtual HRESULT STDMETHODCALLTYPE TryGetNextFrame(IDirect3D11CaptureFrame** result) = 0;
  virtual HRESULT STDMETHODCALLTYPE add_FrameArrived(
      __FITypedEventHandler_2_Windows__CGraphics__CCapture__CDirect3D11CaptureFramePool_IInspectable*
          handler,
      EventRegistrationToken* token) = 0;
  virtual HRESULT STDMETHODCALLTYPE remove_FrameArrived(EventRegistrationToken token) = 0;
  virtual HRESULT STDMETHODCALLTYPE CreateCaptureSession(IGraphicsCaptureItem* item,
                                                         IGraphicsCaptureSession** result) = 0;
  // A Windows.System.DispatcherQueue.
  virtual HRESULT STDMETHODCALLTYPE get_DispatcherQueue(::IInspectable** value) = 0;
};

struct IDirect3D11CaptureFramePoolStatics : ::IInspectable {
  virtual HRESULT STDMETHODCALLTYPE Create(DirectX::Direct3D11::IDirect3DDevice* device,
                                           DirectX::DirectXPixelFormat pixelFormat,
                                           INT32 numberOfBuffers, SizeInt32 size,
                                           IDirect3D11CaptureFramePool** result) = 0;
};

struct IGraphicsCaptureSession : ::IInspectable {
  virtual HRESULT STDMETHODCALLTYPE StartCapture() = 0;
};

struct IGraphicsCaptureSession2 : ::IInspectable {
  virtual HRESULT STDMETHODCALLTYPE get_IsCursorCaptureEnabled(boolean* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_IsCursorCaptureEnabled(boolean value) = 0;
};

struct IGraphicsCaptureSession3 : ::IInspectable {
  virtual HRESULT STDMETHODCALLTYPE get_IsBorderRequired(boolean* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_IsBorderRequired(boolean value) = 0;
};

struct IGraphicsCaptureSessionStatics : ::IInspectable {
  virtual HRESULT STDMETHODCALLTYPE IsSupported(boolean* result) = 0;
};

}  // namespace ABI::Windows::Graphics::Capture

__CRT_UUID_DECL(ABI::Windows::Graphics::Capture::IGraphicsCaptureItem, 0x79c3f95b, 0x31f7, 0x4ec2,
                0xa4, 0x64, 0x63, 0x2e, 0xf5, 0xd3, 0x07, 0x60)
__CRT_UUID_DECL(ABI::Windows::Graphics::Capture::IDirect3D11CaptureFrame, 0xfa50c623, 0x38da,
                0x4b32, 0xac, 0xf3, 0xfa, 0x97, 0x34, 0xad, 0x80, 0x0e)
__CRT_UUID_DECL(ABI::Windows::Graphics::Capture::IDirect3D11CaptureFramePool, 0x24eb6d22, 0x1975,
                0x422e, 0x82, 0xe7, 0x78, 0x0d, 0xbd, 0x8d, 0xdf, 0x24)
__CRT_UUID_DECL(ABI::Windows::Graphics::Capture::IDirect3D11CaptureFramePoolStatics, 0x7784056a,
                0x67aa, 0x4d53, 0xae, 0x54, 0x10, 0x88, 0xd5, 0xa8, 0xca, 0x21)
__CRT_UUID_DECL(ABI::Windows::Graphics::Capture::IGraphicsCaptureSession, 0x814e42a9, 0xf70f,
                0x4ad7, 0x93, 0x9b, 0xfd, 0xdc, 0xc6, 0xeb, 0x88, 0x0d)
__CRT_UUID_DECL(ABI::Windows::Graphics::Capture::IGraphicsCaptureSession2, 0x2c39ae40, 0x7d2e,
                0x5044, 0x80, 0x4e, 0x8b, 0x67, 0x99, 0xd4, 0xcf, 0x9e)
__CRT_UUID_DECL(ABI::Windows::Graphics::Capture::IGraphicsCaptureSession3, 0xf2cdd966, 0x22ae,
                0x5ea1, 0x95, 0x96, 0x3a, 0x28, 0x93, 0x44, 0xc3, 0xbe)
__CRT_UUID_DECL(ABI::Windows::Graphics::Capture::IGraphicsCaptureSessionStatics, 0x2224a540, 0x5974,
                0x49aa, 0xb2, 0x32, 0x08, 0x82, 0x53, 0x6f, 0x4c, 0xb5)
