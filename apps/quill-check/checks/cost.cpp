// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <algorithm>
#include <vector>

#include "common/text.h"
#include "quill-check/checks/checks.h"
#include "quill-check/checks/pattern_capture.h"

namespace quill_apps {

namespace {

// Kernel and user time of this thread so far.
double ThreadMilliseconds() {
  FILETIME created;
  FILETIME ended;
  FILETIME kernel;
  FILETIME user;
  if (!GetThreadTimes(GetCurrentThread(), &created, &ended, &kernel, &user)) return 0.0;
  const auto ticks = [](const FILETIME& time) {
    return static_cast<double>((uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime);
  };
  constexpr double kTicksPerMs = 1e4;  // of 100 ns
  return (ticks(kernel) + ticks(user)) / kTicksPerMs;
}

struct Cost {
  std::vector<double> poll_ms;
  uint32_t frames = 0;
  double thread_ms = 0;

  double Quantile(double share) const {
    if (poll_ms.empty()) return 0.0;
    std::vector<double> sorted = poll_ms;
    std::ranges::sort(sorted);
    return sorted[static_cast<size_t>(share * static_cast<double>(sorted.size() - 1))];
  }
};

// Polls an animated window for a while, as a host does. For a thread of its own.
Cost Measure(const Library& library, StageWindow& window, const Switches& switches) {
  CaptureSession session(library, window.handle(), nullptr, switches);
  constexpr double kFirstFrameSeconds = 1.0;
  Await(kFirstFrameSeconds, [&] { return session.Poll().has_value(); });
  Cost cost;
  const double before = ThreadMilliseconds();
  constexpr double kSeconds = 0.5;
  Await(kSeconds, [&] {
    const auto start = std::chrono::steady_clock::now();
    const std::optional<CapturedFrame> frame = session.Poll();
    cost.poll_ms.push_back(MillisecondsSince(start));
    if (frame && frame->ratio > 0.0f) ++cost.frames;
    return false;
  });
  cost.thread_ms = ThreadMilliseconds() - before;
  return cost;
}

struct Case {
  const char* name;
  bool texture;
  bool detect;
};

void MeasureCase(CheckContext& context, StageWindow& window, FrameSize size, const Case& one) {
  Switches switches;
  switches.texture = one.texture;
  switches.detect = one.detect;
  Cost cost;
  OnFreshThread([&] { cost = Measure(context.library, window, switches); });
  const double longest = cost.Quantile(1.0);
  const double a_frame = cost.frames == 0 ? 0.0 : cost.thread_ms / cost.frames;
  const std::string name = SizeText(size) + ", " + one.name;
  context.finding.Figure(name.c_str(), {{"polls", cost.poll_ms.size()},
                                        {"frames", cost.frames},
                                        {"pollP50Ms", cost.Quantile(0.5)},
                                        {"pollP99Ms", cost.Quantile(0.99)},
                                        {"pollLongestMs", longest},
                                        {"threadMsPerFrame", a_frame}});
  constexpr double kLimitMs = 1000.0;
  context.finding.Add(
      longest > kLimitMs ? Verdict::kFail : Verdict::kInfo,
      Format("%s: a poll took %.2f ms (median), %.2f ms (99 %%), %.1f ms (longest); %.2f ms of the "
             "thread's time a frame",
             name.c_str(), cost.Quantile(0.5), cost.Quantile(0.99), longest, a_frame));
}

}  // namespace

void CheckCost(CheckContext& context) {
  const HMONITOR monitor = PrimaryMonitor();
  MONITORINFO info{};
  info.cbSize = sizeof info;
  GetMonitorInfoW(monitor, &info);
  const FrameSize whole{static_cast<uint32_t>(info.rcMonitor.right - info.rcMonitor.left),
                        static_cast<uint32_t>(info.rcMonitor.bottom - info.rcMonitor.top)};
  StageWindowOptions options;
  options.position = {info.rcMonitor.left, info.rcMonitor.top};
  StageWindow window(options);
  constexpr Case kBytes{"bytes", false, false};
  constexpr Case kTexture{"texture", true, false};
  const FrameSize sizes[] = {kStageSize, whole};
  for (const FrameSize& size : sizes) {
    window.Resize(size);
    window.StartAnimation(1);
    MeasureCase(context, window, size, kBytes);
    MeasureCase(context, window, size, kTexture);
    // Compares every frame inside the poll, which lasts as long as frames come faster.
    if (size == kStageSize) MeasureCase(context, window, size, {"texture, detection", true, true});
    window.StopAnimation();
  }
}

}  // namespace quill_apps
