// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// A Direct3D 11 device and what it takes to run one compute program on data of the test's choice.
// Failing calls throw.
#pragma once

#include <windows.h>
#include <d3d11.h>
#include <unknwn.h>

#include <winrt/base.h>

#include <array>
#include <cstdint>
#include <map>
#include <span>
#include <vector>

namespace shader_test {

// The contents of either program's DiffTexInfo.
using Constants = std::array<uint32_t, 4>;

// One texture, and the view that its programs see it through.
struct ReadableTexture {
  winrt::com_ptr<ID3D11Texture2D> texture;
  winrt::com_ptr<ID3D11ShaderResourceView> view;
};
struct WritableTexture {
  winrt::com_ptr<ID3D11Texture2D> texture;
  winrt::com_ptr<ID3D11UnorderedAccessView> view;
};
struct WritableBuffer {
  winrt::com_ptr<ID3D11Buffer> buffer;
  winrt::com_ptr<ID3D11UnorderedAccessView> view;
};

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

  // Rows of `texel_size` bytes per texel, packed.
  ReadableTexture MakeReadable(UINT width, UINT height, DXGI_FORMAT format, const void* texels,
                               UINT texel_size);
  // Formats: R8_UINT, R16_UINT, R32_SINT. `texels` holds one value per texel.
  WritableTexture MakeWritable(UINT width, UINT height, DXGI_FORMAT format,
                               const std::vector<uint32_t>& texels);
  // Words seen through a view of the first `viewed` of them.
  WritableBuffer MakeWords(const std::vector<uint32_t>& words, UINT viewed);
  WritableBuffer MakeWords(const std::vector<uint32_t>& words) {
    return MakeWords(words, static_cast<UINT>(words.size()));
  }

  void Run(const Pass& pass);

  std::vector<uint32_t> Read(const WritableTexture& texture);
  std::vector<uint32_t> Read(const WritableBuffer& words);

 private:
  ComputeDevice();

  winrt::com_ptr<ID3D11Texture2D> MakeTexture(UINT width, UINT height, DXGI_FORMAT format,
                                              UINT bind_flags, const void* texels, UINT row_size);

  winrt::com_ptr<ID3D11Device> device_;
  winrt::com_ptr<ID3D11DeviceContext> context_;
  // By where their bytecode lies. A shader's first run costs its compilation.
  std::map<const unsigned char*, winrt::com_ptr<ID3D11ComputeShader>> shaders_;
};

}  // namespace shader_test
