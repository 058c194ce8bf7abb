// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <algorithm>
#include <chrono>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "common/text.h"
#include "quill-check/checks/checks.h"
#include "quill-check/checks/pattern_capture.h"

namespace quill_apps {

namespace {

// A capture of a window of the plain kind that has already been seen in a frame.
struct WatchedWindow {
  StageWindow window;
  PatternCapture capture;
  bool is_seen;

  WatchedWindow(const CheckContext& context, Drawing drawing)
      : window(OptionsOf(context, drawing)), capture(context.library, window.handle()) {
    is_seen = AwaitFirstPicture(context.finding, window, capture, 2);
  }

  static StageWindowOptions OptionsOf(const CheckContext& context, Drawing drawing) {
    StageWindowOptions options;
    options.drawing = drawing;
    options.position = SlotPosition(PrimaryMonitor(), context.slot);
    return options;
  }
};

// Polls every millisecond for a time; on_frame is called after each poll that brings a frame.
template <typename OnFrame>
void PollFor(double seconds, PatternCapture& capture, OnFrame on_frame) {
  Await(seconds, [&] {
    if (capture.Poll()) on_frame();
    return false;
  });
}

// Milliseconds from each Present to the first poll that shows its picture; nothing when one does
// not come within 1 s. The next Present waits for another part of the refresh each time. Where
// pictures are slow, fewer samples do.
std::optional<std::vector<double>> Latencies(WatchedWindow& watched, double refresh_ms) {
  constexpr int kSamples = 60;
  constexpr double kEnoughMs = 1500;
  constexpr uint32_t kFirstCounter = 1000;
  std::vector<double> latencies;
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < kSamples && MillisecondsSince(start) < kEnoughMs; ++i) {
    PollFor(refresh_ms / 1e3 * i / kSamples, watched.capture, [] {});
    const uint32_t counter = kFirstCounter + static_cast<uint32_t>(i);
    const int64_t presented = watched.window.Present(counter);
    if (!watched.capture.AwaitCounter(counter, 1.0)) return std::nullopt;
    latencies.push_back(MillisecondsBetween(presented, watched.capture.ticks()));
  }
  return latencies;
}

void CheckLatencyOf(CheckContext& context, Drawing drawing, const char* name, const char* call) {
  Finding& finding = context.finding;
  WatchedWindow watched(context, drawing);
  if (!watched.is_seen) return;
  const double refresh_ms = 1e3 / RefreshRate(PrimaryMonitor());
  const auto measure = [&]() -> Note {
    std::optional<std::vector<double>> latencies = Latencies(watched, refresh_ms);
    if (!latencies) {
      return {Verdict::kFail, std::string("a picture does not come within 1 s after ") + call};
    }
    std::sort(latencies->begin(), latencies->end());
    const double median = latencies->at(latencies->size() / 2);
    const double p95 = latencies->at(latencies->size() * 95 / 100);
    finding.Figure(name, {{"medianMs", median},
                          {"p95Ms", p95},
                          {"longestMs", latencies->back()},
                          {"refreshMs", refresh_ms},
                          {"samplesMs", *latencies}});
    constexpr double kLimitMs = 250;
    constexpr double kUsualRefreshes = 3;
    const Verdict verdict = median > kLimitMs                       ? Verdict::kFail
                            : median > kUsualRefreshes * refresh_ms ? Verdict::kWarn
                                                                    : Verdict::kPass;
    return {verdict, Format("%.1f ms from %s to the poll that shows it, %.1f ms at p95; %.1f and "
                            "%.1f refreshes",
                            median, call, p95, median / refresh_ms, p95 / refresh_ms)};
  };
  TryPart(finding, watched.window, measure, 1);
}

// What polls saw while the window was animated.
struct Seen {
  uint32_t frames = 0;
  uint32_t pictures = 0;  // counted once each
  uint32_t torn = 0;
  uint32_t repeated = 0;
  uint32_t backwards = 0;
  uint32_t missing = 0;  // frames without the pattern
};

Seen WatchAnimation(double seconds, PatternCapture& capture) {
  Seen seen;
  uint32_t last = 0;
  PollFor(seconds, capture, [&] {
    const PatternReading& reading = capture.reading();
    ++seen.frames;
    if (!reading.found) {
      ++seen.missing;
    } else if (reading.torn) {
      ++seen.torn;
    } else if (reading.counter == last) {
      ++seen.repeated;
    } else {
      if (reading.counter < last) ++seen.backwards;
      ++seen.pictures;
      last = reading.counter;
    }
  });
  return seen;
}

Note JudgeRate(const Seen& seen, const Animation& animation, double seconds, double refresh_rate,
               Finding& finding) {
  const double presented_seconds = MillisecondsBetween(animation.begin, animation.end) / 1e3;
  const double presented_rate = animation.count / std::max(presented_seconds, 1e-3);
  const double rate = seen.pictures / seconds;
  finding.Figure("frames", seen.frames);
  finding.Figure("picturesPerSecond", rate);
  finding.Figure("presentedPerSecond", presented_rate);
  finding.Figure("refreshHz", refresh_rate);
  finding.Figure("torn", seen.torn);
  finding.Figure("repeated", seen.repeated);
  if (seen.missing != 0 || seen.backwards != 0) {
    return {Verdict::kFail,
            Format("of %u frames %u lack the pattern, and %u show an earlier picture than the one "
                   "before",
                   seen.frames, seen.missing, seen.backwards)};
  }
  // The stand-in's rate is 60 Hz less its own time for each picture.
  const double usual = IsWine() ? 0.5 : 0.8;
  return {rate < usual * refresh_rate ? Verdict::kWarn : Verdict::kPass,
          Format("%.1f pictures a second of %.1f that were presented at %.0f Hz; %u torn, %u "
                 "repeated",
                 rate, presented_rate, refresh_rate, seen.torn, seen.repeated)};
}

}  // namespace

void CheckLatency(CheckContext& context) {
  OnFreshThread([&] { CheckLatencyOf(context, Drawing::kDirect3D, "direct3d", "Present"); });
  OnFreshThread([&] { CheckLatencyOf(context, Drawing::kGdi, "gdi", "GDI's flush"); });
}

void CheckRate(CheckContext& context) {
  WatchedWindow watched(context, Drawing::kDirect3D);
  if (!watched.is_seen) return;
  constexpr double kSeconds = 1.5;
  uint32_t first_counter = 1000;
  TryPart(context.finding, watched.window, [&] {
    watched.window.StartAnimation(first_counter);
    const Seen seen = WatchAnimation(kSeconds, watched.capture);
    const Animation animation = watched.window.StopAnimation();
    first_counter += animation.count + 1;
    return JudgeRate(seen, animation, kSeconds, RefreshRate(PrimaryMonitor()), context.finding);
  });
}

void CheckStillWindow(CheckContext& context) {
  WatchedWindow watched(context, Drawing::kDirect3D);
  if (!watched.is_seen) return;
  Finding& finding = context.finding;
  StageWindow& window = watched.window;
  PatternCapture& capture = watched.capture;
  uint32_t counter = 2;
  const bool is_right = TryPart(finding, window, [&]() -> Note {
    ++counter;
    capture.AwaitPresented(window, counter);
    uint32_t frames = 0;
    uint32_t stale = 0;
    PollFor(1.0, capture, [&] {
      ++frames;
      if (capture.reading().counter != counter) ++stale;
    });
    finding.Figure("framesInOneSecond", frames);
    if (stale != 0) {
      return {Verdict::kFail, Format("%u of %u frames show an earlier picture than the window does",
                                     stale, frames)};
    }
    return {Verdict::kInfo, Format("%u frames in 1 s of a still window", frames)};
  });
  if (!is_right) return;
  TryPart(finding, window, [&]() -> Note {
    // The first frame that detection meets counts as changed.
    context.library.wgc_set_dirty_rect(capture.session().handle(), true);
    for (int i = 0; i < 2; ++i) {
      ++counter;
      capture.AwaitPresented(window, counter);
    }
    uint32_t changed = 0;
    PollFor(0.5, capture, [&] { ++changed; });
    context.library.wgc_set_dirty_rect(capture.session().handle(), false);
    if (changed != 0) {
      return {Verdict::kFail,
              Format("%u frames of a still window are reported as changed", changed)};
    }
    return {Verdict::kPass, "no frame of a still window is reported as changed"};
  });
}

}  // namespace quill_apps
