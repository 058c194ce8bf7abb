// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <d3d11.h>

#include <cstdint>
#include <vector>

#include "common/ref.h"

namespace bench {

using standin::Ref;

struct Size {
  uint32_t width;   // pixels
  uint32_t height;  // pixels
};

// 32-bit pixels, rows without gaps.
using Picture = std::vector<uint32_t>;

// Every pixel different from its neighbours, opaque.
Picture MakePicture(Size size);
// The same with other pixels in the middle: half of the width and half of the height.
Picture ChangeMiddle(const Picture& picture, Size size);

// A device with its immediate context, and the way to wait for it.
class Gpu {
 public:
  explicit Gpu(ID3D11Device* device);

  ID3D11Device* device() const { return device_.Get(); }
  ID3D11DeviceContext* context() const { return context_.Get(); }

  // Returns when all that the context was given is done. What is left of a frame's work when the
  // call returns is part of the frame's cost, with a renderer on the CPU as with any other.
  void Finish();

  void Upload(ID3D11Texture2D* texture, const Picture& picture);
  Picture Download(ID3D11Texture2D* texture);

 private:
  Ref<ID3D11Device> device_;
  Ref<ID3D11DeviceContext> context_;
  Ref<ID3D11Query> done_;
};

}  // namespace bench
