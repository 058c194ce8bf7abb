// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <d3d11.h>
#include <dxgi1_2.h>
#include <wrl/client.h>

#include "common/pixels.h"
#include "quill-view/layout.h"

namespace quill_apps {

// A picture to draw. All of it throws ToolError and belongs on the thread that uses the device's
// immediate context.
class Layer {
 public:
  explicit Layer(ID3D11Device* device);

  // Takes a BGRA texture of the same device that need not be a shader resource. When its content
  // changes, call this again.
  void Set(ID3D11Texture2D* texture);
  void Upload(const PixelView& view);

  // 0 x 0 at first.
  const FrameSize& size() const { return size_; }
  ID3D11Texture2D* texture() const { return source_.Get(); }
  // Of a copy, if the texture that was set has none.
  ID3D11ShaderResourceView* view();

 private:
  // A texture of the layer's own that can be sampled.
  void EnsureOwnTexture();

  Microsoft::WRL::ComPtr<ID3D11Device> device_;
  Microsoft::WRL::ComPtr<ID3D11DeviceContext> context_;
  Microsoft::WRL::ComPtr<ID3D11Texture2D> source_;  // own_ or the texture that was set
  Microsoft::WRL::ComPtr<ID3D11Texture2D> own_;
  Microsoft::WRL::ComPtr<ID3D11ShaderResourceView> view_;  // of own_
  FrameSize size_{};
  FrameSize own_size_{};
  bool own_is_current_ = false;
};

// Draws layers into a window's client area, through a swap chain of the flip model. A window has
// one of them at a time. As for Layer.
class Screen {
 public:
  Screen(ID3D11Device* device, HWND window);
  // Leaves the window to the next one.
  ~Screen();
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  // Begins a picture of a client area of that size, which is not empty. is_covered: what is drawn
  // first covers all of it; otherwise it is black at first.
  void Begin(const FrameSize& client, bool is_covered);
  // Draws the layer over what is there: pixel by pixel into an area of its size, otherwise scaled.
  void Draw(Layer& layer, const Area& area);
  // Mixes the layer with what is there by the layer's alpha, by which its colours are multiplied.
  void Blend(Layer& layer, const Area& area);
  // Shows the picture. May wait for the display.
  void Present();

 private:
  void MakePipeline(ID3D11Device* device);
  void DrawQuad(Layer& layer, const Area& area, ID3D11SamplerState* sampler,
                ID3D11BlendState* blend);

  FrameSize client_;  // of the swap chain's buffers
  Microsoft::WRL::ComPtr<ID3D11Device> device_;
  Microsoft::WRL::ComPtr<ID3D11DeviceContext> context_;
  Microsoft::WRL::ComPtr<IDXGISwapChain1> swap_chain_;
  Microsoft::WRL::ComPtr<ID3D11Texture2D> back_buffer_;  // from Begin to Present
  Microsoft::WRL::ComPtr<ID3D11VertexShader> vertex_shader_;
  Microsoft::WRL::ComPtr<ID3D11PixelShader> pixel_shader_;
  Microsoft::WRL::ComPtr<ID3D11Buffer> constants_;
  Microsoft::WRL::ComPtr<ID3D11SamplerState> nearest_;
  Microsoft::WRL::ComPtr<ID3D11SamplerState> linear_;
  Microsoft::WRL::ComPtr<ID3D11BlendState> blend_;
};

}  // namespace quill_apps
