// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "device/shaders/md5.h"

#include <bit>
#include <cmath>

namespace shader_test {
namespace {

struct Step {
  uint32_t mixed;  // of the words b, c and d, by the round's function
  uint32_t word;   // which word of the block
};

Step StepOf(uint32_t i, uint32_t b, uint32_t c, uint32_t d) {
  switch (i / 16) {
    case 0:
      return {(b & c) | (~b & d), i};
    case 1:
      return {(b & d) | (c & ~d), (5 * i + 1) % 16};
    case 2:
      return {b ^ c ^ d, (3 * i + 5) % 16};
    default:
      return {c ^ (b | ~d), 7 * i % 16};
  }
}

}  // namespace

void Md5Transform(Md5State& state, const Md5Block& block) {
  static constexpr int kShifts[4][4] = {
      {7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
  auto [a, b, c, d] = state;
  for (uint32_t i = 0; i < 64; ++i) {
    const Step step = StepOf(i, b, c, d);
    const auto sine = static_cast<uint32_t>(std::floor(std::abs(std::sin(i + 1.0)) * 4294967296.0));
    const uint32_t sum = a + step.mixed + sine + block[step.word];
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

}  // namespace shader_test
