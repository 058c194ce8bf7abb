// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "support/pattern_window.h"

#include <gtest/gtest.h>

#include <dwmapi.h>

#include <utility>

namespace {

constexpr wchar_t kClassName[] = L"QuillPatternWindow";
constexpr UINT kShowPicture = WM_APP + 1;  // lparam: a Picture* of the same process, moved from
constexpr UINT kShowPattern = WM_APP + 2;  // wparam: a seed, lparam: width and height
constexpr UINT kShowState = WM_APP + 3;    // wparam: an SW_ constant, lparam: unpainted_ms

// Waits until the window's thread has handled the message.
void Send(HWND window, UINT message, WPARAM wparam = 0, LPARAM lparam = 0) {
  constexpr UINT kLimitMs = 10000;
  EXPECT_NE(SendMessageTimeoutW(window, message, wparam, lparam, SMTO_NORMAL, kLimitMs, nullptr), 0)
      << "the window does not answer";
}

// WM_CLOSE destroys the window.
void Close(HWND window) {
  if (IsWindow(window)) Send(window, WM_CLOSE);
}

// From Windows 11 on the corners of a window with a frame are cut off otherwise.
void KeepCornersSquare(HWND window) {
  constexpr DWORD kWindowCornerPreference = 33;  // too new for mingw-w64's headers
  const DWORD do_not_round = 1;
  DwmSetWindowAttribute(window, kWindowCornerPreference, &do_not_round, sizeof(do_not_round));
}

// Handles what other threads send, and nothing that is posted.
void AnswerOthersFor(DWORD time_ms) {
  const ULONGLONG end = GetTickCount64() + time_ms;
  MSG message;
  for (; GetTickCount64() < end; Sleep(5)) {
    PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE);
  }
}

}  // namespace

BITMAPINFO InfoOf(const Picture& picture) {
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof(info.bmiHeader);
  info.bmiHeader.biWidth = static_cast<LONG>(picture.width);
  info.bmiHeader.biHeight = -static_cast<LONG>(picture.height);  // rows from top to bottom
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  return info;
}

PatternWindow::PatternWindow(Picture picture, const WindowOptions& options)
    : picture_(std::move(picture)), cursor_(options.cursor) {
  const HANDLE ready = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  thread_ = std::thread([&] { Run(options, ready); });
  WaitForSingleObject(ready, INFINITE);
  CloseHandle(ready);
}

PatternWindow::~PatternWindow() {
  Destroy();
  thread_.join();
}

void PatternWindow::Show(Picture picture) {
  Send(window_, kShowPicture, 0, reinterpret_cast<LPARAM>(&picture));
}

void PatternWindow::SetState(int show_command, DWORD unpainted_ms) {
  Send(window_, kShowState, show_command, unpainted_ms);
}

void PatternWindow::Destroy() {
  Close(window_);
}

void PatternWindow::Run(const WindowOptions& options, HANDLE ready) {
  WNDCLASSW window_class{};
  window_class.lpfnWndProc = WindowProcedure;
  window_class.hInstance = GetModuleHandleW(nullptr);
  window_class.lpszClassName = kClassName;
  RegisterClassW(&window_class);  // fails harmlessly after the first window

  window_ = CreateWindowExW(options.ex_style, kClassName, options.title.c_str(), options.style,
                            options.position.x, options.position.y, 0, 0, nullptr, nullptr,
                            window_class.hInstance, nullptr);
  KeepCornersSquare(window_);
  Fit();
  SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  ShowWindow(window_, SW_SHOWNA);
  UpdateWindow(window_);
  SetEvent(ready);

  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message);
}

LRESULT CALLBACK PatternWindow::WindowProcedure(HWND window, UINT message, WPARAM wparam,
                                                LPARAM lparam) {
  auto* const self = reinterpret_cast<PatternWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  return self != nullptr ? self->Handle(message, wparam, lparam)
                         : DefWindowProcW(window, message, wparam, lparam);
}

LRESULT PatternWindow::Handle(UINT message, WPARAM wparam, LPARAM lparam) {
  switch (message) {
    case kShowPicture:
    case kShowPattern:
      picture_ = message == kShowPicture
                     ? std::move(*reinterpret_cast<Picture*>(lparam))
                     : MakePattern(LOWORD(lparam), HIWORD(lparam), static_cast<uint32_t>(wparam));
      Fit();
      InvalidateRect(window_, nullptr, FALSE);
      UpdateWindow(window_);
      return 0;
    case kShowState:
      ShowWindow(window_, static_cast<int>(wparam));
      Sleep(static_cast<DWORD>(lparam));
      AnswerOthersFor(static_cast<DWORD>(lparam));
      UpdateWindow(window_);
      return 0;
    case WM_PAINT:
      Paint();
      return 0;
    case WM_SETCURSOR:
      SetCursor(cursor_);
      return TRUE;
    case WM_DESTROY:
      PostQuitMessage(0);
      return 0;
    default:
      return DefWindowProcW(window_, message, wparam, lparam);
  }
}

// Gives the client area the picture's size.
void PatternWindow::Fit() {
  RECT frame{0, 0, static_cast<LONG>(picture_.width), static_cast<LONG>(picture_.height)};
  AdjustWindowRectEx(&frame, static_cast<DWORD>(GetWindowLongPtrW(window_, GWL_STYLE)), FALSE,
                     static_cast<DWORD>(GetWindowLongPtrW(window_, GWL_EXSTYLE)));
  SetWindowPos(window_, nullptr, 0, 0, frame.right - frame.left, frame.bottom - frame.top,
               SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
}

void PatternWindow::Paint() {
  PAINTSTRUCT paint;
  const HDC dc = BeginPaint(window_, &paint);
  const BITMAPINFO info = InfoOf(picture_);
  SetDIBitsToDevice(dc, 0, 0, picture_.width, picture_.height, 0, 0, 0, picture_.height,
                    picture_.pixels.data(), &info, DIB_RGB_COLORS);
  EndPaint(window_, &paint);
  GdiFlush();
}

PatternProcess::PatternProcess(POINT position, SIZE size)
    : process_("pattern_window.exe",
               std::to_wstring(GetCurrentProcessId()) + L" " + std::to_wstring(position.x) + L" " +
                   std::to_wstring(position.y) + L" " + std::to_wstring(size.cx) + L" " +
                   std::to_wstring(size.cy)),
      window_(process_.AwaitWindow()) {}

void PatternProcess::Show(SIZE size, uint32_t seed) {
  SendNotifyMessageW(window_, kShowPattern, seed, MAKELPARAM(size.cx, size.cy));
}

void PatternProcess::Sync() {
  Send(window_, WM_NULL);
}

void PatternProcess::SetState(int show_command) {
  Send(window_, kShowState, show_command);
}

void PatternProcess::Close() {
  ::Close(window_);
}
