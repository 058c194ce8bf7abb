// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// A frame-difference engine of its own, on a device of the native tests' platform.
#pragma once

#include <vector>

#include "diff/frame_diff_engine.h"
#include "native/engine/engine_calls.h"
#include "native/host.h"
#include "native/platform/object.h"

namespace session_test {

class EngineTest : public SessionTest {
 protected:
  void SetUp() override {
    SessionTest::SetUp();
    device.attach(fake::NewDevice());
    device->GetImmediateContext(context.put());
    names.Give("device1", "device");
    names.Give("context1", "context");
  }
  void TearDown() override {
    context = nullptr;
    device = nullptr;
    SessionTest::TearDown();
  }

  // Ends the recording, which names what the calls of the list make.
  void ExpectCalls(const Calls& expected) {
    EXPECT_EQ(names.Read(WithoutEnds(fake::TakeRecording()), expected), Text(expected));
  }

  static Calls InitCalls() {
    return List(R"(
device.CreateComputeShader(szFrameDiffRectsCS, null) = frameDiffCS
device.CreateComputeShader(szResetDiffRectsCS, null) = resetDiffRectsCS
device.CreateComputeShader(szGetBitFlagCS, null) = getBitFlagCS
)");
  }

  static std::string WithoutResult(const std::string& line) {
    return line.substr(0, line.find(" = "));
  }

  void Init(FrameDiffEngine& engine) {
    fake::StartRecording();
    ASSERT_TRUE(engine.Init(device, context));
    ExpectCalls(InitCalls());
  }

  // Init and Resize to 64 x 48.
  void Build(FrameDiffEngine& engine) {
    Init(engine);
    fake::StartRecording();
    ASSERT_TRUE(engine.Resize(FrameDesc(64, 48)));
    ExpectCalls(ResizeCalls(k64x48));
  }

  // A frame, "source" in lists.
  winrt::com_ptr<ID3D11Texture2D> Source(const reference::Image& picture) {
    winrt::com_ptr<ID3D11Texture2D> texture;
    texture.attach(fake::NewTexture(device.get(), FrameDesc(picture.width, picture.height)));
    fake::Draw(texture.get(), picture);
    names.Give(fake::NameOf(texture.get()), "source");
    return texture;
  }

  winrt::com_ptr<ID3D11Device> device;
  winrt::com_ptr<ID3D11DeviceContext> context;
  Names names;
  std::vector<D3D11_BOX> rects;
  float ratio = 0.5f;  // which no detection gives
};

}  // namespace session_test
