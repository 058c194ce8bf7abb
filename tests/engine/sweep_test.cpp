// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Generated frames of many sizes, each compared with the CPU's answer.

#include <algorithm>
#include <functional>
#include <random>
#include <string>

#include "engine/engine_test.h"

namespace {

using reference::Image;
using Random = std::mt19937;

constexpr uint32_t kSeed = 4096;
constexpr uint32_t kColor = 0x00ffffff;
constexpr uint32_t kTile = reference::kTileSize;

struct FrameSize {
  uint32_t width;
  uint32_t height;
};

uint32_t Below(Random& random, uint32_t limit) {
  return static_cast<uint32_t>(random() % limit);
}

// A way to make the next frame of the one before.
struct Change {
  const char* name;
  std::function<void(Image&, Random&)> apply;
};

void ChangeSomePixels(Image& image, Random& random) {
  for (uint32_t count = 1 + Below(random, 20); count > 0; --count) {
    ChangePixel(image, Below(random, image.width), Below(random, image.height));
  }
}

void StepOneChannel(Image& image, Random& random) {
  uint32_t& pixel = image.At(Below(random, image.width), Below(random, image.height));
  pixel ^= 1u << (8 * Below(random, 3));
}

void ChangeRectangle(Image& image, Random& random) {
  const uint32_t left = Below(random, image.width);
  const uint32_t top = Below(random, image.height);
  const uint32_t right = left + 1 + Below(random, image.width - left);
  const uint32_t bottom = top + 1 + Below(random, image.height - top);
  for (uint32_t y = top; y < bottom; ++y) {
    for (uint32_t x = left; x < right; ++x) image.At(x, y) ^= kColor;
  }
}

// One corner pixel in about every third tile.
void ChangeTileCorners(Image& image, Random& random) {
  for (uint32_t y = 0; y < image.height; y += kTile) {
    for (uint32_t x = 0; x < image.width; x += kTile) {
      if (Below(random, 3) != 0) continue;
      const uint32_t cornerX = std::min(x + Below(random, 2) * (kTile - 1), image.width - 1);
      const uint32_t cornerY = std::min(y + Below(random, 2) * (kTile - 1), image.height - 1);
      ChangePixel(image, cornerX, cornerY);
    }
  }
}

void ChangeLastColumnAndRow(Image& image, Random&) {
  for (uint32_t y = 0; y < image.height; ++y) ChangePixel(image, image.width - 1, y);
  for (uint32_t x = 0; x < image.width; ++x) ChangePixel(image, x, image.height - 1);
}

void ChangeEverything(Image& image, Random&) {
  for (uint32_t& pixel : image.pixels) pixel ^= kColor;
}

void ChangeAlpha(Image& image, Random&) {
  for (uint32_t& pixel : image.pixels) pixel ^= ~kColor;
}

const std::vector<Change>& Changes() {
  static const std::vector<Change> changes = {
      {"nothing", [](Image&, Random&) {}},
      {"alpha", ChangeAlpha},
      {"one step of one channel", StepOneChannel},
      {"some pixels", ChangeSomePixels},
      {"a rectangle", ChangeRectangle},
      {"tile corners", ChangeTileCorners},
      {"last column and row", ChangeLastColumnAndRow},
      {"everything", ChangeEverything},
  };
  return changes;
}

// Every remainder of the width and of the height by the tile size, in pairs that differ.
std::vector<FrameSize> SizesOfEveryRemainder(Random& random) {
  std::vector<FrameSize> sizes;
  for (uint32_t remainder = 0; remainder < kTile; ++remainder) {
    sizes.push_back({kTile * (1 + Below(random, 8)) + remainder,
                     kTile * (1 + Below(random, 5)) + (remainder * 7 + 3) % kTile});
  }
  return sizes;
}

std::vector<FrameSize> SmallSizes(Random& random) {
  std::vector<FrameSize> sizes = {{1, 1},   {1, 2},   {2, 1},   {31, 31}, {32, 32}, {33, 33},
                                  {33, 32}, {32, 33}, {34, 1},  {1, 34},  {63, 65}, {64, 64},
                                  {65, 63}, {65, 65}, {96, 33}, {97, 33}};
  for (int i = 0; i < 16; ++i) sizes.push_back({1 + Below(random, 70), 1 + Below(random, 70)});
  return sizes;
}

// Around the ends of the flag words and of the reported width, and over several thread groups.
std::vector<FrameSize> LargeSizes() {
  return {{1023, 40}, {1024, 40}, {1025, 40}, {1056, 40}, {1057, 40},  {2048, 66},  {2081, 66},
          {3072, 66}, {3105, 66}, {4063, 34}, {4064, 34}, {4065, 34},  {4095, 65},  {4096, 65},
          {4097, 65}, {4128, 65}, {4129, 65}, {4130, 65}, {4200, 100}, {5000, 40},  {511, 512},
          {512, 511}, {513, 513}, {40, 1000}, {70, 1057}, {34, 2100},  {1366, 768}, {800, 600}};
}

class FrameDiffEngineSweep : public EngineTest {
 protected:
  // A first frame and then every change in turn, from a random one on, each compared with the
  // frame before.
  void CheckSize(const FrameSize& size, Random& random, size_t frames) {
    Image image = NoiseImage(size.width, size.height, static_cast<uint32_t>(random()));
    ASSERT_TRUE(Handle(image).succeeded);
    const size_t start = random();
    for (size_t i = 0; i < frames; ++i) {
      const Change& change = Changes()[(start + i) % Changes().size()];
      SCOPED_TRACE(change.name);
      const Image before = image;
      change.apply(image, random);
      const reference::Diff expected = reference::DiffOf(before, image);
      const Outcome outcome = Handle(image);
      ASSERT_TRUE(outcome.succeeded);
      ASSERT_EQ(outcome.rects, reference::FieldsOf(expected.rects));
      ASSERT_EQ(outcome.ratio, reference::Ratio(expected.area, size.width, size.height));
    }
  }

  void CheckSizes(const std::vector<FrameSize>& sizes, Random& random, size_t frames) {
    for (const FrameSize& size : sizes) {
      SCOPED_TRACE("seed " + std::to_string(kSeed) + ", " + std::to_string(size.width) + " x " +
                   std::to_string(size.height));
      CheckSize(size, random, frames);
      if (HasFatalFailure()) return;
    }
  }
};

TEST_F(FrameDiffEngineSweep, EveryRemainderByTheTileSize) {
  Random random(kSeed);
  CheckSizes(SizesOfEveryRemainder(random), random, Changes().size());
}

TEST_F(FrameDiffEngineSweep, SmallFrames) {
  Random random(kSeed);
  CheckSizes(SmallSizes(random), random, Changes().size());
}

TEST_F(FrameDiffEngineSweep, FramesOverSeveralWordsAndThreadGroups) {
  Random random(kSeed);
  CheckSizes(LargeSizes(), random, 4);
}

}  // namespace
