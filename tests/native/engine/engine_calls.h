// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What the frame-difference engine asks of Direct3D, by its definition: the lists of a build, of a
// detection and of a release. The numbers of each size are worked out by hand where the lists are
// used.
#pragma once

#include <cstdint>
#include <sstream>
#include <string>

#include "native/call_list.h"

namespace session_test {

struct BuildNumbers {
  uint32_t width;  // of the frame
  uint32_t height;
  uint32_t columns;  // of tiles, begun ones included
  uint32_t rows;
  uint32_t words;  // of flags in a row, for 32 columns each
  std::string format = "87";
  std::string layout = "mips 1 layers 1";
  std::string samples = "1/0";
};

// The size of most cases: of its tiles only the first lies inside both edges.
inline const BuildNumbers k64x48{64, 48, 2, 2, 1};

inline Calls ResizeCalls(const BuildNumbers& numbers) {
  const auto text = [](uint32_t number) { return std::to_string(number); };
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
  {$width, $height, 32, 32}) = texInfoBuffer
context.Map(texInfoBuffer, 0, WRITE_DISCARD, 0)
context.Unmap(texInfoBuffer, 0)
device.CreateBuffer($bytes bytes default bind 0x88 cpu 0x0 misc 0x40 stride 4, null) = diffBuff
device.CreateBuffer($bytes bytes staging bind 0x0 cpu 0x20000 misc 0x0 stride 4, null) = RamBuff
device.CreateUnorderedAccessView(diffBuff,
  format 0 dimension 1 first 0 elements $elements flags 0) = diffBuffUAV
context.Map(RamBuff, 0, READ, 0)
context.Unmap(RamBuff, 0)
device.CreateBuffer(16 bytes dynamic bind 0x4 cpu 0x10000 misc 0x0 stride 0,
  {4, $rows, $columns, $words}) = texBuffer
context.Map(texBuffer, 0, WRITE_DISCARD, 0)
context.Unmap(texBuffer, 0)
context.ClearUnorderedAccessViewUint(lightTexUAV, 0)
)",
              {{"frame", text(numbers.width) + "x" + text(numbers.height)},
               {"tiles", text(numbers.columns) + "x" + text(numbers.rows)},
               {"bytes", text(16 * numbers.rows)},
               {"elements", text(4 * numbers.rows)},
               {"width", text(numbers.width)},
               {"height", text(numbers.height)},
               {"columns", text(numbers.columns)},
               {"rows", text(numbers.rows)},
               {"words", text(numbers.words)},
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

inline Calls ReleasesOf(const std::string& names) {
  Calls releases;
  std::istringstream list(names);
  for (std::string name; list >> name;) releases.push_back(name + ".Release()");
  return releases;
}

// The engine unbinds its resources and releases context and device before its own resources.
inline Calls ReleaseCalls() {
  return Joined({List("context.ClearState()\ncontext.Flush()"), ReleasesOf(R"(
context device texture rtv diffBuff RamBuff diffBuffUAV frameDiffCS getBitFlagCS resetDiffRectsCS
oldTex oldBk oldSRV newTex newBk newSRV texBuffer texInfoBuffer lightUAV lightStaging light
lightTexUAV lightTexStaging lightTex
)")});
}

}  // namespace session_test
