// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "comparison.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <functional>
#include <iomanip>
#include <iostream>
#include <random>
#include <sstream>
#include <stdexcept>

namespace shader_bench {
namespace {

struct Options {
  std::string device;
  int rounds = 9;
  std::vector<Size> sizes = {{1920, 1080}, {3840, 2160}, {7680, 4320}};
};

std::vector<Size> ParseSizes(const std::string& text) {
  std::vector<Size> sizes;
  std::istringstream stream(text);
  std::string item;
  while (std::getline(stream, item, ',')) {
    Size size{};
    char cross = 0;
    std::istringstream(item) >> size.width >> cross >> size.height;
    if (cross != 'x' || size.width == 0 || size.height == 0) {
      throw std::invalid_argument("--sizes takes WIDTHxHEIGHT,...");
    }
    sizes.push_back(size);
  }
  return sizes;
}

Options Parse(const std::vector<std::string>& arguments) {
  Options options;
  for (size_t i = 0; i + 1 < arguments.size(); i += 2) {
    if (arguments[i] == "--rounds") {
      options.rounds = std::max(1, std::stoi(arguments[i + 1]));
    } else if (arguments[i] == "--device") {
      options.device = arguments[i + 1];
    } else if (arguments[i] == "--sizes") {
      options.sizes = ParseSizes(arguments[i + 1]);
    } else {
      throw std::invalid_argument("unknown option " + arguments[i]);
    }
  }
  if (arguments.size() % 2 != 0) {
    throw std::invalid_argument(arguments.back() + " takes a value");
  }
  return options;
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const size_t middle = values.size() / 2;
  return values.size() % 2 != 0 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

struct Pair {
  Size size;
  Pixels before;
  Pixels after;
  std::vector<uint32_t> expected;
};

// The stream marks the tiles that changed, without a measure.
bool Agrees(const Program& program, uint32_t value, uint32_t expected) {
  return program.pixels_per_thread_edge == 1 ? (value != 0) == (expected != 0) : value == expected;
}

void Verify(Device& device, size_t index, const Pair& pair, const Constants& constants) {
  const Program& program = kPrograms.at(index);
  device.Run(index, constants);
  const std::vector<uint32_t> result = device.Result();
  const uint32_t columns = Columns(pair.size);
  // The tiles that end on the frame's edge or beyond it are skipped, by all but the stream.
  for (uint32_t row = 0; row < (pair.size.height - 1) / kTileEdge; ++row) {
    for (uint32_t column = 0; column < (pair.size.width - 1) / kTileEdge; ++column) {
      const size_t at = size_t{row} * columns + column;
      if (!Agrees(program, result.at(at), pair.expected.at(at))) {
        throw std::runtime_error(std::string("program ") + program.name + " gives tile " +
                                 std::to_string(column) + ", " + std::to_string(row) + " " +
                                 std::to_string(result.at(at)) + " instead of " +
                                 std::to_string(pair.expected.at(at)));
      }
    }
  }
}

// One core's time to read both frames once.
double TimeOfMemcmp(const Pair& pair) {
  const auto start = std::chrono::steady_clock::now();
  const int order =
      std::memcmp(pair.before.data(), pair.after.data(), pair.before.size() * sizeof(uint32_t));
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  if (order != 0) {
    throw std::logic_error("memcmp needs equal frames");
  }
  return time.count();
}

struct Contender {
  std::string name;
  std::function<double()> time;
  std::vector<double> seconds = {};
};

// In turns, so that what disturbs the machine disturbs all of them, and in another order each time,
// so that none always runs with the caches that the same one has left.
void TakeTurns(std::vector<Contender>& contenders, int rounds) {
  std::minstd_rand random;
  for (int round = 0; round < rounds; ++round) {
    std::vector<Contender*> order;
    for (Contender& contender : contenders) {
      order.push_back(&contender);
    }
    std::shuffle(order.begin(), order.end(), random);
    for (Contender* contender : order) {
      contender->seconds.push_back(contender->time());
    }
  }
}

class Report {
 public:
  explicit Report(const std::string& device) {
    std::cout << "{\n  \"device\": " << std::quoted(device) << ",\n  \"results\": [";
  }
  ~Report() { std::cout << "\n  ]\n}\n" << std::flush; }

  void Add(const Size& size, const Change& change, const Contender& contender) {
    std::cout << separator_ << "\n    {\"width\": " << size.width << ", \"height\": " << size.height
              << ", \"frames\": " << std::quoted(change.name)
              << ", \"program\": " << std::quoted(contender.name)
              << ", \"milliseconds\": " << 1000 * Median(contender.seconds) << ", \"fastest\": "
              << 1000 * *std::min_element(contender.seconds.begin(), contender.seconds.end())
              << "}";
    separator_ = ",";
  }

 private:
  const char* separator_ = "";
};

std::vector<Contender> Contenders(Device& device, const Pair& pair, const Constants& constants) {
  std::vector<Contender> contenders;
  for (size_t i = 0; i < kPrograms.size(); ++i) {
    contenders.push_back({kPrograms[i].name, [&, i] { return device.Run(i, constants); }});
  }
  // For a frame of no size every thread ends at once: what a dispatch costs without any work.
  contenders.push_back({"nothing", [&] { return device.Run(0, {0, 0, kTileEdge, kTileEdge}); }});
  if (pair.before == pair.after) {
    contenders.push_back({"memcmp", [&] { return TimeOfMemcmp(pair); }});
  }
  return contenders;
}

}  // namespace

void Compare(Device& device, const std::vector<std::string>& arguments) {
  const Options options = Parse(arguments);
  Report report(options.device.empty() ? device.Name() : options.device);
  for (const Size& size : options.sizes) {
    const Constants constants = {size.width, size.height, kTileEdge, kTileEdge};
    Pair pair{size, NoiseFrame(size), {}, {}};
    for (const Change& change : kChanges) {
      pair.after = Changed(pair.before, size, change);
      pair.expected = ExpectedMeasures(pair.before, pair.after, size);
      device.Load(size, pair.before, pair.after);
      for (size_t i = 0; i < kPrograms.size(); ++i) {
        Verify(device, i, pair, constants);
      }
      std::vector<Contender> contenders = Contenders(device, pair, constants);
      TakeTurns(contenders, options.rounds);
      for (const Contender& contender : contenders) {
        report.Add(size, change, contender);
      }
    }
  }
}

}  // namespace shader_bench
