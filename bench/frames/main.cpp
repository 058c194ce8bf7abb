// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// quill_bench [--benchmark_filter=REGEX] [--benchmark_min_time=SECONDS] [--benchmark_format=json]
// quill_bench --counts
//
// What a session of the DLL costs, next to the same work done by hand: see docs/performance.md.
// Times are printed in the form of Google Benchmark. With --counts there are no times: what the DLL
// allocates and copies for a frame is counted and held to what a frame must cost.
#include <windows.h>

#include <dxgi.h>
#include <objbase.h>

#include <cstdio>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "contest.h"
#include "counts.h"
#include "measure.h"
#include "report.h"
#include "start.h"
#include "wgc_library.h"

namespace bench {
namespace {

constexpr Size kSizes[] = {{1280, 720}, {1920, 1080}, {2560, 1440}, {3840, 2160}, {5120, 2880}};
constexpr Size kCountedSize = {320, 192};
constexpr int kCountedFrames = 16;
constexpr size_t kPollsPerRun = 500;
// Each comparison is made so often with everything made anew: where in memory the two sides happen
// to lie can be worth some per cent, and no side is to be lucky.
constexpr int kPlaces = 3;

struct NamedMode {
  Mode mode;
  const char* name;
};
constexpr NamedMode kModes[] = {
    {Mode::kBuffer, "buffer"},
    {Mode::kUnchanged, "unchanged"},
    {Mode::kChanged, "changed"},
    {Mode::kTexture, "texture"},
};

std::string NameOf(Size size) {
  return std::to_string(size.width) + 'x' + std::to_string(size.height);
}

struct Counts {
  double allocations;   // a frame
  double copied_bytes;  // a frame
};

Counts CountFrames(Contest& contest) {
  Counts counts = {};
  {
    const MemoryCounts memory;
    for (int i = 0; i < kCountedFrames; ++i) {
      contest.PrepareSession();
      contest.RunSession();
    }
    counts.allocations = static_cast<double>(memory.allocations()) / kCountedFrames;
    counts.copied_bytes = static_cast<double>(memory.copied_bytes()) / kCountedFrames;
  }
  return counts;
}

class Bench {
 public:
  explicit Bench(const Options& options) : options_(options), report_(options) {}

  void Run() {
    RunOnce("load", MeasureLoad);
    RunOnce("start/1920x1080", MeasureStart);
    RunOnce("resize/buffer", [] { return MeasureResize(false); });
    RunOnce("resize/detection", [] { return MeasureResize(true); });
    RunOnce("memory/1920x1080", MeasureMemory);
    RunPolls();
    for (const Size size : kSizes) RunFrames(size);
    report_.PrintJson(AdapterName());
  }

 private:
  static std::string AdapterName() {
    Ref<IDXGIFactory1> factory;
    Ref<IDXGIAdapter1> adapter;
    DXGI_ADAPTER_DESC1 desc = {};
    if (FAILED(
            CreateDXGIFactory1(__uuidof(IDXGIFactory1), reinterpret_cast<void**>(factory.Put()))) ||
        FAILED(factory->EnumAdapters1(0, adapter.Put())) || FAILED(adapter->GetDesc1(&desc))) {
      return "none";
    }
    std::string name;
    for (const wchar_t* c = desc.Description; *c; ++c) name += static_cast<char>(*c);
    return name;
  }

  // A thread has one dispatcher queue in its life, so each session has a thread of its own.
  template <class Function>
  static void RunOnOwnThread(Function function) {
    std::thread(function).join();
  }

  template <class Function>
  void RunOnce(const std::string& name, Function measure) {
    if (report_.IsWanted(name)) report_.Add(measure());
  }

  // Nothing waits: what a host pays for looking.
  void RunPolls() {
    for (const NamedMode& mode : {kModes[0], kModes[3]}) {
      const std::string name = std::string("poll/") + mode.name;
      if (!report_.IsWanted(name)) continue;
      Comparison result;
      RunOnOwnThread([&] {
        Contest contest(kSizes[0]);
        contest.SetMode(mode.mode);
        result.Run({[] {},
                    [&] {
                      for (size_t i = 0; i < kPollsPerRun; ++i) contest.session().Poll();
                    }},
                   {[] {},
                    [] {
                      for (size_t i = 0; i < kPollsPerRun; ++i) FramePump::Drain();
                    }},
                   options_.seconds);
      });
      report_.AddComparison(name, "floor", result, result.ratio(), kPollsPerRun);
    }
  }

  void RunFrames(Size size) {
    Comparison frames[std::size(kModes)];
    Comparison growth[std::size(kModes)];
    Counts counts[std::size(kModes)] = {};
    const auto name = [&](const char* family, const NamedMode& mode) {
      return std::string(family) + '/' + mode.name + '/' + NameOf(size);
    };
    const auto nothing = [] {};
    const auto run_place = [&] {
      std::unique_ptr<Contest> contest;
      for (size_t i = 0; i < std::size(kModes); ++i) {
        const bool frame = report_.IsWanted(name("frame", kModes[i]));
        const bool grows = HasGrowth(kModes[i]) && report_.IsWanted(name("growth", kModes[i]));
        if (!frame && !grows) continue;
        if (!contest) contest = std::make_unique<Contest>(size);
        contest->SetMode(kModes[i].mode);
        if (frame) Compare(*contest, nothing, frames[i]);
        if (grows) Compare(*contest, EvictCaches, growth[i]);
        contest->Verify();
        counts[i] = CountFrames(*contest);
      }
    };
    for (int place = 0; place < kPlaces; ++place) RunOnOwnThread(run_place);
    for (size_t i = 0; i < std::size(kModes); ++i) {
      if (frames[i].rounds() > 0) {
        report_.AddComparison(
            name("frame", kModes[i]), "floor", frames[i], frames[i].ratio(), 1,
            {{"allocations", counts[i].allocations}, {"copied_bytes", counts[i].copied_bytes}});
      }
      if (growth[i].rounds() > 0) AddGrowth(name("growth", kModes[i]), growth[i], size);
    }
  }

  // What a frame is made of: the copies, and the search for changes.
  static bool HasGrowth(const NamedMode& mode) {
    return mode.mode == Mode::kBuffer || mode.mode == Mode::kUnchanged;
  }

  template <class Function>
  void Compare(Contest& contest, Function disturb, Comparison& result) {
    result.Run({[&] {
                  contest.PrepareSession();
                  disturb();
                },
                [&] { contest.RunSession(); }},
               {[&] {
                  contest.PrepareBare();
                  disturb();
                },
                [&] { contest.RunBare(); }},
               options_.seconds / kPlaces);
  }

  void AddGrowth(const std::string& name, const Comparison& result, Size size) {
    const double ns_per_pixel = 1e9 / size.width / size.height;
    report_.Add({name,
                 result.rounds(),
                 result.session_seconds() * 1e6,
                 result.session_cpu() * 1e6,
                 {{"ns_per_pixel", result.shortest_session_seconds() * ns_per_pixel}}});
    report_.Add({name + "/floor",
                 result.rounds(),
                 result.floor_seconds() * 1e6,
                 result.floor_cpu() * 1e6,
                 {{"ns_per_pixel", result.shortest_floor_seconds() * ns_per_pixel}}});
  }

  const Options& options_;
  Report report_;
};

// Exact, whatever the machine: nothing is allocated for a frame, and its bytes are copied once, or
// not at all where there is nothing new to copy.
bool HoldCounts() {
  bool holds = true;
  const auto expect = [&](const std::string& what, double value, double expected) {
    if (value == expected) return;
    std::printf("%s: %g, expected %g\n", what.c_str(), value, expected);
    holds = false;
  };
  std::thread([&] {
    const double frame_bytes = 4.0 * kCountedSize.width * kCountedSize.height;
    uint64_t start_allocations = 0;
    std::unique_ptr<Contest> contest;
    {
      const MemoryCounts memory;
      contest = std::make_unique<Contest>(kCountedSize);
      start_allocations = memory.allocations();
    }
    // Otherwise the counting itself does not work.
    Check(start_allocations > 0, "a session starts without memory");
    for (const NamedMode& mode : kModes) {
      contest->SetMode(mode.mode);
      const Counts counts = CountFrames(*contest);
      const bool copies = mode.mode == Mode::kBuffer || mode.mode == Mode::kChanged;
      expect(std::string(mode.name) + ": allocations a frame", counts.allocations, 0);
      expect(std::string(mode.name) + ": bytes copied a frame", counts.copied_bytes,
             copies ? frame_bytes : 0);
      // The floor keeps step.
      for (int i = 0; i < kCountedFrames; ++i) {
        contest->PrepareBare();
        contest->RunBare();
      }
      contest->Verify();
    }
  }).join();
  return holds;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  if (argc == 2 && std::string_view(argv[1]) == "--counts") return bench::HoldCounts() ? 0 : 1;
  bench::Options options;
  if (!bench::ReadOptions(argc, argv, options)) {
    std::fprintf(stderr,
                 "usage: quill_bench [--benchmark_filter=REGEX] [--benchmark_min_time=SECONDS] "
                 "[--benchmark_format=json]\n       quill_bench --counts\n");
    return 2;
  }
  bench::Bench(options).Run();
  return 0;
}
