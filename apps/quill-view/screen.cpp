// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-view/screen.h"

#include "common/error.h"
#include "common/swap_chain.h"
#include "quill-view/shaders/LayerShaders.h"

namespace quill_apps {

namespace {

using Microsoft::WRL::ComPtr;

constexpr ResultCheck kCheck{ExitCode::kCaptureFailed, "the view could not be drawn",
                             "start it again"};

// The buffer b0 of LayerVS.
struct LayerConstants {
  float left, top, right, bottom;
};
static_assert(sizeof(LayerConstants) % 16 == 0);

}  // namespace

Layer::Layer(ID3D11Device* device) : device_(device) {
  device->GetImmediateContext(&context_);
}

void Layer::Set(ID3D11Texture2D* texture) {
  D3D11_TEXTURE2D_DESC description;
  texture->GetDesc(&description);
  source_ = texture;
  size_ = {description.Width, description.Height};
  own_is_current_ = false;
}

void Layer::Upload(const PixelView& view) {
  size_ = view.size();
  EnsureOwnTexture();
  context_->UpdateSubresource(own_.Get(), 0, nullptr, view.pixels,
                              static_cast<UINT>(view.row_pitch), 0);
  source_ = own_;
  own_is_current_ = true;
}

ID3D11ShaderResourceView* Layer::view() {
  if (!own_is_current_) {
    EnsureOwnTexture();
    context_->CopyResource(own_.Get(), source_.Get());
    own_is_current_ = true;
  }
  return view_.Get();
}

void Layer::EnsureOwnTexture() {
  if (own_size_ == size_) return;
  own_size_ = {};
  const CD3D11_TEXTURE2D_DESC description(kSwapChainFormat, size_.width, size_.height, 1, 1);
  kCheck(device_->CreateTexture2D(&description, nullptr, own_.ReleaseAndGetAddressOf()),
         "CreateTexture2D");
  kCheck(device_->CreateShaderResourceView(own_.Get(), nullptr, view_.ReleaseAndGetAddressOf()),
         "CreateShaderResourceView");
  own_size_ = size_;
}

Screen::Screen(ID3D11Device* device, HWND window)
    : client_{1, 1}, device_(device), swap_chain_(MakeSwapChain(device, window, client_, kCheck)) {
  device->GetImmediateContext(&context_);
  // Alt+Enter would change the mode of the display.
  ComPtr<IDXGIFactory> factory;
  kCheck(swap_chain_->GetParent(IID_PPV_ARGS(&factory)), "GetParent");
  kCheck(factory->MakeWindowAssociation(window, DXGI_MWA_NO_ALT_ENTER), "MakeWindowAssociation");
  MakePipeline(device);
}

// Until its device has let go of everything, the swap chain would keep the window from another one.
Screen::~Screen() {
  context_->ClearState();
  back_buffer_.Reset();
  swap_chain_.Reset();
  context_->Flush();
}

void Screen::MakePipeline(ID3D11Device* device) {
  kCheck(device->CreateVertexShader(szLayerVS, sizeof szLayerVS, nullptr, &vertex_shader_),
         "CreateVertexShader");
  kCheck(device->CreatePixelShader(szLayerPS, sizeof szLayerPS, nullptr, &pixel_shader_),
         "CreatePixelShader");
  const CD3D11_BUFFER_DESC constants(sizeof(LayerConstants), D3D11_BIND_CONSTANT_BUFFER);
  kCheck(device->CreateBuffer(&constants, nullptr, &constants_), "CreateBuffer");

  CD3D11_SAMPLER_DESC sampler(D3D11_DEFAULT);  // linear, clamped
  kCheck(device->CreateSamplerState(&sampler, &linear_), "CreateSamplerState");
  sampler.Filter = D3D11_FILTER_MIN_MAG_MIP_POINT;
  kCheck(device->CreateSamplerState(&sampler, &nearest_), "CreateSamplerState");

  CD3D11_BLEND_DESC blend(D3D11_DEFAULT);
  blend.RenderTarget[0].BlendEnable = TRUE;
  blend.RenderTarget[0].DestBlend = D3D11_BLEND_INV_SRC_ALPHA;
  kCheck(device->CreateBlendState(&blend, &blend_), "CreateBlendState");
}

// Sets all state, because the library may have used the context since the last time.
void Screen::Begin(const FrameSize& client, bool is_covered) {
  context_->ClearState();
  if (client != client_) {
    kCheck(swap_chain_->ResizeBuffers(kSwapChainBuffers, client.width, client.height,
                                      kSwapChainFormat, 0),
           "ResizeBuffers");
    client_ = client;
  }
  kCheck(swap_chain_->GetBuffer(0, IID_PPV_ARGS(back_buffer_.ReleaseAndGetAddressOf())),
         "GetBuffer");
  ComPtr<ID3D11RenderTargetView> target;
  kCheck(device_->CreateRenderTargetView(back_buffer_.Get(), nullptr, &target),
         "CreateRenderTargetView");
  if (!is_covered) {
    constexpr float kBlack[] = {0.0f, 0.0f, 0.0f, 1.0f};
    context_->ClearRenderTargetView(target.Get(), kBlack);
  }
  context_->OMSetRenderTargets(1, target.GetAddressOf(), nullptr);
  const D3D11_VIEWPORT viewport{
      0.0f, 0.0f, static_cast<float>(client.width), static_cast<float>(client.height), 0.0f, 1.0f};
  context_->RSSetViewports(1, &viewport);
  context_->IASetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY_TRIANGLESTRIP);
  context_->VSSetShader(vertex_shader_.Get(), nullptr, 0);
  context_->VSSetConstantBuffers(0, 1, constants_.GetAddressOf());
  context_->PSSetShader(pixel_shader_.Get(), nullptr, 0);
}

void Screen::Draw(Layer& layer, const Area& area) {
  const FrameSize size = layer.size();
  if (area.right - area.left == static_cast<float>(size.width) &&
      area.bottom - area.top == static_cast<float>(size.height)) {
    context_->CopySubresourceRegion(back_buffer_.Get(), 0, static_cast<UINT>(area.left),
                                    static_cast<UINT>(area.top), 0, layer.texture(), 0, nullptr);
  } else {
    DrawQuad(layer, area, linear_.Get(), nullptr);
  }
}

void Screen::Blend(Layer& layer, const Area& area) {
  DrawQuad(layer, area, nearest_.Get(), blend_.Get());
}

void Screen::DrawQuad(Layer& layer, const Area& area, ID3D11SamplerState* sampler,
                      ID3D11BlendState* blend) {
  const float x = 2.0f / static_cast<float>(client_.width);
  const float y = -2.0f / static_cast<float>(client_.height);
  const LayerConstants constants{area.left * x - 1.0f, area.top * y + 1.0f, area.right * x - 1.0f,
                                 area.bottom * y + 1.0f};
  context_->UpdateSubresource(constants_.Get(), 0, nullptr, &constants, 0, 0);
  ID3D11ShaderResourceView* const view = layer.view();
  context_->PSSetShaderResources(0, 1, &view);
  context_->PSSetSamplers(0, 1, &sampler);
  context_->OMSetBlendState(blend, nullptr, D3D11_DEFAULT_SAMPLE_MASK);
  context_->Draw(4, 0);
}

void Screen::Present() {
  // Back buffers that stay bound could not be resized.
  context_->OMSetRenderTargets(0, nullptr, nullptr);
  back_buffer_.Reset();
  kCheck(swap_chain_->Present(1, 0), "Present");
}

}  // namespace quill_apps
