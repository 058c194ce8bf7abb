// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The three programs one after another on one frame-sized 8-bit texture, as the engine runs them.

#include <gtest/gtest.h>

#include <algorithm>

#include "diff/FrameDiffRectsCS.h"
#include "device/shaders/compute_device.h"

namespace shader_test {
namespace {

constexpr uint32_t kBlack = 0xff000000;
constexpr uint32_t kWhite = 0xffffffff;

struct Outcome {
  std::vector<uint32_t> measures;  // frame-sized, row by row
  std::vector<uint32_t> words;
};

Outcome RunAll(uint32_t width, uint32_t height, const std::vector<uint32_t>& before,
               const std::vector<uint32_t>& after) {
  ComputeDevice& device = ComputeDevice::Shared();
  const auto upload = [&](const std::vector<uint32_t>& pixels) {
    return device.MakeReadable(width, height, DXGI_FORMAT_B8G8R8A8_UNORM, pixels.data(), 4);
  };
  const ReadableTexture old_frame = upload(before);
  const ReadableTexture new_frame = upload(after);
  const UINT columns = (width + 31) / 32;
  const UINT rows = (height + 31) / 32;
  const WritableTexture measures = device.MakeWritable(
      width, height, DXGI_FORMAT_R8_UINT, std::vector<uint32_t>(size_t{width} * height, 0));
  const WritableBuffer words = device.MakeWords(std::vector<uint32_t>(4 * rows, 0xa5a5a5a5));

  device.Run({.bytecode = szResetDiffRectsCS,
              .outputs = {words.view.get()},
              .groups = {(4 * rows + 15) / 16, 1, 1}});
  const Constants frame_constants = {width, height, 32, 32};
  device.Run({.bytecode = szFrameDiffRectsCS,
              .textures = {new_frame.view.get(), old_frame.view.get()},
              .outputs = {measures.view.get()},
              .constants = &frame_constants,
              .groups = {(columns + 15) / 16, (rows + 15) / 16, 1}});
  const Constants flag_constants = {4, rows, columns, (columns + 31) / 32};
  device.Run({.bytecode = szGetBitFlagCS,
              .outputs = {measures.view.get(), words.view.get()},
              .constants = &flag_constants,
              .groups = {1, (rows + 15) / 16, 1}});
  return {device.Read(measures), device.Read(words)};
}

TEST(Passes, IdenticalFramesGiveZeroMeasuresAndZeroWords) {
  const std::vector<uint32_t> frame(200 * 100, 0xff123456);
  const Outcome outcome = RunAll(200, 100, frame, frame);
  EXPECT_EQ(outcome.measures, std::vector<uint32_t>(200 * 100, 0));
  EXPECT_EQ(outcome.words, std::vector<uint32_t>(16, 0));
}

// Pixel (100, 50) lies in tile column 3 of tile row 1.
TEST(Passes, OneChangedPixelSetsOneBit) {
  const std::vector<uint32_t> before(1920 * 1080, kBlack);
  std::vector<uint32_t> after = before;
  after[50 * 1920 + 100] = 0xff000100;
  std::vector<uint32_t> measures(1920 * 1080, 0);
  measures[1 * 1920 + 3] = 230;
  std::vector<uint32_t> words(4 * 34, 0);
  words[4 * 1 + 0] = 1u << 3;
  const Outcome outcome = RunAll(1920, 1080, before, after);
  EXPECT_TRUE(outcome.measures == measures);
  EXPECT_EQ(outcome.words, words);
}

// 4200 pixels are 131 whole tile columns and a partial one. Those from 128 on hold measures, which
// the four words of a row have no room for.
TEST(Passes, TileColumnsFrom128HoldMeasuresButReachNoFlag) {
  constexpr uint32_t kWidth = 4200;
  constexpr uint32_t kHeight = 65;
  const Outcome outcome = RunAll(kWidth, kHeight, std::vector<uint32_t>(kWidth * kHeight, kBlack),
                                 std::vector<uint32_t>(kWidth * kHeight, kWhite));
  for (uint32_t row = 0; row < 2; ++row) {
    for (uint32_t column = 0; column < 133; ++column) {
      EXPECT_EQ(outcome.measures[row * kWidth + column], column < 131 ? 255u : 0u)
          << column << ", " << row;
    }
  }
  std::vector<uint32_t> words(12, 0);
  std::fill_n(words.begin(), 8, 0xffffffff);
  EXPECT_EQ(outcome.words, words);
}

TEST(Passes, AChangeOnlyRightOfPixel4095ReachesNoFlag) {
  constexpr uint32_t kWidth = 4200;
  constexpr uint32_t kHeight = 33;
  const std::vector<uint32_t> before(kWidth * kHeight, kBlack);
  std::vector<uint32_t> after = before;
  after[4096] = kWhite;
  after[4191] = kWhite;
  const Outcome outcome = RunAll(kWidth, kHeight, before, after);
  EXPECT_EQ(outcome.measures[128], 255u);
  EXPECT_EQ(outcome.measures[130], 255u);
  EXPECT_EQ(outcome.words, std::vector<uint32_t>(8, 0));
}

}  // namespace
}  // namespace shader_test
