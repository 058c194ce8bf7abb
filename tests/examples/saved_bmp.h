// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The file that the hosts save a frame to.
#pragma once

#include <gtest/gtest.h>

#include <windows.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "support/shown_picture.h"

inline std::string ReadBytes(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Whether the file is a BMP of 32 bits a pixel, with its rows from top to bottom, of a frame as
// large as the picture that shows the picture.
inline testing::AssertionResult IsBmpOf(const std::filesystem::path& path, const Picture& picture) {
  const std::string saved = ReadBytes(path);
  constexpr size_t kPixels = 54;
  const size_t row_bytes = size_t{picture.width} * 4;
  if (saved.size() != kPixels + row_bytes * picture.height) {
    return testing::AssertionFailure() << path << " has " << saved.size() << " bytes";
  }
  const BITMAPFILEHEADER file{0x4D42, static_cast<DWORD>(saved.size()), 0, 0, kPixels};  // "BM"
  BITMAPINFOHEADER bitmap{};
  bitmap.biSize = sizeof bitmap;
  bitmap.biWidth = static_cast<LONG>(picture.width);
  bitmap.biHeight = -static_cast<LONG>(picture.height);
  bitmap.biPlanes = 1;
  bitmap.biBitCount = 32;
  if (std::memcmp(saved.data(), &file, sizeof file) != 0 ||
      std::memcmp(saved.data() + sizeof file, &bitmap, sizeof bitmap) != 0) {
    return testing::AssertionFailure() << path << " has another header";
  }
  return Shows(Picture(picture.width, picture.height, saved.data() + kPixels, row_bytes), picture);
}
