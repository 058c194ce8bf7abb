// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-check/scene/stage.h"

#include <dwmapi.h>

#include <algorithm>
#include <future>
#include <utility>

#include "common/error.h"

namespace quill_apps {
namespace {

constexpr wchar_t kClassName[] = L"QuillCheckWindow";
constexpr UINT kDoTask = WM_APP + 1;  // lparam: a Task*

struct Task {
  const std::function<void()>& function;
  bool is_done = false;
  std::exception_ptr error = nullptr;
};

const wchar_t* TitleOf(WindowKind kind) {
  switch (kind) {
    case WindowKind::kFramed:
      return L"quill-check B";
    case WindowKind::kCover:
      return L"quill-check C";
    default:
      return L"quill-check A";
  }
}

// Windows 11 rounds corners; earlier versions do not know the attribute. The names are those of
// newer SDKs.
void MakeCornersSquare(HWND window) {
  constexpr DWORD kWindowCornerPreference = 33;
  const int do_not_round = 1;
  DwmSetWindowAttribute(window, kWindowCornerPreference, &do_not_round, sizeof do_not_round);
}

void FillWithCover(HWND window, HDC dc) {
  RECT client;
  GetClientRect(window, &client);
  // A grey is the same in GDI's order of the channels.
  const HBRUSH brush = CreateSolidBrush(kCoverColour);
  FillRect(dc, &client, brush);
  DeleteObject(brush);
}

}  // namespace

namespace {

constexpr LONG kSlotMargin = 8;
constexpr LONG kSlotFrame = 48;  // with the frame of B

RECT WorkArea(HMONITOR monitor) {
  MONITORINFO info{};
  info.cbSize = sizeof info;
  GetMonitorInfoW(monitor, &info);
  return info.rcWork;
}

// What two windows side by side need, one of them of kStageSize.
LONG WidthOfTwo(FrameSize size) {
  return static_cast<LONG>(size.width + kStageSize.width) + 2 * kSlotFrame;
}

}  // namespace

POINT SlotPosition(HMONITOR monitor, int slot, FrameSize size) {
  const RECT work = WorkArea(monitor);
  POINT position{work.left + kSlotMargin, work.top + kSlotMargin};
  if (slot == 0) return position;
  if (work.right - work.left >= WidthOfTwo(size)) {
    position.x = work.right - static_cast<LONG>(size.width) - kSlotFrame;
  } else {
    position.y = std::max(position.y, work.bottom - static_cast<LONG>(size.height) - kSlotFrame);
  }
  return position;
}

bool SlotsFit(HMONITOR monitor, FrameSize size) {
  const RECT work = WorkArea(monitor);
  const LONG width = work.right - work.left;
  if (width >= WidthOfTwo(size) + kSlotMargin) return true;
  const LONG height_of_two =
      static_cast<LONG>(size.height + kStageSize.height) + 2 * kSlotFrame + kSlotMargin;
  // On a width between, a small window goes to the side and a large one below.
  return width < WidthOfTwo(kStageSize) && work.bottom - work.top >= height_of_two;
}

HMONITOR PrimaryMonitor() {
  return MonitorFromPoint({0, 0}, MONITOR_DEFAULTTOPRIMARY);
}

double RefreshRate(HMONITOR monitor) {
  MONITORINFOEXW info{};
  info.cbSize = sizeof info;
  DEVMODEW mode{};
  mode.dmSize = sizeof mode;
  // 0 and 1 stand for the display's default.
  if (!GetMonitorInfoW(monitor, &info) ||
      !EnumDisplaySettingsW(info.szDevice, ENUM_CURRENT_SETTINGS, &mode) ||
      mode.dmDisplayFrequency <= 1) {
    return 60.0;
  }
  return mode.dmDisplayFrequency;
}

int64_t Ticks() {
  LARGE_INTEGER counter;
  QueryPerformanceCounter(&counter);
  return counter.QuadPart;
}

double MillisecondsBetween(int64_t from, int64_t to) {
  LARGE_INTEGER frequency;
  QueryPerformanceFrequency(&frequency);
  return static_cast<double>(to - from) * 1000.0 / static_cast<double>(frequency.QuadPart);
}

StageWindow::StageWindow(const StageWindowOptions& options) {
  std::promise<void> promise;
  std::future<void> made = promise.get_future();
  thread_ = std::thread([this, &options, promise = std::move(promise)]() mutable {
    try {
      Make(options);
    } catch (...) {
      painter_.reset();
      if (window_ != nullptr) DestroyWindow(window_);
      promise.set_exception(std::current_exception());
      return;
    }
    promise.set_value();
    HandleMessages();
  });
  try {
    made.get();
  } catch (...) {
    thread_.join();
    throw;
  }
}

StageWindow::~StageWindow() {
  Close();
  thread_.join();
}

void StageWindow::Make(const StageWindowOptions& options) {
  WNDCLASSW window_class{};
  window_class.lpfnWndProc = WindowProcedure;
  window_class.hInstance = GetModuleHandleW(nullptr);
  window_class.hCursor = LoadCursorW(nullptr, IDC_ARROW);
  window_class.lpszClassName = kClassName;
  RegisterClassW(&window_class);  // fails harmlessly after the first window

  kind_ = options.kind;
  counter_ = options.counter;
  const bool is_framed = kind_ == WindowKind::kFramed;
  window_ = CreateWindowExW(
      WS_EX_TOPMOST | (is_framed ? 0 : WS_EX_NOACTIVATE), kClassName, TitleOf(kind_),
      is_framed ? WS_OVERLAPPEDWINDOW : WS_POPUP, options.position.x, options.position.y,
      static_cast<int>(options.client.width), static_cast<int>(options.client.height), nullptr,
      nullptr, window_class.hInstance, this);
  if (window_ == nullptr) {
    throw ToolError(ExitCode::kUnsupported, "a test window could not be made");
  }
  if (!is_framed) MakeCornersSquare(window_);
  SetClientSize(options.client);
  if (kind_ != WindowKind::kCover) painter_ = MakePainter(options.drawing, window_, size_);
  ShowState(SW_SHOWNOACTIVATE);
  Redraw();
}

void StageWindow::HandleMessages() {
  MSG message;
  for (;;) {
    if (is_animated_) {
      if (!PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        // A task that came inside of PeekMessage may have ended the animation, or closed the
        // window.
        if (is_animated_) PresentNext();
        continue;
      }
    } else if (GetMessageW(&message, nullptr, 0, 0) < 0) {
      return;
    }
    if (message.message == WM_QUIT) return;
    DispatchMessageW(&message);
  }
}

LRESULT CALLBACK StageWindow::WindowProcedure(HWND window, UINT message, WPARAM wparam,
                                              LPARAM lparam) {
  if (message == WM_NCCREATE) {
    const auto* const creation = reinterpret_cast<const CREATESTRUCTW*>(lparam);
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(creation->lpCreateParams));
    static_cast<StageWindow*>(creation->lpCreateParams)->window_ = window;
  }
  auto* const self = reinterpret_cast<StageWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  return self != nullptr ? self->Handle(message, wparam, lparam)
                         : DefWindowProcW(window, message, wparam, lparam);
}

LRESULT StageWindow::Handle(UINT message, WPARAM wparam, LPARAM lparam) {
  switch (message) {
    case kDoTask: {
      Task& task = *reinterpret_cast<Task*>(lparam);
      try {
        task.function();
      } catch (...) {
        task.error = std::current_exception();
      }
      task.is_done = true;
      return 0;
    }
    case WM_ERASEBKGND:
      return 1;  // all of the client area is painted
    case WM_PAINT: {
      PAINTSTRUCT paint;
      const HDC dc = BeginPaint(window_, &paint);
      if (kind_ == WindowKind::kCover) FillWithCover(window_, dc);
      EndPaint(window_, &paint);
      try {
        if (painter_ && !is_animated_) Redraw();
      } catch (...) {
        // The next call that draws meets the same error and hands it on.
      }
      return 0;
    }
    case WM_MOUSEACTIVATE:
      return MA_NOACTIVATE;
    case WM_DESTROY:
      PostQuitMessage(0);
      return 0;
    default:
      return DefWindowProcW(window_, message, wparam, lparam);
  }
}

bool StageWindow::Do(const std::function<void()>& function) const {
  Task task{function};
  // The procedure of a closed window is never called.
  SendMessageW(window_, kDoTask, 0, reinterpret_cast<LPARAM>(&task));
  if (task.error) std::rethrow_exception(task.error);
  return task.is_done;
}

RECT StageWindow::Client() const {
  RECT client{};
  GetClientRect(window_, &client);
  MapWindowPoints(window_, nullptr, reinterpret_cast<POINT*>(&client), 2);
  return client;
}

RECT StageWindow::Bounds() const {
  RECT bounds{};
  GetWindowRect(window_, &bounds);
  return bounds;
}

int64_t StageWindow::Present(uint32_t counter) {
  int64_t ticks = 0;
  Do([&] {
    counter_ = counter;
    Redraw();
    ticks = Ticks();
  });
  return ticks;
}

void StageWindow::PresentEdited(const PictureEdit& edit) {
  Do([&] {
    if (!painter_) return;
    painter_->Edit(edit);
    painter_->Show(false);
  });
}

void StageWindow::StartAnimation(uint32_t first_counter) {
  Do([&] {
    animation_ = {};
    animation_.first_counter = first_counter;
    animation_error_ = nullptr;
    counter_ = first_counter;
    refresh_ms_ = 1000.0 / RefreshRate(MonitorFromWindow(window_, MONITOR_DEFAULTTONEAREST));
    is_animated_ = true;
    // This task came inside of GetMessage, which goes on waiting for a posted message.
    PostMessageW(window_, WM_NULL, 0, 0);
  });
}

Animation StageWindow::StopAnimation() {
  Animation animation;
  Do([&] {
    is_animated_ = false;
    if (animation_error_) std::rethrow_exception(animation_error_);
    animation = animation_;
  });
  return animation;
}

void StageWindow::PresentNext() {
  try {
    painter_->Draw(counter_);
    painter_->Show(true);
  } catch (...) {
    animation_error_ = std::current_exception();
    is_animated_ = false;
    return;
  }
  const int64_t now = Ticks();
  if (animation_.count == 0) animation_.begin = now;
  const double since_last = MillisecondsBetween(animation_.end, now);
  // Where Present does not wait for the display, the clock must.
  if (animation_.count != 0 && since_last < refresh_ms_ / 2) {
    Sleep(static_cast<DWORD>(refresh_ms_ - since_last));
  }
  animation_.end = Ticks();
  ++animation_.count;
  ++counter_;
}

void StageWindow::Show() {
  Do([&] { ShowState(SW_SHOWNOACTIVATE); });
}

void StageWindow::Hide() {
  Do([&] { ShowState(SW_HIDE); });
}

void StageWindow::Minimise() {
  Do([&] { ShowState(SW_SHOWMINNOACTIVE); });
}

void StageWindow::Restore() {
  Do([&] { ShowState(SW_SHOWNOACTIVATE); });
}

void StageWindow::Close() {
  Do([&] {
    is_animated_ = false;
    painter_.reset();
  });
  SendMessageW(window_, WM_CLOSE, 0, 0);  // destroys the window
}

void StageWindow::MoveTo(POINT position) {
  Do([&] {
    SetWindowPos(window_, nullptr, position.x, position.y, 0, 0,
                 SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
    // A monitor of another DPI may have changed the frame and with it the client area.
    SetClientSize(size_);
    Redraw();
  });
}

void StageWindow::Resize(FrameSize client) {
  Do([&] {
    SetClientSize(client);
    if (painter_) painter_->Resize(client);
    Redraw();
  });
}

void StageWindow::Raise() {
  Do([&] {
    SetWindowPos(window_, HWND_TOPMOST, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
  });
}

bool StageWindow::SetAffinity(DWORD affinity) {
  bool is_set = false;
  Do([&] { is_set = SetWindowDisplayAffinity(window_, affinity) != 0; });
  return is_set;
}

bool StageWindow::IsInFront() const {
  const RECT client = Client();
  constexpr LONG kPoints = 5;  // in each direction, the outermost in the corners
  for (LONG row = 0; row < kPoints; ++row) {
    for (LONG column = 0; column < kPoints; ++column) {
      const POINT point{
          client.left + (client.right - 1 - client.left) * column / (kPoints - 1),
          client.top + (client.bottom - 1 - client.top) * row / (kPoints - 1),
      };
      if (WindowFromPoint(point) != window_) return false;
    }
  }
  return true;
}

void StageWindow::ShowState(int show_command) {
  ShowWindow(window_, show_command);
  UpdateWindow(window_);
}

// The difference between window and client area depends on the DPI of the monitor, and may change
// with it at the first try.
void StageWindow::SetClientSize(FrameSize size) {
  size_ = size;
  for (int tries = 0; tries < 2; ++tries) {
    const RECT bounds = Bounds();
    const RECT client = Client();
    const LONG width = static_cast<LONG>(size.width) - (client.right - client.left);
    const LONG height = static_cast<LONG>(size.height) - (client.bottom - client.top);
    if (width == 0 && height == 0) return;
    SetWindowPos(window_, nullptr, 0, 0, bounds.right - bounds.left + width,
                 bounds.bottom - bounds.top + height, SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
  }
}

void StageWindow::Redraw() {
  if (!painter_) return;
  painter_->Draw(counter_);
  painter_->Show(false);
}

}  // namespace quill_apps
