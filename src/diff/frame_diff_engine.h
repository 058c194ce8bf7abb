// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <d3d11.h>
#include <unknwn.h>

#include <winrt/base.h>

#include <cstdint>
#include <vector>

// Describes a staging texture with the frame's size, layout and format.
D3D11_TEXTURE2D_DESC StagingDesc(const D3D11_TEXTURE2D_DESC& frameDesc);

// Compares each frame with the one before it on the GPU, in square tiles of kTileSize pixels
// (diff_rects.h), and tells which regions changed and what share of the frame's area they cover.
//
// Per frame: IsSizeChanged; then Resize, or Detect; then UpdateOld. One thread at a time, the one
// that uses the immediate context. Nothing is logged; operations answer false when they fail.
class FrameDiffEngine {
 public:
  // Keeps both references and makes the three programs. False when either is null or a program
  // cannot be made; the engine then never detects anything.
  bool Init(winrt::com_ptr<ID3D11Device> device, winrt::com_ptr<ID3D11DeviceContext> context);

  // Whether the resources were built for another size. True for every frame before the first build.
  // Does not notice a change of format alone.
  bool IsSizeChanged(uint32_t frameWidth, uint32_t frameHeight) const;

  // Builds everything that depends on the frame's size and format. After a failure the engine keeps
  // the new size with partly rebuilt resources: a frame of that size goes to Detect, which answers
  // false unless what it needs happens to exist.
  bool Resize(const D3D11_TEXTURE2D_DESC& frameDesc);

  // Compares frameTexture with the frame last given to UpdateOld. rectsOut: emptied by the caller;
  // receives the changed regions, exclusive ends, front and back 0. ratioOut: the changed share of
  // the frame's area, 0.0 to 1.0. Waits for the GPU. False, with nothing touched, when an argument
  // or a resource is missing.
  bool Detect(ID3D11Texture2D* frameTexture, std::vector<D3D11_BOX>* rectsOut, float* ratioOut);

  // Whether the last Detect can be relied on: all of the last build succeeded, and the flags could
  // be read. Otherwise Detect may have missed a change.
  bool IsSound() const { return isBuilt && isRead; }

  // Makes frameTexture the frame that the next one is compared with.
  void UpdateOld(ID3D11Texture2D* frameTexture);

  // Back to the state of a new engine, with the GPU's queue flushed.
  void Release();

 private:
  bool CreateShaders();
  bool CreateFrameTextures(const D3D11_TEXTURE2D_DESC& frameDesc);
  bool CreateLightTextures();
  bool CreateTexInfoBuffer();
  bool CreateFlagBuffers();
  bool CreateTexBuffer();
  bool CreateConstantBuffer(winrt::com_ptr<ID3D11Buffer>& buffer, const uint32_t (&contents)[4]);

  void ResetPass();
  void DifferencePass();
  void FlagPass();
  void Unbind();
  uint32_t ReadDiffRects();

  uint32_t width = 0;         // pixels; what the resources were built for
  uint32_t height = 0;        // pixels
  uint32_t rectRows = 0;      // tile rows
  uint32_t ramBuffWords = 0;  // 32-bit words in a row of the mapped RamBuff
  float diffRatio = 0.0f;
  std::vector<D3D11_BOX> diffRects;
  winrt::com_ptr<ID3D11Device> device;
  winrt::com_ptr<ID3D11DeviceContext> context;
  // texture exists only for rtv. No pass reads the staging textures, light or its view; they are
  // part of the build, whose success promises all of them.
  winrt::com_ptr<ID3D11Texture2D> texture;
  winrt::com_ptr<ID3D11RenderTargetView> rtv;
  winrt::com_ptr<ID3D11Buffer> diffBuff;  // flag words, written by the programs
  winrt::com_ptr<ID3D11Buffer> RamBuff;   // the CPU's copy of diffBuff
  winrt::com_ptr<ID3D11UnorderedAccessView> diffBuffUAV;
  winrt::com_ptr<ID3D11ComputeShader> frameDiffCS;
  winrt::com_ptr<ID3D11ComputeShader> getBitFlagCS;
  winrt::com_ptr<ID3D11ComputeShader> resetDiffRectsCS;
  winrt::com_ptr<ID3D11Texture2D> oldTex;  // the previous frame
  winrt::com_ptr<ID3D11Texture2D> oldBk;
  winrt::com_ptr<ID3D11ShaderResourceView> oldSRV;
  winrt::com_ptr<ID3D11Texture2D> newTex;  // the current frame
  winrt::com_ptr<ID3D11Texture2D> newBk;
  winrt::com_ptr<ID3D11ShaderResourceView> newSRV;
  winrt::com_ptr<ID3D11Buffer> texBuffer;      // constants of GetBitFlagCS
  winrt::com_ptr<ID3D11Buffer> texInfoBuffer;  // constants of FrameDiffRectsCS
  winrt::com_ptr<ID3D11Texture2D> light;
  winrt::com_ptr<ID3D11Texture2D> lightStaging;
  winrt::com_ptr<ID3D11UnorderedAccessView> lightUAV;
  winrt::com_ptr<ID3D11Texture2D> lightTex;  // frame-sized; one texel a tile in the top left corner
  winrt::com_ptr<ID3D11Texture2D> lightTexStaging;
  winrt::com_ptr<ID3D11UnorderedAccessView> lightTexUAV;
  bool isBuilt = false;  // the last Resize succeeded
  bool isRead = false;   // the last detection could read its flags
};
