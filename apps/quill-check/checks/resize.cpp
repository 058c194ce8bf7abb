// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "common/text.h"
#include "quill-check/checks/checks.h"
#include "quill-check/checks/pattern_capture.h"

namespace quill_apps {

namespace {

constexpr double kLimit = 1.0;  // seconds to the right size

// Resizes the window and awaits a frame of that size with the window's new picture.
Note Resize(const char* what, StageWindow& window, PatternCapture& capture, FrameSize size,
            uint32_t counter, nlohmann::ordered_json& figures) {
  const auto start = std::chrono::steady_clock::now();
  window.Resize(size);
  window.Present(counter);
  capture.Expect(size);
  int frames = 0;
  const bool is_right = Await(kLimit, [&] {
    if (!capture.Poll()) return false;
    ++frames;
    const PatternReading& reading = capture.reading();
    return capture.frame_size() == size && reading.IsCompared() && reading.counter == counter;
  });
  const double ms = MillisecondsSince(start);
  figures[what] = {{"ms", ms}, {"frames", frames}};
  if (is_right) {
    return {Verdict::kPass,
            Format("%s to %s in %.0f ms, with frame %d", what, SizeText(size).c_str(), ms, frames)};
  }
  return {Verdict::kFail,
          Format("%s to %s: no right frame within %.0f s; the last is %s", what,
                 SizeText(size).c_str(), kLimit, SizeText(capture.frame_size()).c_str())};
}

}  // namespace

void CheckResize(CheckContext& context) {
  Finding& finding = context.finding;
  StageWindowOptions options;
  options.drawing = Drawing::kGdi;
  constexpr FrameSize kLargestSize{900, 520};
  options.position = SlotPosition(PrimaryMonitor(), context.slot, kLargestSize);
  StageWindow window(options);
  PatternCapture capture(context.library, window.handle());
  nlohmann::ordered_json figures;
  uint32_t counter = 1;
  if (!capture.AwaitPresented(window, ++counter, kPatientSeconds)) {
    finding.Fail("no frame shows the window before the first resize");
    return;
  }
  const auto resize = [&](const char* what, FrameSize size) {
    return TryPart(finding, window,
                   [&] { return Resize(what, window, capture, size, ++counter, figures); });
  };
  // What has failed once takes too long to fail again.
  if (resize("larger", kLargestSize) && resize("smaller", {300, 200})) {
    TryPart(finding, window, [&] {
      constexpr uint32_t kSteps = 20;
      for (uint32_t step = 1; step < kSteps; ++step) {
        window.Resize({300 + 15 * step, 200 + 8 * step});
        capture.Poll();
      }
      return Resize("20 quick steps", window, capture, kStageSize, ++counter, figures);
    });
  }
  finding.Figure("resizes", std::move(figures));
}

}  // namespace quill_apps
