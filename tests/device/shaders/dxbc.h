// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Reads the container that holds a compiled shader program: its checksum, its reflection data and
// its instructions. Throws std::out_of_range where the bytes end too early.
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

// A resource that the program declares. The numbers are D3D_SHADER_INPUT_TYPE,
// D3D_RESOURCE_RETURN_TYPE and D3D_SRV_DIMENSION.
struct Resource {
  std::string name;
  uint32_t type;
  uint32_t return_type;
  uint32_t dimension;
  uint32_t stride;  // in bytes, of a structured buffer; of others 0
  uint32_t components;
  uint32_t slot;
  uint32_t slot_count;
};
std::vector<Resource> Resources(Bytes container);

struct Variable {
  std::string name;
  uint32_t offset;
  uint32_t size;
  bool used;
  uint32_t variable_class;  // D3D_SHADER_VARIABLE_CLASS
  uint32_t type;            // D3D_SHADER_VARIABLE_TYPE
  std::string type_name;
};
struct ConstantBuffer {
  std::string name;
  uint32_t size;
  uint32_t type;  // D3D_CBUFFER_TYPE
  std::vector<Variable> variables;
};
// Constant buffers, and the element layouts of structured buffers, which are recorded alike.
std::vector<ConstantBuffer> BufferLayouts(Bytes container);

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
