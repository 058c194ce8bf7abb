// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "device/shaders/dxbc.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <stdexcept>
#include <utility>

namespace shader_test {
namespace {

constexpr size_t kChecksumOffset = 4;
constexpr size_t kCheckedOffset = 20;
constexpr size_t kChunkCountOffset = 28;
constexpr size_t kChunkHeaderSize = 8;

Bytes Part(Bytes bytes, size_t offset, size_t size) {
  if (offset > bytes.size() || size > bytes.size() - offset) {
    throw std::out_of_range("the container ends too early");
  }
  return bytes.subspan(offset, size);
}

uint32_t Half(Bytes bytes, size_t offset) {
  const Bytes part = Part(bytes, offset, 2);
  return part[0] | part[1] << 8;
}

uint32_t Word(Bytes bytes, size_t offset) {
  return Half(bytes, offset) | Half(bytes, offset + 2) << 16;
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

void PutWord(std::vector<unsigned char>& bytes, size_t offset, uint32_t word) {
  for (int i = 0; i < 4; ++i) {
    bytes[offset + i] = static_cast<unsigned char>(word >> 8 * i);
  }
}

// What follows the whole blocks: the rest of the data, the mark 0x80 and two words of length.
// Unlike MD5's own padding, the length in bits stands at the start of the last block, and a second
// length at its end.
std::vector<unsigned char> LastBlocks(Bytes rest, uint32_t length) {
  std::vector<unsigned char> blocks(rest.begin(), rest.end());
  blocks.push_back(0x80);
  if (blocks.size() > 56) {
    blocks.resize(128);
    PutWord(blocks, 64, length * 8);
  } else {
    blocks.insert(blocks.begin(), 4, 0);
    blocks.resize(64);
    PutWord(blocks, 0, length * 8);
  }
  PutWord(blocks, blocks.size() - 4, length * 2 | 1);
  return blocks;
}

Bytes ChunkData(Bytes container, const std::string& name) {
  for (uint32_t i = 0; i < Word(container, kChunkCountOffset); ++i) {
    const uint32_t at = Word(container, kChunkCountOffset + 4 + 4 * i);
    const Bytes found = Part(container, at, 4);
    if (std::equal(found.begin(), found.end(), name.begin(), name.end())) {
      return Part(container, at + kChunkHeaderSize, Word(container, at + 4));
    }
  }
  throw std::out_of_range("no chunk " + name);
}

}  // namespace

Checksum RecordedChecksum(Bytes container) {
  Checksum checksum;
  for (size_t i = 0; i < checksum.size(); ++i) {
    checksum[i] = Word(container, kChecksumOffset + 4 * i);
  }
  return checksum;
}

Checksum ComputedChecksum(Bytes container) {
  const Bytes checked = Part(container, kCheckedOffset, container.size() - kCheckedOffset);
  const size_t whole = checked.size() / 64 * 64;
  Checksum state = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
  for (size_t i = 0; i < whole; i += 64) {
    Mix(state, checked.subspan(i, 64));
  }
  const std::vector<unsigned char> last =
      LastBlocks(checked.subspan(whole), static_cast<uint32_t>(checked.size()));
  for (size_t i = 0; i < last.size(); i += 64) {
    Mix(state, Bytes(last).subspan(i, 64));
  }
  return state;
}

Program DecodeProgram(Bytes container) {
  const Bytes data = ChunkData(container, "SHEX");
  Program program{Word(data, 0), {}};
  const size_t end = 4 * size_t{Word(data, 4)};
  for (size_t at = 8; at < end;) {
    const uint32_t token = Word(data, at);
    const uint32_t opcode = token & 0x7ff;
    const uint32_t words = opcode == kCustomData ? Word(data, at + 4) : token >> 24 & 0x7f;
    if (words == 0) {
      throw std::out_of_range("an instruction without length");
    }
    Instruction instruction{opcode, {}};
    for (uint32_t i = 1; i < words; ++i) {
      instruction.operands.push_back(Word(data, at + 4 * i));
    }
    program.instructions.push_back(std::move(instruction));
    at += 4 * size_t{words};
  }
  return program;
}

}  // namespace shader_test
