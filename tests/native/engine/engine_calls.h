// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What the frame-difference engine asks of Direct3D, by its definition: the list of a build and the
// list of a detection. The numbers of each size are worked out by hand where the lists are used.
#pragma once

#include <string>

#include "native/call_list.h"

namespace session_test {

// One size, as it reads in descriptions.
struct BuildNumbers {
  std::string frame;     // "64x48": the frame's size
  std::string tiles;     // ceil(width / 32) x ceil(height / 32)
  std::string bytes;     // 16 for each tile row
  std::string elements;  // 4 for each tile row
  std::string tex_info;  // width, height, 32, 32
  std::string buff;      // 4, tile rows, tile columns, ceil(tile columns / 32)
  std::string format = "87";
  std::string layout = "mips 1 layers 1";  // of the frame
  std::string samples = "1/0";
};

// 64 x 48, the size of most cases: 2 x 2 tiles, of which only the first lies inside both edges.
inline const BuildNumbers k64x48{"64x48", "2x2", "32", "8", "{64, 48, 32, 32}", "{4, 2, 2, 1}"};

inline Calls ResizeCalls(const BuildNumbers& numbers) {
  return List(R"(
device.CreateTexture2D($frame $layout format $format samples $samples
  default bind 0x28 cpu 0x0 misc 0x1, null) = texture
device.CreateRenderTargetView(texture, format $format dimension 4 mip 0) = rtv
device.CreateTexture2D($frame $layout format $format samples $samples
  default bind 0x28 cpu 0x0 misc 0x1, null) = oldTex
device.CreateTexture2D($frame $layout format $format samples $samples
  default bind 0x28 cpu 0x0 misc 0x1, null) = newTex
device.CreateShaderResourceView(oldTex, format $format dimension 4 mip 0 mips 1) = oldSRV
device.CreateShaderResourceView(newTex, format $format dimension 4 mip 0 mips 1) = newSRV
device.CreateTexture2D($frame $layout format $format samples $samples
  staging bind 0x0 cpu 0x20000 misc 0x0, null) = oldBk
device.CreateTexture2D($frame $layout format $format samples $samples
  staging bind 0x0 cpu 0x20000 misc 0x0, null) = newBk
device.CreateTexture2D($tiles mips 1 layers 1 format 62 samples 1/0
  default bind 0x88 cpu 0x0 misc 0x0, null) = light
device.CreateTexture2D($frame mips 1 layers 1 format 62 samples 1/0
  default bind 0x88 cpu 0x0 misc 0x0, null) = lightTex
device.CreateTexture2D($tiles mips 1 layers 1 format 62 samples 1/0
  staging bind 0x0 cpu 0x20000 misc 0x0, null) = lightStaging
device.CreateTexture2D($frame mips 1 layers 1 format 62 samples 1/0
  staging bind 0x0 cpu 0x20000 misc 0x0, null) = lightTexStaging
device.CreateUnorderedAccessView(light, format 62 dimension 4 mip 0) = lightUAV
device.CreateUnorderedAccessView(lightTex, format 62 dimension 4 mip 0) = lightTexUAV
device.CreateBuffer(16 bytes dynamic bind 0x4 cpu 0x10000 misc 0x0 stride 0,
  $tex_info) = texInfoBuffer
context.Map(texInfoBuffer, 0, WRITE_DISCARD, 0)
context.Unmap(texInfoBuffer, 0)
device.CreateBuffer($bytes bytes default bind 0x88 cpu 0x0 misc 0x40 stride 4, null) = diffBuff
device.CreateBuffer($bytes bytes staging bind 0x0 cpu 0x20000 misc 0x0 stride 4, null) = RamBuff
device.CreateUnorderedAccessView(diffBuff,
  format 0 dimension 1 first 0 elements $elements flags 0) = diffBuffUAV
context.Map(RamBuff, 0, READ, 0)
context.Unmap(RamBuff, 0)
device.CreateBuffer(16 bytes dynamic bind 0x4 cpu 0x10000 misc 0x0 stride 0, $buff) = texBuffer
context.Map(texBuffer, 0, WRITE_DISCARD, 0)
context.Unmap(texBuffer, 0)
context.ClearUnorderedAccessViewUint(lightTexUAV, 0)
)",
              {{"frame", numbers.frame},
               {"tiles", numbers.tiles},
               {"bytes", numbers.bytes},
               {"elements", numbers.elements},
               {"tex_info", numbers.tex_info},
               {"buff", numbers.buff},
               {"format", numbers.format},
               {"layout", numbers.layout},
               {"samples", numbers.samples}});
}

// Up to the map of the flags.
// reset: ceil(words of the flag buffer / 16); across, down: ceil(width or height / 512).
inline Calls DetectCallsToMap(const std::string& reset, const std::string& across,
                              const std::string& down) {
  return List(R"(
context.OMSetRenderTargets(1, [rtv], null)
context.CopyResource(newTex, source)
context.CSSetShader(resetDiffRectsCS, null, 0)
context.CSSetUnorderedAccessViews(0, 1, [diffBuffUAV], null)
context.Dispatch($reset, 1, 1)
context.CSSetShader(frameDiffCS, null, 0)
context.CSSetConstantBuffers(0, 1, [texInfoBuffer])
context.CSSetShaderResources(0, 2, [newSRV, oldSRV])
context.CSSetUnorderedAccessViews(0, 1, [lightTexUAV], null)
context.Dispatch($across, $down, 1)
context.CSSetShader(getBitFlagCS, null, 0)
context.CSSetConstantBuffers(0, 1, [texBuffer])
context.CSSetUnorderedAccessViews(0, 2, [lightTexUAV, diffBuffUAV], null)
context.Dispatch(1, $down, 1)
context.CSSetShader(null, null, 0)
context.CSSetShaderResources(0, 2, [null, null])
context.CSSetUnorderedAccessViews(0, 1, [null], null)
context.CopyResource(RamBuff, diffBuff)
context.Map(RamBuff, 0, READ, 0)
)",
              {{"reset", reset}, {"across", across}, {"down", down}});
}

// The flags are unmapped where they are read, and once more at the end.
inline Calls DetectCalls(const std::string& reset, const std::string& across,
                         const std::string& down) {
  return Joined({DetectCallsToMap(reset, across, down), List(R"(
context.Unmap(RamBuff, 0)
context.Unmap(RamBuff, 0)
)")});
}

}  // namespace session_test
