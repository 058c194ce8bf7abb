// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "device/shaders/md5.h"

#include <gtest/gtest.h>

namespace shader_test {
namespace {

// "" and "abc" of RFC 1321's test suite, padded as the RFC says: 0x80, zeros, the length in bits.
TEST(Md5, KnowsTheDigestOfNothing) {
  Md5State state = kMd5Start;
  Md5Transform(state, {0x80});
  // d41d8cd98f00b204e9800998ecf8427e
  EXPECT_EQ(state, (Md5State{0xd98c1dd4, 0x04b2008f, 0x980980e9, 0x7e42f8ec}));
}

TEST(Md5, KnowsTheDigestOfAbc) {
  Md5State state = kMd5Start;
  Md5Block block = {0x80636261};
  block[14] = 24;
  Md5Transform(state, block);
  // 900150983cd24fb0d6963f7d28e17f72
  EXPECT_EQ(state, (Md5State{0x98500190, 0xb04fd23c, 0x7d3f96d6, 0x727fe128}));
}

}  // namespace
}  // namespace shader_test
