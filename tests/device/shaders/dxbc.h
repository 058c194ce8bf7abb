// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Reads the container that holds a compiled shader program: its checksum and its instructions.
// Throws std::out_of_range where the bytes end too early.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace shader_test {

using Bytes = std::span<const unsigned char>;

// The words of the checksum, as the container's header holds it and as its content demands it.
using Checksum = std::array<uint32_t, 4>;
Checksum RecordedChecksum(Bytes container);
Checksum ComputedChecksum(Bytes container);

// The opcode numbers of the tokenized program format that the tests ask for.
enum Opcode : uint32_t {
  kCustomData = 53,
  kDclSampler = 90,
  kDclThreadGroup = 155,
  kDclSharedMemoryRaw = 159,
  kDclSharedMemoryStructured = 160,
  kFirstAtomic = 169,
  kLastAtomic = 189,
  kSync = 190,
};

struct Instruction {
  uint32_t opcode;
  std::vector<uint32_t> operands;
};
struct Program {
  uint32_t version;  // program type in the high half, major and minor version in the low byte
  std::vector<Instruction> instructions;
};
Program DecodeProgram(Bytes container);

}  // namespace shader_test
