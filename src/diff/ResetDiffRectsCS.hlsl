// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Clears the flag buffer, one word per thread, before a detection fills it.

RWStructuredBuffer<uint> diffBuff : register(u0);

[numthreads(16, 1, 1)]
void main(uint3 thread : SV_DispatchThreadID) {
  // The last group may reach past the buffer's end: the device drops those writes.
  diffBuff[thread.x] = 0;
}
