// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "measure.h"

namespace bench {

// One line of the output: fields and their order are Google Benchmark's, so that its tools read it.
// The library itself is packaged for Linux only, and would not run two sides in turn.
struct Row {
  std::string name;
  uint64_t iterations = 1;
  double real_us = 0;
  double cpu_us = 0;
  std::vector<std::pair<std::string, double>> counters = {};
};

struct Options {
  std::string program;
  std::regex filter{".*"};
  double seconds = 2;
  bool json = false;
};

// False if the command line has anything but --benchmark_filter=REGEX, --benchmark_min_time=SECONDS
// and --benchmark_format=json.
bool ReadOptions(int argc, char** argv, Options& options);

// The rows, printed as they come or as JSON at the end.
class Report {
 public:
  explicit Report(const Options& options);  // which must outlive it

  bool IsWanted(const std::string& name) const;
  void Add(Row row);
  // A row for each side, of which the second is NAME/OTHER. A run did the work per_run times.
  void AddComparison(const std::string& name, const std::string& other, const Comparison& result,
                     double ratio, size_t per_run = 1,
                     std::vector<std::pair<std::string, double>> counters = {});
  // Prints nothing unless JSON was asked for.
  void PrintJson(const std::string& adapter) const;

 private:
  const Options& options_;
  std::vector<Row> rows_;
};

}  // namespace bench
