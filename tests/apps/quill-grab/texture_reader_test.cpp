// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/session/texture_reader.h"

#include <cstring>
#include <vector>

#include "apps/quill-grab/grab_test.h"

namespace quill_grab {
namespace {

using Microsoft::WRL::ComPtr;

TEST(TextureReaderTest, EveryPixelIsReadAfterChangesOfContentAndSize) {
  ComPtr<ID3D11Device> device;
  ComPtr<ID3D11DeviceContext> context;
  ASSERT_TRUE(SUCCEEDED(D3D11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, 0, nullptr, 0,
                                          D3D11_SDK_VERSION, &device, nullptr, &context)));
  TextureReader reader(device.Get());
  constexpr FrameSize kSizes[] = {{61, 43}, {64, 40}, {64, 40}, {100, 30}, {20, 30}, {20, 90}};
  uint32_t seed = 0;
  for (const auto& [width, height] : kSizes) {
    SCOPED_TRACE(++seed);
    std::vector<uint32_t> pixels(size_t{width} * height);
    for (size_t i = 0; i < pixels.size(); ++i) {
      pixels[i] = static_cast<uint32_t>(i * 2654435761u + seed);
    }
    const D3D11_SUBRESOURCE_DATA data{pixels.data(), width * 4, 0};
    const CD3D11_TEXTURE2D_DESC description(DXGI_FORMAT_B8G8R8A8_UNORM, width, height, 1, 1,
                                            D3D11_BIND_RENDER_TARGET);
    ComPtr<ID3D11Texture2D> texture;
    ASSERT_TRUE(SUCCEEDED(device->CreateTexture2D(&description, &data, &texture)));
    {
      const FramePixels read = reader.Read(texture.Get());
      ASSERT_EQ(read.view().size(), (FrameSize{width, height}));
      ASSERT_GE(read.view().row_pitch, size_t{width} * 4);
      for (uint32_t y = 0; y < height; ++y) {
        const uint8_t* row = read.view().pixels + y * read.view().row_pitch;
        EXPECT_EQ(std::memcmp(row, &pixels[size_t{y} * width], size_t{width} * 4), 0) << y;
      }
    }
    context->Flush();
    EXPECT_EQ(texture.Detach()->Release(), 0u) << "the reader holds no reference";
  }
}

}  // namespace
}  // namespace quill_grab
