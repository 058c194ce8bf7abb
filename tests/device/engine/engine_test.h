// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// An engine on a real device, and frames handled in the order in which a session handles them.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "diff/frame_diff_engine.h"
#include "device/d3d_device.h"
#include "support/reference_diff.h"

using Boxes = std::vector<reference::BoxFields>;

// No detection gives it: ratios lie in [0, 1].
constexpr float kUntouchedRatio = -1.0f;

inline reference::BoxFields Box(uint32_t left, uint32_t top, uint32_t right, uint32_t bottom) {
  return {left, top, 0, right, bottom, 0};
}

// Pixels without two alike in a row, the same ones for the same arguments.
inline reference::Image NoiseImage(uint32_t width, uint32_t height, uint32_t seed = 1) {
  reference::Image image(width, height);
  uint32_t state = seed * 2654435761u + 1;
  for (uint32_t& pixel : image.pixels) {
    state = state * 1664525u + 1013904223u;
    pixel = state ^ state >> 16;
  }
  return image;
}

// Changes all three colour channels of a pixel.
inline void ChangePixel(reference::Image& image, uint32_t x, uint32_t y) {
  image.At(x, y) ^= 0x00808080;
}

// What one frame gave. Without a detection the rectangles are empty and the ratio is untouched.
struct Outcome {
  bool rebuilt = false;
  bool succeeded = false;
  Boxes rects;
  float ratio = kUntouchedRatio;
};

inline Outcome Detect(FrameDiffEngine& engine, ID3D11Texture2D* frame) {
  Outcome outcome;
  std::vector<D3D11_BOX> rects;
  outcome.succeeded = engine.Detect(frame, &rects, &outcome.ratio);
  outcome.rects = reference::FieldsOf(rects);
  return outcome;
}

// IsSizeChanged, then Resize or Detect, then UpdateOld.
inline Outcome HandleFrame(FrameDiffEngine& engine, ID3D11Texture2D* frame) {
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

// A suite's tests share a device, whose creation takes longer than most of them; each has an
// initialised engine of its own.
class EngineTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { d3d_ = CreateD3dDevice(); }
  static void TearDownTestSuite() { d3d_ = {}; }

  void SetUp() override {
    ASSERT_TRUE(d3d_.device) << "no Direct3D 11 device";
    ASSERT_TRUE(engine_.Init(d3d_.device, d3d_.context));
  }
  void TearDown() override { engine_.Release(); }

  static winrt::com_ptr<ID3D11Texture2D> Frame(const reference::Image& image) {
    winrt::com_ptr<ID3D11Texture2D> frame = CreateFrame(d3d_, image);
    EXPECT_TRUE(frame) << image.width << " x " << image.height;
    return frame;
  }
  Outcome Handle(const reference::Image& image) {
    const winrt::com_ptr<ID3D11Texture2D> frame = Frame(image);
    return frame ? HandleFrame(engine_, frame.get()) : Outcome{};
  }
  // Handles both and returns the second's outcome.
  Outcome Compare(const reference::Image& before, const reference::Image& after) {
    EXPECT_TRUE(Handle(before).succeeded);
    return Handle(after);
  }

  static inline D3dDevice d3d_;
  FrameDiffEngine engine_;
};
