// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <thread>

#include "support/picture.h"
#include "support/process.h"

// Describes a picture's pixels to GDI.
BITMAPINFO InfoOf(const Picture& picture);

struct WindowOptions {
  POINT position = {40, 30};
  DWORD style = WS_POPUP;
  DWORD ex_style = WS_EX_TOPMOST;
  std::wstring title = L"Quill pattern";
  HCURSOR cursor = LoadCursor(nullptr, IDC_ARROW);
};

// A top-level window on a thread of its own that shows a picture, pixel by pixel, in its client
// area of the same size. Each operation returns when the window's thread has done it and has
// painted.
class PatternWindow {
 public:
  explicit PatternWindow(Picture picture, const WindowOptions& options = {});
  ~PatternWindow();

  PatternWindow(const PatternWindow&) = delete;
  PatternWindow& operator=(const PatternWindow&) = delete;

  HWND handle() const { return window_; }

  void Show(Picture picture);  // resizes the window to the picture's size
  // Paints late: the thread handles no message for unpainted_ms, then for as long only those that
  // other threads send.
  void SetState(int show_command, DWORD unpainted_ms = 0);
  void Minimize() { SetState(SW_MINIMIZE); }
  void Destroy();

 private:
  static LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  void Run(const WindowOptions& options, HANDLE ready);
  LRESULT Handle(UINT message, WPARAM wparam, LPARAM lparam);
  void Fit();
  void Paint();

  Picture picture_;  // the window's thread only
  const HCURSOR cursor_;
  HWND window_ = nullptr;
  std::thread thread_;
};

// A pattern window in a process of its own, which ends with the window. It shows pattern 0 at
// first.
class PatternProcess {
 public:
  PatternProcess(POINT position, SIZE size);
  ~PatternProcess() { Close(); }

  // Null when the window did not come up.
  HWND window() const { return window_; }

  // Returns at once. Sync waits until the window has painted what it was told to show.
  void Show(SIZE size, uint32_t seed);
  void Sync();
  // Each of these returns when it is done and painted.
  void SetState(int show_command);
  void Close();

 private:
  Process process_;
  const HWND window_;
};
