// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <span>
#include <vector>

// A decoded picture: blue, green, red and alpha of each pixel, alpha 255 where the file has none.
struct DecodedPng {
  bool has_alpha = false;
  uint32_t width = 0;
  uint32_t height = 0;
  std::vector<uint8_t> bgra;
};

// Decodes through the Windows Imaging Component; width is 0 when the bytes are no complete PNG
// file. The thread must have initialised COM.
DecodedPng DecodePng(std::span<const uint8_t> bytes);

std::vector<uint8_t> ReadWholeFile(const wchar_t* path);
