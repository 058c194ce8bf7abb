// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <chrono>

#include "common/text.h"
#include "quill-check/checks/checks.h"
#include "quill-check/checks/pattern_capture.h"

namespace quill_apps {

namespace {

// Declared by newer SDKs; since Windows 10 version 2004.
constexpr DWORD kExcludeFromCapture = 0x11;

// Presents picture after picture for a time, from `counter` on. Returns how many frames show one
// that was presented after the protection had time to take effect.
uint32_t CountLeaks(StageWindow& window, PatternCapture& capture, uint32_t& counter,
                    uint32_t& frames) {
  constexpr double kSeconds = 0.6;
  constexpr double kEffectMs = 200;
  constexpr double kPauseMs = 20;
  const auto start = std::chrono::steady_clock::now();
  auto last = start;
  uint32_t first_protected = kCounterLimit;
  uint32_t leaks = 0;
  Await(kSeconds, [&] {
    if (MillisecondsSince(last) > kPauseMs) {
      last = std::chrono::steady_clock::now();
      if (first_protected == kCounterLimit && MillisecondsSince(start) > kEffectMs) {
        first_protected = counter + 1;
      }
      window.Present(++counter);
    }
    if (!capture.Poll()) return false;
    ++frames;
    const PatternReading& reading = capture.reading();
    if (reading.found && !reading.torn && reading.counter >= first_protected) ++leaks;
    return false;
  });
  return leaks;
}

void CheckAffinity(CheckContext& context, StageWindow& window, PatternCapture& capture,
                   DWORD affinity, const char* name, uint32_t& counter) {
  Finding& finding = context.finding;
  if (!window.SetAffinity(affinity)) {
    finding.Skip(std::string(name) + ": this Windows does not have it");
    return;
  }
  TryPart(finding, window, [&]() -> Note {
    uint32_t frames = 0;
    const uint32_t leaks = CountLeaks(window, capture, counter, frames);
    const PatternReading& reading = capture.reading();
    finding.Figure(name, {{"frames", frames}, {"leaks", leaks}});
    if (leaks != 0) {
      return {Verdict::kFail,
              Format("%s: %u of %u frames show the window's content", name, leaks, frames)};
    }
    return {Verdict::kInfo, Format("%s: %u frames in 0.6 s, and %s", name, frames,
                                   frames == 0     ? "so no content"
                                   : reading.found ? "none with new content"
                                                   : "none with its content")};
  });
  window.SetAffinity(WDA_NONE);
  const bool is_back = capture.AwaitPresented(window, ++counter);
  finding.Info(std::string(name) + ": lifted, the content " +
               (is_back ? "is captured again" : "does not come back within 0.5 s"));
}

}  // namespace

void CheckProtectedWindow(CheckContext& context) {
  Finding& finding = context.finding;
  if (IsWine()) {
    finding.Skip("Wine does not protect windows");
    return;
  }
  StageWindowOptions options;
  options.position = SlotPosition(PrimaryMonitor(), context.slot);
  StageWindow window(options);
  PatternCapture capture(context.library, window.handle());
  uint32_t counter = 2;
  if (!AwaitFirstPicture(context.finding, window, capture, counter)) return;
  CheckAffinity(context, window, capture, WDA_MONITOR, "WDA_MONITOR", counter);
  CheckAffinity(context, window, capture, kExcludeFromCapture, "WDA_EXCLUDEFROMCAPTURE", counter);
}

}  // namespace quill_apps
