// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <gtest/gtest.h>

#include <d3d11.h>

#include "common/ref.h"
#include "support/picture.h"

// Copies a texture's pixels to the CPU, on the texture's own device.
inline Picture ReadTexture(ID3D11Texture2D* texture) {
  D3D11_TEXTURE2D_DESC desc;
  texture->GetDesc(&desc);
  desc.Usage = D3D11_USAGE_STAGING;
  desc.BindFlags = 0;
  desc.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
  standin::Ref<ID3D11Device> device;
  texture->GetDevice(device.Put());
  standin::Ref<ID3D11Texture2D> staging;
  EXPECT_EQ(device->CreateTexture2D(&desc, nullptr, staging.Put()), S_OK);
  standin::Ref<ID3D11DeviceContext> context;
  device->GetImmediateContext(context.Put());
  context->CopyResource(staging.Get(), texture);
  D3D11_MAPPED_SUBRESOURCE mapped;
  EXPECT_EQ(context->Map(staging.Get(), 0, D3D11_MAP_READ, 0, &mapped), S_OK);
  const Picture picture(desc.Width, desc.Height, mapped.pData, mapped.RowPitch);
  context->Unmap(staging.Get(), 0);
  return picture;
}
