// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Frames of any size and format for the sessions of these tests, and recordings in parts.
#pragma once

#include <winrt/base.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "native/host.h"

namespace session_test {

// A texture on the device of the session that was started last.
inline winrt::com_ptr<ID3D11Texture2D> NewFrameTexture(const D3D11_TEXTURE2D_DESC& desc) {
  return {fake::NewTexture(fake::LastPool()->Direct3DDevice(), desc),
          winrt::take_ownership_from_abi};
}

inline winrt::com_ptr<ID3D11Texture2D> NewFrameTexture(
    const reference::Image& picture, DXGI_FORMAT format = DXGI_FORMAT_B8G8R8A8_UNORM) {
  auto texture = NewFrameTexture(fake::FrameDesc(picture.width, picture.height, format));
  fake::Draw(texture.get(), picture);
  return texture;
}

// A frame with a texture as large as the picture, while the content keeps the pool's size.
inline void DeliverAnySize(const reference::Image& picture,
                           DXGI_FORMAT format = DXGI_FORMAT_B8G8R8A8_UNORM) {
  fake::FramePool* const pool = fake::LastPool();
  ASSERT_TRUE(pool->DeliverTexture(NewFrameTexture(picture, format).get(), pool->Size()));
}

// What a host that pumps for itself does between two polls.
inline void PumpAsTheHost() {
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
}

// The lines of a recording that hold `part`.
inline std::vector<std::string> LinesWith(std::string_view part,
                                          const std::vector<std::string>& recording) {
  std::vector<std::string> lines;
  std::copy_if(recording.begin(), recording.end(), std::back_inserter(lines),
               [=](const std::string& line) { return line.find(part) != std::string::npos; });
  return lines;
}

}  // namespace session_test
