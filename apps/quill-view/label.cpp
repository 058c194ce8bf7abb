// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-view/label.h"

#include <algorithm>

#include "common/text.h"

namespace quill_apps {

namespace {

constexpr uint32_t kBackgroundAlpha = 176;
constexpr int kMarginDpi96 = 6;

// A bitmap to draw on with GDI: white on black.
class Canvas {
 public:
  explicit Canvas(UINT dpi) : dc_(CreateCompatibleDC(nullptr)) {
    NONCLIENTMETRICSW metrics{};
    metrics.cbSize = sizeof metrics;
    SystemParametersInfoForDpi(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0, dpi);
    // Smoothing by colours would be wrong on another background than black.
    metrics.lfMessageFont.lfQuality = ANTIALIASED_QUALITY;
    font_ = CreateFontIndirectW(&metrics.lfMessageFont);
    previous_font_ = SelectObject(dc_, font_);
    SetTextColor(dc_, RGB(255, 255, 255));
    SetBkMode(dc_, TRANSPARENT);
  }
  ~Canvas() {
    SelectObject(dc_, previous_font_);
    DeleteObject(font_);
    if (bitmap_ != nullptr) {
      SelectObject(dc_, previous_bitmap_);
      DeleteObject(bitmap_);
    }
    DeleteDC(dc_);
  }
  Canvas(const Canvas&) = delete;
  Canvas& operator=(const Canvas&) = delete;

  HDC dc() const { return dc_; }

  // Its pixels, black at first, rows from top to bottom; null when there is no memory.
  const uint32_t* MakeBitmap(int width, int height) {
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    void* pixels = nullptr;
    bitmap_ = CreateDIBSection(dc_, &info, DIB_RGB_COLORS, &pixels, nullptr, 0);
    if (bitmap_ != nullptr) previous_bitmap_ = SelectObject(dc_, bitmap_);
    return static_cast<const uint32_t*>(pixels);
  }

 private:
  HDC dc_;
  HFONT font_;
  HGDIOBJ previous_font_;
  HBITMAP bitmap_ = nullptr;
  HGDIOBJ previous_bitmap_ = nullptr;
};

}  // namespace

Bitmap DrawLabel(const std::string& text, UINT dpi, uint32_t most_width) {
  UINT format = DT_LEFT | DT_NOPREFIX | DT_EXPANDTABS;
  std::wstring wide = ToWide(text);
  const int length = static_cast<int>(wide.size());
  const int margin = MulDiv(kMarginDpi96, static_cast<int>(dpi), 96);
  Canvas canvas(dpi);
  const int most_text = std::max(static_cast<int>(most_width) - 2 * margin, 1);
  RECT area{};
  DrawTextW(canvas.dc(), wide.data(), length, &area, format | DT_CALCRECT);
  if (area.right > most_text) {
    format |= DT_WORDBREAK;
    area = {0, 0, most_text, 0};
    DrawTextW(canvas.dc(), wide.data(), length, &area, format | DT_CALCRECT);
    area.right = std::min<LONG>(area.right, most_text);
  }
  const int width = area.right + 2 * margin;
  const int height = area.bottom + 2 * margin;
  const uint32_t* const drawn = canvas.MakeBitmap(width, height);
  if (drawn == nullptr) return Bitmap({1, 1});
  OffsetRect(&area, margin, margin);
  DrawTextW(canvas.dc(), wide.data(), length, &area, format);
  GdiFlush();
  Bitmap label({static_cast<uint32_t>(width), static_cast<uint32_t>(height)});
  std::transform(drawn, drawn + label.pixels.size(), label.pixels.begin(), [](uint32_t pixel) {
    const uint32_t coverage = pixel & 0xFF;
    return std::max(coverage, kBackgroundAlpha) << 24 | coverage << 16 | coverage << 8 | coverage;
  });
  return label;
}

}  // namespace quill_apps
