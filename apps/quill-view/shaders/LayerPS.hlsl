// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// A pixel of a layer.
Texture2D<float4> layer : register(t0);
SamplerState layer_sampler : register(s0);

float4 main(float4 position : SV_Position, float2 place : TEXCOORD) : SV_Target {
  return layer.Sample(layer_sampler, place);
}
