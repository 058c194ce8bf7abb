// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "start.h"

#include <windows.h>

#include <psapi.h>

#include <memory>
#include <thread>
#include <vector>

#include "measure.h"
#include "session.h"
#include "wgc_library.h"

namespace bench {
namespace {

constexpr int kStarts = 7;
constexpr int kResizes = 10;
constexpr Size kSize = {1920, 1080};
constexpr Size kLarger = {2560, 1440};

SizeInt32 ContentSize(Size size) {
  return {static_cast<INT32>(size.width), static_cast<INT32>(size.height)};
}

void PollFrame(Session& session, FramePump& pump, size_t index, Size content) {
  session.pool().SetNext(index, ContentSize(content));
  pump.Post(session.pool());
  session.Poll();
  Check(session.has_frame(), "a poll brings no frame");
}

// Wine leaves the private bytes 0; the page file's share is the same number.
double PrivateMegabytes() {
  PROCESS_MEMORY_COUNTERS memory = {};
  K32GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof(memory));
  return static_cast<double>(memory.PagefileUsage) / (1 << 20);
}

// A thread has one dispatcher queue in its life, so each session has a thread of its own.
template <class Function>
void OnOwnThread(Function function) {
  std::thread(function).join();
}

}  // namespace

Row MeasureLoad() {
  constexpr int kLoads = 21;
  // The one system library that the program itself does not need.
  Check(LoadLibraryW(L"CoreMessaging.dll") != nullptr, "CoreMessaging.dll cannot be loaded");
  std::vector<double> times;
  for (int i = 0; i < kLoads; ++i) {
    const double begin = Now();
    const HMODULE module = LoadLibraryW(kLibraryName);
    times.push_back(Now() - begin);
    Check(module != nullptr, "libquill-wgc.dll cannot be loaded: build the target quill-wgc");
    FreeLibrary(module);
  }
  return {"load", kLoads, Median(times) * 1e6};
}

Row MeasureStart() {
  std::vector<double> starts, first_frames;
  for (int i = 0; i < kStarts; ++i) {
    OnOwnThread([&] {
      FramePump pump;
      const double begin = Now();
      Session session(kSize);
      starts.push_back(Now() - begin);
      PollFrame(session, pump, 0, kSize);
      first_frames.push_back(Now() - begin);
    });
  }
  return {"start/1920x1080",
          kStarts,
          Median(first_frames) * 1e6,
          0,
          {{"started_us", Median(starts) * 1e6}}};
}

Row MeasureResize(bool detection) {
  std::vector<double> times;
  OnOwnThread([&] {
    FramePump pump;
    Session session(kSize);
    Gpu gpu(session.device());
    session.SetMode(detection ? Mode::kChanged : Mode::kBuffer);
    for (int i = 0; i < kResizes; ++i) {
      const Size size = i % 2 == 0 ? kLarger : kSize;
      const double begin = Now();
      PollFrame(session, pump, 0, size);
      PollFrame(session, pump, 0, size);
      gpu.Finish();
      times.push_back(Now() - begin);
      Check(session.size().width == size.width, "a resize does not arrive");
    }
  });
  return {detection ? "resize/detection" : "resize/buffer", kResizes, Median(times) * 1e6};
}

Row MeasureMemory() {
  constexpr Mode kAllModes[] = {Mode::kBuffer, Mode::kTexture, Mode::kChanged};
  const double pixels = static_cast<double>(kSize.width) * kSize.height;
  double session_mib = 0;
  double floor_mib = 0;
  OnOwnThread([&] {
    FramePump pump;
    Session session(kSize);
    Gpu gpu(session.device());
    const Picture picture = MakePicture(kSize);
    for (size_t i = 0; i < 2; ++i) gpu.Upload(session.pool().texture(i), picture);
    const auto growth_by_floor = [&](std::vector<std::unique_ptr<BareFrames>>& floors) {
      const double before = PrivateMegabytes();
      floors.push_back(std::make_unique<BareFrames>(gpu, kSize));
      for (const Mode mode : kAllModes) {
        for (size_t i = 0; i < 4; ++i) floors.back()->Handle(mode, session.pool().texture(i % 2));
      }
      gpu.Finish();
      return PrivateMegabytes() - before;
    };
    std::vector<std::unique_ptr<BareFrames>> floors;
    // What the renderer makes once for the device falls to this one.
    growth_by_floor(floors);

    const double before = PrivateMegabytes();
    for (const Mode mode : kAllModes) {
      session.SetMode(mode);
      for (size_t i = 0; i < 4; ++i) PollFrame(session, pump, i % 2, kSize);
    }
    gpu.Finish();
    session_mib = PrivateMegabytes() - before;
    floor_mib = growth_by_floor(floors);
  });
  // Staging texture, frame buffer, output texture; five more textures of the frame's size and two
  // with a byte a pixel for detection. The rest is a few kilobytes.
  constexpr double kSessionBytes = 4 + 4 + 4 + 5 * 4 + 2;
  constexpr double kFloorBytes = 4 + 4 + 4 + 3 * 4 + 1;
  constexpr double kMib = 1 << 20;
  return {"memory/1920x1080",
          1,
          0,
          0,
          {{"session_mib", session_mib},
           {"session_textures_mib", kSessionBytes * pixels / kMib},
           {"floor_mib", floor_mib},
           {"floor_textures_mib", kFloorBytes * pixels / kMib}}};
}

}  // namespace bench
