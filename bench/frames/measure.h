// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <functional>
#include <vector>

namespace bench {

double Now();         // seconds
double CpuSeconds();  // of all threads of this process

double Median(std::vector<double> values);

// One of the two ways to do the same work.
struct Side {
  std::function<void()> prepare;  // outside of the time that counts
  std::function<void()> run;
};

// Times both sides in turns of a few runs and alternates which goes first, so that other load on
// the machine affects both alike. The first runs of a turn do not count, because they find the
// caches as the other side left them; a host has no other side.
class Comparison {
 public:
  // Adds turns for about `seconds`.
  void Run(const Side& session, const Side& floor, double seconds);

  size_t rounds() const { return session_.size(); }
  // Medians, of one run.
  double session_seconds() const;
  double floor_seconds() const;
  // What nothing disturbed.
  double shortest_session_seconds() const;
  double shortest_floor_seconds() const;
  // Means, of one run.
  double session_cpu() const { return session_cpu_ / static_cast<double>(rounds()); }
  double floor_cpu() const { return floor_cpu_ / static_cast<double>(rounds()); }
  // The median over all pairs of turns that were neighbours in time.
  double ratio() const { return Median(ratios_); }

 private:
  std::vector<double> session_;  // seconds
  std::vector<double> floor_;
  std::vector<double> ratios_;
  double session_cpu_ = 0;
  double floor_cpu_ = 0;
};

// Has the processor's caches forget what they hold.
void EvictCaches();

}  // namespace bench
