// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "system/e2e/read_texture.h"

#include <d3d11.h>

#include "system/e2e/capture.h"

Picture ReadTexture(void* session, const Poll& poll) {
  auto* texture = static_cast<ID3D11Texture2D*>(poll.frame);
  ID3D11Device* device = Wgc().wgc_get_device(session);
  D3D11_TEXTURE2D_DESC desc;
  texture->GetDesc(&desc);
  desc.Usage = D3D11_USAGE_STAGING;
  desc.BindFlags = 0;
  desc.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
  ID3D11Texture2D* staging = nullptr;
  EXPECT_EQ(device->CreateTexture2D(&desc, nullptr, &staging), S_OK);
  ID3D11DeviceContext* context = nullptr;
  device->GetImmediateContext(&context);
  context->CopyResource(staging, texture);
  D3D11_MAPPED_SUBRESOURCE mapped;
  EXPECT_EQ(context->Map(staging, 0, D3D11_MAP_READ, 0, &mapped), S_OK);
  Picture picture{static_cast<int>(desc.Width), static_cast<int>(desc.Height), {}};
  for (UINT y = 0; y < desc.Height; ++y) {
    const auto* row = reinterpret_cast<const uint32_t*>(static_cast<const uint8_t*>(mapped.pData) +
                                                        static_cast<size_t>(y) * mapped.RowPitch);
    picture.pixels.insert(picture.pixels.end(), row, row + desc.Width);
  }
  context->Unmap(staging, 0);
  context->Release();
  staging->Release();
  texture->Release();
  return picture;
}
