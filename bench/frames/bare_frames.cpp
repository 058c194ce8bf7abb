// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "bare_frames.h"

#include <algorithm>
#include <cstring>

#include "diff/FrameDiffRectsCS.h"
#include "diff/diff_rects.h"
#include "wgc_library.h"

namespace bench {
namespace {

constexpr uint32_t kGroup = 16;  // threads along a side of a group

uint32_t DivideUp(uint32_t value, uint32_t divisor) {
  return (value + divisor - 1) / divisor;
}

void Made(HRESULT result) {
  Check(SUCCEEDED(result), "the floor's own Direct3D objects cannot be made");
}

}  // namespace

BareFrames::BareFrames(const Gpu& gpu, Size size)
    : device_(gpu.device()),
      context_(gpu.context()),
      size_(size),
      tile_rows_(DivideUp(size.height, kTileSize)),
      buffer_(static_cast<size_t>(size.width) * size.height) {
  const CD3D11_TEXTURE2D_DESC desc(DXGI_FORMAT_B8G8R8A8_UNORM, size.width, size.height, 1, 1, 0,
                                   D3D11_USAGE_STAGING, D3D11_CPU_ACCESS_READ);
  Made(device_->CreateTexture2D(&desc, nullptr, staging_.Put()));
  output_ = MakeTexture(DXGI_FORMAT_B8G8R8A8_UNORM, D3D11_BIND_RENDER_TARGET);
  BuildDetection();
}

Ref<ID3D11Texture2D> BareFrames::MakeTexture(DXGI_FORMAT format, UINT bind_flags) {
  const CD3D11_TEXTURE2D_DESC desc(format, size_.width, size_.height, 1, 1, bind_flags);
  Ref<ID3D11Texture2D> texture;
  Made(device_->CreateTexture2D(&desc, nullptr, texture.Put()));
  return texture;
}

Ref<ID3D11Buffer> BareFrames::MakeConstants(const uint32_t (&contents)[4]) {
  D3D11_BUFFER_DESC desc = {};
  desc.ByteWidth = sizeof(contents);
  desc.BindFlags = D3D11_BIND_CONSTANT_BUFFER;
  D3D11_SUBRESOURCE_DATA data = {};
  data.pSysMem = contents;
  Ref<ID3D11Buffer> buffer;
  Made(device_->CreateBuffer(&desc, &data, buffer.Put()));
  return buffer;
}

void BareFrames::BuildDetection() {
  constexpr UINT kFrameBinds = D3D11_BIND_SHADER_RESOURCE | D3D11_BIND_RENDER_TARGET;
  old_frame_ = MakeTexture(DXGI_FORMAT_B8G8R8A8_UNORM, kFrameBinds);
  new_frame_ = MakeTexture(DXGI_FORMAT_B8G8R8A8_UNORM, kFrameBinds);
  scratch_ = MakeTexture(DXGI_FORMAT_B8G8R8A8_UNORM, kFrameBinds);
  Made(device_->CreateRenderTargetView(scratch_.Get(), nullptr, scratch_view_.Put()));
  Made(device_->CreateShaderResourceView(old_frame_.Get(), nullptr, old_view_.Put()));
  Made(device_->CreateShaderResourceView(new_frame_.Get(), nullptr, new_view_.Put()));
  measures_ = MakeTexture(DXGI_FORMAT_R8_UINT, D3D11_BIND_UNORDERED_ACCESS);
  Made(device_->CreateUnorderedAccessView(measures_.Get(), nullptr, measures_view_.Put()));

  D3D11_BUFFER_DESC desc = {};
  desc.ByteWidth = tile_rows_ * kFlagWordsPerRow * sizeof(uint32_t);
  desc.BindFlags = D3D11_BIND_UNORDERED_ACCESS | D3D11_BIND_SHADER_RESOURCE;
  desc.MiscFlags = D3D11_RESOURCE_MISC_BUFFER_STRUCTURED;
  desc.StructureByteStride = sizeof(uint32_t);
  Made(device_->CreateBuffer(&desc, nullptr, flags_.Put()));
  Made(device_->CreateUnorderedAccessView(flags_.Get(), nullptr, flags_view_.Put()));
  desc.Usage = D3D11_USAGE_STAGING;
  desc.BindFlags = 0;
  desc.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
  desc.MiscFlags = 0;
  Made(device_->CreateBuffer(&desc, nullptr, flags_copy_.Put()));

  const uint32_t tile_columns = DivideUp(size_.width, kTileSize);
  difference_constants_ = MakeConstants({size_.width, size_.height, kTileSize, kTileSize});
  flag_constants_ = MakeConstants(
      {kFlagWordsPerRow, tile_rows_, tile_columns, DivideUp(tile_columns, kFlagsPerWord)});
  Made(device_->CreateComputeShader(szResetDiffRectsCS, sizeof(szResetDiffRectsCS), nullptr,
                                    reset_program_.Put()));
  Made(device_->CreateComputeShader(szFrameDiffRectsCS, sizeof(szFrameDiffRectsCS), nullptr,
                                    difference_program_.Put()));
  Made(device_->CreateComputeShader(szGetBitFlagCS, sizeof(szGetBitFlagCS), nullptr,
                                    flag_program_.Put()));
}

void BareFrames::Handle(Mode mode, ID3D11Texture2D* frame) {
  if (mode == Mode::kTexture) {
    context_->CopyResource(output_.Get(), frame);
    return;
  }
  context_->CopyResource(staging_.Get(), frame);
  if (mode != Mode::kBuffer) {
    Detect(frame);
    context_->CopyResource(old_frame_.Get(), frame);
    if (!has_changed_) return;
  }
  ReadBack();
}

void BareFrames::ReadBack() {
  D3D11_MAPPED_SUBRESOURCE mapped;
  Check(SUCCEEDED(context_->Map(staging_.Get(), 0, D3D11_MAP_READ, 0, &mapped)),
        "the floor's staging texture cannot be mapped");
  const size_t row_bytes = size_.width * sizeof(buffer_[0]);
  for (uint32_t row = 0; row < size_.height; ++row) {
    std::memcpy(
        reinterpret_cast<uint8_t*>(buffer_.data()) + row * row_bytes,
        static_cast<const uint8_t*>(mapped.pData) + static_cast<size_t>(row) * mapped.RowPitch,
        row_bytes);
  }
  context_->Unmap(staging_.Get(), 0);
}

void BareFrames::Detect(ID3D11Texture2D* frame) {
  const uint32_t groups_across = DivideUp(size_.width, kTileSize * kGroup);
  const uint32_t groups_down = DivideUp(size_.height, kTileSize * kGroup);
  ID3D11UnorderedAccessView* const flags[] = {flags_view_.Get()};
  ID3D11UnorderedAccessView* const measures_and_flags[] = {measures_view_.Get(), flags_view_.Get()};
  ID3D11ShaderResourceView* const frames[] = {new_view_.Get(), old_view_.Get()};
  ID3D11RenderTargetView* const targets[] = {scratch_view_.Get()};
  ID3D11Buffer* const difference_constants[] = {difference_constants_.Get()};
  ID3D11Buffer* const flag_constants[] = {flag_constants_.Get()};

  context_->OMSetRenderTargets(1, targets, nullptr);
  context_->CopyResource(new_frame_.Get(), frame);

  context_->CSSetShader(reset_program_.Get(), nullptr, 0);
  context_->CSSetUnorderedAccessViews(0, 1, flags, nullptr);
  context_->Dispatch(DivideUp(tile_rows_ * kFlagWordsPerRow, kGroup), 1, 1);

  context_->CSSetShader(difference_program_.Get(), nullptr, 0);
  context_->CSSetConstantBuffers(0, 1, difference_constants);
  context_->CSSetShaderResources(0, 2, frames);
  context_->CSSetUnorderedAccessViews(0, 1, measures_and_flags, nullptr);
  context_->Dispatch(groups_across, groups_down, 1);

  context_->CSSetShader(flag_program_.Get(), nullptr, 0);
  context_->CSSetConstantBuffers(0, 1, flag_constants);
  context_->CSSetUnorderedAccessViews(0, 2, measures_and_flags, nullptr);
  context_->Dispatch(1, groups_down, 1);

  ID3D11ShaderResourceView* const no_frames[] = {nullptr, nullptr};
  ID3D11UnorderedAccessView* const no_view[] = {nullptr};
  context_->CSSetShader(nullptr, nullptr, 0);
  context_->CSSetShaderResources(0, 2, no_frames);
  context_->CSSetUnorderedAccessViews(0, 1, no_view, nullptr);

  context_->CopyResource(flags_copy_.Get(), flags_.Get());
  D3D11_MAPPED_SUBRESOURCE mapped;
  Check(SUCCEEDED(context_->Map(flags_copy_.Get(), 0, D3D11_MAP_READ, 0, &mapped)),
        "the floor's flags cannot be mapped");
  const auto* words = static_cast<const uint32_t*>(mapped.pData);
  has_changed_ = std::any_of(words, words + tile_rows_ * kFlagWordsPerRow,
                             [](uint32_t word) { return word != 0; });
  context_->Unmap(flags_copy_.Get(), 0);
  context_->Unmap(flags_copy_.Get(), 0);
}

}  // namespace bench
