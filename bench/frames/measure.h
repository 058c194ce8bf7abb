// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <functional>
#include <vector>

namespace bench {

double Now();         // seconds
double CpuSeconds();  // of all threads of this process

// One of the two ways to do the same work.
struct Side {
  std::function<void()> prepare;  // outside of the time that counts
  std::function<void()> run;
};

// Times two sides in turn, and has them take turns at going first, too: what the machine does
// besides falls on both alike.
class Comparison {
 public:
  // Adds rounds for about `seconds`.
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
  // From runs that were neighbours in time: the geometric mean of two medians, over the pairs in
  // which the session went first and over those in which the floor did. What the first of a pair
  // leaves in the caches for the second cancels out.
  double ratio() const;

 private:
  std::vector<double> session_;  // seconds
  std::vector<double> floor_;
  std::vector<double> ratios_[2];  // by whether the session went first
  double session_cpu_ = 0;
  double floor_cpu_ = 0;
};

// Has the processor's caches forget what they hold.
void EvictCaches();

double Median(std::vector<double> values);

}  // namespace bench
