// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// One detection, call by call: what is bound, how many groups run, how the flags come back and what
// is left bound.
#include <gtest/gtest.h>

#include "native/engine/engine_fixture.h"

namespace session_test {
namespace {

class EngineDetect : public EngineTest {
 protected:
  // Equal to Pattern(64, 48) but for one pixel of the first tile.
  static reference::Image OnePixelChanged() {
    reference::Image picture = Pattern(64, 48);
    picture.At(5, 7) ^= 0x00FFFFFF;
    return picture;
  }

  // Compares `now` with `before`, in an engine built for 64 x 48.
  bool Detect(FrameDiffEngine& engine, const reference::Image& before,
              const reference::Image& now) {
    engine.UpdateOld(Source(before).get());
    return engine.Detect(Source(now).get(), &rects, &ratio);
  }

  void ExpectFirstTile() {
    ASSERT_EQ(rects.size(), 1u);
    const D3D11_BOX& box = rects[0];
    EXPECT_EQ(box.left, 0u);
    EXPECT_EQ(box.top, 0u);
    EXPECT_EQ(box.front, 0u);
    EXPECT_EQ(box.right, 32u);
    EXPECT_EQ(box.bottom, 32u);
    EXPECT_EQ(box.back, 0u);
    EXPECT_EQ(ratio, static_cast<float>(1024.0 / 3072.0));
  }
};

TEST_F(EngineDetect, UpdateOldNeedsAFrameAndAContext) {
  FrameDiffEngine engine;
  const auto source = Source(Pattern(64, 48));
  fake::StartRecording();
  engine.UpdateOld(source.get());
  ExpectCalls({});
  Build(engine);
  fake::StartRecording();
  engine.UpdateOld(nullptr);
  ExpectCalls({});
}

// reset: the mapped row pitch in words, in groups of 16. Each tile row has four words. across,
// down: ceil(size / 512).
const struct {
  uint32_t width, height;
  uint32_t padding;  // bytes that the mapped flag buffer is longer than the buffer
  std::string reset, across, down;
} kGroupCases[] = {{1, 1, 0, "1", "1", "1"},        // 4 words
                   {511, 32, 0, "1", "1", "1"},     // 4 words
                   {512, 512, 0, "4", "1", "1"},    // 64 words
                   {513, 513, 0, "5", "2", "2"},    // 68 words
                   {512, 513, 0, "5", "1", "2"},    // 68 words
                   {1024, 1025, 0, "9", "2", "3"},  // 132 words
                   {5120, 1, 0, "1", "10", "1"},    // 4 words
                   {1, 5120, 0, "40", "1", "10"},   // 640 words
                   {4200, 100, 0, "1", "9", "1"},   // 16 words
                   {4200, 100, 3, "1", "9", "1"},   // 16 words and 3 bytes
                   {4200, 100, 4, "2", "9", "1"},   // 17 words
                   {64, 48, 224, "4", "1", "1"},    // 64 words
                   {64, 48, 228, "5", "1", "1"}};   // 65 words

TEST_F(EngineDetect, GroupsAreCountedBySize) {
  for (const auto& test : kGroupCases) {
    SCOPED_TRACE(std::to_string(test.width) + "x" + std::to_string(test.height));
    fake::settings.buffer_padding = test.padding;
    FrameDiffEngine engine;
    ASSERT_TRUE(engine.Init(device, context));
    ASSERT_TRUE(engine.Resize(FrameDesc(test.width, test.height)));
    const auto source = Source(reference::Image(test.width, test.height));
    fake::StartRecording();
    ASSERT_TRUE(engine.Detect(source.get(), &rects, &ratio));
    std::vector<std::vector<std::string>> groups;
    for (const fake::RecordedCall& call : fake::TakeCalls()) {
      if (call.function == "Dispatch") groups.push_back(call.arguments);
    }
    const std::vector<std::vector<std::string>> expected = {
        {test.reset, "1", "1"}, {test.across, test.down, "1"}, {"1", test.down, "1"}};
    EXPECT_EQ(groups, expected);
    EXPECT_TRUE(rects.empty());
    EXPECT_EQ(ratio, 0.0f);
  }
}

TEST_F(EngineDetect, WithoutAnArgumentNothingIsTouched) {
  FrameDiffEngine engine;
  Build(engine);
  const auto source = Source(Pattern(64, 48));
  fake::StartRecording();
  EXPECT_FALSE(engine.Detect(nullptr, &rects, &ratio));
  EXPECT_FALSE(engine.Detect(source.get(), nullptr, &ratio));
  EXPECT_FALSE(engine.Detect(source.get(), &rects, nullptr));
  ExpectCalls({});
  EXPECT_TRUE(rects.empty());
  EXPECT_EQ(ratio, 0.5f);
}

TEST_F(EngineDetect, WithoutInitBuildOrFlagProgramNothingIsTouched) {
  const auto source = Source(Pattern(64, 48));
  const auto expect_nothing = [&](FrameDiffEngine& engine) {
    fake::StartRecording();
    EXPECT_FALSE(engine.Detect(source.get(), &rects, &ratio));
    ExpectCalls({});
    EXPECT_EQ(ratio, 0.5f);
  };
  FrameDiffEngine engine;
  expect_nothing(engine);
  ASSERT_TRUE(engine.Init(device, context));
  expect_nothing(engine);

  FrameDiffEngine without_program;
  FailCalls("CreateComputeShader", {3});
  EXPECT_FALSE(without_program.Init(device, context));
  ASSERT_TRUE(without_program.Resize(FrameDesc(64, 48)));
  expect_nothing(without_program);
}

// After a map that failed, the last unmap comes all the same.
TEST_F(EngineDetect, FlagsThatCannotBeReadAreNoChange) {
  for (const fake::Fault fault : {kFails, kGivesNothing}) {
    FrameDiffEngine engine;
    Build(engine);
    const auto source = Source(Pattern(64, 48));
    FailCalls("Map", {1}, fault);
    fake::StartRecording();
    EXPECT_TRUE(engine.Detect(source.get(), &rects, &ratio));
    ExpectCalls(fault.result == S_OK
                    ? DetectCalls("1", "1", "1")
                    : Joined({DetectCallsToMap("1", "1", "1"), List("context.Unmap(RamBuff, 0)")}));
    EXPECT_TRUE(rects.empty());
    EXPECT_EQ(ratio, 0.0f);
    fake::PlanNoFaults();
  }
}

// The mapped flags may be longer than the frame has tile rows, with anything in what is too much,
// and end within a row of flags. (Two tile rows are 32 bytes.)
TEST_F(EngineDetect, FlagsBelowTheFrameCountForNothing) {
  for (const uint32_t padding : {0u, 4u, 15u, 16u, 20u, 64u, 4096u}) {
    SCOPED_TRACE(padding);
    fake::settings.buffer_padding = padding;
    FrameDiffEngine engine;
    Build(engine);
    rects.clear();
    ASSERT_TRUE(Detect(engine, Pattern(64, 48), Pattern(64, 48)));
    EXPECT_TRUE(rects.empty());
    EXPECT_EQ(ratio, 0.0f);
    ASSERT_TRUE(Detect(engine, Pattern(64, 48), OnePixelChanged()));
    ExpectFirstTile();
  }
}

// Rectangles go to the caller by exchange: the storage that it brought, emptied or not, is the
// engine's until the next detection gives it back.
TEST_F(EngineDetect, ExchangesTheStorageOfTheRectangles) {
  FrameDiffEngine engine;
  Build(engine);
  rects.reserve(100);
  const D3D11_BOX* const brought = rects.data();
  ASSERT_TRUE(Detect(engine, Pattern(64, 48), OnePixelChanged()));
  ExpectFirstTile();
  EXPECT_NE(rects.data(), brought);
  ASSERT_TRUE(Detect(engine, Pattern(64, 48), OnePixelChanged()));
  ExpectFirstTile();
  EXPECT_EQ(rects.data(), brought);
  EXPECT_EQ(rects.capacity(), 100u);
}

using EngineRelease = EngineDetect;

TEST_F(EngineRelease, LetsGoOfEverythingInOrder) {
  FrameDiffEngine engine;
  Build(engine);
  ASSERT_TRUE(engine.Detect(Source(Pattern(64, 48)).get(), &rects, &ratio));

  fake::StartRecording(true);
  engine.Release();
  ExpectCalls(ReleaseCalls());
  EXPECT_TRUE(engine.IsSizeChanged(64, 48));
  EXPECT_FALSE(engine.IsSizeChanged(0, 0));

  fake::StartRecording(true);
  engine.Release();
  ExpectCalls({});
  // As new: it can be initialised again.
  Build(engine);
}

TEST_F(EngineRelease, OfANewEngineCallsNothing) {
  FrameDiffEngine engine;
  EXPECT_TRUE(engine.IsSizeChanged(64, 48));
  fake::StartRecording(true);
  engine.Release();
  ExpectCalls({});
  EXPECT_FALSE(engine.IsSizeChanged(0, 0));
}

}  // namespace
}  // namespace session_test
