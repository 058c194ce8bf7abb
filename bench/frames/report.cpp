// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "report.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string_view>
#include <thread>

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

void PrintConsole(const Row& row) {
  std::printf("%-30s %12.2f us %12.2f us %12llu", row.name.c_str(), row.real_us, row.cpu_us,
              static_cast<unsigned long long>(row.iterations));
  for (const auto& [name, value] : row.counters) std::printf(" %s=%g", name.c_str(), value);
  std::printf("\n");
  std::fflush(stdout);
}

bool ReadOption(std::string_view argument, std::string_view name, std::string& value) {
  if (!argument.starts_with(name)) return false;
  value = argument.substr(name.size());
  return true;
}

}  // namespace

bool ReadOptions(int argc, char** argv, Options& options) {
  options.program = argv[0];
  for (int i = 1; i < argc; ++i) {
    std::string value;
    if (ReadOption(argv[i], "--benchmark_filter=", value)) {
      options.filter = std::regex(value);
    } else if (ReadOption(argv[i], "--benchmark_min_time=", value)) {
      options.seconds = std::atof(value.c_str());
    } else if (ReadOption(argv[i], "--benchmark_format=", value)) {
      options.json = value == "json";
    } else {
      return false;
    }
  }
  return true;
}

Report::Report(const Options& options) : options_(options) {
  if (options.json) return;
  const std::string rule(96, '-');
  std::printf("%s\n%-30s %15s %15s %12s UserCounters...\n%s\n", rule.c_str(), "Benchmark", "Time",
              "CPU", "Iterations", rule.c_str());
}

bool Report::IsWanted(const std::string& name) const {
  return std::regex_search(name, options_.filter);
}

void Report::Add(Row row) {
  if (!options_.json) PrintConsole(row);
  rows_.push_back(std::move(row));
}

void Report::AddComparison(const std::string& name, const std::string& other,
                           const Comparison& result, double ratio, size_t per_run,
                           std::vector<std::pair<std::string, double>> counters) {
  const uint64_t iterations = result.rounds() * per_run;
  const double us = 1e6 / static_cast<double>(per_run);
  counters.insert(counters.begin(), {"ratio", ratio});
  Add({name, iterations, result.session_seconds() * us, result.session_cpu() * us,
       std::move(counters)});
  Add({name + "/" + other, iterations, result.floor_seconds() * us, result.floor_cpu() * us});
}

void Report::PrintJson(const std::string& adapter) const {
  if (!options_.json) return;
  std::printf("{\n  \"context\": {\n");
  std::printf("    \"date\": \"%s\",\n", Date().c_str());
  std::printf("    \"executable\": %s,\n", Quoted(options_.program).c_str());
  std::printf("    \"num_cpus\": %u,\n", std::thread::hardware_concurrency());
  std::printf("    \"adapter\": %s,\n", Quoted(adapter).c_str());
  std::printf("    \"library_build_type\": \"release\"\n  },\n  \"benchmarks\": [");
  int index = 0;
  for (const Row& row : rows_) {
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

}  // namespace bench
