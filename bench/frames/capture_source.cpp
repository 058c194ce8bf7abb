// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "capture_source.h"

#include <windows.graphics.capture.interop.h>
#include <windows.graphics.directx.direct3d11.interop.h>

#include <string_view>
#include <utility>

#include "capture/capture_surface.h"
#include "common/factory.h"
#include "imports.h"
#include "wgc_library.h"

namespace bench {
namespace {

using ABI::Windows::Foundation::TimeSpan;
using ABI::Windows::Graphics::Capture::IDirect3D11CaptureFrame;
using ABI::Windows::Graphics::Capture::IDirect3D11CaptureFramePool;
using ABI::Windows::Graphics::Capture::IDirect3D11CaptureFramePoolStatics;
using ABI::Windows::Graphics::Capture::IGraphicsCaptureItem;
using ABI::Windows::Graphics::Capture::IGraphicsCaptureSession;
using ABI::Windows::Graphics::Capture::IGraphicsCaptureSession2;
using ABI::Windows::Graphics::Capture::IGraphicsCaptureSession3;
using ABI::Windows::Graphics::DirectX::DirectXPixelFormat;
using ABI::Windows::Graphics::DirectX::Direct3D11::IDirect3DDevice;
using ABI::Windows::Graphics::DirectX::Direct3D11::IDirect3DSurface;
using Windows::Graphics::DirectX::Direct3D11::IDirect3DDxgiInterfaceAccess;

using ActivationFunction = HRESULT(WINAPI*)(HSTRING name, REFIID iid, void** factory);

SizeInt32 item_size = {1920, 1080};
FramePool* last_pool = nullptr;
ActivationFunction system_activation = nullptr;

using ItemClosedHandler =
    __FITypedEventHandler_2_Windows__CGraphics__CCapture__CGraphicsCaptureItem_IInspectable;

// Never closes, so nobody is told.
class Item : public standin::RuntimeObject<IGraphicsCaptureItem> {
 public:
  Item() : RuntimeObject(L"Windows.Graphics.Capture.GraphicsCaptureItem") {}

  HRESULT STDMETHODCALLTYPE get_DisplayName(HSTRING* value) override {
    *value = nullptr;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE get_Size(SizeInt32* value) override {
    *value = item_size;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE add_Closed(ItemClosedHandler*, EventRegistrationToken* token) override {
    token->value = 1;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE remove_Closed(EventRegistrationToken) override { return S_OK; }
};

class CaptureSession
    : public standin::RuntimeObject<IGraphicsCaptureSession, IGraphicsCaptureSession2,
                                    IGraphicsCaptureSession3, ABI::Windows::Foundation::IClosable> {
 public:
  CaptureSession() : RuntimeObject(L"Windows.Graphics.Capture.GraphicsCaptureSession") {}

  HRESULT STDMETHODCALLTYPE StartCapture() override { return S_OK; }
  HRESULT STDMETHODCALLTYPE get_IsCursorCaptureEnabled(boolean* value) override {
    *value = true;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE put_IsCursorCaptureEnabled(boolean) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE get_IsBorderRequired(boolean* value) override {
    *value = true;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE put_IsBorderRequired(boolean) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE Close() override { return S_OK; }
};

class ItemFactory : public standin::Factory<IGraphicsCaptureItemInterop> {
 public:
  ItemFactory() : Factory(L"Windows.Graphics.Capture.GraphicsCaptureItem") {}

  HRESULT STDMETHODCALLTYPE CreateForWindow(HWND, REFIID iid, void** result) override {
    return standin::Make<Item>()->QueryInterface(iid, result);
  }
  HRESULT STDMETHODCALLTYPE CreateForMonitor(HMONITOR, REFIID iid, void** result) override {
    return standin::Make<Item>()->QueryInterface(iid, result);
  }
};

class PoolFactory : public standin::Factory<IDirect3D11CaptureFramePoolStatics> {
 public:
  PoolFactory() : Factory(L"Windows.Graphics.Capture.Direct3D11CaptureFramePool") {}

  HRESULT STDMETHODCALLTYPE Create(IDirect3DDevice* device, DirectXPixelFormat,
                                   INT32 number_of_buffers, SizeInt32 size,
                                   IDirect3D11CaptureFramePool** result) override {
    auto pool = standin::Make<FramePool>();
    const HRESULT filled = pool->Fill(device, number_of_buffers, size);
    if (FAILED(filled)) return filled;
    last_pool = pool.Get();
    *result = pool.Detach();
    return S_OK;
  }
};

HRESULT WINAPI GetActivationFactory(HSTRING class_id, REFIID iid, void** result) {
  const std::wstring_view name = WindowsGetStringRawBuffer(class_id, nullptr);
  if (name == L"Windows.Graphics.Capture.GraphicsCaptureItem") {
    return standin::Make<ItemFactory>()->QueryInterface(iid, result);
  }
  if (name == L"Windows.Graphics.Capture.Direct3D11CaptureFramePool") {
    return standin::Make<PoolFactory>()->QueryInterface(iid, result);
  }
  return system_activation(class_id, iid, result);
}

}  // namespace

Frame::Frame(Ref<ID3D11Texture2D> texture)
    : RuntimeObject(L"Windows.Graphics.Capture.Direct3D11CaptureFrame"),
      texture_(texture),
      surface_(standin::Make<standin::CaptureSurface>(texture).Get()) {}

HRESULT Frame::get_Surface(IDirect3DSurface** value) {
  *value = Ref<IDirect3DSurface>(surface_).Detach();
  return S_OK;
}

HRESULT Frame::get_SystemRelativeTime(TimeSpan* value) {
  *value = {};
  return S_OK;
}

HRESULT Frame::get_ContentSize(SizeInt32* value) {
  *value = content_size_;
  return S_OK;
}

FramePool::FramePool() : RuntimeObject(L"Windows.Graphics.Capture.Direct3D11CaptureFramePool") {}

HRESULT FramePool::Fill(IDirect3DDevice* device, INT32 number_of_buffers, SizeInt32 size) {
  const auto access = standin::Query<IDirect3DDxgiInterfaceAccess>(device);
  if (!access) return E_INVALIDARG;
  Ref<ID3D11Device> d3d_device;
  const HRESULT found =
      access->GetInterface(__uuidof(ID3D11Device), reinterpret_cast<void**>(d3d_device.Put()));
  if (FAILED(found)) return found;

  const CD3D11_TEXTURE2D_DESC desc(DXGI_FORMAT_B8G8R8A8_UNORM, size.Width, size.Height, 1, 1,
                                   D3D11_BIND_SHADER_RESOURCE | D3D11_BIND_RENDER_TARGET);
  frames_.clear();
  for (INT32 i = 0; i < number_of_buffers; ++i) {
    Ref<ID3D11Texture2D> texture;
    const HRESULT made = d3d_device->CreateTexture2D(&desc, nullptr, texture.Put());
    if (FAILED(made)) return made;
    frames_.push_back(standin::Make<Frame>(std::move(texture)));
  }
  return S_OK;
}

void FramePool::SetNext(size_t index, SizeInt32 content_size) {
  next_ = index;
  frames_[index]->set_content_size(content_size);
}

void FramePool::OnFrame() {
  const HRESULT handled =
      handler_->Invoke(static_cast<IDirect3D11CaptureFramePool*>(this), nullptr);
  Check(SUCCEEDED(handled), "the session's frame handler failed");
}

HRESULT FramePool::Recreate(IDirect3DDevice* device, DirectXPixelFormat, INT32 number_of_buffers,
                            SizeInt32 size) {
  return Fill(device, number_of_buffers, size);
}

HRESULT FramePool::TryGetNextFrame(IDirect3D11CaptureFrame** result) {
  *result = Ref<Frame>(frames_[next_]).Detach();
  return S_OK;
}

HRESULT FramePool::add_FrameArrived(Handler* handler, EventRegistrationToken* token) {
  handler_ = Ref<Handler>(handler);
  token->value = 1;
  return S_OK;
}

HRESULT FramePool::remove_FrameArrived(EventRegistrationToken) {
  handler_ = {};
  return S_OK;
}

HRESULT FramePool::CreateCaptureSession(IGraphicsCaptureItem*, IGraphicsCaptureSession** result) {
  *result = standin::Make<CaptureSession>().Detach();
  return S_OK;
}

HRESULT FramePool::get_DispatcherQueue(::IInspectable** value) {
  *value = nullptr;
  return E_NOTIMPL;
}

HRESULT FramePool::Close() {
  handler_ = {};
  frames_.clear();
  return S_OK;
}

void ServeCapture(HMODULE module) {
  system_activation = reinterpret_cast<ActivationFunction>(ReplaceImport(
      module, "RoGetActivationFactory", reinterpret_cast<void*>(&GetActivationFactory)));
  Check(system_activation != nullptr, "the DLL does not import RoGetActivationFactory");
}

void SetItemSize(SizeInt32 size) {
  item_size = size;
}

FramePool* LastPool() {
  return last_pool;
}

}  // namespace bench
