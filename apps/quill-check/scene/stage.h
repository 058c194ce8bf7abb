// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <thread>

#include "common/pixels.h"
#include "quill-check/scene/painter.h"

namespace quill_apps {

constexpr FrameSize kStageSize{640, 360};
// The largest window of a check that does not run alone.
constexpr FrameSize kLargestWindow{1000, 610};
constexpr uint32_t kCoverColour = 0x606060;  // 0xRRGGBB

enum class WindowKind {
  kPlain,   // "quill-check A": without a frame, with square corners
  kFramed,  // "quill-check B": an ordinary window with its frame
  kCover,   // "quill-check C": as A, in one colour, to cover another
};

struct StageWindowOptions {
  WindowKind kind = WindowKind::kPlain;
  Drawing drawing = Drawing::kDirect3D;
  POINT position{};  // of the window on the screen
  FrameSize client = kStageSize;
  uint32_t counter = 1;  // of the pattern that it shows at first
};

// Where a window with a client area up to that size stands on the monitor, free of those of the
// size kStageSize in the other slot where there is room for both. Slots: 0 and 1.
POINT SlotPosition(HMONITOR monitor, int slot, FrameSize size = kStageSize);

// Whether windows of the two slots never overlap on the monitor, if one of them has that size.
bool SlotsFit(HMONITOR monitor, FrameSize size);

// The primary monitor.
HMONITOR PrimaryMonitor();

// Refreshes a second.
double RefreshRate(HMONITOR monitor);

// The performance counter, and the milliseconds between two of its values.
int64_t Ticks();
double MillisecondsBetween(int64_t from, int64_t to);

// What was presented while a window was animated: one counter after the other.
struct Animation {
  uint32_t first_counter = 0;
  uint32_t count = 0;
  int64_t begin = 0;  // Ticks() after the first Present
  int64_t end = 0;    // Ticks() when the next one would have come
};

// A window of this program that shows the pattern in its client area, on a thread of its own. It is
// topmost and never activated. The calls come from any thread, one at a time, and return when the
// window's thread has done what they say. They throw ToolError when the window cannot be drawn. On
// a closed window they do nothing.
class StageWindow {
 public:
  // Returns when the window is shown and painted. Throws ToolError.
  explicit StageWindow(const StageWindowOptions& options);
  ~StageWindow();
  StageWindow(const StageWindow&) = delete;
  StageWindow& operator=(const StageWindow&) = delete;

  HWND handle() const { return window_; }

  // In pixels of the screen.
  RECT Client() const;
  RECT Bounds() const;

  // Shows the pattern with that counter. Returns Ticks() as soon as it was handed to the platform.
  int64_t Present(uint32_t counter);
  // Changes pixels of what is shown.
  void PresentEdited(const PictureEdit& edit);
  // Presents one counter after the other at every refresh until the stop. Only for Direct3D.
  void StartAnimation(uint32_t first_counter);
  Animation StopAnimation();

  void Show();
  void Hide();
  void Minimise();
  void Restore();
  void Close();
  void MoveTo(POINT position);
  // Shows the pattern at that size when it returns.
  void Resize(FrameSize client);
  // Brings the window before all others, without activating it.
  void Raise();
  // SetWindowDisplayAffinity, which is allowed in the process of the window only.
  bool SetAffinity(DWORD affinity);

  // Whether the window is what one would click on all over its client area: it is on the screen,
  // and no other window covers it.
  bool IsInFront() const;

 private:
  static LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  LRESULT Handle(UINT message, WPARAM wparam, LPARAM lparam);
  void Make(const StageWindowOptions& options);
  void HandleMessages();
  // Runs the function on the window's thread and hands on its exception. False when the window is
  // closed.
  bool Do(const std::function<void()>& function) const;
  void ShowState(int show_command);
  void SetClientSize(FrameSize size);
  void Redraw();
  void PresentNext();

  HWND window_ = nullptr;
  std::thread thread_;

  // For the window's thread.
  WindowKind kind_ = WindowKind::kPlain;
  FrameSize size_{};
  std::unique_ptr<Painter> painter_;
  uint32_t counter_ = 0;
  bool is_animated_ = false;
  double refresh_ms_ = 0;
  Animation animation_;
  std::exception_ptr animation_error_;
};

}  // namespace quill_apps
