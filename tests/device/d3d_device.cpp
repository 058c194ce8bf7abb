// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "device/d3d_device.h"

D3dDevice CreateD3dDevice() {
  D3dDevice d3d;
  for (const D3D_DRIVER_TYPE type : {D3D_DRIVER_TYPE_HARDWARE, D3D_DRIVER_TYPE_WARP}) {
    const HRESULT result =
        D3D11CreateDevice(nullptr, type, nullptr, D3D11_CREATE_DEVICE_BGRA_SUPPORT, nullptr, 0,
                          D3D11_SDK_VERSION, d3d.device.put(), nullptr, d3d.context.put());
    if (SUCCEEDED(result)) return d3d;
  }
  return {};
}

winrt::com_ptr<ID3D11Texture2D> CreateFrame(const D3dDevice& d3d, const reference::Image& image,
                                            DXGI_FORMAT format) {
  const D3D11_TEXTURE2D_DESC desc = FrameDesc(image.width, image.height, format);
  D3D11_SUBRESOURCE_DATA pixels{};
  pixels.pSysMem = image.pixels.data();
  pixels.SysMemPitch = image.width * sizeof(uint32_t);
  winrt::com_ptr<ID3D11Texture2D> frame;
  if (FAILED(d3d.device->CreateTexture2D(&desc, &pixels, frame.put()))) return nullptr;
  return frame;
}

unsigned long ReferenceCount(IUnknown* object) {
  object->AddRef();
  return object->Release();
}
