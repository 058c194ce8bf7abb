// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "device/engine/engine_test.h"

reference::BoxFields Box(uint32_t left, uint32_t top, uint32_t right, uint32_t bottom) {
  return {left, top, 0, right, bottom, 0};
}

reference::Image NoiseImage(uint32_t width, uint32_t height, uint32_t seed) {
  reference::Image image(width, height);
  uint32_t state = seed * 2654435761u + 1;
  for (uint32_t& pixel : image.pixels) {
    state = state * 1664525u + 1013904223u;
    pixel = state ^ state >> 16;
  }
  return image;
}

void ChangePixel(reference::Image& image, uint32_t x, uint32_t y) {
  image.At(x, y) ^= 0x00808080;
}

Outcome Detect(FrameDiffEngine& engine, ID3D11Texture2D* frame) {
  Outcome outcome;
  std::vector<D3D11_BOX> rects;
  outcome.succeeded = engine.Detect(frame, &rects, &outcome.ratio);
  outcome.rects = reference::FieldsOf(rects);
  return outcome;
}

Outcome HandleFrame(FrameDiffEngine& engine, ID3D11Texture2D* frame) {
  D3D11_TEXTURE2D_DESC desc{};
  frame->GetDesc(&desc);
  Outcome outcome;
  if (engine.IsSizeChanged(desc.Width, desc.Height)) {
    outcome.rebuilt = true;
    outcome.succeeded = engine.Resize(desc);
  } else {
    outcome = Detect(engine, frame);
  }
  engine.UpdateOld(frame);
  return outcome;
}

void EngineTest::SetUpTestSuite() {
  d3d_ = CreateD3dDevice();
}

void EngineTest::TearDownTestSuite() {
  d3d_ = {};
}

void EngineTest::SetUp() {
  ASSERT_TRUE(d3d_.device) << "no Direct3D 11 device";
  ASSERT_TRUE(engine_.Init(d3d_.device, d3d_.context));
}

void EngineTest::TearDown() {
  engine_.Release();
}

winrt::com_ptr<ID3D11Texture2D> EngineTest::Frame(const reference::Image& image) {
  winrt::com_ptr<ID3D11Texture2D> frame = CreateFrame(d3d_, image);
  EXPECT_TRUE(frame) << image.width << " x " << image.height;
  return frame;
}

Outcome EngineTest::Handle(const reference::Image& image) {
  const winrt::com_ptr<ID3D11Texture2D> frame = Frame(image);
  return frame ? HandleFrame(engine_, frame.get()) : Outcome{};
}

Outcome EngineTest::Compare(const reference::Image& before, const reference::Image& after) {
  EXPECT_TRUE(Handle(before).succeeded);
  return Handle(after);
}
