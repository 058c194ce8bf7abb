// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <chrono>

#include "common/text.h"
#include "quill-check/checks/checks.h"
#include "quill-check/checks/pattern_capture.h"

namespace quill_apps {

namespace {

using Json = nlohmann::ordered_json;

// A state in which the window cannot be seen.
struct State {
  const char* name;
  void (StageWindow::*enter)();
  void (StageWindow::*leave)();
  const char* left;  // what was done to leave it
};

bool CheckState(Finding& finding, StageWindow& window, PatternCapture& capture, const State& state,
                uint32_t& counter) {
  constexpr double kMeanwhileSeconds = 0.5;
  return TryPart(finding, window, [&]() -> Note {
    (window.*state.enter)();
    uint32_t frames = 0;
    Await(kMeanwhileSeconds, [&] {
      if (capture.Poll()) ++frames;
      return false;
    });
    const bool is_running = capture.session().is_running();
    const FrameSize meanwhile = capture.frame_size();

    const auto start = std::chrono::steady_clock::now();
    (window.*state.leave)();
    ++counter;
    const bool is_back = capture.AwaitPresented(window, counter, 1.0);
    const double back_ms = MillisecondsSince(start);
    finding.Figure(state.name, {{"framesMeanwhile", frames},
                                {"runningMeanwhile", is_running},
                                {"sizeMeanwhile", SizeText(meanwhile)},
                                {"sizeAfter", SizeText(capture.frame_size())},
                                {"frameAfterMs", is_back ? Json(back_ms) : Json(nullptr)}});
    const std::string text =
        Format("%s: %u frames in 0.5 s, the session %s, the size is %s", state.name, frames,
               is_running ? "runs" : "has ended", SizeText(meanwhile).c_str());
    if (!is_back) {
      return {Verdict::kFail, text + "; no frame comes within 1 s after it is " + state.left};
    }
    return {Verdict::kPass,
            text + Format("; the new picture comes %.0f ms after it is %s", back_ms, state.left)};
  });
}

}  // namespace

void CheckHiddenWindow(CheckContext& context) {
  StageWindowOptions options;
  options.position = SlotPosition(PrimaryMonitor(), context.slot);
  StageWindow window(options);
  PatternCapture capture(context.library, window.handle());
  uint32_t counter = 2;
  if (!AwaitFirstPicture(context.finding, window, capture, counter)) return;
  const State minimised{"minimised", &StageWindow::Minimise, &StageWindow::Restore, "restored"};
  const State hidden{"hidden", &StageWindow::Hide, &StageWindow::Show, "shown"};
  if (!CheckState(context.finding, window, capture, minimised, counter)) return;
  CheckState(context.finding, window, capture, hidden, counter);
}

}  // namespace quill_apps
