// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// One corner of a rectangle: a strip of four vertices without a vertex buffer.
cbuffer Layer : register(b0) {
  float4 area;  // left, top, right, bottom in clip space
};

struct Corner {
  float4 position : SV_Position;
  float2 place : TEXCOORD;  // in the texture
};

Corner main(uint vertex : SV_VertexID) {
  Corner corner;
  corner.place = float2(vertex & 1, vertex >> 1);
  corner.position = float4(lerp(area.xy, area.zw, corner.place), 0.0, 1.0);
  return corner;
}
