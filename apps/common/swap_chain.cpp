// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "common/swap_chain.h"

namespace quill_apps {

Microsoft::WRL::ComPtr<IDXGISwapChain1> MakeSwapChain(ID3D11Device* device, HWND window,
                                                      const FrameSize& size,
                                                      const ResultCheck& check) {
  Microsoft::WRL::ComPtr<IDXGIDevice1> dxgi_device;
  check(device->QueryInterface(IID_PPV_ARGS(&dxgi_device)), "QueryInterface");
  // A picture that waits behind others would be late by as many refreshes.
  dxgi_device->SetMaximumFrameLatency(1);
  Microsoft::WRL::ComPtr<IDXGIAdapter> adapter;
  check(dxgi_device->GetAdapter(&adapter), "GetAdapter");
  Microsoft::WRL::ComPtr<IDXGIFactory2> factory;
  check(adapter->GetParent(IID_PPV_ARGS(&factory)), "GetParent");

  DXGI_SWAP_CHAIN_DESC1 description{};
  description.Width = size.width;
  description.Height = size.height;
  description.Format = kSwapChainFormat;
  description.SampleDesc.Count = 1;
  description.BufferUsage = DXGI_USAGE_RENDER_TARGET_OUTPUT;
  description.BufferCount = kSwapChainBuffers;
  description.Scaling = DXGI_SCALING_NONE;
  description.SwapEffect = DXGI_SWAP_EFFECT_FLIP_DISCARD;
  Microsoft::WRL::ComPtr<IDXGISwapChain1> swap_chain;
  check(
      factory->CreateSwapChainForHwnd(device, window, &description, nullptr, nullptr, &swap_chain),
      "CreateSwapChainForHwnd");
  return swap_chain;
}

}  // namespace quill_apps
