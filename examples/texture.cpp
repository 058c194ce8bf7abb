// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// texture TITLE FILE.pgm
// Saves the luma (the first plane of an NV12 picture) of the window titled TITLE: takes a frame as
// a texture and draws from it with a shader, on the device that captured it.
#include <d3d11.h>
#include <d3dcompiler.h>
#include <libquill_wgc.h>
#include <wrl/client.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

using Error = std::runtime_error;
using Microsoft::WRL::ComPtr;

// Three vertices whose triangle covers the whole target, and BT.709 luma from 16 to 235.
constexpr char kShaders[] = R"(
float4 Cover(uint i : SV_VertexID) : SV_Position {
  return float4((i >> 1) * 4.0 - 1.0, (i & 1) * 4.0 - 1.0, 0.0, 1.0);
}
Texture2D<float4> frame : register(t0);
float Luma(float4 position : SV_Position) : SV_Target {
  float3 rgb = frame.Load(int3(position.xy, 0)).rgb;
  return (16.0 + 219.0 * dot(rgb, float3(0.2126, 0.7152, 0.0722))) / 255.0;
})";

static std::string last_error = "no reason given";

static void Check(HRESULT result, const char* what) {
  if (FAILED(result)) throw Error(std::string("Direct3D failed: ") + what);
}

static std::string Compile(const char* entry, const char* profile) {
  ComPtr<ID3DBlob> code;
  Check(D3DCompile(kShaders, sizeof kShaders - 1, nullptr, nullptr, nullptr, entry, profile, 0, 0,
                   &code, nullptr),
        entry);
  return {static_cast<const char*>(code->GetBufferPointer()), code->GetBufferSize()};
}

// A host that runs on keeps all that is made here until the frames' size changes.
static void SaveLuma(ID3D11Device* device, ID3D11Texture2D* frame, UINT w, UINT h,
                     const wchar_t* path) {
  CD3D11_TEXTURE2D_DESC input_desc(DXGI_FORMAT_B8G8R8A8_UNORM, w, h, 1, 1);
  CD3D11_TEXTURE2D_DESC luma_desc(DXGI_FORMAT_R8_UNORM, w, h, 1, 1, D3D11_BIND_RENDER_TARGET);
  CD3D11_TEXTURE2D_DESC result_desc(DXGI_FORMAT_R8_UNORM, w, h, 1, 1, 0, D3D11_USAGE_STAGING,
                                    D3D11_CPU_ACCESS_READ);
  ComPtr<ID3D11Texture2D> input, luma, result;
  Check(device->CreateTexture2D(&input_desc, nullptr, &input), "CreateTexture2D");
  Check(device->CreateTexture2D(&luma_desc, nullptr, &luma), "CreateTexture2D");
  Check(device->CreateTexture2D(&result_desc, nullptr, &result), "CreateTexture2D");
  ComPtr<ID3D11ShaderResourceView> source;
  ComPtr<ID3D11RenderTargetView> target;
  Check(device->CreateShaderResourceView(input.Get(), nullptr, &source), "the input's view");
  Check(device->CreateRenderTargetView(luma.Get(), nullptr, &target), "the luma's view");
  const std::string cover = Compile("Cover", "vs_4_0"), to_luma = Compile("Luma", "ps_4_0");
  ComPtr<ID3D11VertexShader> vs;
  ComPtr<ID3D11PixelShader> ps;
  Check(device->CreateVertexShader(cover.data(), cover.size(), nullptr, &vs), "Cover");
  Check(device->CreatePixelShader(to_luma.data(), to_luma.size(), nullptr, &ps), "Luma");

  const D3D11_VIEWPORT whole{0, 0, float(w), float(h), 0, 1};
  ComPtr<ID3D11DeviceContext> context;
  device->GetImmediateContext(&context);
  context->CopyResource(input.Get(), frame);  // shaders cannot read the frame itself
  context->IASetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY_TRIANGLELIST);
  context->VSSetShader(vs.Get(), nullptr, 0);
  context->RSSetViewports(1, &whole);
  context->PSSetShader(ps.Get(), nullptr, 0);
  context->PSSetShaderResources(0, 1, source.GetAddressOf());
  context->OMSetRenderTargets(1, target.GetAddressOf(), nullptr);
  context->Draw(3, 0);
  context->ClearState();  // the library uses this context too
  context->CopyResource(result.Get(), luma.Get());

  D3D11_MAPPED_SUBRESOURCE rows;
  Check(context->Map(result.Get(), 0, D3D11_MAP_READ, 0, &rows), "Map");
  std::ofstream file(std::filesystem::path(path), std::ios::binary);
  file << "P5\n" << w << ' ' << h << "\n255\n";
  for (size_t y = 0; y < h; ++y) file.write(static_cast<char*>(rows.pData) + y * rows.RowPitch, w);
  context->Unmap(result.Get(), 0);
  if (!file.flush()) throw Error("the file could not be written");
}

int wmain(int argc, wchar_t** argv) try {
  if (argc != 3) throw Error("usage: texture TITLE FILE.pgm");
  const HWND window = FindWindowW(nullptr, argv[1]);
  if (window == nullptr) throw Error("no window has that title");
  if (!is_wgc_session_supported()) throw Error("capture needs Windows 10 version 1903");
  wgc_register_logger([](int level, const char* text, size_t) {
    if (level == WGC_LOG_ERROR) last_error = text;
  });
  const std::unique_ptr<void, decltype(&wgc_session_destroy)> session(wgc_session_create(window),
                                                                      wgc_session_destroy);
  if (!session) throw Error("memory is short");
  wgc_set_capture_to_texture(session.get(), true);
  if (!wgc_session_start(session.get())) throw Error("capture could not start: " + last_error);
  ComPtr<ID3D11Texture2D> frame;
  for (int i = 0; i < 500; ++i, Sleep(10)) {
    uint32_t width, height;
    bool cursor;
    // A reference comes with each texture; the smart pointer gives it back.
    void** address = reinterpret_cast<void**>(frame.ReleaseAndGetAddressOf());
    if (wgc_get_recent_frame(session.get(), address, nullptr, &width, &height, &cursor)) {
      SaveLuma(wgc_get_device(session.get()), frame.Get(), width, height, argv[2]);
      return 0;
    }
  }
  throw Error("no frame came: the window is minimised or was closed");
} catch (const std::exception& error) {
  std::fprintf(stderr, "texture: %s\n", error.what());
  return 1;
}
