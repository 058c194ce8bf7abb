// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "capture/capture_target.h"

namespace standin {
namespace {

bool ReadInfo(HMONITOR monitor, MONITORINFOEXW& info) {
  info = {};
  info.cbSize = sizeof(info);
  return GetMonitorInfoW(monitor, &info);
}

class MonitorTarget : public CaptureTarget {
 public:
  explicit MonitorTarget(HMONITOR monitor) : monitor_(monitor) {}

  bool Exists() const override {
    MONITORINFOEXW info;
    return ReadInfo(monitor_, info);
  }

  bool IsShown() const override { return true; }
  bool IsPainted() const override { return true; }

  RECT Bounds() const override {
    MONITORINFOEXW info;
    ReadInfo(monitor_, info);
    return info.rcMonitor;
  }

  std::wstring Name() const override {
    MONITORINFOEXW info;
    ReadInfo(monitor_, info);
    return info.szDevice;
  }

  bool CopyTo(HDC destination, SIZE size) const override {
    const RECT bounds = Bounds();
    const HDC source = GetDC(nullptr);
    if (!source) return false;
    const bool copied =
        BitBlt(destination, 0, 0, size.cx, size.cy, source, bounds.left, bounds.top, SRCCOPY);
    ReleaseDC(nullptr, source);
    return copied;
  }

 private:
  const HMONITOR monitor_;
};

}  // namespace

std::shared_ptr<CaptureTarget> MakeMonitorTarget(HMONITOR monitor) {
  MONITORINFOEXW info;
  if (!ReadInfo(monitor, info)) return nullptr;
  return std::make_shared<MonitorTarget>(monitor);
}

}  // namespace standin
