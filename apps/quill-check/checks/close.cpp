// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "common/text.h"
#include "quill-check/checks/checks.h"
#include "quill-check/checks/pattern_capture.h"

namespace quill_apps {

void CheckClosedTarget(CheckContext& context) {
  Finding& finding = context.finding;
  StageWindowOptions options;
  options.drawing = Drawing::kGdi;
  options.position = SlotPosition(PrimaryMonitor(), context.slot);
  StageWindow window(options);
  {
    PatternCapture capture(context.library, window.handle());
    if (!capture.AwaitPresented(window, 2, kPatientSeconds)) {
      finding.Fail("no frame shows the window before it is closed");
      return;
    }
    const auto start = std::chrono::steady_clock::now();
    window.Close();
    constexpr double kLimit = 2.0;
    const bool is_told = Await(kLimit, [&] {
      capture.Poll();
      return !capture.session().is_running();
    });
    const double ms = MillisecondsSince(start);
    finding.Figure("statusMs", ms);
    if (!is_told) {
      finding.Fail(Format("the status is still true %.0f s after the window was closed", kLimit));
      return;
    }
    // The last frame stays what it was.
    capture.Poll();
    const PatternReading reading = ReadPattern(capture.view(), kStageSize);
    if (!reading.found || reading.counter != 2) {
      finding.Fail("the last frame does not outlive the window");
    }
    finding.Pass(Format("the status is false %.0f ms after the window was closed", ms));
  }
  finding.Figure("destroyed", true);
}

}  // namespace quill_apps
