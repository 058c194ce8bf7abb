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

reference::BoxFields Box(uint32_t left, uint32_t top, uint32_t right, uint32_t bottom);

// Pixels without two alike in a row, the same ones for the same arguments.
reference::Image NoiseImage(uint32_t width, uint32_t height, uint32_t seed = 1);

// Changes all three colour channels of a pixel.
void ChangePixel(reference::Image& image, uint32_t x, uint32_t y);

// What one frame gave. Without a detection the rectangles are empty and the ratio is untouched.
struct Outcome {
  bool rebuilt = false;
  bool succeeded = false;
  Boxes rects;
  float ratio = kUntouchedRatio;
};

Outcome Detect(FrameDiffEngine& engine, ID3D11Texture2D* frame);

// IsSizeChanged, then Resize or Detect, then UpdateOld.
Outcome HandleFrame(FrameDiffEngine& engine, ID3D11Texture2D* frame);

// A suite's tests share a device, whose creation takes longer than most of them; each has an
// initialised engine of its own.
class EngineTest : public testing::Test {
 protected:
  static void SetUpTestSuite();
  static void TearDownTestSuite();

  void SetUp() override;
  void TearDown() override;

  winrt::com_ptr<ID3D11Texture2D> Frame(const reference::Image& image);
  Outcome Handle(const reference::Image& image);

  // Handles both and returns the second's outcome.
  Outcome Compare(const reference::Image& before, const reference::Image& after);

  static inline D3dDevice d3d_;
  FrameDiffEngine engine_;
};
