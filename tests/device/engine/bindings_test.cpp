// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What a detection leaves bound on the context, and what is in it.

#include "device/engine/engine_test.h"

namespace {

using reference::Image;

// 132 tile columns, five times 32 begun, and three tile rows, one of them begun.
constexpr uint32_t kWidth = 4200;
constexpr uint32_t kHeight = 70;
constexpr uint32_t kTileRows = 3;

class FrameDiffEngineBindings : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    if (HasFatalFailure()) return;
    d3d_.context->ClearState();
    before_ = NoiseImage(kWidth, kHeight);
    after_ = before_;
    for (const uint32_t x : {5u, 1023u, 1024u, 2050u, 4095u}) ChangePixel(after_, x, 45);
    ChangePixel(after_, 3100, 3);
    ASSERT_TRUE(Compare(before_, after_).succeeded);
  }

  winrt::com_ptr<ID3D11Texture2D> BoundTargetTexture() {
    winrt::com_ptr<ID3D11RenderTargetView> target;
    d3d_.context->OMGetRenderTargets(1, target.put(), nullptr);
    if (!target) return nullptr;
    winrt::com_ptr<ID3D11Resource> resource;
    target->GetResource(resource.put());
    return resource.as<ID3D11Texture2D>();
  }

  Image before_;
  Image after_;
};

TEST_F(FrameDiffEngineBindings, TheComputeShaderIsUnbound) {
  winrt::com_ptr<ID3D11ComputeShader> shader;
  d3d_.context->CSGetShader(shader.put(), nullptr, nullptr);
  EXPECT_FALSE(shader);
}

TEST_F(FrameDiffEngineBindings, BothShaderResourcesAreUnbound) {
  for (const UINT slot : {0u, 1u}) {
    winrt::com_ptr<ID3D11ShaderResourceView> view;
    d3d_.context->CSGetShaderResources(slot, 1, view.put());
    EXPECT_FALSE(view) << slot;
  }
}

TEST_F(FrameDiffEngineBindings, UnorderedAccessSlot0IsUnboundAndSlot1KeepsTheFlagBuffer) {
  winrt::com_ptr<ID3D11UnorderedAccessView> measures;
  d3d_.context->CSGetUnorderedAccessViews(0, 1, measures.put());
  EXPECT_FALSE(measures);

  winrt::com_ptr<ID3D11UnorderedAccessView> flags;
  d3d_.context->CSGetUnorderedAccessViews(1, 1, flags.put());
  ASSERT_TRUE(flags);
  D3D11_UNORDERED_ACCESS_VIEW_DESC desc{};
  flags->GetDesc(&desc);
  EXPECT_EQ(desc.ViewDimension, D3D11_UAV_DIMENSION_BUFFER);
  EXPECT_EQ(desc.Buffer.FirstElement, 0u);
  EXPECT_EQ(desc.Buffer.NumElements, 4 * kTileRows);

  winrt::com_ptr<ID3D11Resource> resource;
  flags->GetResource(resource.put());
  EXPECT_EQ(ReadBuffer(d3d_, resource.as<ID3D11Buffer>().get()),
            reference::FlagWords(reference::ChangedTiles(before_, after_)));
}

TEST_F(FrameDiffEngineBindings, ConstantBufferSlot0KeepsTheFlagPasssNumbers) {
  winrt::com_ptr<ID3D11Buffer> constants;
  d3d_.context->CSGetConstantBuffers(0, 1, constants.put());
  ASSERT_TRUE(constants);
  EXPECT_EQ(ReadBuffer(d3d_, constants.get()), (std::vector<uint32_t>{4, kTileRows, 132, 5}));
}

TEST_F(FrameDiffEngineBindings, TheRenderTargetStaysBound) {
  const winrt::com_ptr<ID3D11Texture2D> texture = BoundTargetTexture();
  ASSERT_TRUE(texture);
  D3D11_TEXTURE2D_DESC desc{};
  texture->GetDesc(&desc);
  EXPECT_EQ(desc.Width, kWidth);
  EXPECT_EQ(desc.Height, kHeight);
  EXPECT_EQ(desc.Format, DXGI_FORMAT_B8G8R8A8_UNORM);
}

TEST_F(FrameDiffEngineBindings, ItIsTheOnlyRenderTargetAndWithoutDepthStencilView) {
  const D3D11_TEXTURE2D_DESC desc = FrameDesc(64, 64);
  winrt::com_ptr<ID3D11Texture2D> texture;
  ASSERT_GE(d3d_.device->CreateTexture2D(&desc, nullptr, texture.put()), 0);
  winrt::com_ptr<ID3D11RenderTargetView> target;
  ASSERT_GE(d3d_.device->CreateRenderTargetView(texture.get(), nullptr, target.put()), 0);
  D3D11_TEXTURE2D_DESC depthDesc = FrameDesc(64, 64, DXGI_FORMAT_D24_UNORM_S8_UINT);
  depthDesc.BindFlags = D3D11_BIND_DEPTH_STENCIL;
  winrt::com_ptr<ID3D11Texture2D> depth;
  ASSERT_GE(d3d_.device->CreateTexture2D(&depthDesc, nullptr, depth.put()), 0);
  winrt::com_ptr<ID3D11DepthStencilView> depthView;
  ASSERT_GE(d3d_.device->CreateDepthStencilView(depth.get(), nullptr, depthView.put()), 0);
  winrt::com_ptr<ID3D11RenderTargetView> other;
  ASSERT_GE(d3d_.device->CreateRenderTargetView(texture.get(), nullptr, other.put()), 0);

  ID3D11RenderTargetView* const targets[] = {target.get(), other.get()};
  d3d_.context->OMSetRenderTargets(2, targets, depthView.get());
  ASSERT_TRUE(Handle(after_).succeeded);

  ID3D11RenderTargetView* bound[2] = {};
  winrt::com_ptr<ID3D11DepthStencilView> boundDepth;
  d3d_.context->OMGetRenderTargets(2, bound, boundDepth.put());
  winrt::com_ptr<ID3D11RenderTargetView> first;
  winrt::com_ptr<ID3D11RenderTargetView> second;
  first.attach(bound[0]);
  second.attach(bound[1]);
  EXPECT_TRUE(first && first != target);
  EXPECT_FALSE(second);
  EXPECT_FALSE(boundDepth);
}

TEST_F(FrameDiffEngineBindings, WhatIsBoundDoesNotDisturbTheNextDetection) {
  EXPECT_TRUE(Handle(after_).rects.empty());
  EXPECT_EQ(Handle(before_).rects, reference::FieldsOf(reference::DiffOf(after_, before_).rects));
}

}  // namespace
