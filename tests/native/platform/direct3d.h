// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Direct3D 11 with its textures in ordinary memory and its three compute programs run on the CPU.
// What is mapped is a block of its own, with poisoned gaps between the rows, that is freed by
// Unmap: a read beside the pixels or after Unmap is an error that the address sanitizer reports.
#pragma once

#include <windows.h>

#include <d3d11.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "support/frame_desc.h"
#include "support/reference_diff.h"

namespace fake {

// The contents of a texture or a buffer: rows without gaps, zero at first.
class Memory {
 public:
  // calloc takes the zeros from the system: a large texture costs what is written to it.
  Memory(uint32_t row_bytes, uint32_t rows)
      : row_bytes_(row_bytes),
        rows_(rows),
        bytes_(static_cast<uint8_t*>(std::calloc(rows, row_bytes)), std::free) {}

  uint32_t row_bytes() const { return row_bytes_; }
  uint32_t rows() const { return rows_; }
  const uint8_t* Read(uint32_t row) const { return bytes_.get() + size_t{row} * row_bytes_; }
  uint8_t* Write(uint32_t row) { return bytes_.get() + size_t{row} * row_bytes_; }
  void Fill(uint8_t byte) { std::memset(Write(0), byte, size_t{rows_} * row_bytes_); }
  void CopyFrom(const Memory& other) {
    std::memcpy(Write(0), other.Read(0), size_t{rows_} * row_bytes_);
  }

 private:
  uint32_t row_bytes_;
  uint32_t rows_;
  std::unique_ptr<uint8_t, decltype(&std::free)> bytes_;
};

class Mapping;

// What copies, maps and programs see of a texture or a buffer.
struct Storage {
  Memory memory;
  DXGI_FORMAT format;
  UINT cpu_access;
  uint32_t width;   // pixels, or bytes of a buffer
  uint32_t height;  // 1 of a buffer
  bool is_buffer;
  const void* device;
  std::unique_ptr<Mapping> mapping;
  D3D11_MAP map_type = D3D11_MAP_READ;
};

// Host side of the platform: the tests make frames of these.

// A texture on the device, with one reference for the caller. Null when Direct3D refuses it.
ID3D11Texture2D* NewTexture(ID3D11Device* device, const D3D11_TEXTURE2D_DESC& desc);
// The picture goes to the top left of the texture; what sticks out is cut off.
void Draw(ID3D11Texture2D* texture, const reference::Image& picture);
// The pixels of a texture with four bytes each.
reference::Image PixelsOf(ID3D11Texture2D* texture);
D3D11_TEXTURE2D_DESC DescOf(ID3D11Texture2D* texture);
// The contents of a buffer.
std::vector<uint32_t> WordsOf(ID3D11Buffer* buffer);
bool IsMapped(ID3D11Resource* resource);
// How often a texture was mapped for reading, in all: a frame that is copied to the CPU is, once.
inline std::atomic<uint64_t> texture_reads = 0;

// A device as D3D11CreateDevice makes it, with one reference for the caller.
ID3D11Device* NewDevice();

// Descriptions as they read in a recording, for hand-written lists:
// "64x48 mips 1 layers 1 format 87 samples 1/0 staging bind 0x0 cpu 0x20000 misc 0x0".
std::string Text(const D3D11_TEXTURE2D_DESC& desc);
// "16 bytes dynamic bind 0x4 cpu 0x10000 misc 0x0 stride 0"
std::string Text(const D3D11_BUFFER_DESC& desc);

}  // namespace fake
