// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "measure.h"

#include <windows.h>

#include <algorithm>
#include <cmath>

namespace bench {
namespace {

constexpr size_t kMinimumRounds = 10;
constexpr size_t kMaximumRounds = 20000;
constexpr int kWarmUps = 3;

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

}  // namespace

double Now() {
  static const double seconds_per_tick = [] {
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    return 1.0 / static_cast<double>(frequency.QuadPart);
  }();
  LARGE_INTEGER ticks;
  QueryPerformanceCounter(&ticks);
  return static_cast<double>(ticks.QuadPart) * seconds_per_tick;
}

// Coarse, in steps of the system's clock tick, but true on average over many runs.
double CpuSeconds() {
  FILETIME created, exited, kernel, user;
  GetProcessTimes(GetCurrentProcess(), &created, &exited, &kernel, &user);
  const auto seconds = [](FILETIME time) {
    return (static_cast<double>(time.dwHighDateTime) * 4294967296.0 + time.dwLowDateTime) * 1e-7;
  };
  return seconds(kernel) + seconds(user);
}

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
  for (int i = 0; i < kWarmUps; ++i) {
    Time(session);
    Time(floor);
  }
  const double end = Now() + seconds;
  for (size_t i = 0; i < kMinimumRounds || (Now() < end && i < kMaximumRounds); ++i) {
    const bool session_first = i % 2 == 0;
    const Timing first = Time(session_first ? session : floor);
    const Timing second = Time(session_first ? floor : session);
    const Timing& of_session = session_first ? first : second;
    const Timing& of_floor = session_first ? second : first;
    session_.push_back(of_session.seconds);
    floor_.push_back(of_floor.seconds);
    ratios_[session_first].push_back(of_session.seconds / of_floor.seconds);
    session_cpu_ += of_session.cpu;
    floor_cpu_ += of_floor.cpu;
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

double Comparison::ratio() const {
  return std::sqrt(Median(ratios_[0]) * Median(ratios_[1]));
}

}  // namespace bench
