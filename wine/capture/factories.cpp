// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <windows.graphics.capture.interop.h>

#include <string_view>

#include "capture/api_information.h"
#include "capture/call_trace.h"
#include "capture/capture_item.h"
#include "capture/frame_pool.h"
#include "common/factory.h"

namespace standin {
namespace {

using ABI::Windows::Graphics::SizeInt32;
using ABI::Windows::Graphics::Capture::IDirect3D11CaptureFramePool;
using ABI::Windows::Graphics::Capture::IDirect3D11CaptureFramePoolStatics;
using ABI::Windows::Graphics::Capture::IGraphicsCaptureSessionStatics;
using ABI::Windows::Graphics::DirectX::DirectXPixelFormat;
using ABI::Windows::Graphics::DirectX::Direct3D11::IDirect3DDevice;

class ItemFactory : public Factory<IGraphicsCaptureItemInterop> {
 public:
  ItemFactory() : Factory(L"Windows.Graphics.Capture.GraphicsCaptureItem") {}

  HRESULT STDMETHODCALLTYPE CreateForWindow(HWND window, REFIID iid, void** result) override {
    Trace("CreateForWindow");
    return MakeItem(MakeWindowTarget(window), iid, result);
  }
  HRESULT STDMETHODCALLTYPE CreateForMonitor(HMONITOR monitor, REFIID iid, void** result) override {
    Trace("CreateForMonitor");
    return MakeItem(MakeMonitorTarget(monitor), iid, result);
  }

 private:
  static HRESULT MakeItem(std::shared_ptr<CaptureTarget> target, REFIID iid, void** result) {
    if (!result) return E_POINTER;
    *result = nullptr;
    if (!target) return E_INVALIDARG;
    return Make<CaptureItem>(std::move(target))->QueryInterface(iid, result);
  }
};

class FramePoolFactory : public Factory<IDirect3D11CaptureFramePoolStatics> {
 public:
  FramePoolFactory() : Factory(L"Windows.Graphics.Capture.Direct3D11CaptureFramePool") {}

  HRESULT STDMETHODCALLTYPE Create(IDirect3DDevice* device, DirectXPixelFormat format,
                                   INT32 number_of_buffers, SizeInt32 size,
                                   IDirect3D11CaptureFramePool** result) override {
    if (!result) return E_POINTER;
    Trace("Create %d %d %dx%d", format, number_of_buffers, size.Width, size.Height);
    Ref<FramePool> pool;
    const HRESULT created = FramePool::Create(device, format, number_of_buffers, size, pool);
    *result = pool.Detach();
    return created;
  }
};

class SessionFactory : public Factory<IGraphicsCaptureSessionStatics> {
 public:
  SessionFactory() : Factory(L"Windows.Graphics.Capture.GraphicsCaptureSession") {}

  HRESULT STDMETHODCALLTYPE IsSupported(boolean* result) override {
    if (!result) return E_POINTER;
    *result = true;
    return S_OK;
  }
};

Ref<IActivationFactory> MakeFactory(std::wstring_view name) {
  IActivationFactory* factory = nullptr;
  if (name == L"Windows.Graphics.Capture.GraphicsCaptureItem") {
    factory = Make<ItemFactory>().Detach();
  } else if (name == L"Windows.Graphics.Capture.Direct3D11CaptureFramePool") {
    factory = Make<FramePoolFactory>().Detach();
  } else if (name == L"Windows.Graphics.Capture.GraphicsCaptureSession") {
    factory = Make<SessionFactory>().Detach();
  } else if (name == L"Windows.Foundation.Metadata.ApiInformation") {
    factory = Make<ApiInformation>().Detach();
  }
  return Ref<IActivationFactory>::Attach(factory);
}

}  // namespace
}  // namespace standin

STDAPI DllGetActivationFactory(HSTRING class_id, IActivationFactory** factory) {
  if (!factory) return E_POINTER;
  *factory = standin::MakeFactory(WindowsGetStringRawBuffer(class_id, nullptr)).Detach();
  return *factory ? S_OK : CLASS_E_CLASSNOTAVAILABLE;
}

// Threads of ended sessions may still run this code for a moment.
STDAPI DllCanUnloadNow() {
  return S_FALSE;
}
