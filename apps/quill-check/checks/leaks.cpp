// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <windows.h>

#include <psapi.h>
#include <tlhelp32.h>

#include <algorithm>
#include <vector>

#include "common/text.h"
#include "quill-check/checks/checks.h"
#include "quill-check/checks/pattern_capture.h"

namespace quill_apps {

namespace {

struct Held {
  double handles = 0;
  double user_objects = 0;
  double gdi_objects = 0;
  double threads = 0;
  double private_kib = 0;
};

double CountThreads() {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 entry{};
  entry.dwSize = sizeof entry;
  double count = 0;
  for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
    if (entry.th32OwnerProcessID == GetCurrentProcessId()) ++count;
  }
  CloseHandle(snapshot);
  return count;
}

Held Measure() {
  const HANDLE process = GetCurrentProcess();
  DWORD handles = 0;
  GetProcessHandleCount(process, &handles);
  // Commit charge: the memory that is private to the process.
  PROCESS_MEMORY_COUNTERS memory{};
  GetProcessMemoryInfo(process, &memory, sizeof memory);
  return {static_cast<double>(handles),
          static_cast<double>(GetGuiResources(process, GR_USEROBJECTS)),
          static_cast<double>(GetGuiResources(process, GR_GDIOBJECTS)), CountThreads(),
          static_cast<double>(memory.PagefileUsage) / 1024};
}

using Figure = double Held::*;

// What a session may leave behind on average before it is a warning or a failure. First guesses: no
// machine with Windows has been measured yet. Under Wine, which counts no handles and no objects,
// nine sessions grew the heap by 193 KiB each; a frame of the window has 900 KiB.
struct Limit {
  const char* name;
  Figure held;
  double warn;
  double fail;
};
constexpr Limit kLimits[] = {
    {"handles", &Held::handles, 2.0, 8.0},
    {"USER objects", &Held::user_objects, 0.3, 1.0},
    {"GDI objects", &Held::gdi_objects, 0.3, 1.0},
    {"threads", &Held::threads, 0.3, 0.9},
    {"private KiB", &Held::private_kib, 384.0, 768.0},
};

// What a session leaves behind on average: the smaller of the averages of both halves. A leak grows
// in both; a heap that takes 14 MiB at once, as has been seen, grows in one.
double EachKeeps(const std::vector<Held>& held, Figure figure) {
  const size_t sessions = held.size() - 1;
  const size_t half = sessions / 2;
  const double first = held[half].*figure - held.front().*figure;
  const double second = held.back().*figure - held[half].*figure;
  return std::min(first / static_cast<double>(half), second / static_cast<double>(sessions - half));
}

// A whole life: start, a frame as bytes with detection, destroy.
bool RunSession(const Library& library, StageWindow& window, uint32_t counter) {
  bool has_come = false;
  OnFreshThread([&] {
    Switches switches;
    switches.detect = true;
    PatternCapture capture(library, window.handle(), switches);
    has_come = capture.AwaitPresented(window, counter, kPatientSeconds);
  });
  return has_come;
}

}  // namespace

void CheckLeaks(CheckContext& context) {
  Finding& finding = context.finding;
  StageWindowOptions options;
  options.drawing = Drawing::kGdi;
  options.position = SlotPosition(PrimaryMonitor(), context.slot);
  StageWindow window(options);
  // What is made once in a process is there after the first ones.
  constexpr uint32_t kWarmUp = 5;
  constexpr uint32_t kSessions = 30;
  // A slow machine makes fewer, but enough to tell a leak.
  constexpr uint32_t kFewest = 6;
  constexpr double kSeconds = 10.0;
  const auto begin = std::chrono::steady_clock::now();
  uint32_t counter = 1;
  uint32_t without_frame = 0;
  const auto run = [&] { without_frame += RunSession(context.library, window, ++counter) ? 0 : 1; };
  for (uint32_t i = 0; i < kWarmUp; ++i) run();
  if (without_frame == kWarmUp) {
    finding.Fail(Format("none of %u sessions had a right frame", kWarmUp));
    return;
  }
  std::vector<Held> held{Measure()};  // before the first and after each
  const auto count = [&] { return static_cast<uint32_t>(held.size() - 1); };
  while (count() < kSessions && (count() < kFewest || MillisecondsSince(begin) < kSeconds * 1e3)) {
    run();
    held.push_back(Measure());
  }
  // What a driver's threads let go later was not kept by the sessions.
  Await(1.0, [&] {
    held.back() = Measure();
    return std::ranges::all_of(
        kLimits, [&](const Limit& limit) { return EachKeeps(held, limit.held) <= limit.warn; });
  });
  finding.Figure("sessions", count());
  if (without_frame > 0) finding.Fail(Format("%u sessions had no right frame", without_frame));
  std::string figures;
  Verdict verdict = Verdict::kPass;
  for (const Limit& limit : kLimits) {
    const double each = EachKeeps(held, limit.held);
    finding.Figure(limit.name, {{"before", held.front().*limit.held},
                                {"after", held.back().*limit.held},
                                {"aSession", each}});
    if (each > limit.warn) verdict = std::max(verdict, Verdict::kWarn);
    if (each > limit.fail) verdict = Verdict::kFail;
    figures += Format("%s%.1f %s", figures.empty() ? "" : ", ", each, limit.name);
  }
  finding.Add(verdict, Format("%u sessions left behind, each on average: ", count()) + figures);
}

}  // namespace quill_apps
