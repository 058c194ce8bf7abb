// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What the tests of the stand-in platform share: its factories and objects, through the interfaces
// that Windows declares, and the reading of a captured frame's pixels.
#pragma once

#include <d3d11.h>
#include <dispatcherqueue.h>
#include <roapi.h>
#include <weakreference.h>
#include <windows.foundation.metadata.h>
#include <windows.graphics.capture.h>
#include <windows.graphics.capture.interop.h>
#include <windows.graphics.directx.direct3d11.interop.h>
#include <winstring.h>

#include <functional>
#include <string_view>
#include <vector>

#include "com_pointer.h"

namespace wine_test {

using ABI::Windows::Foundation::IClosable;
using ABI::Windows::Foundation::Metadata::IApiInformationStatics;
using ABI::Windows::Graphics::SizeInt32;
using ABI::Windows::Graphics::Capture::IDirect3D11CaptureFrame;
using ABI::Windows::Graphics::Capture::IDirect3D11CaptureFramePool;
using ABI::Windows::Graphics::Capture::IDirect3D11CaptureFramePoolStatics;
using ABI::Windows::Graphics::Capture::IGraphicsCaptureItem;
using ABI::Windows::Graphics::Capture::IGraphicsCaptureSession;
using ABI::Windows::Graphics::Capture::IGraphicsCaptureSession2;
using ABI::Windows::Graphics::Capture::IGraphicsCaptureSession3;
using ABI::Windows::Graphics::Capture::IGraphicsCaptureSessionStatics;
using ABI::Windows::Graphics::DirectX::DirectXPixelFormat_B8G8R8A8UIntNormalized;
using ABI::Windows::Graphics::DirectX::Direct3D11::IDirect3DDevice;
using ABI::Windows::Graphics::DirectX::Direct3D11::IDirect3DSurface;
using ABI::Windows::System::IDispatcherQueueController;
using Windows::Graphics::DirectX::Direct3D11::IDirect3DDxgiInterfaceAccess;

constexpr HRESULT kClosed = static_cast<HRESULT>(0x80000013);  // RO_E_CLOSED

inline constexpr wchar_t kItemClass[] = L"Windows.Graphics.Capture.GraphicsCaptureItem";
inline constexpr wchar_t kPoolClass[] = L"Windows.Graphics.Capture.Direct3D11CaptureFramePool";
inline constexpr wchar_t kSessionClass[] = L"Windows.Graphics.Capture.GraphicsCaptureSession";

// A string for the length of one call.
class HString {
 public:
  explicit HString(std::wstring_view text) {
    WindowsCreateString(text.data(), static_cast<UINT32>(text.size()), &string_);
  }
  HString(const HString&) = delete;
  HString& operator=(const HString&) = delete;
  ~HString() { WindowsDeleteString(string_); }
  HSTRING Get() const { return string_; }

 private:
  HSTRING string_ = nullptr;
};

template <class Interface>
ComPointer<Interface> ActivationFactory(std::wstring_view class_name) {
  ComPointer<Interface> factory;
  RoGetActivationFactory(HString(class_name).Get(), __uuidof(Interface),
                         reinterpret_cast<void**>(factory.Put()));
  return factory;
}

// The hardware (here: software) device that the tests share; made once, since making one is slow.
struct GraphicsDevice {
  ComPointer<ID3D11Device> d3d;
  ComPointer<ID3D11DeviceContext> context;
  ComPointer<IDirect3DDevice> winrt;
};
GraphicsDevice& Device();

// A thread has at most one dispatcher queue in its life: cases that make one of their own do so on
// a new thread, all others share that of the thread they run on.
void OnNewThread(const std::function<void()>& body);
ComPointer<IDispatcherQueueController> MakeDispatcherQueue();
void EnsureDispatcherQueue();
ComPointer<IGraphicsCaptureItem> MakeItem(HWND window);
ComPointer<IGraphicsCaptureItem> MakeItem(HMONITOR monitor);
// The result of Create is put into `result` when that is given.
ComPointer<IDirect3D11CaptureFramePool> MakePool(SizeInt32 size, int buffers = 2,
                                                 HRESULT* result = nullptr);

HRESULT Close(IUnknown* object);
// Null when the object does not offer it.
ComPointer<IWeakReference> WeaklyReferTo(IUnknown* object);

// A picture as pixels 0xAARRGGBB, rows from the top.
struct Pixels {
  int width = 0;
  int height = 0;
  std::vector<UINT32> values;
  UINT32 At(int x, int y) const { return values[static_cast<size_t>(y) * width + x]; }
};
ComPointer<ID3D11Texture2D> TextureOf(IDirect3D11CaptureFrame* frame);
Pixels ReadPixels(IDirect3D11CaptureFrame* frame);

// Removes and dispatches the thread's messages until there are none; the number of them.
int DrainMessages();

// Drains messages until `done` holds or the time is up; whether it holds.
bool PumpUntil(const std::function<bool()>& done, DWORD limit_ms = 5000);
// Drains messages for that long.
void PumpFor(DWORD time_ms);

// A DWORD value under the stand-in's registry key, taken back at the end of its scope.
class PlatformSetting {
 public:
  PlatformSetting(const wchar_t* name, DWORD value);
  PlatformSetting(const PlatformSetting&) = delete;
  PlatformSetting& operator=(const PlatformSetting&) = delete;
  ~PlatformSetting();

 private:
  const wchar_t* const name_;
};

}  // namespace wine_test
