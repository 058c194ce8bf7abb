// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-check/scene/painter.h"

#include <d3d11.h>
#include <wrl/client.h>

#include <vector>

#include "common/error.h"
#include "common/swap_chain.h"
#include "quill-check/scene/pattern.h"

namespace quill_apps {
namespace {

using Microsoft::WRL::ComPtr;

constexpr ResultCheck kCheck{ExitCode::kUnsupported, "the test window could not be drawn", ""};

// Under Wine, too, the picture of such a swap chain is part of the window and is captured. There
// Present does not wait for the display. Unless WINE_D3D_CONFIG is csmt=0, it also returns before
// the picture is shown, and the first picture of a window may never be.
class SwapChainPainter : public Painter {
 public:
  SwapChainPainter(HWND window, FrameSize size) : size_(size) {
    ComPtr<ID3D11Device> device = MakeDevice();
    device->GetImmediateContext(&context_);
    swap_chain_ = MakeSwapChain(device.Get(), window, size, kCheck);
  }

  void Resize(FrameSize size) override {
    size_ = size;
    kCheck(
        swap_chain_->ResizeBuffers(kSwapChainBuffers, size.width, size.height, kSwapChainFormat, 0),
        "ResizeBuffers");
  }

  void Draw(uint32_t counter) override {
    const size_t row_pitch = size_.width * kPixelBytes;
    pixels_.resize(row_pitch * size_.height);
    DrawPattern(pixels_.data(), size_, row_pitch, counter);
    FillBackBuffer();
  }

  void Edit(const PictureEdit& edit) override {
    edit(pixels_.data(), size_);
    FillBackBuffer();
  }

  // What a back buffer holds after Present is undefined, so it is filled anew for the next time.
  void Show(bool with_refresh) override {
    kCheck(swap_chain_->Present(with_refresh ? 1 : 0, 0), "Present");
  }

 private:
  static ComPtr<ID3D11Device> MakeDevice() {
    ComPtr<ID3D11Device> device;
    HRESULT result = E_FAIL;
    for (const D3D_DRIVER_TYPE type : {D3D_DRIVER_TYPE_HARDWARE, D3D_DRIVER_TYPE_WARP}) {
      result = D3D11CreateDevice(nullptr, type, nullptr, D3D11_CREATE_DEVICE_BGRA_SUPPORT, nullptr,
                                 0, D3D11_SDK_VERSION, &device, nullptr, nullptr);
      if (SUCCEEDED(result)) break;
    }
    kCheck(result, "D3D11CreateDevice");
    return device;
  }

  void FillBackBuffer() {
    ComPtr<ID3D11Texture2D> back_buffer;
    kCheck(swap_chain_->GetBuffer(0, IID_PPV_ARGS(&back_buffer)), "GetBuffer");
    context_->UpdateSubresource(back_buffer.Get(), 0, nullptr, pixels_.data(),
                                size_.width * static_cast<UINT>(kPixelBytes), 0);
  }

  FrameSize size_;
  std::vector<uint8_t> pixels_;
  ComPtr<ID3D11DeviceContext> context_;
  ComPtr<IDXGISwapChain1> swap_chain_;
};

class GdiPainter : public Painter {
 public:
  GdiPainter(HWND window, FrameSize size) : window_(window) {
    memory_ = CreateCompatibleDC(nullptr);
    MakeBitmap(size);
  }
  ~GdiPainter() override {
    DropBitmap();
    DeleteDC(memory_);
  }

  void Resize(FrameSize size) override {
    DropBitmap();
    MakeBitmap(size);
  }

  void Draw(uint32_t counter) override {
    GdiFlush();
    DrawPattern(pixels_, size_, size_.width * kPixelBytes, counter);
  }

  void Edit(const PictureEdit& edit) override {
    GdiFlush();
    edit(pixels_, size_);
  }

  // GDI cannot wait for the display.
  void Show(bool) override {
    const HDC dc = GetDC(window_);
    const bool is_copied = BitBlt(dc, 0, 0, static_cast<int>(size_.width),
                                  static_cast<int>(size_.height), memory_, 0, 0, SRCCOPY) != 0;
    ReleaseDC(window_, dc);
    kCheck(is_copied ? S_OK : E_FAIL, "BitBlt");
    GdiFlush();
  }

 private:
  void MakeBitmap(FrameSize size) {
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = static_cast<LONG>(size.width);
    info.bmiHeader.biHeight = -static_cast<LONG>(size.height);  // rows from top to bottom
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    void* pixels = nullptr;
    bitmap_ = CreateDIBSection(memory_, &info, DIB_RGB_COLORS, &pixels, nullptr, 0);
    kCheck(bitmap_ != nullptr ? S_OK : E_FAIL, "CreateDIBSection");
    pixels_ = static_cast<uint8_t*>(pixels);
    size_ = size;
    previous_ = SelectObject(memory_, bitmap_);
  }

  void DropBitmap() {
    if (bitmap_ == nullptr) return;
    SelectObject(memory_, previous_);
    DeleteObject(bitmap_);
    bitmap_ = nullptr;
  }

  HWND window_;
  FrameSize size_{};
  HDC memory_;
  HBITMAP bitmap_ = nullptr;
  HGDIOBJ previous_ = nullptr;
  uint8_t* pixels_ = nullptr;
};

}  // namespace

std::unique_ptr<Painter> MakePainter(Drawing drawing, HWND window, FrameSize size) {
  if (drawing == Drawing::kGdi) return std::make_unique<GdiPainter>(window, size);
  return std::make_unique<SwapChainPainter>(window, size);
}

}  // namespace quill_apps
