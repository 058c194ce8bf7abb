// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "report.h"

#include <windows.h>

#include <cstdio>
#include <ctime>

namespace bench {
namespace {

std::string Quoted(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + '"';
}

std::string Date() {
  const std::time_t now = std::time(nullptr);
  char text[32];
  std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%S+00:00", std::gmtime(&now));
  return text;
}

DWORD Processors() {
  SYSTEM_INFO system;
  GetSystemInfo(&system);
  return system.dwNumberOfProcessors;
}

}  // namespace

void PrintJson(const std::vector<Row>& rows, const std::string& adapter) {
  char executable[MAX_PATH] = "";
  GetModuleFileNameA(nullptr, executable, MAX_PATH);
  std::printf("{\n  \"context\": {\n");
  std::printf("    \"date\": \"%s\",\n", Date().c_str());
  std::printf("    \"executable\": %s,\n", Quoted(executable).c_str());
  std::printf("    \"num_cpus\": %lu,\n", Processors());
  std::printf("    \"adapter\": %s,\n", Quoted(adapter).c_str());
  std::printf("    \"library_build_type\": \"release\"\n  },\n  \"benchmarks\": [");
  int index = 0;
  for (const Row& row : rows) {
    std::printf("%s\n    {\n", index == 0 ? "" : ",");
    std::printf("      \"name\": %s,\n", Quoted(row.name).c_str());
    std::printf("      \"family_index\": %d,\n", index++);
    std::printf("      \"per_family_instance_index\": 0,\n");
    std::printf("      \"run_name\": %s,\n", Quoted(row.name).c_str());
    std::printf("      \"run_type\": \"iteration\",\n");
    std::printf("      \"repetitions\": 1,\n");
    std::printf("      \"repetition_index\": 0,\n");
    std::printf("      \"threads\": 1,\n");
    std::printf("      \"iterations\": %llu,\n", static_cast<unsigned long long>(row.iterations));
    std::printf("      \"real_time\": %.16e,\n", row.real_us);
    std::printf("      \"cpu_time\": %.16e,\n", row.cpu_us);
    std::printf("      \"time_unit\": \"us\"");
    for (const auto& [name, value] : row.counters) {
      std::printf(",\n      %s: %.16e", Quoted(name).c_str(), value);
    }
    std::printf("\n    }");
  }
  std::printf("\n  ]\n}\n");
}

void PrintConsoleHeader() {
  const std::string rule(96, '-');
  std::printf("%s\n%-30s %15s %15s %12s UserCounters...\n%s\n", rule.c_str(), "Benchmark", "Time",
              "CPU", "Iterations", rule.c_str());
}

void PrintConsole(const Row& row) {
  std::printf("%-30s %12.2f us %12.2f us %12llu", row.name.c_str(), row.real_us, row.cpu_us,
              static_cast<unsigned long long>(row.iterations));
  for (const auto& [name, value] : row.counters) std::printf(" %s=%g", name.c_str(), value);
  std::printf("\n");
  std::fflush(stdout);
}

}  // namespace bench
