// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The native tests' own platform: its memory detects a stray read, and its counters detect a leak.
// Its programs: session_soak compares what they find with the definition of a change.
#include <cstring>

#include "diff/FrameDiffRectsCS.h"
#include "native/host.h"

namespace session_test {
namespace {

class Platform : public SessionTest {
 protected:
  void SetUp() override {
    SessionTest::SetUp();
    device_.attach(fake::NewDevice());
    device_->GetImmediateContext(context_.put());
  }
  void TearDown() override {
    context_ = nullptr;
    device_ = nullptr;
    SessionTest::TearDown();
  }

  winrt::com_ptr<ID3D11Texture2D> NewTexture(uint32_t width, uint32_t height,
                                             D3D11_USAGE usage = D3D11_USAGE_DEFAULT) {
    const auto desc = FrameDesc(width, height, DXGI_FORMAT_B8G8R8A8_UNORM, usage);
    return {fake::NewTexture(device_.get(), desc), winrt::take_ownership_from_abi};
  }

  winrt::com_ptr<ID3D11Device> device_;
  winrt::com_ptr<ID3D11DeviceContext> context_;
};

TEST_F(Platform, OnlyStagingTexturesCanBeRead) {
  D3D11_MAPPED_SUBRESOURCE mapped{};
  const auto gpu_only = NewTexture(8, 4);
  EXPECT_EQ(context_->Map(gpu_only.get(), 0, D3D11_MAP_READ, 0, &mapped), E_INVALIDARG);

  const auto staging = NewTexture(8, 4, D3D11_USAGE_STAGING);
  fake::Draw(gpu_only.get(), Pattern(8, 4));
  context_->CopyResource(staging.get(), gpu_only.get());
  ASSERT_EQ(context_->Map(staging.get(), 0, D3D11_MAP_READ, 0, &mapped), S_OK);
  EXPECT_EQ(mapped.RowPitch, 8u * 4 + 64);
  EXPECT_EQ(std::memcmp(static_cast<uint8_t*>(mapped.pData) + mapped.RowPitch,
                        &Pattern(8, 4).pixels[8], 8 * 4),
            0);
  context_->Unmap(staging.get(), 0);
}

TEST_F(Platform, CopyBetweenDifferentTexturesIsDroppedAndReported) {
  const auto narrow = NewTexture(8, 4);
  const auto wide = NewTexture(9, 4);
  fake::Draw(wide.get(), Pattern(9, 4));
  context_->CopyResource(narrow.get(), wide.get());
  EXPECT_EQ(fake::TakeRefusals().size(), 1u);
  EXPECT_EQ(fake::PixelsOf(narrow.get()), Picture(8, 4));
}

TEST_F(Platform, BoundObjectsDoNotKeepTheDevice) {
  winrt::com_ptr<ID3D11ComputeShader> shader;
  ASSERT_EQ(
      device_->CreateComputeShader(szGetBitFlagCS, sizeof(szGetBitFlagCS), nullptr, shader.put()),
      S_OK);
  context_->CSSetShader(shader.get(), nullptr, 0);
  shader = nullptr;
  EXPECT_EQ(fake::LiveObjects(), 3);
  context_ = nullptr;
  device_ = nullptr;
  EXPECT_EQ(fake::LiveObjects(), 0);
}

#ifdef __SANITIZE_ADDRESS__
using PlatformDeathTest = Platform;

TEST_F(PlatformDeathTest, DetectsAReadBetweenTheRowsAndAfterUnmap) {
  const auto staging = NewTexture(8, 4, D3D11_USAGE_STAGING);
  D3D11_MAPPED_SUBRESOURCE mapped{};
  ASSERT_EQ(context_->Map(staging.get(), 0, D3D11_MAP_READ, 0, &mapped), S_OK);
  const auto* const bytes = static_cast<const volatile uint8_t*>(mapped.pData);
  EXPECT_EQ(bytes[8 * 4 - 1], 0);
  EXPECT_DEATH(bytes[8 * 4], "use-after-poison");
  EXPECT_DEATH(bytes[3 * mapped.RowPitch + 8 * 4], "heap-buffer-overflow");
  context_->Unmap(staging.get(), 0);
  EXPECT_DEATH(bytes[0], "heap-use-after-free");
}
#endif

}  // namespace
}  // namespace session_test
