// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Compares two frames, one thread per tile, and writes each tile's change measure: 0 when no pixel
// changed, else the measure of the first changed pixel in column order.

// How many pixels of a column are loaded together. bench/shaders compiles other widths.
#ifndef BATCH
#define BATCH 8
#endif

Texture2D<float4> rgb_new : register(t0);
Texture2D<float4> rgb_old : register(t1);
RWTexture2D<int> light_diff : register(u0);

cbuffer DiffTexInfo : register(b0) {
  dword width;   // of the frame, in pixels
  dword height;  // of the frame, in pixels
  dword rectW;   // of a tile, in pixels
  dword rectH;   // of a tile, in pixels
};

// 0 for equal colours, else 230, 460 or 690. Alpha does not count.
uint PixelMeasure(uint x, uint y) {
  const int3 texel = int3(x, y, 0);
  const float3 d = rgb_new.Load(texel).rgb - rgb_old.Load(texel).rgb;
  // The sum is rounded up before it is scaled, so that the smallest difference counts. `precise`
  // keeps the order of the additions, on which the rounding depends.
  precise const float s = (abs(d.g) + abs(d.r)) + abs(d.b);
  return (uint)(ceil(s) * 230.0);
}

// The measure of the first changed pixel among the BATCH pixels of column `x` from `y` on; 0 when
// none has changed. No load waits for another's result. Pixels from `end` on do not count: they are
// the next tile's, or zero outside the texture.
uint FirstMeasure(uint x, uint y, uint end) {
  uint first = 0;
  // From the last to the first, so that the first one stays.
  [unroll]
  for (uint i = BATCH; i-- > 0;) {
    const uint measure = PixelMeasure(x, y + i);
    first = measure != 0 && i < end - y ? measure : first;
  }
  return first;
}

[numthreads(16, 16, 1)]
void main(uint3 tile : SV_DispatchThreadID) {
  const uint x0 = tile.x * rectW;
  const uint y0 = tile.y * rectH;
  const uint x1 = x0 + rectW;
  const uint y1 = y0 + rectH;
  // A tile that ends exactly on the frame's edge is skipped too, and its texel stays cleared.
  if (x1 >= width || y1 >= height) {
    return;
  }

  // An empty tile, too, has the measure of its first pixel.
  uint value = PixelMeasure(x0, y0);
  [loop]
  for (uint x = x0; x < x1 && value == 0; ++x) {
    [loop]
    for (uint y = y0; y < y1 && value == 0; y += BATCH) {
      value = FirstMeasure(x, y, y1);
    }
  }
  light_diff[tile.xy] = (int)value;
}
