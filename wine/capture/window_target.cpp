// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "capture/capture_target.h"

namespace standin {
namespace {

// A window's picture is its whole rectangle, frame and title bar included, as on Windows, which
// captures the visible frame. Windows 10's own frames are smaller than GetWindowRect by an
// invisible border to grab; Wine's windows have no such border, so here the two are the same
// rectangle.
class WindowTarget : public CaptureTarget {
 public:
  explicit WindowTarget(HWND window) : window_(window) {}

  // Window handles are reused, but only after some 65 000 further windows: by then everyone who
  // watches this one has seen it go.
  bool Exists() const override { return IsWindow(window_); }

  bool IsShown() const override { return IsWindowVisible(window_) && !IsIconic(window_); }

  // The update region is emptied when painting begins, not when it ends. The window's thread
  // answers between two messages only, and so neither while it shows the window nor while it
  // paints.
  bool IsPainted() const override {
    return ThreadAnswers() && !GetUpdateRect(window_, nullptr, FALSE) && ThreadAnswers();
  }

  // A minimised window answers with the size that it will have again.
  RECT Bounds() const override {
    RECT bounds = {};
    WINDOWPLACEMENT placement = {};
    placement.length = sizeof(placement);
    if (IsIconic(window_) && GetWindowPlacement(window_, &placement)) {
      bounds = placement.rcNormalPosition;
    } else {
      GetWindowRect(window_, &bounds);
    }
    return bounds;
  }

  std::wstring Name() const override {
    wchar_t text[256] = {};
    const int length = GetWindowTextW(window_, text, ARRAYSIZE(text));
    return std::wstring(text, length);
  }

  bool CopyTo(HDC destination, SIZE size) const override {
    const HDC source = GetWindowDC(window_);
    if (!source) return false;
    const bool copied = BitBlt(destination, 0, 0, size.cx, size.cy, source, 0, 0, SRCCOPY);
    ReleaseDC(window_, source);
    return copied;
  }

 private:
  bool ThreadAnswers() const {
    constexpr UINT kLimitMs = 100;
    return SendMessageTimeoutW(window_, WM_NULL, 0, 0, SMTO_NORMAL, kLimitMs, nullptr) != 0;
  }

  const HWND window_;
};

}  // namespace

std::shared_ptr<CaptureTarget> MakeWindowTarget(HWND window) {
  if (!IsWindow(window) || GetAncestor(window, GA_ROOT) != window) return nullptr;
  return std::make_shared<WindowTarget>(window);
}

}  // namespace standin
