// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "painted_window.h"

#include <gtest/gtest.h>

#include <vector>

namespace wine_test {
namespace {

constexpr UINT kRepaint = WM_APP;
constexpr UINT kResize = WM_APP + 1;
constexpr UINT kShow = WM_APP + 2;
constexpr UINT kDestroy = WM_APP + 3;
constexpr UINT kLimitMs = 5000;

void Send(HWND window, UINT message, WPARAM wparam = 0, LPARAM lparam = 0) {
  DWORD_PTR result = 0;
  EXPECT_NE(SendMessageTimeoutW(window, message, wparam, lparam, SMTO_NORMAL, kLimitMs, &result),
            0);
}

// Handles what other threads send; nothing that is posted.
void AnswerOthersFor(DWORD time_ms) {
  const ULONGLONG end = GetTickCount64() + time_ms;
  MSG message;
  for (; GetTickCount64() < end; Sleep(5)) {
    PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE);
  }
}

}  // namespace

UINT32 PaintedPixel(int picture, int x, int y) {
  const UINT32 red = (x * 3 + picture * 41) & 0xFF;
  const UINT32 green = (y * 5 + picture * 87) & 0xFF;
  const UINT32 blue = (x + y * 2 + picture * 23) & 0xFF;
  return 0xFF000000u | red << 16 | green << 8 | blue;
}

void ShowPicture(HWND window, int picture) {
  Send(window, kRepaint, picture);
}

PaintedWindow::PaintedWindow(const WindowOptions& options)
    : picture_(options.picture), cursor_(options.cursor) {
  const HANDLE ready = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  thread_ = std::thread(&PaintedWindow::Run, this, options, ready);
  EXPECT_EQ(WaitForSingleObject(ready, kLimitMs), WAIT_OBJECT_0);
  CloseHandle(ready);
}

PaintedWindow::~PaintedWindow() {
  Destroy();
  thread_.join();
}

void PaintedWindow::Resize(SIZE client) {
  Send(window_, kResize, client.cx, client.cy);
}

void PaintedWindow::SetState(int show_command, DWORD unpainted_ms) {
  Send(window_, kShow, show_command, unpainted_ms);
}

void PaintedWindow::Destroy() {
  if (IsWindow(window_)) Send(window_, kDestroy);
}

void PaintedWindow::Run(WindowOptions options, HANDLE ready) {
  WNDCLASSW window_class = {};
  window_class.lpfnWndProc = WindowProcedure;
  window_class.hInstance = GetModuleHandleW(nullptr);
  window_class.lpszClassName = kPaintedWindowClass;
  RegisterClassW(&window_class);
  RECT frame = {0, 0, options.client.cx, options.client.cy};
  AdjustWindowRectEx(&frame, options.style, FALSE, options.ex_style);
  window_ =
      CreateWindowExW(options.ex_style, kPaintedWindowClass, options.title.c_str(), options.style,
                      options.position.x, options.position.y, frame.right - frame.left,
                      frame.bottom - frame.top, nullptr, nullptr, window_class.hInstance, nullptr);
  SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  ShowWindow(window_, SW_SHOWNOACTIVATE);
  Paint();
  SetEvent(ready);
  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message);
}

void PaintedWindow::Paint() {
  RECT client;
  GetClientRect(window_, &client);
  if (client.right <= 0 || client.bottom <= 0) return;
  std::vector<UINT32> pixels(static_cast<size_t>(client.right) * client.bottom);
  for (int y = 0; y < client.bottom; ++y) {
    for (int x = 0; x < client.right; ++x) {
      pixels[static_cast<size_t>(y) * client.right + x] = PaintedPixel(picture_, x, y);
    }
  }
  BITMAPINFO info = {};
  info.bmiHeader.biSize = sizeof(info.bmiHeader);
  info.bmiHeader.biWidth = client.right;
  info.bmiHeader.biHeight = -client.bottom;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  const HDC dc = GetDC(window_);
  SetDIBitsToDevice(dc, 0, 0, client.right, client.bottom, 0, 0, 0, client.bottom, pixels.data(),
                    &info, DIB_RGB_COLORS);
  ReleaseDC(window_, dc);
  GdiFlush();
}

LRESULT CALLBACK PaintedWindow::WindowProcedure(HWND window, UINT message, WPARAM wparam,
                                                LPARAM lparam) {
  const auto self = reinterpret_cast<PaintedWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  switch (message) {
    case kRepaint:
      self->picture_ = static_cast<int>(wparam);
      self->Paint();
      return 0;
    case kResize: {
      RECT frame = {0, 0, static_cast<LONG>(wparam), static_cast<LONG>(lparam)};
      AdjustWindowRectEx(&frame, static_cast<DWORD>(GetWindowLongPtrW(window, GWL_STYLE)), FALSE,
                         static_cast<DWORD>(GetWindowLongPtrW(window, GWL_EXSTYLE)));
      SetWindowPos(window, nullptr, 0, 0, frame.right - frame.left, frame.bottom - frame.top,
                   SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
      self->Paint();
      return 0;
    }
    case kShow:
      ShowWindow(window, static_cast<int>(wparam));
      Sleep(static_cast<DWORD>(lparam));
      AnswerOthersFor(static_cast<DWORD>(lparam));
      self->Paint();
      return 0;
    case kDestroy:
      DestroyWindow(window);
      return 0;
    case WM_PAINT:
      ValidateRect(window, nullptr);
      if (self) self->Paint();
      return 0;
    case WM_SETCURSOR:
      if (!self) break;
      SetCursor(self->cursor_);
      return TRUE;
    case WM_DESTROY:
      PostQuitMessage(0);
      return 0;
    default:
      break;
  }
  return DefWindowProcW(window, message, wparam, lparam);
}

}  // namespace wine_test
