// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The committed bytecode, read without a device: what Windows' Direct3D validates before it takes a
// program, and how the programs are dispatched.

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "diff/FrameDiffRectsCS.h"
#include "quill-view/shaders/LayerShaders.h"

namespace shader_test {
namespace {

using Bytes = std::span<const unsigned char>;
using Checksum = std::array<uint32_t, 4>;

constexpr size_t kCheckedOffset = 20;

uint32_t Word(Bytes bytes, size_t offset) {
  uint32_t word;
  if (offset > bytes.size() || bytes.size() - offset < sizeof word) {
    throw std::out_of_range("the container ends too early");
  }
  std::memcpy(&word, bytes.data() + offset, sizeof word);
  return word;
}

// MD5's transformation of the state by one block of 64 bytes (RFC 1321).
void Mix(Checksum& state, Bytes block) {
  static constexpr int kShifts[4][4] = {
      {7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
  auto [a, b, c, d] = state;
  for (uint32_t i = 0; i < 64; ++i) {
    // What the round's function makes of b, c and d, and the word of the block that it takes.
    const std::pair<uint32_t, uint32_t> rounds[] = {{(b & c) | (~b & d), i},
                                                    {(b & d) | (c & ~d), (5 * i + 1) % 16},
                                                    {b ^ c ^ d, (3 * i + 5) % 16},
                                                    {c ^ (b | ~d), 7 * i % 16}};
    const auto& [mixed, word] = rounds[i / 16];
    const auto sine = static_cast<uint32_t>(std::floor(std::abs(std::sin(i + 1.0)) * 4294967296.0));
    const uint32_t sum = a + mixed + sine + Word(block, 4 * word);
    a = d;
    d = c;
    c = b;
    b += std::rotl(sum, kShifts[i / 16][i % 4]);
  }
  state[0] += a;
  state[1] += b;
  state[2] += c;
  state[3] += d;
}

// What follows the whole blocks: the rest of the data, the mark 0x80 and two words of length.
// Unlike MD5's own padding, the length in bits stands at the start of the last block, and a second
// length at its end.
std::vector<unsigned char> LastBlocks(Bytes rest, uint32_t length) {
  std::vector<unsigned char> blocks(rest.begin(), rest.end());
  blocks.push_back(0x80);
  const bool takes_two = blocks.size() > 56;
  if (!takes_two) blocks.insert(blocks.begin(), 4, 0);
  blocks.resize(takes_two ? 128 : 64);
  const uint32_t bits = length * 8;
  const uint32_t second_length = length * 2 | 1;
  std::memcpy(&blocks[blocks.size() - 64], &bits, 4);
  std::memcpy(&blocks[blocks.size() - 4], &second_length, 4);
  return blocks;
}

Checksum ComputedChecksum(Bytes container) {
  const Bytes checked = container.subspan(kCheckedOffset);
  const size_t whole = checked.size() / 64 * 64;
  Checksum state = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
  for (size_t i = 0; i < whole; i += 64) Mix(state, checked.subspan(i, 64));
  const std::vector<unsigned char> last =
      LastBlocks(checked.subspan(whole), static_cast<uint32_t>(checked.size()));
  for (size_t i = 0; i < last.size(); i += 64) Mix(state, Bytes(last).subspan(i, 64));
  return state;
}

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

// The words of the container's chunk that holds the program.
std::vector<uint32_t> ProgramWords(Bytes container) {
  constexpr uint32_t kName = 'S' | 'H' << 8 | 'E' << 16 | 'X' << 24;
  for (uint32_t i = 0; i < Word(container, 28); ++i) {
    const uint32_t chunk = Word(container, 32 + 4 * i);
    if (Word(container, chunk) != kName) continue;
    std::vector<uint32_t> words(Word(container, chunk + 4) / 4);
    for (size_t at = 0; at < words.size(); ++at) words[at] = Word(container, chunk + 8 + 4 * at);
    return words;
  }
  throw std::out_of_range("no chunk with a program");
}

Program DecodeProgram(Bytes container) {
  const std::vector<uint32_t> words = ProgramWords(container);
  Program program{words.at(0), {}};
  for (size_t at = 2; at < words.at(1);) {
    const uint32_t opcode = words.at(at) & 0x7ff;
    const uint32_t length = opcode == kCustomData ? words.at(at + 1) : words[at] >> 24 & 0x7f;
    if (length == 0 || length > words.size() - at) {
      throw std::out_of_range("an instruction of the wrong length");
    }
    const uint32_t* const first = &words[at];
    program.instructions.push_back({opcode, {first + 1, first + length}});
    at += length;
  }
  return program;
}

struct Named {
  const char* name;
  Bytes bytes;
  uint32_t group_width;  // of the thread groups that the engine dispatches
  uint32_t group_height;
};
const Named kPrograms[] = {{"FrameDiffRectsCS", szFrameDiffRectsCS, 16, 16},
                           {"ResetDiffRectsCS", szResetDiffRectsCS, 16, 1},
                           {"GetBitFlagCS", szGetBitFlagCS, 16, 16}};

TEST(Bytecode, EachProgramIsOneWholeContainerWithTheChecksumOfItsContent) {
  for (const Bytes bytes : {Bytes(szFrameDiffRectsCS), Bytes(szResetDiffRectsCS),
                            Bytes(szGetBitFlagCS), Bytes(szLayerVS), Bytes(szLayerPS)}) {
    SCOPED_TRACE(bytes.size());
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 4), "DXBC");
    const Checksum recorded = {Word(bytes, 4), Word(bytes, 8), Word(bytes, 12), Word(bytes, 16)};
    EXPECT_EQ(recorded, ComputedChecksum(bytes));
    EXPECT_EQ(Word(bytes, kCheckedOffset), 1u) << "container version";
    EXPECT_EQ(Word(bytes, 24), bytes.size());
  }
}

TEST(Bytecode, EachProgramOfTheEngineIsAComputeProgramOfShaderModel5) {
  constexpr uint32_t kCompute = 5;
  for (const Named& program : kPrograms) {
    EXPECT_EQ(DecodeProgram(program.bytes).version, kCompute << 16 | 0x50) << program.name;
  }
}

TEST(Bytecode, NoProgramOfTheEngineUsesSamplersSharedMemoryBarriersOrAtomicOperations) {
  for (const Named& program : kPrograms) {
    const std::vector<Instruction> instructions = DecodeProgram(program.bytes).instructions;
    EXPECT_FALSE(instructions.empty()) << program.name;
    for (const auto& [opcode, operands] : instructions) {
      const bool is_forbidden = opcode == kDclSampler || opcode == kDclSharedMemoryRaw ||
                                opcode == kDclSharedMemoryStructured || opcode == kSync ||
                                (opcode >= kFirstAtomic && opcode <= kLastAtomic);
      EXPECT_FALSE(is_forbidden) << program.name << " has opcode " << opcode;
    }
  }
}

TEST(Bytecode, ThreadGroupsHaveTheSizeThatTheEngineDispatches) {
  for (const Named& program : kPrograms) {
    std::vector<std::vector<uint32_t>> sizes;
    for (const auto& [opcode, operands] : DecodeProgram(program.bytes).instructions) {
      if (opcode == kDclThreadGroup) sizes.push_back(operands);
    }
    const std::vector<uint32_t> dispatched = {program.group_width, program.group_height, 1};
    EXPECT_EQ(sizes, decltype(sizes){dispatched}) << program.name;
  }
}

}  // namespace
}  // namespace shader_test
