// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <memory>
#include <string>

namespace standin {

// What is captured: one top-level window or one monitor. Callable from any thread.
class CaptureTarget {
 public:
  virtual ~CaptureTarget() = default;

  // False once it has gone for good.
  virtual bool Exists() const = 0;
  // Whether it has a picture at present.
  virtual bool IsShown() const = 0;
  // Whether it has painted what it shows since it came to be shown. May wait for the target's
  // thread.
  virtual bool IsPainted() const = 0;
  // In screen coordinates.
  virtual RECT Bounds() const = 0;
  virtual std::wstring Name() const = 0;

  // Copies the pixels within Bounds() to the top left of `destination`.
  virtual bool CopyTo(HDC destination, SIZE size) const = 0;
};

// Null if the handle is not that of a target that can be captured.
std::shared_ptr<CaptureTarget> MakeWindowTarget(HWND window);
std::shared_ptr<CaptureTarget> MakeMonitorTarget(HMONITOR monitor);

}  // namespace standin
