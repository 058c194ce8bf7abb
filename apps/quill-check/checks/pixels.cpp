// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-check/checks/checks.h"
#include "quill-check/checks/pattern_capture.h"

namespace quill_apps {

namespace {

std::string NameOf(Drawing drawing) {
  return drawing == Drawing::kGdi ? "drawn by GDI" : "drawn by Direct3D";
}

void CheckCovered(Finding& finding, PatternCapture& capture, StageWindow& window, Drawing drawing,
                  const std::string& what) {
  if (IsWine() && drawing == Drawing::kDirect3D) {
    finding.Skip(what + " and covered: Wine keeps what is covered of windows drawn by GDI only");
    return;
  }
  // A window that is covered whole may be spared its drawing.
  StageWindowOptions options;
  options.kind = WindowKind::kCover;
  options.position = {window.Bounds().left, window.Bounds().top};
  options.client = {kStageSize.width / 2, kStageSize.height};
  StageWindow cover(options);
  uint32_t counter = 100;
  TryPart(finding, cover, [&] {
    ++counter;
    capture.AwaitPresented(window, counter);
    return JudgePixels(what + " and covered by half", capture, counter, kWholeFrame);
  });
}

void CheckOffScreen(Finding& finding, PatternCapture& capture, StageWindow& window,
                    const std::string& what) {
  const LONG half = static_cast<LONG>(kStageSize.height) / 2;
  window.MoveTo({window.Bounds().left, GetSystemMetrics(SM_YVIRTUALSCREEN) - half});
  if (MonitorFromWindow(window.handle(), MONITOR_DEFAULTTONULL) == nullptr) {
    finding.Skip(what +
                 " and half off the screen: no monitor reaches up to the screen's edge here");
    return;
  }
  constexpr uint32_t kCounter = 200;
  const bool is_whole = capture.AwaitPresented(window, kCounter, 0.3);
  finding.Info(what + " and half off the screen: " +
               (is_whole ? "it is captured whole" : "what is off the screen is not captured"));
}

void CheckDrawing(CheckContext& context, Drawing drawing) {
  Finding& finding = context.finding;
  StageWindowOptions options;
  options.drawing = drawing;
  options.position = SlotPosition(PrimaryMonitor(), context.slot);
  StageWindow window(options);
  PatternCapture capture(context.library, window.handle());
  const std::string what = "a window " + NameOf(drawing);
  uint32_t counter = 1;
  const bool is_right = TryPart(finding, window, [&] {
    ++counter;
    capture.AwaitPresented(window, counter);
    return JudgePixels(what, capture, counter, kWholeFrame);
  });
  const PatternReading& reading = capture.reading();
  const bool is_gdi = drawing == Drawing::kGdi;
  finding.Figure(is_gdi ? "gdi" : "direct3d",
                 {{"frame", SizeText(capture.frame_size())},
                  {"deviation", {reading.deviation[0], reading.deviation[1], reading.deviation[2]}},
                  {"deviatingBlocks", reading.deviating_blocks},
                  {"smallestAlpha", reading.smallest_alpha},
                  {"largestAlpha", reading.largest_alpha}});
  if (capture.view().pixels != nullptr && (!is_right || !is_gdi)) {
    finding.Picture(what, capture.view());
  }
  if (!is_right) return;
  CheckCovered(finding, capture, window, drawing, what);
  CheckOffScreen(finding, capture, window, what);
}

}  // namespace

void CheckPixels(CheckContext& context) {
  for (const Drawing drawing : {Drawing::kDirect3D, Drawing::kGdi}) {
    OnFreshThread([&] { CheckDrawing(context, drawing); });
  }
}

}  // namespace quill_apps
