// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-view/view_window.h"

#include <algorithm>

#include "common/error.h"
#include "common/fit.h"
#include "common/text.h"
#include "quill-view/layout.h"

namespace quill_apps {

namespace {

constexpr wchar_t kClassName[] = L"QuillViewWindow";
constexpr UINT kUpdateTitle = WM_APP + 1;
constexpr UINT kFitFirstPicture = WM_APP + 2;
constexpr UINT_PTR kCloseTimer = 1;
constexpr DWORD kStyle = WS_OVERLAPPEDWINDOW;

FrameSize SizeOf(const RECT& area) {
  return {static_cast<uint32_t>(std::max(area.right - area.left, 0L)),
          static_cast<uint32_t>(std::max(area.bottom - area.top, 0L))};
}

// The part of the monitor that task bars leave.
RECT WorkArea(HMONITOR monitor) {
  MONITORINFO info{};
  info.cbSize = sizeof info;
  GetMonitorInfoW(monitor, &info);
  return info.rcWork;
}

}  // namespace

ViewWindow::ViewWindow(const std::string& title, bool has_chart, bool on_top)
    : has_chart_(has_chart), changed_(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
  WNDCLASSW window_class{};
  window_class.lpfnWndProc = WindowProcedure;
  window_class.hInstance = GetModuleHandleW(nullptr);
  window_class.hCursor = LoadCursorW(nullptr, IDC_ARROW);
  window_class.lpszClassName = kClassName;
  RegisterClassW(&window_class);
  title_ = ToWide(title);
  CreateWindowExW(0, kClassName, title_.c_str(), kStyle, CW_USEDEFAULT, CW_USEDEFAULT,
                  CW_USEDEFAULT, CW_USEDEFAULT, nullptr, nullptr, window_class.hInstance, this);
  if (window_ == nullptr) {
    throw ToolError(ExitCode::kUnsupported,
                    "the view's window could not be made: " + DescribeError(GetLastError()));
  }
  dpi_ = GetDpiForWindow(window_);
  SetOnTop(on_top);
}

ViewWindow::~ViewWindow() {
  DestroyWindow(window_);
  CloseHandle(changed_);
}

void ViewWindow::Fit(const FrameSize& picture) {
  RECT frame{};
  AdjustWindowRectExForDpi(&frame, kStyle, FALSE, 0, dpi_);
  const FrameSize frame_size = SizeOf(frame);
  const RECT work = WorkArea(MonitorFromWindow(window_, MONITOR_DEFAULTTONEAREST));
  const FrameSize work_size = SizeOf(work);
  const uint32_t chart = has_chart_ ? kChartHeight : 0;
  const FrameSize room{
      std::max(work_size.width, frame_size.width + 1) - frame_size.width,
      std::max(work_size.height, frame_size.height + chart + 1) - frame_size.height - chart};
  const FrameSize wanted = ClientFor(ShrunkToFit(picture, room), has_chart_);
  const int width = static_cast<int>(wanted.width + frame_size.width);
  const int height = static_cast<int>(wanted.height + frame_size.height);
  if (IsZoomed(window_)) ShowWindow(window_, SW_RESTORE);
  RECT place;
  GetWindowRect(window_, &place);
  const LONG left = std::max(std::min(place.left, work.right - width), work.left);
  const LONG top = std::max(std::min(place.top, work.bottom - height), work.top);
  SetWindowPos(window_, nullptr, left, top, width, height, SWP_NOZORDER | SWP_NOACTIVATE);
  fitted_client_ = client();
}

void ViewWindow::MoveBeside(const RECT& rectangle) {
  RECT place;
  GetWindowRect(window_, &place);
  const RECT work = WorkArea(MonitorFromRect(&rectangle, MONITOR_DEFAULTTONEAREST));
  const LONG width = place.right - place.left;
  if (rectangle.right + width <= work.right) {
    place.left = std::max(rectangle.right, work.left);
  } else if (rectangle.left - width >= work.left) {
    place.left = std::min(rectangle.left, work.right) - width;
  } else {
    return;
  }
  place.top = std::max(std::min(rectangle.top, work.bottom - (place.bottom - place.top)), work.top);
  SetWindowPos(window_, nullptr, place.left, place.top, 0, 0,
               SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
}

void ViewWindow::Show() {
  ShowWindow(window_, SW_SHOW);
}

void ViewWindow::CloseAfter(double seconds) {
  SetTimer(window_, kCloseTimer, static_cast<UINT>(seconds * 1000.0), nullptr);
}

void ViewWindow::HandleMessagesUntil(HANDLE event) {
  while (MsgWaitForMultipleObjects(1, &event, FALSE, INFINITE, QS_ALLINPUT) != WAIT_OBJECT_0) {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
  }
}

FrameSize ViewWindow::client() const {
  const uint64_t size = client_;
  return {static_cast<uint32_t>(size), static_cast<uint32_t>(size >> 32)};
}

// Posts, because a call would wait for the window's thread.
void ViewWindow::SetTitle(const std::string& title) {
  {
    const std::lock_guard lock(mutex_);
    title_ = ToWide(title);
  }
  PostMessageW(window_, kUpdateTitle, 0, 0);
}

void ViewWindow::SetPicture(const FrameSize& picture) {
  const std::lock_guard lock(mutex_);
  if (picture_ == FrameSize{}) PostMessageW(window_, kFitFirstPicture, 0, 0);
  picture_ = picture;
}

void ViewWindow::Close() {
  PostMessageW(window_, WM_CLOSE, 0, 0);
}

LRESULT CALLBACK ViewWindow::WindowProcedure(HWND window, UINT message, WPARAM wparam,
                                             LPARAM lparam) {
  if (message == WM_NCCREATE) {
    const auto* const creation = reinterpret_cast<const CREATESTRUCTW*>(lparam);
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(creation->lpCreateParams));
    static_cast<ViewWindow*>(creation->lpCreateParams)->window_ = window;
  }
  auto* const self = reinterpret_cast<ViewWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  return self != nullptr ? self->Handle(message, wparam, lparam)
                         : DefWindowProcW(window, message, wparam, lparam);
}

LRESULT ViewWindow::Handle(UINT message, WPARAM wparam, LPARAM lparam) {
  switch (message) {
    case WM_SIZE: {
      const uint64_t width = LOWORD(lparam);
      const uint64_t height = HIWORD(lparam);
      const bool is_empty = wparam == SIZE_MINIMIZED || width == 0 || height == 0;
      client_ = is_empty ? 0 : height << 32 | width;
      NoteChange();
      return 0;
    }
    case WM_DPICHANGED: {
      dpi_ = LOWORD(wparam);
      const RECT& area = *reinterpret_cast<const RECT*>(lparam);
      SetWindowPos(window_, nullptr, area.left, area.top, area.right - area.left,
                   area.bottom - area.top, SWP_NOZORDER | SWP_NOACTIVATE);
      NoteChange();
      return 0;
    }
    case WM_ERASEBKGND:
      return 1;  // all of the client area is drawn
    case WM_PAINT:
      ValidateRect(window_, nullptr);
      NoteChange();
      return 0;
    case WM_KEYDOWN:
      if (wparam == VK_ESCAPE) Close();
      if (wparam == VK_F1) {
        shows_figures_ = !shows_figures_;
        NoteChange();
      }
      return 0;
    case WM_CHAR:
      HandleCharacter(static_cast<wchar_t>(wparam));
      return 0;
    case kUpdateTitle: {
      const std::lock_guard lock(mutex_);
      SetWindowTextW(window_, title_.c_str());
      return 0;
    }
    case kFitFirstPicture:
      if (client() == fitted_client_) FitToPicture();
      return 0;
    case WM_TIMER:
    case WM_CLOSE:
      KillTimer(window_, kCloseTimer);
      is_closing_ = true;
      NoteChange();
      return 0;
    default:
      return DefWindowProcW(window_, message, wparam, lparam);
  }
}

void ViewWindow::HandleCharacter(wchar_t character) {
  switch (character) {
    case L'h':
    case L'H':
    case L'?':
      shows_help_ = !shows_help_;
      NoteChange();
      break;
    case L'1':
      FitToPicture();
      break;
    case L't':
    case L'T':
      SetOnTop(!is_on_top_);
      break;
    default:
      break;
  }
}

void ViewWindow::FitToPicture() {
  std::unique_lock lock(mutex_);
  const FrameSize picture = picture_;
  lock.unlock();
  if (picture != FrameSize{}) Fit(picture);
}

void ViewWindow::SetOnTop(bool on_top) {
  is_on_top_ = on_top;
  SetWindowPos(window_, on_top ? HWND_TOPMOST : HWND_NOTOPMOST, 0, 0, 0, 0,
               SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
}

void ViewWindow::NoteChange() {
  ++revision_;
  SetEvent(changed_);
}

}  // namespace quill_apps
