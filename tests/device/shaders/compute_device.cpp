// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "device/shaders/compute_device.h"

#include <cstring>
#include <stdexcept>

namespace shader_test {
namespace {

UINT TexelSize(DXGI_FORMAT format) {
  switch (format) {
    case DXGI_FORMAT_R8_UINT:
      return 1;
    case DXGI_FORMAT_R16_UINT:
      return 2;
    case DXGI_FORMAT_R32_SINT:
      return 4;
    default:
      throw std::invalid_argument("a format that the tests do not use");
  }
}

}  // namespace

ComputeDevice& ComputeDevice::Shared() {
  static ComputeDevice device;
  return device;
}

ComputeDevice::ComputeDevice() {
  const D3D_FEATURE_LEVEL level = D3D_FEATURE_LEVEL_11_0;
  const auto create = [&](D3D_DRIVER_TYPE type) {
    return D3D11CreateDevice(nullptr, type, nullptr, 0, &level, 1, D3D11_SDK_VERSION, device_.put(),
                             nullptr, context_.put());
  };
  if (FAILED(create(D3D_DRIVER_TYPE_HARDWARE))) {
    winrt::check_hresult(create(D3D_DRIVER_TYPE_WARP));
  }
}

winrt::com_ptr<ID3D11Texture2D> ComputeDevice::MakeTexture(UINT width, UINT height,
                                                           DXGI_FORMAT format, UINT bind_flags,
                                                           const void* texels, UINT row_size) {
  D3D11_TEXTURE2D_DESC description = {};
  description.Width = width;
  description.Height = height;
  description.MipLevels = 1;
  description.ArraySize = 1;
  description.Format = format;
  description.SampleDesc.Count = 1;
  description.BindFlags = bind_flags;
  const D3D11_SUBRESOURCE_DATA data = {texels, row_size, 0};
  winrt::com_ptr<ID3D11Texture2D> texture;
  winrt::check_hresult(device_->CreateTexture2D(&description, &data, texture.put()));
  return texture;
}

ReadableTexture ComputeDevice::MakeReadable(UINT width, UINT height, DXGI_FORMAT format,
                                            const void* texels, UINT texel_size) {
  ReadableTexture result;
  result.texture =
      MakeTexture(width, height, format, D3D11_BIND_SHADER_RESOURCE, texels, width * texel_size);
  winrt::check_hresult(
      device_->CreateShaderResourceView(result.texture.get(), nullptr, result.view.put()));
  return result;
}

WritableTexture ComputeDevice::MakeWritable(UINT width, UINT height, DXGI_FORMAT format,
                                            const std::vector<uint32_t>& texels) {
  const UINT texel_size = TexelSize(format);
  std::vector<unsigned char> packed(texels.size() * texel_size);
  for (size_t i = 0; i < texels.size(); ++i) {
    std::memcpy(packed.data() + i * texel_size, &texels.at(i), texel_size);
  }
  WritableTexture result;
  result.texture = MakeTexture(width, height, format, D3D11_BIND_UNORDERED_ACCESS, packed.data(),
                               width * texel_size);
  winrt::check_hresult(
      device_->CreateUnorderedAccessView(result.texture.get(), nullptr, result.view.put()));
  return result;
}

WritableBuffer ComputeDevice::MakeWords(const std::vector<uint32_t>& words, UINT viewed) {
  D3D11_BUFFER_DESC description = {};
  description.ByteWidth = static_cast<UINT>(words.size() * sizeof(uint32_t));
  description.BindFlags = D3D11_BIND_UNORDERED_ACCESS;
  description.MiscFlags = D3D11_RESOURCE_MISC_BUFFER_STRUCTURED;
  description.StructureByteStride = sizeof(uint32_t);
  const D3D11_SUBRESOURCE_DATA data = {words.data(), 0, 0};
  WritableBuffer result;
  winrt::check_hresult(device_->CreateBuffer(&description, &data, result.buffer.put()));

  D3D11_UNORDERED_ACCESS_VIEW_DESC view = {};
  view.ViewDimension = D3D11_UAV_DIMENSION_BUFFER;
  view.Buffer.NumElements = viewed;
  winrt::check_hresult(
      device_->CreateUnorderedAccessView(result.buffer.get(), &view, result.view.put()));
  return result;
}

void ComputeDevice::Run(const Pass& pass) {
  winrt::com_ptr<ID3D11ComputeShader>& shader = shaders_[pass.bytecode.data()];
  if (!shader) {
    winrt::check_hresult(device_->CreateComputeShader(pass.bytecode.data(), pass.bytecode.size(),
                                                      nullptr, shader.put()));
  }
  context_->ClearState();
  context_->CSSetShader(shader.get(), nullptr, 0);
  context_->CSSetShaderResources(0, static_cast<UINT>(pass.textures.size()), pass.textures.data());
  context_->CSSetUnorderedAccessViews(0, static_cast<UINT>(pass.outputs.size()),
                                      pass.outputs.data(), nullptr);
  winrt::com_ptr<ID3D11Buffer> constants;
  if (pass.constants) {
    D3D11_BUFFER_DESC description = {};
    description.ByteWidth = sizeof(Constants);
    description.BindFlags = D3D11_BIND_CONSTANT_BUFFER;
    const D3D11_SUBRESOURCE_DATA data = {pass.constants->data(), 0, 0};
    winrt::check_hresult(device_->CreateBuffer(&description, &data, constants.put()));
    ID3D11Buffer* const bound = constants.get();
    context_->CSSetConstantBuffers(0, 1, &bound);
  }
  context_->Dispatch(pass.groups[0], pass.groups[1], pass.groups[2]);
  context_->ClearState();
}

std::vector<uint32_t> ComputeDevice::Read(const WritableTexture& texture) {
  D3D11_TEXTURE2D_DESC description;
  texture.texture->GetDesc(&description);
  description.Usage = D3D11_USAGE_STAGING;
  description.BindFlags = 0;
  description.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
  winrt::com_ptr<ID3D11Texture2D> staging;
  winrt::check_hresult(device_->CreateTexture2D(&description, nullptr, staging.put()));
  context_->CopyResource(staging.get(), texture.texture.get());

  D3D11_MAPPED_SUBRESOURCE mapped = {};
  winrt::check_hresult(context_->Map(staging.get(), 0, D3D11_MAP_READ, 0, &mapped));
  const UINT texel_size = TexelSize(description.Format);
  std::vector<uint32_t> texels(size_t{description.Width} * description.Height);
  for (UINT y = 0; y < description.Height; ++y) {
    const auto* row = static_cast<const unsigned char*>(mapped.pData) + size_t{y} * mapped.RowPitch;
    for (UINT x = 0; x < description.Width; ++x) {
      std::memcpy(&texels[size_t{y} * description.Width + x], row + x * texel_size, texel_size);
    }
  }
  context_->Unmap(staging.get(), 0);
  return texels;
}

std::vector<uint32_t> ComputeDevice::Read(const WritableBuffer& words) {
  D3D11_BUFFER_DESC description;
  words.buffer->GetDesc(&description);
  description.Usage = D3D11_USAGE_STAGING;
  description.BindFlags = 0;
  description.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
  description.MiscFlags = 0;
  winrt::com_ptr<ID3D11Buffer> staging;
  winrt::check_hresult(device_->CreateBuffer(&description, nullptr, staging.put()));
  context_->CopyResource(staging.get(), words.buffer.get());

  D3D11_MAPPED_SUBRESOURCE mapped = {};
  winrt::check_hresult(context_->Map(staging.get(), 0, D3D11_MAP_READ, 0, &mapped));
  std::vector<uint32_t> result(description.ByteWidth / sizeof(uint32_t));
  std::memcpy(result.data(), mapped.pData, description.ByteWidth);
  context_->Unmap(staging.get(), 0);
  return result;
}

}  // namespace shader_test
