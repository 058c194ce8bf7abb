// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Packs the tiles' change measures into flags, one thread per 32-bit word: bit i of word w of a
// tile row stands for tile column 32 * w + i.

RWTexture2D<int> diffTex : register(u0);
RWStructuredBuffer<uint> diffBuff : register(u1);

cbuffer DiffTexInfo : register(b0) {
  dword buffWidth;   // flag words computed per tile row
  dword buffHeight;  // tile rows
  dword texWidth;    // tile columns
  dword texStep;     // words that hold texWidth flags; unread
};

[numthreads(16, 16, 1)]
void main(uint3 thread : SV_DispatchThreadID) {
  const uint word = thread.x;
  const uint row = thread.y;
  if (word >= buffWidth || row >= buffHeight) {
    return;
  }

  uint flags = 0;
  [loop]
  for (uint i = 0; i < 32; ++i) {
    const uint column = word * 32 + i;
    // Column texWidth is read as well: the texture is as large as the frame, so the texel one past
    // the last tile exists, and it is zero.
    if (column > texWidth) {
      break;
    }
    const uint value = (uint)diffTex[uint2(column, row)];
    if (value > 0) {
      flags |= 1u << i;
    }
  }
  // A tile row always occupies four words, whatever buffWidth says.
  diffBuff[row * 4 + word] = flags;
}
