// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/session/texture_reader.h"

#include <cstring>
#include <vector>

#include "apps/quill-grab/test_support.h"

namespace quill_grab {
namespace {

using Microsoft::WRL::ComPtr;

class TextureReaderTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(SUCCEEDED(D3D11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, 0, nullptr,
                                            0, D3D11_SDK_VERSION, &device_, nullptr, &context_)));
  }

  // A texture like the library's output texture.
  ComPtr<ID3D11Texture2D> MakeTexture(uint32_t width, uint32_t height,
                                      const std::vector<uint32_t>& pixels) {
    D3D11_TEXTURE2D_DESC description{};
    description.Width = width;
    description.Height = height;
    description.MipLevels = 1;
    description.ArraySize = 1;
    description.Format = DXGI_FORMAT_B8G8R8A8_UNORM;
    description.SampleDesc.Count = 1;
    description.BindFlags = D3D11_BIND_RENDER_TARGET;
    const D3D11_SUBRESOURCE_DATA data{pixels.data(), width * 4, 0};
    ComPtr<ID3D11Texture2D> texture;
    EXPECT_TRUE(SUCCEEDED(device_->CreateTexture2D(&description, &data, &texture)));
    return texture;
  }

  void ExpectPixels(TextureReader& reader, uint32_t width, uint32_t height, uint32_t seed) {
    std::vector<uint32_t> pixels(size_t{width} * height);
    for (size_t i = 0; i < pixels.size(); ++i) {
      pixels[i] = static_cast<uint32_t>(i * 2654435761u + seed);
    }
    const ComPtr<ID3D11Texture2D> texture = MakeTexture(width, height, pixels);
    ASSERT_TRUE(texture);
    const MappedPixels mapped = reader.Read(texture.Get());
    ASSERT_EQ(mapped.view().width, width);
    ASSERT_EQ(mapped.view().height, height);
    ASSERT_GE(mapped.view().row_pitch, size_t{width} * 4);
    size_t different = 0;
    for (uint32_t y = 0; y < height; ++y) {
      const uint8_t* row = mapped.view().pixels + y * mapped.view().row_pitch;
      different += std::memcmp(row, &pixels[size_t{y} * width], size_t{width} * 4) != 0;
    }
    EXPECT_EQ(different, 0u);
  }

  ComPtr<ID3D11Device> device_;
  ComPtr<ID3D11DeviceContext> context_;
};

TEST_F(TextureReaderTest, ReadsEveryPixelBack) {
  TextureReader reader(device_.Get());
  ExpectPixels(reader, 61, 43, 1);
}

TEST_F(TextureReaderTest, FollowsChangesOfContentAndSize) {
  TextureReader reader(device_.Get());
  ExpectPixels(reader, 64, 40, 1);
  ExpectPixels(reader, 64, 40, 2);
  ExpectPixels(reader, 100, 30, 3);
  ExpectPixels(reader, 20, 30, 4);
  ExpectPixels(reader, 20, 90, 5);
}

TEST_F(TextureReaderTest, LeavesNoReferenceOnTheTextureItRead) {
  TextureReader reader(device_.Get());
  ComPtr<ID3D11Texture2D> texture = MakeTexture(8, 8, std::vector<uint32_t>(64, 5));
  {
    // Unmapped at once.
    const MappedPixels mapped = reader.Read(texture.Get());
  }
  context_->Flush();
  EXPECT_EQ(texture.Detach()->Release(), 0u);
}

}  // namespace
}  // namespace quill_grab
