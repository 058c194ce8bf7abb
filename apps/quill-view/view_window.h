// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

#include "common/pixels.h"

namespace quill_apps {

// The view's window. It is made, and handles its messages, on one thread; another thread draws in
// its client area. So moving or resizing the window never keeps frames from being shown.
class ViewWindow {
 public:
  // has_chart: the view has a strip chart below the picture. Throws ToolError.
  ViewWindow(const std::string& title, bool has_chart, bool on_top);
  ~ViewWindow();
  ViewWindow(const ViewWindow&) = delete;
  ViewWindow& operator=(const ViewWindow&) = delete;

  // For the window's thread.

  // Makes the client area large enough for the picture, or for the largest size on the screen that
  // has its aspect ratio.
  void Fit(const FrameSize& picture);
  // Moves the window to a side of the rectangle where it does not cover it, if there is room.
  void MoveBeside(const RECT& rectangle);
  void Show();
  void CloseAfter(double seconds);
  // Handles messages until the event is set.
  void HandleMessagesUntil(HANDLE event);

  // For any thread.

  HWND handle() const { return window_; }
  // In pixels; 0 x 0 when there is none of it, as while the window is minimised.
  FrameSize client() const;
  UINT dpi() const { return dpi_; }
  bool shows_figures() const { return shows_figures_; }
  bool shows_help() const { return shows_help_; }
  // The user wants the view to end.
  bool is_closing() const { return is_closing_; }
  // Grows with each change of what the functions above return, and when the client area has to be
  // drawn again. The event is then set, once.
  uint32_t revision() const { return revision_; }
  HANDLE changed() const { return changed_; }

  void SetTitle(const std::string& title);
  // What the key 1 fits the window to. The first call does it, too, unless the user has changed the
  // size by then.
  void SetPicture(const FrameSize& picture);
  void Close();

 private:
  static LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  LRESULT Handle(UINT message, WPARAM wparam, LPARAM lparam);
  void HandleCharacter(wchar_t character);
  void FitToPicture();
  void SetOnTop(bool on_top);
  void NoteChange();

  const bool has_chart_;
  const HANDLE changed_;
  HWND window_ = nullptr;
  bool is_on_top_ = false;
  FrameSize fitted_client_{};  // after the last Fit

  std::atomic<uint64_t> client_{0};  // width in the low half, height in the high
  std::atomic<UINT> dpi_{96};
  std::atomic<bool> shows_figures_{false};
  std::atomic<bool> shows_help_{false};
  std::atomic<bool> is_closing_{false};
  std::atomic<uint32_t> revision_{0};

  std::mutex mutex_;
  std::wstring title_;   // as it shall be
  FrameSize picture_{};  // 0 x 0 before the first
};

}  // namespace quill_apps
