// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "support/pattern_window.h"

#include <utility>

namespace {

constexpr wchar_t kClassName[] = L"QuillPatternWindow";
constexpr UINT kShowPicture = WM_APP + 1;  // lparam: a Picture*, moved from
constexpr UINT kShowState = WM_APP + 2;    // wparam: an SW_ constant

}  // namespace

uint32_t PatternPixel(int x, int y, uint32_t seed) {
  // An odd multiplier makes this a permutation of the 24-bit colours within a picture's rows.
  const uint32_t colour = (static_cast<uint32_t>(y) * 4099 + x + seed * 77003 + 1) * 0x9E3779;
  return 0xFF000000 | (colour & 0xFFFFFF);
}

Picture MakePattern(int width, int height, uint32_t seed) {
  Picture picture{width, height, std::vector<uint32_t>(static_cast<size_t>(width) * height)};
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) picture.at(x, y) = PatternPixel(x, y, seed);
  }
  return picture;
}

PatternWindow::PatternWindow(Picture picture, int left, int top) : picture_(std::move(picture)) {
  std::promise<HWND> created;
  thread_ = std::thread([&] { Run(left, top, &created); });
  window_ = created.get_future().get();
}

PatternWindow::~PatternWindow() {
  Destroy();
  thread_.join();
}

void PatternWindow::Show(Picture picture) {
  SendMessageW(window_, kShowPicture, 0, reinterpret_cast<LPARAM>(&picture));
}

void PatternWindow::Minimize() {
  SendMessageW(window_, kShowState, SW_MINIMIZE, 0);
}

void PatternWindow::Restore() {
  SendMessageW(window_, kShowState, SW_RESTORE, 0);
}

void PatternWindow::Hide() {
  SendMessageW(window_, kShowState, SW_HIDE, 0);
}

void PatternWindow::Unhide() {
  SendMessageW(window_, kShowState, SW_SHOWNA, 0);
}

// WM_CLOSE destroys the window; a window that is gone already takes no message.
void PatternWindow::Destroy() {
  SendMessageW(window_, WM_CLOSE, 0, 0);
}

void PatternWindow::Run(int left, int top, std::promise<HWND>* created) {
  WNDCLASSW window_class{};
  window_class.lpfnWndProc = WindowProcedure;
  window_class.hInstance = GetModuleHandleW(nullptr);
  window_class.hCursor = LoadCursor(nullptr, IDC_ARROW);
  window_class.lpszClassName = kClassName;
  RegisterClassW(&window_class);  // fails harmlessly after the first window

  HWND window = CreateWindowExW(WS_EX_TOPMOST, kClassName, L"Quill pattern", WS_POPUP, left, top,
                                picture_.width, picture_.height, nullptr, nullptr,
                                window_class.hInstance, nullptr);
  SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  ShowWindow(window, SW_SHOWNA);
  UpdateWindow(window);
  created->set_value(window);

  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) {
    DispatchMessageW(&message);
  }
}

LRESULT CALLBACK PatternWindow::WindowProcedure(HWND window, UINT message, WPARAM wparam,
                                                LPARAM lparam) {
  auto* self = reinterpret_cast<PatternWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  switch (message) {
    case kShowPicture:
      self->picture_ = std::move(*reinterpret_cast<Picture*>(lparam));
      SetWindowPos(window, nullptr, 0, 0, self->picture_.width, self->picture_.height,
                   SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
      InvalidateRect(window, nullptr, FALSE);
      UpdateWindow(window);
      GdiFlush();
      return 0;
    case kShowState:
      ShowWindow(window, static_cast<int>(wparam));
      UpdateWindow(window);
      return 0;
    case WM_PAINT:
      if (self != nullptr) self->Paint(window);
      return 0;
    case WM_DESTROY:
      PostQuitMessage(0);
      return 0;
    default:
      return DefWindowProcW(window, message, wparam, lparam);
  }
}

void PatternWindow::Paint(HWND window) const {
  PAINTSTRUCT paint;
  HDC dc = BeginPaint(window, &paint);
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof(info.bmiHeader);
  info.bmiHeader.biWidth = picture_.width;
  info.bmiHeader.biHeight = -picture_.height;  // rows from top to bottom
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  SetDIBitsToDevice(dc, 0, 0, picture_.width, picture_.height, 0, 0, 0, picture_.height,
                    picture_.pixels.data(), &info, DIB_RGB_COLORS);
  EndPaint(window, &paint);
  GdiFlush();
}
