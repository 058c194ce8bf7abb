// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include <algorithm>

#include "diff/FrameDiffRectsCS.h"
#include "device/shaders/compute_device.h"

namespace shader_test {
namespace {

constexpr uint32_t kUntouched = 0xa5a5a5a5;

// `size` words of which the first `zeros` are cleared.
std::vector<uint32_t> Cleared(size_t size, size_t zeros) {
  std::vector<uint32_t> words(size, kUntouched);
  std::fill_n(words.begin(), zeros, 0);
  return words;
}

std::vector<uint32_t> WordsAfterReset(size_t size, UINT viewed, UINT groups) {
  ComputeDevice& device = ComputeDevice::Shared();
  const WritableBuffer words = device.MakeWords(Cleared(size, 0), viewed);
  device.Run(
      {.bytecode = szResetDiffRectsCS, .outputs = {words.view.get()}, .groups = {groups, 1, 1}});
  return device.Read(words);
}

TEST(ResetDiffRects, EachGroupClearsItsSixteenWordsAndNoOthers) {
  EXPECT_EQ(WordsAfterReset(40, 40, 1), Cleared(40, 16));
  EXPECT_EQ(WordsAfterReset(40, 40, 2), Cleared(40, 32));
}

TEST(ResetDiffRects, TheLastGroupMayReachPastTheBuffersEnd) {
  EXPECT_EQ(WordsAfterReset(40, 40, 3), Cleared(40, 40));
}

TEST(ResetDiffRects, WritesPastTheViewAreDropped) {
  EXPECT_EQ(WordsAfterReset(40, 24, 3), Cleared(40, 24));
}

// 34 tile rows: the buffer of a 1920 x 1080 frame.
TEST(ResetDiffRects, ClearsTheFlagBufferOfAWholeFrame) {
  EXPECT_EQ(WordsAfterReset(136, 136, 9), Cleared(136, 136));
}

}  // namespace
}  // namespace shader_test
