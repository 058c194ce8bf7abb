// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <string>
#include <thread>

namespace wine_test {

// The pixel 0xFFRRGGBB that picture number `picture` has at (x, y). Every pixel of a picture
// differs from its neighbours, and every picture from the others at each pixel.
UINT32 PaintedPixel(int picture, int x, int y);

// The class of the windows below, and what makes one of them, in any process, show a picture.
// Returns when the window's thread has painted it.
inline constexpr wchar_t kPaintedWindowClass[] = L"libquill-wgc.PaintedWindow";
void ShowPicture(HWND window, int picture);

struct WindowOptions {
  POINT position = {100, 100};
  SIZE client = {160, 120};
  DWORD style = WS_POPUP;
  DWORD ex_style = 0;
  std::wstring title;
  int picture = 0;
  HCURSOR cursor = LoadCursor(nullptr, IDC_ARROW);
};

// A window with a thread and a message loop of its own that shows a picture in its client area.
// Each operation returns when the window's thread has done it and has painted.
class PaintedWindow {
 public:
  explicit PaintedWindow(const WindowOptions& options = {});
  PaintedWindow(const PaintedWindow&) = delete;
  PaintedWindow& operator=(const PaintedWindow&) = delete;
  ~PaintedWindow();

  HWND Handle() const { return window_; }

  void Show(int picture) { ShowPicture(window_, picture); }
  void Resize(SIZE client);
  // Paints late: it handles no message for `unpainted_ms`, then as long all but WM_PAINT.
  void SetState(int show_command, DWORD unpainted_ms = 0);
  void Destroy();

 private:
  static LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  void Run(WindowOptions options, HANDLE ready);
  void Paint();

  HWND window_ = nullptr;
  int picture_ = 0;  // Of the window's thread.
  const HCURSOR cursor_;
  std::thread thread_;
};

}  // namespace wine_test
