// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "native/platform/programs.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "diff/FrameDiffRectsCS.h"

namespace fake {
namespace {

constexpr uint32_t kGroupEdge = 16;  // threads
constexpr uint32_t kTilesPerWord = 32;
constexpr uint32_t kWordsPerRow = 4;

struct Constants {
  uint32_t values[4] = {};
};

Constants ConstantsOf(const Storage* buffer) {
  Constants constants;
  if (buffer != nullptr) {
    std::memcpy(constants.values, buffer->memory.Read(0),
                std::min<size_t>(sizeof(constants.values), buffer->memory.row_bytes()));
  }
  return constants;
}

uint32_t Texel(const Storage* texture, uint32_t x, uint32_t y, uint32_t bytes) {
  uint32_t texel = 0;
  if (texture == nullptr || texture->is_buffer || x >= texture->width || y >= texture->height) {
    return 0;
  }
  std::memcpy(&texel, texture->memory.Read(y) + static_cast<size_t>(x) * bytes, bytes);
  return texel;
}

void WriteWord(Storage* buffer, uint32_t index, uint32_t word) {
  if (buffer == nullptr || !buffer->is_buffer || index >= buffer->width / sizeof(word)) return;
  std::memcpy(buffer->memory.Write(0) + index * sizeof(word), &word, sizeof(word));
}

// Four channels of eight bits each, of which the fourth is alpha.
uint32_t PixelMeasure(const Bindings& bindings, uint32_t x, uint32_t y) {
  const uint32_t now = Texel(bindings.shader_resources[0], x, y, 4);
  const uint32_t before = Texel(bindings.shader_resources[1], x, y, 4);
  if (now == before) return 0;
  float channels[3];
  for (int i = 0; i < 3; ++i) {
    const auto value = [i](uint32_t pixel) {
      return static_cast<float>(pixel >> (8 * i) & 0xFF) / 255.0f;
    };
    channels[i] = std::fabs(value(now) - value(before));
  }
  const float sum = (channels[1] + channels[2]) + channels[0];
  return static_cast<uint32_t>(std::ceil(sum) * 230.0f);
}

uint32_t TileMeasure(const Bindings& bindings, uint32_t x0, uint32_t y0, uint32_t x1, uint32_t y1) {
  for (uint32_t x = x0; x < x1; ++x) {
    for (uint32_t y = y0; y < y1; ++y) {
      if (const uint32_t measure = PixelMeasure(bindings, x, y); measure != 0) return measure;
    }
  }
  return 0;
}

void FrameDiffRects(const Bindings& bindings, uint32_t threads_x, uint32_t threads_y) {
  const auto [width, height, tile_width, tile_height] = ConstantsOf(bindings.constants).values;
  for (uint32_t ty = 0; ty < threads_y; ++ty) {
    for (uint32_t tx = 0; tx < threads_x; ++tx) {
      const uint32_t x1 = tx * tile_width + tile_width;
      const uint32_t y1 = ty * tile_height + tile_height;
      if (x1 >= width || y1 >= height) continue;
      const uint32_t measure = TileMeasure(bindings, tx * tile_width, ty * tile_height, x1, y1);
      Storage* const light = bindings.access_views[0];
      if (light == nullptr || tx >= light->width || ty >= light->height) continue;
      light->memory.Write(ty)[tx] = static_cast<uint8_t>(std::min<uint32_t>(measure, 255));
    }
  }
}

void ResetDiffRects(const Bindings& bindings, uint32_t threads) {
  for (uint32_t i = 0; i < threads; ++i) WriteWord(bindings.access_views[0], i, 0);
}

void GetBitFlag(const Bindings& bindings, uint32_t threads_x, uint32_t threads_y) {
  const auto [buff_width, buff_height, tex_width, tex_step] =
      ConstantsOf(bindings.constants).values;
  static_cast<void>(tex_step);
  for (uint32_t row = 0; row < threads_y; ++row) {
    for (uint32_t wx = 0; wx < threads_x; ++wx) {
      if (wx >= buff_width || row >= buff_height) continue;
      uint32_t flags = 0;
      for (uint32_t i = 0; i < kTilesPerWord; ++i) {
        const uint32_t tx = wx * kTilesPerWord + i;
        if (tx > tex_width) break;
        if (Texel(bindings.access_views[0], tx, row, 1) != 0) flags |= 1u << i;
      }
      WriteWord(bindings.access_views[1], row * kWordsPerRow + wx, flags);
    }
  }
}

}  // namespace

std::optional<Program> ProgramOf(const void* bytecode, size_t size) {
  const auto is = [&](const auto& array) {
    return size == sizeof(array) && std::memcmp(bytecode, array, sizeof(array)) == 0;
  };
  if (is(szResetDiffRectsCS)) return Program::kResetDiffRects;
  if (is(szFrameDiffRectsCS)) return Program::kFrameDiffRects;
  if (is(szGetBitFlagCS)) return Program::kGetBitFlag;
  return std::nullopt;
}

void Run(Program program, const Bindings& bindings, uint32_t groups_x, uint32_t groups_y) {
  switch (program) {
    case Program::kResetDiffRects:
      return ResetDiffRects(bindings, groups_x * kGroupEdge);
    case Program::kFrameDiffRects:
      return FrameDiffRects(bindings, groups_x * kGroupEdge, groups_y * kGroupEdge);
    case Program::kGetBitFlag:
      return GetBitFlag(bindings, groups_x * kGroupEdge, groups_y * kGroupEdge);
  }
}

}  // namespace fake
