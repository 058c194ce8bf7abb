// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <d3d11.h>
#include <windows.foundation.h>
#include <windows.graphics.directx.direct3d11.h>
#include <windows.graphics.directx.direct3d11.interop.h>

#include "common/object.h"

namespace standin {
namespace {

using ABI::Windows::Graphics::DirectX::Direct3D11::IDirect3DDevice;
using Windows::Graphics::DirectX::Direct3D11::IDirect3DDxgiInterfaceAccess;

// The Windows Runtime's view of a Direct3D device.
class Direct3DDevice : public RuntimeObject<IDirect3DDevice, IDirect3DDxgiInterfaceAccess> {
 public:
  explicit Direct3DDevice(IDXGIDevice* device)
      : RuntimeObject(L"Windows.Graphics.DirectX.Direct3D11.Direct3DDevice"), device_(device) {}

  // A hint to drop caches; software rendering has none to drop.
  HRESULT STDMETHODCALLTYPE Trim() override { return S_OK; }

  HRESULT STDMETHODCALLTYPE GetInterface(REFIID iid, void** result) override {
    return device_->QueryInterface(iid, result);
  }

 private:
  const Ref<IDXGIDevice> device_;
};

}  // namespace
}  // namespace standin

STDAPI CreateDirect3D11DeviceFromDXGIDevice(IDXGIDevice* dxgiDevice,
                                            IInspectable** graphicsDevice) {
  if (!graphicsDevice) return E_POINTER;
  *graphicsDevice = nullptr;
  if (!dxgiDevice) return E_INVALIDARG;
  *graphicsDevice = standin::Make<standin::Direct3DDevice>(dxgiDevice).Detach();
  return S_OK;
}
