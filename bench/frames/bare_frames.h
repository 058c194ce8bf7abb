// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The floor: the Direct3D calls of a frame in the session's order, on the same device and the same
// frame textures, without the library. Has its own copy of each resource that a frame passes
// through, of the session's sizes and formats, without the flags and uses that a frame does not
// need.
#pragma once

#include "gpu.h"

namespace bench {

// What a session does with a frame.
enum class Mode {
  kBuffer,     // read back
  kUnchanged,  // compared with the frame before, which is the same
  kChanged,    // compared, different, and read back
  kTexture,    // copied to a texture
};

class BareFrames {
 public:
  BareFrames(const Gpu& gpu, Size size);

  void Handle(Mode mode, ID3D11Texture2D* frame);

  const Picture& buffer() const { return buffer_; }
  ID3D11Texture2D* output() const { return output_.Get(); }
  // Whether the last comparison found a difference.
  bool has_changed() const { return has_changed_; }

 private:
  void BuildDetection();
  Ref<ID3D11Texture2D> MakeTexture(DXGI_FORMAT format, UINT bind_flags);
  Ref<ID3D11Buffer> MakeConstants(const uint32_t (&contents)[4]);

  void Detect(ID3D11Texture2D* frame);
  void ReadBack();

  ID3D11Device* const device_;
  ID3D11DeviceContext* const context_;
  const Size size_;
  const uint32_t tile_rows_;
  Ref<ID3D11Texture2D> staging_;
  Ref<ID3D11Texture2D> output_;
  Picture buffer_;

  Ref<ID3D11Texture2D> old_frame_;
  Ref<ID3D11Texture2D> new_frame_;
  Ref<ID3D11Texture2D> scratch_;
  Ref<ID3D11RenderTargetView> scratch_view_;
  Ref<ID3D11ShaderResourceView> old_view_;
  Ref<ID3D11ShaderResourceView> new_view_;
  Ref<ID3D11Texture2D> measures_;
  Ref<ID3D11UnorderedAccessView> measures_view_;
  Ref<ID3D11Buffer> flags_;
  Ref<ID3D11Buffer> flags_copy_;
  Ref<ID3D11UnorderedAccessView> flags_view_;
  Ref<ID3D11Buffer> difference_constants_;
  Ref<ID3D11Buffer> flag_constants_;
  Ref<ID3D11ComputeShader> reset_program_;
  Ref<ID3D11ComputeShader> difference_program_;
  Ref<ID3D11ComputeShader> flag_program_;
  bool has_changed_ = false;
};

}  // namespace bench
