// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <windows.h>

#include <activation.h>
#include <d3d11.h>
#include <dxgi.h>
#include <oaidl.h>
#include <restrictederrorinfo.h>
#include <weakreference.h>
#include <windows.foundation.h>
#include <windows.foundation.metadata.h>
#include <windows.graphics.capture.h>
#include <windows.graphics.capture.interop.h>
#include <windows.graphics.directx.direct3d11.h>
#include <windows.graphics.directx.direct3d11.interop.h>

#include "native/platform/calls.h"

namespace fake {
namespace {

namespace capture_abi = ABI::Windows::Graphics::Capture;
namespace direct3d_abi = ABI::Windows::Graphics::DirectX::Direct3D11;

struct Entry {
  const GUID& id;
  const char* name;
};

const Entry entries[] = {
    {__uuidof(::IUnknown), "IUnknown"},
    {__uuidof(::IInspectable), "IInspectable"},
    {__uuidof(IAgileObject), "IAgileObject"},
    {__uuidof(IActivationFactory), "IActivationFactory"},
    {__uuidof(IErrorInfo), "IErrorInfo"},
    {__uuidof(IRestrictedErrorInfo), "IRestrictedErrorInfo"},
    {__uuidof(IWeakReferenceSource), "IWeakReferenceSource"},
    {__uuidof(IDXGIFactory1), "IDXGIFactory1"},
    {__uuidof(IDXGIDevice), "IDXGIDevice"},
    {__uuidof(ID3D11Texture2D), "ID3D11Texture2D"},
    {__uuidof(IGraphicsCaptureItemInterop), "IGraphicsCaptureItemInterop"},
    {__uuidof(capture_abi::IGraphicsCaptureItem), "IGraphicsCaptureItem"},
    {__uuidof(capture_abi::IGraphicsCaptureSession2), "IGraphicsCaptureSession2"},
    {__uuidof(capture_abi::IGraphicsCaptureSession3), "IGraphicsCaptureSession3"},
    {__uuidof(capture_abi::IDirect3D11CaptureFramePool), "IDirect3D11CaptureFramePool"},
    {__uuidof(capture_abi::IDirect3D11CaptureFramePoolStatics),
     "IDirect3D11CaptureFramePoolStatics"},
    {__uuidof(direct3d_abi::IDirect3DDevice), "IDirect3DDevice"},
    {__uuidof(::Windows::Graphics::DirectX::Direct3D11::IDirect3DDxgiInterfaceAccess),
     "IDirect3DDxgiInterfaceAccess"},
    {__uuidof(ABI::Windows::Foundation::IClosable), "IClosable"},
    {__uuidof(ABI::Windows::Foundation::Metadata::IApiInformationStatics),
     "IApiInformationStatics"},
};

}  // namespace

std::string InterfaceName(REFIID id) {
  for (const Entry& entry : entries) {
    if (entry.id == id) return entry.name;
  }
  std::ostringstream text;
  text << std::hex << id.Data1 << "-...";
  return text.str();
}

}  // namespace fake
