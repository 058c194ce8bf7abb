// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Times compute programs that compare two frames, on any device that can run them.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "frames.h"

namespace shader_bench {

struct Program {
  const char* name;
  const char* file;   // of its HLSL, without the ending
  const char* batch;  // the value of BATCH; empty: none is defined
  uint32_t pixels_per_thread_edge;
};
inline constexpr std::array<Program, 7> kPrograms = {{
    {"plain", "FrameDiffPlainCS", "", kTileEdge},
    {"1", "FrameDiffRectsCS", "1", kTileEdge},
    {"2", "FrameDiffRectsCS", "2", kTileEdge},
    {"4", "FrameDiffRectsCS", "4", kTileEdge},
    {"8", "FrameDiffRectsCS", "8", kTileEdge},
    {"16", "FrameDiffRectsCS", "16", kTileEdge},
    {"stream", "StreamCS", "", 1},
}};

// The contents of DiffTexInfo.
using Constants = std::array<uint32_t, 4>;

// Thread groups along one side of the frame. All programs have groups of 16 by 16 threads.
inline uint32_t Groups(uint32_t side, const Program& program) {
  const uint32_t edge = 16 * program.pixels_per_thread_edge;
  return (side + edge - 1) / edge;
}

class Device {
 public:
  virtual ~Device() = default;
  virtual std::string Name() const = 0;
  virtual void Load(const Size& size, const Pixels& before, const Pixels& after) = 0;
  // Runs the program of that index on the loaded frames. Returns the seconds it took to its end.
  virtual double Run(size_t program, const Constants& constants) = 0;
  // What Run has written, one value per tile, and zero where it has not.
  virtual std::vector<uint32_t> Result() = 0;
};

// Times all programs as the options say: [--rounds COUNT] [--sizes WIDTHxHEIGHT,...]
// [--device NAME, to report instead of the device's own]. Writes JSON to the standard output.
// Throws when a program's result is wrong.
void Compare(Device& device, const std::vector<std::string>& arguments);

}  // namespace shader_bench
