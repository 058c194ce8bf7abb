// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "device/shaders/compute_device.h"

#include <cstring>

namespace shader_test {
namespace {

// Of a format that MakeOutput takes.
UINT TexelSize(DXGI_FORMAT format) {
  return format == DXGI_FORMAT_R8_UINT ? 1 : format == DXGI_FORMAT_R16_UINT ? 2 : 4;
}

}  // namespace

ComputeDevice& ComputeDevice::Shared() {
  static ComputeDevice device;
  return device;
}

winrt::com_ptr<ID3D11Texture2D> ComputeDevice::MakeTexture(UINT width, UINT height,
                                                           DXGI_FORMAT format, UINT bind_flags,
                                                           const void* texels, UINT row_size) {
  D3D11_TEXTURE2D_DESC description = FrameDesc(width, height, format);
  description.BindFlags = bind_flags;
  const D3D11_SUBRESOURCE_DATA data = {texels, row_size, 0};
  winrt::com_ptr<ID3D11Texture2D> texture;
  winrt::check_hresult(d3d_.device->CreateTexture2D(&description, &data, texture.put()));
  return texture;
}

Input ComputeDevice::MakeInput(UINT width, UINT height, DXGI_FORMAT format, const void* texels,
                               UINT texel_size) {
  Input input;
  input.texture =
      MakeTexture(width, height, format, D3D11_BIND_SHADER_RESOURCE, texels, width * texel_size);
  winrt::check_hresult(
      d3d_.device->CreateShaderResourceView(input.texture.get(), nullptr, input.view.put()));
  return input;
}

OutputTexture ComputeDevice::MakeOutput(UINT width, UINT height, DXGI_FORMAT format,
                                        const std::vector<uint32_t>& values) {
  const UINT texel_size = TexelSize(format);
  std::vector<unsigned char> packed(values.size() * texel_size);
  for (size_t i = 0; i < values.size(); ++i) {
    std::memcpy(packed.data() + i * texel_size, &values[i], texel_size);
  }
  OutputTexture output;
  output.resource = MakeTexture(width, height, format, D3D11_BIND_UNORDERED_ACCESS, packed.data(),
                                width * texel_size);
  winrt::check_hresult(
      d3d_.device->CreateUnorderedAccessView(output.resource.get(), nullptr, output.view.put()));
  return output;
}

OutputBuffer ComputeDevice::MakeWords(const std::vector<uint32_t>& words, UINT viewed) {
  D3D11_BUFFER_DESC description = {};
  description.ByteWidth = static_cast<UINT>(words.size() * sizeof(uint32_t));
  description.BindFlags = D3D11_BIND_UNORDERED_ACCESS;
  description.MiscFlags = D3D11_RESOURCE_MISC_BUFFER_STRUCTURED;
  description.StructureByteStride = sizeof(uint32_t);
  const D3D11_SUBRESOURCE_DATA data = {words.data(), 0, 0};
  OutputBuffer output;
  winrt::check_hresult(d3d_.device->CreateBuffer(&description, &data, output.resource.put()));

  D3D11_UNORDERED_ACCESS_VIEW_DESC view = {};
  view.ViewDimension = D3D11_UAV_DIMENSION_BUFFER;
  view.Buffer.NumElements = viewed;
  winrt::check_hresult(
      d3d_.device->CreateUnorderedAccessView(output.resource.get(), &view, output.view.put()));
  return output;
}

void ComputeDevice::Run(const Pass& pass) {
  ID3D11DeviceContext& context = *d3d_.context;
  winrt::com_ptr<ID3D11ComputeShader>& shader = shaders_[pass.bytecode.data()];
  if (!shader) {
    winrt::check_hresult(d3d_.device->CreateComputeShader(
        pass.bytecode.data(), pass.bytecode.size(), nullptr, shader.put()));
  }
  context.ClearState();
  context.CSSetShader(shader.get(), nullptr, 0);
  context.CSSetShaderResources(0, static_cast<UINT>(pass.textures.size()), pass.textures.data());
  context.CSSetUnorderedAccessViews(0, static_cast<UINT>(pass.outputs.size()), pass.outputs.data(),
                                    nullptr);
  winrt::com_ptr<ID3D11Buffer> constants;
  if (pass.constants) {
    D3D11_BUFFER_DESC description = {};
    description.ByteWidth = sizeof(Constants);
    description.BindFlags = D3D11_BIND_CONSTANT_BUFFER;
    const D3D11_SUBRESOURCE_DATA data = {pass.constants->data(), 0, 0};
    winrt::check_hresult(d3d_.device->CreateBuffer(&description, &data, constants.put()));
    ID3D11Buffer* const bound = constants.get();
    context.CSSetConstantBuffers(0, 1, &bound);
  }
  context.Dispatch(pass.groups[0], pass.groups[1], pass.groups[2]);
  context.ClearState();
}

std::vector<uint32_t> ComputeDevice::Read(const OutputTexture& texture) {
  D3D11_TEXTURE2D_DESC description;
  texture.resource->GetDesc(&description);
  description.Usage = D3D11_USAGE_STAGING;
  description.BindFlags = 0;
  description.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
  winrt::com_ptr<ID3D11Texture2D> staging;
  winrt::check_hresult(d3d_.device->CreateTexture2D(&description, nullptr, staging.put()));
  d3d_.context->CopyResource(staging.get(), texture.resource.get());

  D3D11_MAPPED_SUBRESOURCE mapped = {};
  winrt::check_hresult(d3d_.context->Map(staging.get(), 0, D3D11_MAP_READ, 0, &mapped));
  const UINT texel_size = TexelSize(description.Format);
  std::vector<uint32_t> texels(size_t{description.Width} * description.Height);
  for (UINT y = 0; y < description.Height; ++y) {
    const auto* row = static_cast<const unsigned char*>(mapped.pData) + size_t{y} * mapped.RowPitch;
    for (UINT x = 0; x < description.Width; ++x) {
      std::memcpy(&texels[size_t{y} * description.Width + x], row + x * texel_size, texel_size);
    }
  }
  d3d_.context->Unmap(staging.get(), 0);
  return texels;
}

std::vector<uint32_t> ComputeDevice::Read(const OutputBuffer& words) {
  D3D11_BUFFER_DESC description;
  words.resource->GetDesc(&description);
  description.Usage = D3D11_USAGE_STAGING;
  description.BindFlags = 0;
  description.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
  description.MiscFlags = 0;
  winrt::com_ptr<ID3D11Buffer> staging;
  winrt::check_hresult(d3d_.device->CreateBuffer(&description, nullptr, staging.put()));
  d3d_.context->CopyResource(staging.get(), words.resource.get());

  D3D11_MAPPED_SUBRESOURCE mapped = {};
  winrt::check_hresult(d3d_.context->Map(staging.get(), 0, D3D11_MAP_READ, 0, &mapped));
  const auto* const first = static_cast<const uint32_t*>(mapped.pData);
  const std::vector<uint32_t> result(first, first + description.ByteWidth / sizeof(uint32_t));
  d3d_.context->Unmap(staging.get(), 0);
  return result;
}

}  // namespace shader_test
