// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Generated sequences of frames, each frame compared with the CPU's answer. A case depends on its
// number alone: --gtest_filter=*/NUMBER runs one.

#include <algorithm>
#include <functional>
#include <iterator>
#include <random>
#include <set>
#include <string>
#include <utility>

#include "device/engine/engine_test.h"

namespace {

using reference::Image;
using Random = std::mt19937;

constexpr uint32_t kSeed = 4096;
constexpr uint32_t kColor = 0x00ffffff;
constexpr uint32_t kTile = reference::kTileSize;
constexpr uint32_t kLongestSide = 5120;

struct FrameSize {
  uint32_t width;
  uint32_t height;
};

uint32_t Below(Random& random, uint32_t limit) {
  return static_cast<uint32_t>(random() % limit);
}

// The pixels of one direction in which a change can be seen, unless they lie right of the columns
// that have flags. At least 1, so that a frame of blind tiles can be changed too.
uint32_t Examined(uint32_t size) {
  return std::max((size - 1) / kTile * kTile, 1u);
}

// A way to make the next frame of the one before.
struct Change {
  const char* name;
  uint32_t narrowest;  // pixels of width that it needs
  std::function<void(Image&, Random&)> apply;
};

uint32_t& ExaminedPixel(Image& image, Random& random) {
  return image.At(Below(random, Examined(image.width)), Below(random, Examined(image.height)));
}

// The smallest step up or down of one of a pixel's four bytes.
auto StepOfByte(int byte) {
  return [byte](Image& image, Random& random) { ExaminedPixel(image, random) ^= 1u << (8 * byte); };
}

void ChangeSomePixels(Image& image, Random& random) {
  for (uint32_t count = 1 + Below(random, 20); count > 0; --count) {
    ChangePixel(image, Below(random, image.width), Below(random, image.height));
  }
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

void ChangeBlindTiles(Image& image, Random&) {
  for (uint32_t y = 0; y < image.height; ++y) {
    for (uint32_t x = 0; x < image.width; ++x) {
      const bool examined =
          reference::IsTileExamined(x / kTile, y / kTile, image.width, image.height);
      if (!examined) image.At(x, y) ^= kColor;
    }
  }
}

// The last pixels before the blind tiles, in every other tile of both edges.
void ChangeBesideBlindTiles(Image& image, Random& random) {
  const uint32_t lastX = Examined(image.width) - 1;
  const uint32_t lastY = Examined(image.height) - 1;
  const uint32_t start = kTile * Below(random, 2);
  for (uint32_t x = start; x < image.width; x += 2 * kTile) ChangePixel(image, x, lastY);
  for (uint32_t y = start; y < image.height; y += 2 * kTile) ChangePixel(image, lastX, y);
}

// Neighbouring tiles of one row on both sides of a multiple of 32 columns.
void ChangeRunOverWords(Image& image, Random& random) {
  const uint32_t columns = Examined(image.width) / kTile;
  const uint32_t boundary = kTile * (1 + Below(random, (columns - 1) / kTile));
  const uint32_t first = boundary - 1 - Below(random, kTile);
  const uint32_t last = boundary + Below(random, std::min(columns - boundary, kTile));
  const uint32_t y = Below(random, Examined(image.height));
  for (uint32_t column = first; column <= last; ++column) {
    ChangePixel(image, column * kTile + Below(random, kTile), y);
  }
}

auto EveryPixel(uint32_t bits) {
  return [bits](Image& image, Random&) {
    for (uint32_t& pixel : image.pixels) pixel ^= bits;
  };
}

const Change kChanges[] = {
    {"nothing", 1, [](Image&, Random&) {}},
    {"one step of blue", 1, StepOfByte(0)},
    {"one step of green", 1, StepOfByte(1)},
    {"one step of red", 1, StepOfByte(2)},
    {"one step of alpha", 1, StepOfByte(3)},
    {"alpha", 1, EveryPixel(~kColor)},
    {"some pixels", 1, ChangeSomePixels},
    {"a rectangle", 1, ChangeRectangle},
    {"tile corners", 1, ChangeTileCorners},
    {"blind tiles", 1, ChangeBlindTiles},
    {"beside the blind tiles", 1, ChangeBesideBlindTiles},
    {"everything", 1, EveryPixel(kColor)},
    {"a run over words", (kTile + 1) * kTile + 1, ChangeRunOverWords},
};

// A first frame of one size and format, and changes of it that follow.
struct Scene {
  FrameSize size;
  DXGI_FORMAT format;
  std::vector<const Change*> changes;
};

using Case = std::vector<Scene>;

// The formats that captured pixels can have, and views that read the stored numbers differently.
constexpr DXGI_FORMAT kFormats[] = {DXGI_FORMAT_B8G8R8A8_UNORM, DXGI_FORMAT_R8G8B8A8_UNORM,
                                    DXGI_FORMAT_B8G8R8X8_UNORM, DXGI_FORMAT_B8G8R8A8_UNORM_SRGB};

class Plan {
 public:
  Plan() {
    AddEveryRemainder();
    AddSmallSizes();
    AddEdgesOfWordsAndThreadGroups();
    AddRandomSizes();
    AddSizeSequences();
    AddFormatSequences();
    AddLargeSizes();
  }

  std::vector<Case> cases;

 private:
  // Every case goes on in the list of changes where the one before it stopped.
  Scene MakeScene(const FrameSize& size, DXGI_FORMAT format, size_t count) {
    Scene scene{size, format, {}};
    while (scene.changes.size() < count) {
      const Change& change = kChanges[nextChange_++ % std::size(kChanges)];
      if (size.width >= change.narrowest) scene.changes.push_back(&change);
    }
    return scene;
  }

  void Add(const FrameSize& size, size_t changes) {
    cases.push_back({MakeScene(size, DXGI_FORMAT_B8G8R8A8_UNORM, changes)});
  }

  void AddBothWays(const FrameSize& size, size_t changes) {
    Add(size, changes);
    Add({size.height, size.width}, changes);
  }

  // Of the width and of the height, by the tile size, in pairs that differ.
  void AddEveryRemainder() {
    for (uint32_t remainder = 0; remainder < kTile; ++remainder) {
      AddBothWays({kTile * (1 + Below(random_, 8)) + remainder,
                   kTile * (1 + Below(random_, 5)) + (remainder * 7 + 3) % kTile},
                  std::size(kChanges));
    }
  }

  void AddSmallSizes() {
    for (const FrameSize& size : std::vector<FrameSize>{
             {1, 1}, {1, 2}, {31, 31}, {32, 32}, {33, 33}, {33, 32}, {34, 1}, {65, 63}}) {
      AddBothWays(size, std::size(kChanges));
    }
    for (int i = 0; i < 48; ++i) {
      Add({1 + Below(random_, 70), 1 + Below(random_, 70)}, std::size(kChanges));
    }
  }

  void AddEdgesOfWordsAndThreadGroups() {
    const uint32_t others[] = {33, 34, 40, 65, 66, 97};
    for (const uint32_t edge :
         {511,  512,  513,  544,  545,  1023, 1024, 1025, 1056, 1057, 1089, 2047,
          2048, 2049, 2080, 2081, 3071, 3072, 3073, 3104, 3105, 4063, 4064, 4065,
          4095, 4096, 4097, 4127, 4128, 4129, 4130, 4160, 4200, 5000, 5119, 5120}) {
      AddBothWays({edge, others[cases.size() / 2 % std::size(others)]}, 8);
    }
  }

  // Below the longest side, all orders of magnitude alike.
  uint32_t RandomSide() { return 1 + Below(random_, kLongestSide >> Below(random_, 10)); }

  FrameSize RandomSize(uint32_t area) {
    const uint32_t width = RandomSide();
    return {width, std::min(RandomSide(), 1 + Below(random_, area / width + 1))};
  }

  void AddRandomSizes() {
    for (int i = 0; i < 100; ++i) AddBothWays(RandomSize(200000), 5);
  }

  // Larger and smaller, in both directions and in one.
  void AddSizeSequences() {
    for (int i = 0; i < 60; ++i) {
      const FrameSize first = RandomSize(80000);
      const FrameSize second = RandomSize(80000);
      Case sequence;
      for (const FrameSize& size : {first, FrameSize{first.width, 1 + Below(random_, 90)}, second,
                                    FrameSize{second.width, 1 + Below(random_, 90)}}) {
        sequence.push_back(MakeScene(size, DXGI_FORMAT_B8G8R8A8_UNORM, 2));
      }
      cases.push_back(std::move(sequence));
    }
  }

  // From every format to every other and back; the engine looks at the format only with the size.
  void AddFormatSequences() {
    for (const DXGI_FORMAT from : kFormats) {
      for (const DXGI_FORMAT to : kFormats) {
        const FrameSize size = RandomSize(80000);
        cases.push_back({MakeScene(size, from, 3), MakeScene({size.width, size.height + 1}, to, 3),
                         MakeScene(size, from, 2)});
      }
    }
  }

  void AddLargeSizes() {
    for (const FrameSize& size : std::vector<FrameSize>{
             {1366, 768}, {1920, 1080}, {1921, 1081}, {2560, 1440}, {4097, 513}}) {
      AddBothWays(size, 4);
    }
  }

  Random random_{kSeed};
  size_t nextChange_ = 0;
};

const std::vector<Case>& Cases() {
  static const Plan plan;
  return plan.cases;
}

std::string Describe(const Scene& scene) {
  return std::to_string(scene.size.width) + " x " + std::to_string(scene.size.height) +
         ", format " + std::to_string(scene.format);
}

class GeneratedFrames : public EngineTest, public testing::WithParamInterface<size_t> {
 protected:
  // Hands the engine `image_` and compares what it finds with what the frame before gives.
  void Check(const Image& before, DXGI_FORMAT format) {
    const auto frame = CreateFrame(d3d_, image_, format);
    ASSERT_TRUE(frame);
    const Outcome outcome = HandleFrame(engine_, frame.get());
    ASSERT_TRUE(outcome.succeeded);
    if (before.width != image_.width || before.height != image_.height) {
      ASSERT_TRUE(outcome.rebuilt);
      return;
    }
    ASSERT_FALSE(outcome.rebuilt);
    const reference::Diff expected = reference::DiffOf(before, image_);
    ASSERT_EQ(outcome.rects, reference::FieldsOf(expected.rects));
    ASSERT_EQ(outcome.ratio, reference::Ratio(expected.area, image_.width, image_.height));
  }

  void Play(const Scene& scene, Random& random) {
    const Image before = std::exchange(
        image_, NoiseImage(scene.size.width, scene.size.height, static_cast<uint32_t>(random())));
    ASSERT_NO_FATAL_FAILURE(Check(before, scene.format)) << "first frame";
    for (const Change* change : scene.changes) {
      const Image unchanged = image_;
      change->apply(image_, random);
      ASSERT_NO_FATAL_FAILURE(Check(unchanged, scene.format)) << change->name;
    }
  }

  Image image_;
};

TEST_P(GeneratedFrames, AreComparedAsOnTheCpu) {
  Random random(kSeed + static_cast<uint32_t>(GetParam()));
  for (const Scene& scene : Cases().at(GetParam())) {
    SCOPED_TRACE("case " + std::to_string(GetParam()) + " of seed " + std::to_string(kSeed) + ": " +
                 Describe(scene));
    ASSERT_NO_FATAL_FAILURE(Play(scene, random));
  }
}

// The cases are worth as much as the plan is varied.
TEST(GeneratedPlan, HasEveryChangeAndEveryFormat) {
  std::set<const Change*> changes;
  std::set<DXGI_FORMAT> formats;
  for (const Case& scenes : Cases()) {
    for (const Scene& scene : scenes) {
      formats.insert(scene.format);
      changes.insert(scene.changes.begin(), scene.changes.end());
    }
  }
  EXPECT_EQ(changes.size(), std::size(kChanges));
  EXPECT_EQ(formats.size(), std::size(kFormats));
}

INSTANTIATE_TEST_SUITE_P(Case, GeneratedFrames, testing::Range(size_t{0}, Cases().size()));

using FrameDiffEngineFormats = EngineTest;

// Between families a copy has no defined result, so what such a frame shows is the driver's
// business. Its result still has to be one, and two frames of the built format later all is exact.
TEST_F(FrameDiffEngineFormats, AFrameOfAnotherFamilyAndTheSameSizeIsSurvived) {
  const Image image = NoiseImage(200, 100);
  ASSERT_TRUE(Compare(image, image).succeeded);
  const auto foreign = CreateFrame(d3d_, NoiseImage(200, 100, 2), DXGI_FORMAT_R8G8B8A8_UNORM);
  const Outcome outcome = HandleFrame(engine_, foreign.get());
  EXPECT_FALSE(outcome.rebuilt);
  EXPECT_TRUE(outcome.succeeded);
  uint32_t area = 0;
  for (const auto& [left, top, front, right, bottom, back] : outcome.rects) {
    area += (right - left) * (bottom - top);
  }
  EXPECT_EQ(outcome.ratio, reference::Ratio(area, 200, 100));

  Image changed = image;
  ChangePixel(changed, 70, 40);
  EXPECT_TRUE(Handle(image).succeeded);
  EXPECT_EQ(Handle(changed).rects, Boxes{Box(64, 32, 96, 64)});
}

}  // namespace
