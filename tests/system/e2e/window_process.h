// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <string>

// A window of known pictures in a process of its own; picture 0 at first.
class WindowProcess {
 public:
  WindowProcess(int left, int top, SIZE size);
  ~WindowProcess();

  WindowProcess(const WindowProcess&) = delete;
  WindowProcess& operator=(const WindowProcess&) = delete;

  // Null when the window did not come up.
  HWND window() const { return window_; }

  // One of the lines that soak_window knows, without its end. Does not wait.
  void Send(const std::string& line);
  // Waits until the window has done and painted all that was sent; false when it takes too long.
  bool Sync();

 private:
  // Empty when there is none in time.
  std::string ReadLine(DWORD limit_ms);

  PROCESS_INFORMATION process_{};
  HANDLE to_ = nullptr;
  HANDLE from_ = nullptr;
  HWND window_ = nullptr;
};
