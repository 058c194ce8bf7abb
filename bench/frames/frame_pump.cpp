// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "frame_pump.h"

#include "wgc_library.h"

namespace bench {
namespace {

constexpr UINT kFrame = WM_APP;
constexpr wchar_t kWindowClass[] = L"libquill-wgc.FramePump";

LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  if (message != kFrame) return DefWindowProcW(window, message, wparam, lparam);
  reinterpret_cast<FrameReceiver*>(lparam)->OnFrame();
  return 0;
}

}  // namespace

FramePump::FramePump() {
  WNDCLASSW window_class = {};
  window_class.lpfnWndProc = WindowProcedure;
  window_class.hInstance = GetModuleHandleW(nullptr);
  window_class.lpszClassName = kWindowClass;
  RegisterClassW(&window_class);
  window_ = CreateWindowExW(0, kWindowClass, nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                            window_class.hInstance, nullptr);
  Check(window_ != nullptr, "no message window can be made");
}

FramePump::~FramePump() {
  DestroyWindow(window_);
}

void FramePump::Post(FrameReceiver& receiver) {
  PostMessageW(window_, kFrame, 0, reinterpret_cast<LPARAM>(&receiver));
}

void FramePump::Drain() {
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
}

}  // namespace bench
