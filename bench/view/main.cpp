// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// view_bench: what quill-view's drawing of a frame takes beside the least that shows the frame at
// all: a copy into the back buffer, and Present. Each time runs until the GPU is done.

#include <windows.h>

#include <d3d11.h>
#include <wrl/client.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <functional>
#include <vector>

#include "common/error.h"
#include "common/swap_chain.h"
#include "quill-view/layout.h"
#include "quill-view/screen.h"

namespace {

using namespace quill_apps;
using Microsoft::WRL::ComPtr;

constexpr ResultCheck kCheck{ExitCode::kUnsupported, "the bench cannot draw", ""};
constexpr int kFrames = 60;  // of each kind

HWND MakeWindow(const FrameSize& size) {
  const HWND window =
      CreateWindowExW(WS_EX_NOACTIVATE, L"STATIC", L"view_bench", WS_POPUP | WS_VISIBLE, 0, 0,
                      static_cast<int>(size.width), static_cast<int>(size.height), nullptr, nullptr,
                      nullptr, nullptr);
  kCheck(window != nullptr ? S_OK : E_FAIL, "CreateWindowEx");
  return window;
}

ComPtr<ID3D11Texture2D> MakeFrame(ID3D11Device* device, const FrameSize& size) {
  std::vector<uint32_t> pixels(size_t{size.width} * size.height);
  for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<uint32_t>(i * 0x9E3779);
  const D3D11_SUBRESOURCE_DATA data{pixels.data(), size.width * 4, 0};
  // As the library's output texture.
  const CD3D11_TEXTURE2D_DESC description(DXGI_FORMAT_B8G8R8A8_UNORM, size.width, size.height, 1, 1,
                                          D3D11_BIND_RENDER_TARGET);
  ComPtr<ID3D11Texture2D> frame;
  kCheck(device->CreateTexture2D(&description, &data, &frame), "CreateTexture2D");
  return frame;
}

// Waits until the GPU has done all that it was given.
void Finish(ID3D11Device* device, ID3D11DeviceContext* context) {
  const CD3D11_QUERY_DESC description(D3D11_QUERY_EVENT);
  ComPtr<ID3D11Query> query;
  kCheck(device->CreateQuery(&description, &query), "CreateQuery");
  context->End(query.Get());
  BOOL is_done = FALSE;
  while (context->GetData(query.Get(), &is_done, sizeof is_done, 0) != S_OK) Sleep(0);
}

double Milliseconds(const std::function<void()>& function) {
  const auto begin = std::chrono::steady_clock::now();
  function();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin)
      .count();
}

// What other programs take from the machine only makes times longer.
double Least(const std::vector<double>& values) {
  return *std::min_element(values.begin(), values.end());
}

// In turns, so that a load of the machine hits all of them.
void Measure(ID3D11Device* device, ID3D11DeviceContext* context, const FrameSize& size) {
  const HWND bare_window = MakeWindow(size);
  const HWND view_window = MakeWindow(size);
  {
    const ComPtr<ID3D11Texture2D> frame = MakeFrame(device, size);
    const ComPtr<IDXGISwapChain1> swap_chain = MakeSwapChain(device, bare_window, size, kCheck);
    Screen screen(device, view_window);
    Layer picture(device);
    const auto show_bare = [&] {
      ComPtr<ID3D11Texture2D> back_buffer;
      kCheck(swap_chain->GetBuffer(0, IID_PPV_ARGS(&back_buffer)), "GetBuffer");
      context->CopyResource(back_buffer.Get(), frame.Get());
      kCheck(swap_chain->Present(1, 0), "Present");
      Finish(device, context);
    };
    const auto show_view = [&](const FrameSize& picture_size) {
      picture.Set(frame.Get());
      const Layout layout = LayOut(size, picture_size, false);
      screen.Begin(size, layout.picture_size == size);
      screen.Draw(picture, layout.picture);
      screen.Present();
      Finish(device, context);
    };
    std::vector<double> bare, exact, scaled;
    for (int i = 0; i < kFrames; ++i) {
      bare.push_back(Milliseconds(show_bare));
      exact.push_back(Milliseconds([&] { show_view(size); }));
      scaled.push_back(Milliseconds([&] { show_view({size.width, size.height * 2}); }));
    }
    std::printf("| %u × %u | %.2f | %.2f | %.2f | %.2f |\n", size.width, size.height, Least(bare),
                Least(exact), Least(scaled), Least(exact) / Least(bare));
  }
  DestroyWindow(view_window);
  DestroyWindow(bare_window);
}

}  // namespace

int main() {
  try {
    ComPtr<ID3D11Device> device;
    ComPtr<ID3D11DeviceContext> context;
    kCheck(D3D11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr,
                             D3D11_CREATE_DEVICE_BGRA_SUPPORT, nullptr, 0, D3D11_SDK_VERSION,
                             &device, nullptr, &context),
           "D3D11CreateDevice");
    std::printf(
        "| frame | copy and Present, ms | quill-view, ms | scaled to half, ms | quill-view / copy "
        "|\n|---|---:|---:|---:|---:|\n");
    for (const FrameSize size :
         {FrameSize{640, 480}, FrameSize{1280, 720}, FrameSize{1920, 1080}}) {
      Measure(device.Get(), context.Get(), size);
    }
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "view_bench: %s\n", error.what());
    return 1;
  }
}
