// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What an engine creates, in which order and from which descriptions, and what follows when a
// creation fails.

#include <cstring>
#include <string>

#include "diff/FrameDiffRectsCS.h"
#include "device/engine/engine_test.h"
#include "device/engine/recording_device.h"

namespace {

using reference::Image;
using Kind = CreationKind;
using Fields = std::vector<uint32_t>;

constexpr size_t kPrograms = 3;

// Neither side is a multiple of the tile size.
constexpr uint32_t kWidth = 1100;
constexpr uint32_t kHeight = 70;
constexpr uint32_t kTileColumns = 35;
constexpr uint32_t kTileRows = 3;

class FrameDiffEngineResources : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    recorder_.attach(new RecordingDevice(d3d_.device));
  }

  bool InitRecorded(FrameDiffEngine& engine) { return engine.Init(recorder_, d3d_.context); }

  Outcome DetectOn(FrameDiffEngine& engine, const Image& image) {
    const winrt::com_ptr<ID3D11Texture2D> frame = Frame(image);
    return Detect(engine, frame.get());
  }

  winrt::com_ptr<RecordingDevice> recorder_;
};

// Direct3D leaves the contents of a new texture undefined. The measures of the edge tiles, which no
// program writes, must not be what was in the memory before.
TEST_F(FrameDiffEngineResources, WhatWasLeftInNewTexturesIsNoChange) {
  recorder_->FillNewTextures(0xA5);
  FrameDiffEngine engine;
  ASSERT_TRUE(InitRecorded(engine));
  for (const Image& image : {NoiseImage(kWidth, kHeight), NoiseImage(64, 64), NoiseImage(97, 33)}) {
    const winrt::com_ptr<ID3D11Texture2D> frame = Frame(image);
    ASSERT_TRUE(HandleFrame(engine, frame.get()).rebuilt);
    const Outcome outcome = HandleFrame(engine, frame.get());
    EXPECT_TRUE(outcome.succeeded);
    EXPECT_EQ(outcome.rects, Boxes());
    EXPECT_EQ(outcome.ratio, 0.0f);
  }
}

// Names in the order of creation.
enum ResourceNumber : size_t {
  kTexture,
  kRtv,
  kOldTex,
  kNewTex,
  kOldSrv,
  kNewSrv,
  kOldBk,
  kNewBk,
  kLight,
  kLightTex,
  kLightStaging,
  kLightTexStaging,
  kLightUav,
  kLightTexUav,
  kTexInfoBuffer,
  kDiffBuff,
  kRamBuff,
  kDiffBuffUav,
  kTexBuffer,
  kResources,
};

struct ExpectedCreation {
  const char* name;
  Kind kind;
  Fields desc;
  // The number of a view's resource.
  size_t resource = kResources;
};

// Width, Height, MipLevels, ArraySize, Format, SampleDesc, Usage, BindFlags, CPUAccessFlags and
// MiscFlags of the textures; ByteWidth, Usage, BindFlags, CPUAccessFlags, MiscFlags and
// StructureByteStride of the buffers. Usage 0 is the default one.
std::vector<ExpectedCreation> ExpectedCreations() {
  constexpr uint32_t kFormat = DXGI_FORMAT_B8G8R8A8_UNORM;
  constexpr uint32_t kR8 = DXGI_FORMAT_R8_UINT;
  constexpr uint32_t kStaging = D3D11_USAGE_STAGING;
  constexpr uint32_t kRead = D3D11_CPU_ACCESS_READ;
  constexpr uint32_t kAccess = D3D11_BIND_UNORDERED_ACCESS | D3D11_BIND_SHADER_RESOURCE;
  constexpr uint32_t kRendered = D3D11_BIND_SHADER_RESOURCE | D3D11_BIND_RENDER_TARGET;
  constexpr uint32_t kMips = D3D11_RESOURCE_MISC_GENERATE_MIPS;
  const Fields frame = {kWidth, kHeight, 1, 1, kFormat, 1, 0, 0, kRendered, 0, kMips};
  const Fields bk = {kWidth, kHeight, 1, 1, kFormat, 1, 0, kStaging, 0, kRead, 0};
  const Fields shaderView = {kFormat, D3D11_SRV_DIMENSION_TEXTURE2D, 0, 1};
  const Fields measureView = {kR8, D3D11_UAV_DIMENSION_TEXTURE2D, 0};
  const Fields constants = {
      16, D3D11_USAGE_DYNAMIC, D3D11_BIND_CONSTANT_BUFFER, D3D11_CPU_ACCESS_WRITE, 0, 0};
  return {
      {"texture", Kind::kTexture, frame},
      {"rtv", Kind::kRenderTargetView, {kFormat, D3D11_RTV_DIMENSION_TEXTURE2D, 0}, kTexture},
      {"oldTex", Kind::kTexture, frame},
      {"newTex", Kind::kTexture, frame},
      {"oldSRV", Kind::kShaderResourceView, shaderView, kOldTex},
      {"newSRV", Kind::kShaderResourceView, shaderView, kNewTex},
      {"oldBk", Kind::kTexture, bk},
      {"newBk", Kind::kTexture, bk},
      {"light", Kind::kTexture, {kTileColumns, kTileRows, 1, 1, kR8, 1, 0, 0, kAccess, 0, 0}},
      {"lightTex", Kind::kTexture, {kWidth, kHeight, 1, 1, kR8, 1, 0, 0, kAccess, 0, 0}},
      {"lightStaging",
       Kind::kTexture,
       {kTileColumns, kTileRows, 1, 1, kR8, 1, 0, kStaging, 0, kRead, 0}},
      {"lightTexStaging",
       Kind::kTexture,
       {kWidth, kHeight, 1, 1, kR8, 1, 0, kStaging, 0, kRead, 0}},
      {"lightUAV", Kind::kTextureAccessView, measureView, kLight},
      {"lightTexUAV", Kind::kTextureAccessView, measureView, kLightTex},
      {"texInfoBuffer", Kind::kBuffer, constants},
      {"diffBuff",
       Kind::kBuffer,
       {16 * kTileRows, D3D11_USAGE_DEFAULT, kAccess, 0, D3D11_RESOURCE_MISC_BUFFER_STRUCTURED, 4}},
      {"RamBuff", Kind::kBuffer, {16 * kTileRows, kStaging, 0, kRead, 0, 4}},
      {"diffBuffUAV",
       Kind::kBufferAccessView,
       {DXGI_FORMAT_UNKNOWN, D3D11_UAV_DIMENSION_BUFFER, 0, 4 * kTileRows, 0},
       kDiffBuff},
      {"texBuffer", Kind::kBuffer, constants},
  };
}

template <size_t size>
bool IsProgram(const Creation& creation, const unsigned char (&bytecode)[size]) {
  return creation.kind == Kind::kComputeShader &&
         creation.contents.size() * sizeof(uint32_t) == size &&
         std::memcmp(creation.contents.data(), bytecode, size) == 0;
}

TEST_F(FrameDiffEngineResources, InitCreatesTheThreePrograms) {
  FrameDiffEngine engine;
  ASSERT_TRUE(InitRecorded(engine));
  const std::vector<Creation>& creations = recorder_->Creations();
  ASSERT_EQ(creations.size(), kPrograms);
  EXPECT_TRUE(IsProgram(creations[0], szFrameDiffRectsCS));
  EXPECT_TRUE(IsProgram(creations[1], szResetDiffRectsCS));
  EXPECT_TRUE(IsProgram(creations[2], szGetBitFlagCS));
}

TEST_F(FrameDiffEngineResources, InitStopsAtTheFirstProgramThatFails) {
  for (const Fault fault : {Fault::kFailingResult, Fault::kSuccessWithoutObject}) {
    for (size_t failing = 0; failing < kPrograms; ++failing) {
      SCOPED_TRACE(failing);
      recorder_->RestartFailing(failing, fault);
      FrameDiffEngine engine;
      EXPECT_FALSE(InitRecorded(engine));
      EXPECT_EQ(recorder_->Creations().size(), failing + 1);
    }
  }
}

TEST_F(FrameDiffEngineResources, ResizeCreatesEveryResourceInOrderAndFromItsDescription) {
  FrameDiffEngine engine;
  ASSERT_TRUE(InitRecorded(engine));
  recorder_->Restart();
  ASSERT_TRUE(engine.Resize(FrameDesc(kWidth, kHeight)));

  const std::vector<Creation>& creations = recorder_->Creations();
  const std::vector<ExpectedCreation> expected = ExpectedCreations();
  ASSERT_EQ(creations.size(), expected.size());
  for (size_t i = 0; i < expected.size(); ++i) {
    SCOPED_TRACE(expected[i].name);
    EXPECT_EQ(creations[i].kind, expected[i].kind);
    EXPECT_EQ(creations[i].desc, expected[i].desc);
    if (expected[i].resource != kResources) {
      EXPECT_EQ(creations[i].resource, creations[expected[i].resource].object);
    }
  }
}

TEST_F(FrameDiffEngineResources, ConstantBuffersHoldTheirNumbersFromTheStart) {
  FrameDiffEngine engine;
  ASSERT_TRUE(InitRecorded(engine));
  recorder_->Restart();
  ASSERT_TRUE(engine.Resize(FrameDesc(kWidth, kHeight)));
  ASSERT_EQ(recorder_->Creations().size(), kResources);

  const Creation& texInfo = recorder_->Creations()[kTexInfoBuffer];
  const Fields texInfoNumbers = {kWidth, kHeight, 32, 32};
  EXPECT_EQ(texInfo.contents, texInfoNumbers);
  EXPECT_EQ(ReadBuffer(d3d_, texInfo.object.as<ID3D11Buffer>().get()), texInfoNumbers);

  const Creation& tex = recorder_->Creations()[kTexBuffer];
  const Fields texNumbers = {4, kTileRows, kTileColumns, 2};
  EXPECT_EQ(tex.contents, texNumbers);
  EXPECT_EQ(ReadBuffer(d3d_, tex.object.as<ID3D11Buffer>().get()), texNumbers);
}

TEST_F(FrameDiffEngineResources, MipLevelsAndFormatFollowTheFrame) {
  FrameDiffEngine engine;
  ASSERT_TRUE(InitRecorded(engine));
  recorder_->Restart();
  D3D11_TEXTURE2D_DESC desc = FrameDesc(kWidth, kHeight, DXGI_FORMAT_R8G8B8A8_UNORM);
  desc.MipLevels = 2;
  ASSERT_TRUE(engine.Resize(desc));
  ASSERT_EQ(recorder_->Creations().size(), kResources);
  for (const size_t number : {kTexture, kOldTex, kNewTex, kOldBk, kNewBk}) {
    const Fields& fields = recorder_->Creations()[number].desc;
    EXPECT_EQ(fields[2], 2u) << number;
    EXPECT_EQ(fields[4], static_cast<uint32_t>(DXGI_FORMAT_R8G8B8A8_UNORM)) << number;
  }
  for (const size_t number : {kRtv, kOldSrv, kNewSrv}) {
    EXPECT_EQ(recorder_->Creations()[number].desc[0],
              static_cast<uint32_t>(DXGI_FORMAT_R8G8B8A8_UNORM));
  }
  EXPECT_EQ(recorder_->Creations()[kLightTex].desc[2], 1u);
}

TEST_F(FrameDiffEngineResources, AFailedCreationEndsTheBuildAndTheSizeCountsAsTaken) {
  Image image = NoiseImage(kWidth, kHeight);
  for (const Fault fault : {Fault::kFailingResult, Fault::kSuccessWithoutObject}) {
    for (size_t failing = 0; failing < kResources; ++failing) {
      SCOPED_TRACE(std::string(ExpectedCreations()[failing].name) +
                   (fault == Fault::kFailingResult ? " fails" : " is missing"));
      FrameDiffEngine engine;
      recorder_->Restart();
      ASSERT_TRUE(InitRecorded(engine));
      recorder_->RestartFailing(failing, fault);
      EXPECT_FALSE(engine.Resize(FrameDesc(kWidth, kHeight)));
      EXPECT_EQ(recorder_->Creations().size(), failing + 1);
      EXPECT_FALSE(engine.IsSizeChanged(kWidth, kHeight));

      // texBuffer, which every detection needs, is the last of all.
      const Outcome outcome = DetectOn(engine, image);
      EXPECT_FALSE(outcome.succeeded);
      EXPECT_EQ(outcome.ratio, kUntouchedRatio);
    }
  }
}

TEST_F(FrameDiffEngineResources, ABuildAfterAFailedOneIsComplete) {
  FrameDiffEngine engine;
  ASSERT_TRUE(InitRecorded(engine));
  recorder_->RestartFailing(kLightStaging, Fault::kFailingResult);
  ASSERT_FALSE(engine.Resize(FrameDesc(kWidth, kHeight)));

  recorder_->Restart();
  Image image = NoiseImage(kWidth + 1, kHeight);
  EXPECT_TRUE(HandleFrame(engine, Frame(image).get()).rebuilt);
  EXPECT_EQ(recorder_->Creations().size(), kResources);
  ChangePixel(image, 1090, 40);
  ChangePixel(image, 1060, 40);
  EXPECT_EQ(HandleFrame(engine, Frame(image).get()).rects, Boxes{Box(1056, 32, 1088, 64)});
}

TEST_F(FrameDiffEngineResources, ADetectionCreatesNothing) {
  FrameDiffEngine engine;
  ASSERT_TRUE(InitRecorded(engine));
  Image image = NoiseImage(kWidth, kHeight);
  ASSERT_TRUE(HandleFrame(engine, Frame(image).get()).rebuilt);
  recorder_->Restart();
  ChangePixel(image, 40, 40);
  EXPECT_EQ(HandleFrame(engine, Frame(image).get()).rects, Boxes{Box(32, 32, 64, 64)});
  EXPECT_TRUE(recorder_->Creations().empty());
}

}  // namespace
