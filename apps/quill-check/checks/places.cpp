// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <windows.h>

#include <dwmapi.h>

#include <array>
#include <utility>

#include "common/monitors.h"
#include "common/text.h"
#include "quill-check/checks/checks.h"
#include "quill-check/checks/pattern_capture.h"

namespace quill_apps {

namespace {

using Json = nlohmann::ordered_json;

std::string SizeText(const RECT& area) {
  return Format("%ld x %ld", area.right - area.left, area.bottom - area.top);
}

// "1920 x 1080 at 96 DPI"
std::string MonitorText(const MonitorInfo& monitor, HWND window) {
  return SizeText(monitor.area) + Format(" at %u DPI", GetDpiForWindow(window));
}

// The frame's corner pixels: top left, top right, bottom left, bottom right, as 0xAARRGGBB.
std::array<uint32_t, 4> CornersOf(const PixelView& view) {
  const auto at = [&](uint32_t x, uint32_t y) {
    const uint8_t* const pixel = view.pixels + y * view.row_pitch + x * kPixelBytes;
    return pixel[0] | pixel[1] << 8 | pixel[2] << 16 | uint32_t{pixel[3]} << 24;
  };
  const uint32_t right = view.width - 1;
  const uint32_t bottom = view.height - 1;
  return {at(0, 0), at(right, 0), at(0, bottom), at(right, bottom)};
}

void DescribeFrame(Finding& finding, const PatternCapture& capture, const StageWindow& window,
                   const std::string& where, const char* name) {
  const RECT bounds = window.Bounds();
  const RECT client = window.Client();
  const RECT& area = capture.reading().area;
  const std::array<uint32_t, 4> corners = CornersOf(capture.view());
  Json figures{{"frame", SizeText(capture.frame_size())},
               {"windowRectangle", SizeText(bounds)},
               {"clientInFrame", {area.left, area.top}},
               {"clientInWindow", {client.left - bounds.left, client.top - bounds.top}},
               {"corners", corners}};
  std::string text =
      where + Format(
                  ": the frame is %s with the client area at %ld, %ld; the window "
                  "rectangle is %s with it at %ld, %ld",
                  SizeText(capture.frame_size()).c_str(), area.left, area.top,
                  SizeText(bounds).c_str(), client.left - bounds.left, client.top - bounds.top);
  RECT visible{};
  if (SUCCEEDED(DwmGetWindowAttribute(window.handle(), DWMWA_EXTENDED_FRAME_BOUNDS, &visible,
                                      sizeof visible)) &&
      !IsRectEmpty(&visible)) {
    figures["extendedFrameBounds"] = SizeText(visible);
    figures["clientInVisible"] = {client.left - visible.left, client.top - visible.top};
    text += Format(", its visible part %s with it at %ld, %ld", SizeText(visible).c_str(),
                   client.left - visible.left, client.top - visible.top);
  }
  finding.Info(text + Format("; the frame's corners are %08X %08X %08X %08X", corners[0],
                             corners[1], corners[2], corners[3]));
  finding.Figure(name, std::move(figures));
}

void CheckFrameOn(CheckContext& context, const MonitorInfo& monitor, uint32_t number) {
  Finding& finding = context.finding;
  StageWindowOptions options;
  options.kind = WindowKind::kFramed;
  options.drawing = Drawing::kGdi;
  options.position = SlotPosition(monitor.handle, context.slot);
  StageWindow window(options);
  window.MoveTo(options.position);  // now that its monitor's DPI counts
  PatternCapture capture(context.library, window.handle());
  uint32_t counter = 1;
  const std::string where = "B on the monitor of " + MonitorText(monitor, window.handle());
  const bool is_right = TryPart(finding, window, [&] {
    ++counter;
    capture.AwaitPresented(window, counter);
    // Where the client area lies in the frame is nobody's promise.
    return JudgePlace(where, capture, counter, capture.reading().area);
  });
  if (!is_right) return;
  DescribeFrame(finding, capture, window, where, Format("monitor%u", number).c_str());
}

void CheckMonitor(CheckContext& context, const MonitorInfo& monitor) {
  Finding& finding = context.finding;
  StageWindowOptions options;
  options.drawing = Drawing::kGdi;
  options.position = SlotPosition(monitor.handle, context.slot);
  StageWindow window(options);
  PatternCapture capture(context.library, monitor.handle);
  const FrameSize size{static_cast<uint32_t>(monitor.area.right - monitor.area.left),
                       static_cast<uint32_t>(monitor.area.bottom - monitor.area.top)};
  uint32_t counter = 1;
  const std::string what =
      "A in the capture of the monitor of " + MonitorText(monitor, window.handle());
  TryPart(finding, window, [&]() -> Note {
    RECT part = window.Client();
    OffsetRect(&part, -monitor.area.left, -monitor.area.top);
    capture.LookAt(part);
    ++counter;
    capture.AwaitPresented(window, counter);
    if (capture.frame_size() != size) {
      return {Verdict::kFail, what + ": the frame is " + SizeText(capture.frame_size())};
    }
    return JudgePlace(what, capture, counter, kWholeFrame);
  });
}

// Runs the task for each monitor with its number, as many as there is time for.
template <typename Task>
void ForEachMonitor(Finding& finding, Task task) {
  constexpr double kMs = 5000.0;
  const auto start = std::chrono::steady_clock::now();
  uint32_t number = 0;
  for (const MonitorInfo& monitor : ListMonitors()) {
    ++number;
    if (MillisecondsSince(start) > kMs) {
      finding.Skip(Format("monitor %u: no time was left for it", number));
    } else {
      OnFreshThread([&] { task(monitor, number); });
    }
  }
}

}  // namespace

void CheckWindowFrame(CheckContext& context) {
  ForEachMonitor(context.finding, [&](const MonitorInfo& monitor, uint32_t number) {
    CheckFrameOn(context, monitor, number);
  });
}

void CheckMonitors(CheckContext& context) {
  ForEachMonitor(context.finding,
                 [&](const MonitorInfo& monitor, uint32_t) { CheckMonitor(context, monitor); });
}

}  // namespace quill_apps
