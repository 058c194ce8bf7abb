// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "gpu.h"

#include <cstring>
#include <random>

#include "wgc_library.h"

namespace bench {

Picture MakePicture(Size size) {
  std::mt19937 random(1);
  Picture picture(static_cast<size_t>(size.width) * size.height);
  for (uint32_t& pixel : picture) pixel = static_cast<uint32_t>(random()) | 0xFF000000;
  return picture;
}

Picture ChangeMiddle(const Picture& picture, Size size) {
  Picture changed = picture;
  for (uint32_t y = size.height / 4; y < size.height * 3 / 4; ++y) {
    for (uint32_t x = size.width / 4; x < size.width * 3 / 4; ++x) {
      changed[static_cast<size_t>(y) * size.width + x] ^= 0x00010101;
    }
  }
  return changed;
}

Gpu::Gpu(ID3D11Device* device) : device_(device) {
  device->GetImmediateContext(context_.Put());
  const D3D11_QUERY_DESC desc = {D3D11_QUERY_EVENT, 0};
  Check(SUCCEEDED(device->CreateQuery(&desc, done_.Put())), "no event query can be made");
}

void Gpu::Finish() {
  context_->End(done_.Get());
  BOOL is_done = FALSE;
  while (context_->GetData(done_.Get(), &is_done, sizeof(is_done), 0) == S_FALSE) SwitchToThread();
}

void Gpu::Upload(ID3D11Texture2D* texture, const Picture& picture) {
  D3D11_TEXTURE2D_DESC desc;
  texture->GetDesc(&desc);
  context_->UpdateSubresource(texture, 0, nullptr, picture.data(), desc.Width * sizeof(picture[0]),
                              0);
  Finish();
}

Picture Gpu::Download(ID3D11Texture2D* texture) {
  D3D11_TEXTURE2D_DESC desc;
  texture->GetDesc(&desc);
  desc.Usage = D3D11_USAGE_STAGING;
  desc.BindFlags = 0;
  desc.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
  desc.MiscFlags = 0;
  Ref<ID3D11Texture2D> staging;
  Check(SUCCEEDED(device_->CreateTexture2D(&desc, nullptr, staging.Put())),
        "no staging texture can be made");
  context_->CopyResource(staging.Get(), texture);
  D3D11_MAPPED_SUBRESOURCE mapped = {};
  Check(SUCCEEDED(context_->Map(staging.Get(), 0, D3D11_MAP_READ, 0, &mapped)),
        "a staging texture cannot be mapped");
  Picture picture(static_cast<size_t>(desc.Width) * desc.Height);
  for (uint32_t y = 0; y < desc.Height; ++y) {
    std::memcpy(
        &picture[static_cast<size_t>(y) * desc.Width],
        static_cast<const uint8_t*>(mapped.pData) + static_cast<size_t>(y) * mapped.RowPitch,
        desc.Width * sizeof(picture[0]));
  }
  context_->Unmap(staging.Get(), 0);
  return picture;
}

}  // namespace bench
