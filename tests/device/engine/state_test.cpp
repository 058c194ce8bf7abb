// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What an engine holds and answers before, between and after detections.

#include <string>
#include <utility>

#include "device/engine/engine_test.h"

namespace {

using reference::Image;

class FrameDiffEngineState : public EngineTest {
 protected:
  // Detect has to answer false and leave list and ratio as they are.
  static void ExpectNoDetection(FrameDiffEngine& engine, ID3D11Texture2D* frame) {
    std::vector<D3D11_BOX> rects(3, D3D11_BOX{1, 2, 3, 4, 5, 6});
    const D3D11_BOX* const storage = rects.data();
    float ratio = kUntouchedRatio;
    EXPECT_FALSE(engine.Detect(frame, &rects, &ratio));
    EXPECT_EQ(ratio, kUntouchedRatio);
    EXPECT_EQ(rects.data(), storage);
    EXPECT_EQ(reference::FieldsOf(rects), Boxes(3, {1, 2, 3, 4, 5, 6}));
  }
};

TEST_F(FrameDiffEngineState, ANewEngineSeesEverySizeAsChangedButNone) {
  const FrameDiffEngine engine;
  for (const auto& [width, height] : {std::pair{1u, 1u}, {1920u, 1080u}, {0u, 1u}, {1u, 0u}}) {
    EXPECT_TRUE(engine.IsSizeChanged(width, height)) << width << " x " << height;
  }
  EXPECT_FALSE(engine.IsSizeChanged(0, 0));
}

TEST_F(FrameDiffEngineState, IsSizeChangedComparesWithTheBuiltSize) {
  ASSERT_TRUE(engine_.Resize(FrameDesc(300, 200)));
  EXPECT_FALSE(engine_.IsSizeChanged(300, 200));
  EXPECT_TRUE(engine_.IsSizeChanged(301, 200));
  EXPECT_TRUE(engine_.IsSizeChanged(300, 199));
  EXPECT_TRUE(engine_.IsSizeChanged(200, 300));
}

TEST_F(FrameDiffEngineState, AnotherFormatOfTheSameSizeIsNoSizeChange) {
  ASSERT_TRUE(Handle(NoiseImage(300, 200)).rebuilt);
  const auto frame = CreateFrame(d3d_, NoiseImage(300, 200), DXGI_FORMAT_R8G8B8A8_UNORM);
  EXPECT_FALSE(HandleFrame(engine_, frame.get()).rebuilt);
}

TEST_F(FrameDiffEngineState, InitWithoutDeviceOrContextFailsAndKeepsNothing) {
  const unsigned long deviceReferences = ReferenceCount(d3d_.device.get());
  const unsigned long contextReferences = ReferenceCount(d3d_.context.get());
  FrameDiffEngine engine;
  EXPECT_FALSE(engine.Init(nullptr, d3d_.context));
  EXPECT_FALSE(engine.Init(d3d_.device, nullptr));
  EXPECT_FALSE(engine.Init(nullptr, nullptr));
  EXPECT_EQ(ReferenceCount(d3d_.device.get()), deviceReferences);
  EXPECT_EQ(ReferenceCount(d3d_.context.get()), contextReferences);
}

TEST_F(FrameDiffEngineState, DetectBeforeInitFails) {
  FrameDiffEngine engine;
  ExpectNoDetection(engine, Frame(NoiseImage(100, 100)).get());
}

TEST_F(FrameDiffEngineState, DetectBeforeResizeFails) {
  ExpectNoDetection(engine_, Frame(NoiseImage(100, 100)).get());
}

TEST_F(FrameDiffEngineState, DetectWithoutFrameListOrRatioFailsAndChangesNothing) {
  const Image plain = NoiseImage(200, 100);
  Image changed = plain;
  ChangePixel(changed, 40, 40);
  ASSERT_TRUE(Compare(plain, plain).succeeded);
  const winrt::com_ptr<ID3D11Texture2D> frame = Frame(changed);
  d3d_.context->ClearState();

  ExpectNoDetection(engine_, nullptr);
  float ratio = kUntouchedRatio;
  EXPECT_FALSE(engine_.Detect(frame.get(), nullptr, &ratio));
  EXPECT_EQ(ratio, kUntouchedRatio);
  std::vector<D3D11_BOX> rects(1, D3D11_BOX{1, 2, 3, 4, 5, 6});
  EXPECT_FALSE(engine_.Detect(frame.get(), &rects, nullptr));
  EXPECT_EQ(reference::FieldsOf(rects), (Boxes{{1, 2, 3, 4, 5, 6}}));

  winrt::com_ptr<ID3D11RenderTargetView> target;
  d3d_.context->OMGetRenderTargets(1, target.put(), nullptr);
  EXPECT_FALSE(target) << "a refused detection has bound its render target";
  EXPECT_EQ(Handle(changed).rects, Boxes{Box(32, 32, 64, 64)});
}

TEST_F(FrameDiffEngineState, UpdateOldBeforeInitOrResizeOrWithoutFrameDoesNothing) {
  const Image plain = NoiseImage(200, 100);
  const winrt::com_ptr<ID3D11Texture2D> frame = Frame(plain);
  FrameDiffEngine engine;
  engine.UpdateOld(frame.get());
  engine.UpdateOld(nullptr);
  EXPECT_TRUE(engine.IsSizeChanged(200, 100));

  engine_.UpdateOld(frame.get());
  EXPECT_TRUE(engine_.IsSizeChanged(200, 100));
  ASSERT_TRUE(Handle(plain).succeeded);
  engine_.UpdateOld(nullptr);
  EXPECT_TRUE(Handle(plain).rects.empty());
}

TEST_F(FrameDiffEngineState, TwoUpdateOldAreHarmlessAndTheLastOneCounts) {
  const Image plain = NoiseImage(200, 100);
  Image changed = plain;
  ChangePixel(changed, 40, 40);
  ASSERT_TRUE(Handle(plain).succeeded);
  engine_.UpdateOld(Frame(plain).get());
  EXPECT_TRUE(Handle(plain).rects.empty());
  engine_.UpdateOld(Frame(plain).get());
  engine_.UpdateOld(Frame(changed).get());
  EXPECT_TRUE(Handle(changed).rects.empty());
}

TEST_F(FrameDiffEngineState, TheListHandedInIsTheNextDetectionsStorage) {
  const Image plain = NoiseImage(200, 100);
  Image changed = plain;
  ChangePixel(changed, 40, 40);
  ASSERT_TRUE(Handle(plain).succeeded);
  const winrt::com_ptr<ID3D11Texture2D> frame = Frame(changed);

  std::vector<D3D11_BOX> first;
  first.reserve(50);
  const D3D11_BOX* const firstStorage = first.data();
  std::vector<D3D11_BOX> second;
  second.reserve(60);
  const D3D11_BOX* const secondStorage = second.data();
  float ratio = kUntouchedRatio;
  ASSERT_TRUE(engine_.Detect(frame.get(), &first, &ratio));
  ASSERT_TRUE(engine_.Detect(frame.get(), &second, &ratio));
  EXPECT_EQ(second.data(), firstStorage);
  EXPECT_EQ(reference::FieldsOf(second), Boxes{Box(32, 32, 64, 64)});
  ASSERT_TRUE(engine_.Detect(frame.get(), &first, &ratio));
  EXPECT_EQ(first.data(), secondStorage);
  EXPECT_EQ(reference::FieldsOf(first), Boxes{Box(32, 32, 64, 64)});
}

TEST_F(FrameDiffEngineState, WhatAHandedInListHeldIsNotReportedLater) {
  const Image plain = NoiseImage(200, 100);
  ASSERT_TRUE(Handle(plain).succeeded);
  const winrt::com_ptr<ID3D11Texture2D> frame = Frame(plain);
  std::vector<D3D11_BOX> rects(2, D3D11_BOX{1, 2, 3, 4, 5, 6});
  float ratio = kUntouchedRatio;
  ASSERT_TRUE(engine_.Detect(frame.get(), &rects, &ratio));
  EXPECT_TRUE(rects.empty());
  EXPECT_TRUE(Detect(engine_, frame.get()).rects.empty());
}

TEST_F(FrameDiffEngineState, ReleaseOfAnUninitialisedEngineDoesNothing) {
  FrameDiffEngine engine;
  engine.Release();
  engine.Release();
  EXPECT_FALSE(engine.IsSizeChanged(0, 0));
  EXPECT_TRUE(engine.IsSizeChanged(1, 1));
}

TEST_F(FrameDiffEngineState, AfterReleaseTheSizesAreZeroAndNothingIsDetected) {
  const Image plain = NoiseImage(200, 100);
  ASSERT_TRUE(Compare(plain, plain).succeeded);
  engine_.Release();
  EXPECT_FALSE(engine_.IsSizeChanged(0, 0));
  EXPECT_TRUE(engine_.IsSizeChanged(200, 100));
  const winrt::com_ptr<ID3D11Texture2D> frame = Frame(plain);
  ExpectNoDetection(engine_, frame.get());
  engine_.UpdateOld(frame.get());
  engine_.Release();
}

TEST_F(FrameDiffEngineState, AReleasedEngineCanBeInitialisedAgain) {
  const Image plain = NoiseImage(200, 100);
  ASSERT_TRUE(Compare(plain, plain).succeeded);
  engine_.Release();
  ASSERT_TRUE(engine_.Init(d3d_.device, d3d_.context));
  ExpectNoDetection(engine_, Frame(plain).get());
  Image changed = plain;
  ChangePixel(changed, 40, 40);
  EXPECT_TRUE(Handle(plain).rebuilt);
  EXPECT_EQ(Handle(changed).rects, Boxes{Box(32, 32, 64, 64)});
}

// Devices of their own, whose references nobody else counts.
class FrameDiffEngineReferences : public testing::Test {
 protected:
  void SetUp() override {
    d3d_ = CreateD3dDevice();
    ASSERT_TRUE(d3d_.device) << "no Direct3D 11 device";
    deviceReferences_ = ReferenceCount(d3d_.device.get());
    contextReferences_ = ReferenceCount(d3d_.context.get());
  }

  // Two sizes, so that every resource is also replaced once.
  void Use(FrameDiffEngine& engine) {
    ASSERT_TRUE(engine.Init(d3d_.device, d3d_.context));
    for (const uint32_t width : {200u, 333u}) {
      const auto frame = CreateFrame(d3d_, NoiseImage(width, 100));
      ASSERT_TRUE(HandleFrame(engine, frame.get()).succeeded);
      ASSERT_TRUE(HandleFrame(engine, frame.get()).succeeded);
    }
    EXPECT_GT(ReferenceCount(d3d_.device.get()), deviceReferences_);
    EXPECT_GT(ReferenceCount(d3d_.context.get()), contextReferences_);
  }

  void ExpectFormerReferences() {
    EXPECT_EQ(ReferenceCount(d3d_.device.get()), deviceReferences_);
    EXPECT_EQ(ReferenceCount(d3d_.context.get()), contextReferences_);
  }

  D3dDevice d3d_;
  unsigned long deviceReferences_ = 0;
  unsigned long contextReferences_ = 0;
};

TEST_F(FrameDiffEngineReferences, ReleaseReturnsThemAll) {
  FrameDiffEngine engine;
  Use(engine);
  engine.Release();
  ExpectFormerReferences();
  engine.Release();
  ExpectFormerReferences();

  d3d_.context = nullptr;
  EXPECT_EQ(d3d_.device.detach()->Release(), 0u);
}

TEST_F(FrameDiffEngineReferences, DestructionReturnsThemAllToo) {
  {
    FrameDiffEngine engine;
    Use(engine);
  }
  ExpectFormerReferences();
}

TEST_F(FrameDiffEngineReferences, ASecondInitReplacesTheFirst) {
  FrameDiffEngine engine;
  Use(engine);
  Use(engine);
  engine.Release();
  ExpectFormerReferences();
}

TEST_F(FrameDiffEngineReferences, ReleaseClearsWhatTheContextHasBound) {
  FrameDiffEngine engine;
  Use(engine);
  engine.Release();

  winrt::com_ptr<ID3D11RenderTargetView> target;
  d3d_.context->OMGetRenderTargets(1, target.put(), nullptr);
  EXPECT_FALSE(target);
  winrt::com_ptr<ID3D11Buffer> constants;
  d3d_.context->CSGetConstantBuffers(0, 1, constants.put());
  EXPECT_FALSE(constants);
  winrt::com_ptr<ID3D11UnorderedAccessView> flags;
  d3d_.context->CSGetUnorderedAccessViews(1, 1, flags.put());
  EXPECT_FALSE(flags);
}

}  // namespace
