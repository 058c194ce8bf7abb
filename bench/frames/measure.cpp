// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "measure.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <time.h>
#endif

#include <algorithm>
#include <chrono>

namespace bench {
namespace {

constexpr size_t kMinimumTurns = 4;
constexpr size_t kMaximumTurns = 5000;
// A frame alternates between two textures of the pool, and both have to be seen.
constexpr int kWarmUps = 2;
constexpr int kRunsPerTurn = 4;

struct Timing {
  double seconds;
  double cpu;
};

Timing Time(const Side& side) {
  side.prepare();
  const double cpu = CpuSeconds();
  const double begin = Now();
  side.run();
  const double end = Now();
  return {end - begin, CpuSeconds() - cpu};
}

// Adds its runs to `seconds` and `cpu`; returns their median.
double Turn(const Side& side, std::vector<double>& seconds, double& cpu) {
  for (int i = 0; i < kWarmUps; ++i) Time(side);
  std::vector<double> runs;
  for (int i = 0; i < kRunsPerTurn; ++i) {
    const Timing timing = Time(side);
    runs.push_back(timing.seconds);
    cpu += timing.cpu;
  }
  seconds.insert(seconds.end(), runs.begin(), runs.end());
  return Median(runs);
}

}  // namespace

double Now() {
  using Seconds = std::chrono::duration<double>;
  return Seconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

#ifdef _WIN32
// Coarse, in steps of the system's clock tick, but true on average over many runs.
double CpuSeconds() {
  FILETIME created, exited, kernel, user;
  GetProcessTimes(GetCurrentProcess(), &created, &exited, &kernel, &user);
  const auto seconds = [](FILETIME time) {
    return (static_cast<double>(time.dwHighDateTime) * 4294967296.0 + time.dwLowDateTime) * 1e-7;
  };
  return seconds(kernel) + seconds(user);
}
#else
double CpuSeconds() {
  timespec time;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}
#endif

double Median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  if (values.size() % 2 == 1) return *middle;
  return (*middle + *std::max_element(values.begin(), middle)) / 2;
}

void EvictCaches() {
  // Several times the largest cache of the usual desktop processors.
  static std::vector<char> block(128 << 20);
  for (size_t i = 0; i < block.size(); i += 64) ++block[i];
}

void Comparison::Run(const Side& session, const Side& floor, double seconds) {
  const double end = Now() + seconds;
  for (size_t i = 0; i < kMinimumTurns || (Now() < end && i < kMaximumTurns); ++i) {
    double of_session = 0;
    if (i % 2 == 0) of_session = Turn(session, session_, session_cpu_);
    const double of_floor = Turn(floor, floor_, floor_cpu_);
    if (i % 2 == 1) of_session = Turn(session, session_, session_cpu_);
    ratios_.push_back(of_session / of_floor);
  }
}

double Comparison::session_seconds() const {
  return Median(session_);
}

double Comparison::floor_seconds() const {
  return Median(floor_);
}

double Comparison::shortest_session_seconds() const {
  return *std::min_element(session_.begin(), session_.end());
}

double Comparison::shortest_floor_seconds() const {
  return *std::min_element(floor_.begin(), floor_.end());
}

}  // namespace bench
