// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Reads every pixel of both frames once, one thread per pixel, and marks the tiles that changed: no
// comparison of two frames reads less.

Texture2D<float4> rgb_new : register(t0);
Texture2D<float4> rgb_old : register(t1);
RWTexture2D<int> light_diff : register(u0);

cbuffer DiffTexInfo : register(b0) {
  dword width;
  dword height;
  dword rectW;
  dword rectH;
};

[numthreads(16, 16, 1)]
void main(uint3 pixel : SV_DispatchThreadID) {
  const int3 texel = int3(pixel.xy, 0);
  if (any(rgb_new.Load(texel).rgb != rgb_old.Load(texel).rgb)) {
    light_diff[pixel.xy / uint2(rectW, rectH)] = 1;
  }
}
