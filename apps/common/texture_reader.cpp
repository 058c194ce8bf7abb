// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "common/texture_reader.h"

#include "common/error.h"

namespace quill_apps {

namespace {

constexpr ResultCheck kReadCheck{ExitCode::kCaptureFailed, "a texture could not be read back",
                                 "try it without --texture"};

}  // namespace

TextureReader::TextureReader(ID3D11Device* device) : device_(device) {
  device->GetImmediateContext(&context_);
}

FramePixels TextureReader::Read(ID3D11Texture2D* texture) {
  D3D11_TEXTURE2D_DESC source;
  texture->GetDesc(&source);
  EnsureStaging(source);
  context_->CopyResource(staging_.Get(), texture);
  D3D11_MAPPED_SUBRESOURCE mapped{};
  kReadCheck(context_->Map(staging_.Get(), 0, D3D11_MAP_READ, 0, &mapped), "Map");
  return FramePixels(
      {static_cast<const uint8_t*>(mapped.pData), source.Width, source.Height, mapped.RowPitch},
      context_.Get(), staging_.Get());
}

void TextureReader::EnsureStaging(const D3D11_TEXTURE2D_DESC& source) {
  if (staging_ && description_.Width == source.Width && description_.Height == source.Height &&
      description_.Format == source.Format) {
    return;
  }
  staging_.Reset();
  description_ = source;
  description_.Usage = D3D11_USAGE_STAGING;
  description_.BindFlags = 0;
  description_.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
  description_.MiscFlags = 0;
  kReadCheck(device_->CreateTexture2D(&description_, nullptr, &staging_), "CreateTexture2D");
}

}  // namespace quill_apps
