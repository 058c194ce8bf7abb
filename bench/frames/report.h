// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

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

void PrintJson(const std::vector<Row>& rows, const std::string& adapter);
void PrintConsoleHeader();
void PrintConsole(const Row& row);

}  // namespace bench
