// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <array>
#include <cstdint>

namespace shader_test {

// The four words of an MD5 state (RFC 1321).
using Md5State = std::array<uint32_t, 4>;
using Md5Block = std::array<uint32_t, 16>;

constexpr Md5State kMd5Start = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};

// Mixes one 64-byte block into the state. Padding is the caller's: a shader container pads in a way
// of its own.
void Md5Transform(Md5State& state, const Md5Block& block);

}  // namespace shader_test
