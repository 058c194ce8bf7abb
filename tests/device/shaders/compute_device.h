// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Runs one compute program on data of the test's choice. Failing calls throw.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <span>
#include <vector>

#include "device/d3d_device.h"

namespace shader_test {

// The contents of either program's DiffTexInfo.
using Constants = std::array<uint32_t, 4>;

// A resource, and the view that programs see it through.
struct Input {
  winrt::com_ptr<ID3D11Texture2D> texture;
  winrt::com_ptr<ID3D11ShaderResourceView> view;
};
template <typename Resource>
struct Output {
  winrt::com_ptr<Resource> resource;
  winrt::com_ptr<ID3D11UnorderedAccessView> view;
};
using OutputTexture = Output<ID3D11Texture2D>;
using OutputBuffer = Output<ID3D11Buffer>;

// One program's bindings, in slot order, and its thread groups. The bytecode stays where it is.
struct Pass {
  std::span<const unsigned char> bytecode;
  std::vector<ID3D11ShaderResourceView*> textures = {};
  std::vector<ID3D11UnorderedAccessView*> outputs = {};
  const Constants* constants = nullptr;
  std::array<UINT, 3> groups = {1, 1, 1};
};

class ComputeDevice {
 public:
  // One device serves all tests of the program: making one takes most of a second.
  static ComputeDevice& Shared();

  // Texels of `texel_size` bytes, rows packed.
  Input MakeInput(UINT width, UINT height, DXGI_FORMAT format, const void* texels, UINT texel_size);
  // Formats: R8_UINT, R16_UINT, R32_SINT. `values` holds one value per texel.
  OutputTexture MakeOutput(UINT width, UINT height, DXGI_FORMAT format,
                           const std::vector<uint32_t>& values);
  // Words seen through a view of the first `viewed` of them.
  OutputBuffer MakeWords(const std::vector<uint32_t>& words, UINT viewed);

  void Run(const Pass& pass);

  std::vector<uint32_t> Read(const OutputTexture& texture);
  std::vector<uint32_t> Read(const OutputBuffer& words);

 private:
  winrt::com_ptr<ID3D11Texture2D> MakeTexture(UINT width, UINT height, DXGI_FORMAT format,
                                              UINT bind_flags, const void* texels, UINT row_size);

  const D3dDevice d3d_ = CreateD3dDevice();
  // By where their bytecode lies. A shader's first run costs its compilation.
  std::map<const unsigned char*, winrt::com_ptr<ID3D11ComputeShader>> shaders_;
};

}  // namespace shader_test
