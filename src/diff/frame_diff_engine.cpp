// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "diff/frame_diff_engine.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <utility>

#include "diff/FrameDiffRectsCS.h"
#include "diff/diff_rects.h"

namespace {

// Powers of two, so that the quotients below are exact in doubles for every texture size.
constexpr double kPerTile = 1.0 / kTileSize;      // tiles per pixel
constexpr double kPerWord = 1.0 / kFlagsPerWord;  // flag words per tile
constexpr double kPerGroup = 1.0 / 16;            // thread groups per thread, as in the programs
static_assert(std::has_single_bit(kTileSize) && std::has_single_bit(kFlagsPerWord));

UINT CeilToUint(double value) {
  return static_cast<UINT>(std::ceil(value));
}

UINT Tiles(uint32_t pixels) {
  return CeilToUint(pixels * kPerTile);
}

UINT Groups(uint32_t threads) {
  return CeilToUint(threads * kPerGroup);
}

// Groups of one thread per tile. Round up once, not once per division.
UINT TileGroups(uint32_t pixels) {
  return CeilToUint(pixels * kPerTile * kPerGroup);
}

// A driver that reports success without an object has failed.
template <typename T>
bool HasMade(HRESULT result, const winrt::com_ptr<T>& object) {
  return SUCCEEDED(result) && object;
}

D3D11_TEXTURE2D_DESC LikeFrame(const D3D11_TEXTURE2D_DESC& frameDesc) {
  D3D11_TEXTURE2D_DESC desc{};
  desc.Width = frameDesc.Width;
  desc.Height = frameDesc.Height;
  desc.MipLevels = frameDesc.MipLevels;
  desc.ArraySize = frameDesc.ArraySize;
  desc.Format = frameDesc.Format;
  desc.SampleDesc = frameDesc.SampleDesc;
  return desc;
}

}  // namespace

D3D11_TEXTURE2D_DESC StagingDesc(const D3D11_TEXTURE2D_DESC& frameDesc) {
  D3D11_TEXTURE2D_DESC desc = LikeFrame(frameDesc);
  desc.Usage = D3D11_USAGE_STAGING;
  desc.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
  return desc;
}

bool FrameDiffEngine::Init(winrt::com_ptr<ID3D11Device> newDevice,
                           winrt::com_ptr<ID3D11DeviceContext> newContext) {
  if (!newDevice || !newContext) return false;
  device = std::move(newDevice);
  context = std::move(newContext);
  return CreateShaders();
}

bool FrameDiffEngine::CreateShaders() {
  if (!device) return false;
  return HasMade(device->CreateComputeShader(szFrameDiffRectsCS, sizeof(szFrameDiffRectsCS),
                                             nullptr, frameDiffCS.put()),
                 frameDiffCS) &&
         HasMade(device->CreateComputeShader(szResetDiffRectsCS, sizeof(szResetDiffRectsCS),
                                             nullptr, resetDiffRectsCS.put()),
                 resetDiffRectsCS) &&
         HasMade(device->CreateComputeShader(szGetBitFlagCS, sizeof(szGetBitFlagCS), nullptr,
                                             getBitFlagCS.put()),
                 getBitFlagCS);
}

bool FrameDiffEngine::IsSizeChanged(uint32_t frameWidth, uint32_t frameHeight) const {
  return frameWidth != width || frameHeight != height;
}

bool FrameDiffEngine::Resize(const D3D11_TEXTURE2D_DESC& frameDesc) {
  width = frameDesc.Width;
  height = frameDesc.Height;
  rectRows = Tiles(height);
  isBuilt = context && CreateFrameTextures(frameDesc) && CreateLightTextures() &&
            CreateTexInfoBuffer() && CreateFlagBuffers() && CreateTexBuffer();
  if (!isBuilt) return false;
  // The programs read the texels of edge tiles but never write them, and Direct3D leaves the
  // contents of a new texture undefined: without the clear, edge tiles could count as changed
  // forever.
  constexpr UINT kUnchanged[4] = {};
  context->ClearUnorderedAccessViewUint(lightTexUAV.get(), kUnchanged);
  return true;
}

// Frame-sized copies of the frame, with the views that the passes read them through.
bool FrameDiffEngine::CreateFrameTextures(const D3D11_TEXTURE2D_DESC& frameDesc) {
  D3D11_TEXTURE2D_DESC texDesc = LikeFrame(frameDesc);
  texDesc.Usage = D3D11_USAGE_DEFAULT;
  texDesc.BindFlags = D3D11_BIND_SHADER_RESOURCE | D3D11_BIND_RENDER_TARGET;
  texDesc.MiscFlags = D3D11_RESOURCE_MISC_GENERATE_MIPS;
  if (!HasMade(device->CreateTexture2D(&texDesc, nullptr, texture.put()), texture)) return false;

  D3D11_RENDER_TARGET_VIEW_DESC rtvDesc{};
  rtvDesc.Format = frameDesc.Format;
  rtvDesc.ViewDimension = D3D11_RTV_DIMENSION_TEXTURE2D;
  rtvDesc.Texture2D.MipSlice = 0;
  if (!HasMade(device->CreateRenderTargetView(texture.get(), &rtvDesc, rtv.put()), rtv)) {
    return false;
  }

  if (!HasMade(device->CreateTexture2D(&texDesc, nullptr, oldTex.put()), oldTex)) return false;
  if (!HasMade(device->CreateTexture2D(&texDesc, nullptr, newTex.put()), newTex)) return false;

  D3D11_SHADER_RESOURCE_VIEW_DESC srvDesc{};
  srvDesc.Format = frameDesc.Format;
  srvDesc.ViewDimension = D3D11_SRV_DIMENSION_TEXTURE2D;
  srvDesc.Texture2D.MostDetailedMip = 0;
  srvDesc.Texture2D.MipLevels = 1;
  if (!HasMade(device->CreateShaderResourceView(oldTex.get(), &srvDesc, oldSRV.put()), oldSRV)) {
    return false;
  }
  if (!HasMade(device->CreateShaderResourceView(newTex.get(), &srvDesc, newSRV.put()), newSRV)) {
    return false;
  }

  const D3D11_TEXTURE2D_DESC bkDesc = StagingDesc(frameDesc);
  return HasMade(device->CreateTexture2D(&bkDesc, nullptr, oldBk.put()), oldBk) &&
         HasMade(device->CreateTexture2D(&bkDesc, nullptr, newBk.put()), newBk);
}

// The 8-bit textures of the tiles' change measures.
bool FrameDiffEngine::CreateLightTextures() {
  D3D11_TEXTURE2D_DESC lightDesc{};
  lightDesc.Width = Tiles(width);
  lightDesc.Height = Tiles(height);
  lightDesc.MipLevels = 1;
  lightDesc.ArraySize = 1;
  lightDesc.Format = DXGI_FORMAT_R8_UINT;
  lightDesc.SampleDesc.Count = 1;
  lightDesc.Usage = D3D11_USAGE_DEFAULT;
  lightDesc.BindFlags = D3D11_BIND_UNORDERED_ACCESS | D3D11_BIND_SHADER_RESOURCE;
  D3D11_TEXTURE2D_DESC lightTexDesc = lightDesc;
  // As large as the frame: GetBitFlagCS reads one texel past the last tile column.
  lightTexDesc.Width = width;
  lightTexDesc.Height = height;
  if (!HasMade(device->CreateTexture2D(&lightDesc, nullptr, light.put()), light)) return false;
  if (!HasMade(device->CreateTexture2D(&lightTexDesc, nullptr, lightTex.put()), lightTex)) {
    return false;
  }

  for (D3D11_TEXTURE2D_DESC* desc : {&lightDesc, &lightTexDesc}) {
    desc->Usage = D3D11_USAGE_STAGING;
    desc->BindFlags = 0;
    desc->CPUAccessFlags = D3D11_CPU_ACCESS_READ;
  }
  if (!HasMade(device->CreateTexture2D(&lightDesc, nullptr, lightStaging.put()), lightStaging)) {
    return false;
  }
  if (!HasMade(device->CreateTexture2D(&lightTexDesc, nullptr, lightTexStaging.put()),
               lightTexStaging)) {
    return false;
  }

  D3D11_UNORDERED_ACCESS_VIEW_DESC lightUAVDesc{};
  lightUAVDesc.Format = DXGI_FORMAT_R8_UINT;
  lightUAVDesc.ViewDimension = D3D11_UAV_DIMENSION_TEXTURE2D;
  lightUAVDesc.Texture2D.MipSlice = 0;
  const D3D11_UNORDERED_ACCESS_VIEW_DESC lightTexUAVDes = lightUAVDesc;
  return HasMade(device->CreateUnorderedAccessView(light.get(), &lightUAVDesc, lightUAV.put()),
                 lightUAV) &&
         HasMade(
             device->CreateUnorderedAccessView(lightTex.get(), &lightTexUAVDes, lightTexUAV.put()),
             lightTexUAV);
}

bool FrameDiffEngine::CreateTexInfoBuffer() {
  // width, height, rectW, rectH of FrameDiffRectsCS's DiffTexInfo.
  const uint32_t InitTexInfoData[4] = {width, height, kTileSize, kTileSize};
  return CreateConstantBuffer(texInfoBuffer, InitTexInfoData);
}

bool FrameDiffEngine::CreateTexBuffer() {
  // buffWidth, buffHeight, texWidth, texStep of GetBitFlagCS's DiffTexInfo.
  const uint32_t texWidth = Tiles(width);
  const uint32_t InitBuffData[4] = {kFlagWordsPerRow, rectRows, texWidth,
                                    CeilToUint(texWidth * kPerWord)};
  return CreateConstantBuffer(texBuffer, InitBuffData);
}

// Fills the buffer twice, at creation and by a discarding map: the sequence of calls is fixed.
bool FrameDiffEngine::CreateConstantBuffer(winrt::com_ptr<ID3D11Buffer>& buffer,
                                           const uint32_t (&contents)[4]) {
  D3D11_BUFFER_DESC cbDesc{};
  cbDesc.ByteWidth = sizeof(contents);
  cbDesc.Usage = D3D11_USAGE_DYNAMIC;
  cbDesc.BindFlags = D3D11_BIND_CONSTANT_BUFFER;
  cbDesc.CPUAccessFlags = D3D11_CPU_ACCESS_WRITE;
  D3D11_SUBRESOURCE_DATA initialData{};
  initialData.pSysMem = contents;
  if (!HasMade(device->CreateBuffer(&cbDesc, &initialData, buffer.put()), buffer)) return false;

  D3D11_MAPPED_SUBRESOURCE mapped{};
  if (FAILED(context->Map(buffer.get(), 0, D3D11_MAP_WRITE_DISCARD, 0, &mapped))) return false;
  const bool copied = memcpy_s(mapped.pData, sizeof(contents), contents, sizeof(contents)) == 0;
  context->Unmap(buffer.get(), 0);
  return copied;
}

bool FrameDiffEngine::CreateFlagBuffers() {
  D3D11_BUFFER_DESC desc{};
  desc.ByteWidth = kFlagBytesPerRow * rectRows;
  desc.Usage = D3D11_USAGE_DEFAULT;
  desc.BindFlags = D3D11_BIND_UNORDERED_ACCESS | D3D11_BIND_SHADER_RESOURCE;
  desc.MiscFlags = D3D11_RESOURCE_MISC_BUFFER_STRUCTURED;
  desc.StructureByteStride = sizeof(uint32_t);
  if (!HasMade(device->CreateBuffer(&desc, nullptr, diffBuff.put()), diffBuff)) return false;

  D3D11_BUFFER_DESC RamBuffDesc{};
  diffBuff->GetDesc(&RamBuffDesc);
  const UINT elements = RamBuffDesc.ByteWidth / RamBuffDesc.StructureByteStride;
  RamBuffDesc.Usage = D3D11_USAGE_STAGING;
  RamBuffDesc.BindFlags = 0;
  RamBuffDesc.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
  RamBuffDesc.MiscFlags = 0;
  if (!HasMade(device->CreateBuffer(&RamBuffDesc, nullptr, RamBuff.put()), RamBuff)) return false;

  D3D11_UNORDERED_ACCESS_VIEW_DESC buffUAVDesc{};
  buffUAVDesc.Format = DXGI_FORMAT_UNKNOWN;
  buffUAVDesc.ViewDimension = D3D11_UAV_DIMENSION_BUFFER;
  buffUAVDesc.Buffer.FirstElement = 0;
  buffUAVDesc.Buffer.NumElements = elements;
  if (!HasMade(device->CreateUnorderedAccessView(diffBuff.get(), &buffUAVDesc, diffBuffUAV.put()),
               diffBuffUAV)) {
    return false;
  }

  D3D11_MAPPED_SUBRESOURCE mapped{};
  if (FAILED(context->Map(RamBuff.get(), 0, D3D11_MAP_READ, 0, &mapped))) return false;
  ramBuffWords = mapped.RowPitch / sizeof(uint32_t);
  context->Unmap(RamBuff.get(), 0);
  return true;
}

bool FrameDiffEngine::Detect(ID3D11Texture2D* frameTexture, std::vector<D3D11_BOX>* rectsOut,
                             float* ratioOut) {
  if (frameTexture == nullptr || !context || rectsOut == nullptr || ratioOut == nullptr) {
    return false;
  }
  if (!lightTexUAV || !getBitFlagCS || !newSRV || !oldSRV || !diffBuffUAV || !texBuffer) {
    return false;
  }

  ID3D11RenderTargetView* const targets[] = {rtv.get()};
  context->OMSetRenderTargets(1, targets, nullptr);
  // A build that failed half-way may have left a view without its texture.
  if (newTex) context->CopyResource(newTex.get(), frameTexture);
  ResetPass();
  DifferencePass();
  FlagPass();
  Unbind();

  D3D11_TEXTURE2D_DESC desc;
  frameTexture->GetDesc(&desc);
  const uint32_t area = ReadDiffRects();
  diffRatio =
      static_cast<float>(static_cast<double>(area) / static_cast<double>(desc.Height * desc.Width));
  *ratioOut = diffRatio;
  // ReadDiffRects has unmapped it. The second unmap does nothing; the sequence of calls is fixed.
  if (RamBuff) context->Unmap(RamBuff.get(), 0);
  // Keep the caller's storage for the next frame, so that a steady state allocates nothing.
  diffRects.swap(*rectsOut);
  return true;
}

void FrameDiffEngine::ResetPass() {
  context->CSSetShader(resetDiffRectsCS.get(), nullptr, 0);
  ID3D11UnorderedAccessView* const views[] = {diffBuffUAV.get()};
  context->CSSetUnorderedAccessViews(0, 1, views, nullptr);
  context->Dispatch(Groups(ramBuffWords), 1, 1);
}

void FrameDiffEngine::DifferencePass() {
  context->CSSetShader(frameDiffCS.get(), nullptr, 0);
  ID3D11Buffer* const constants[] = {texInfoBuffer.get()};
  context->CSSetConstantBuffers(0, 1, constants);
  ID3D11ShaderResourceView* const frames[] = {newSRV.get(), oldSRV.get()};
  context->CSSetShaderResources(0, 2, frames);
  ID3D11UnorderedAccessView* const views[] = {lightTexUAV.get()};
  context->CSSetUnorderedAccessViews(0, 1, views, nullptr);
  context->Dispatch(TileGroups(width), TileGroups(height), 1);
}

void FrameDiffEngine::FlagPass() {
  context->CSSetShader(getBitFlagCS.get(), nullptr, 0);
  ID3D11Buffer* const constants[] = {texBuffer.get()};
  context->CSSetConstantBuffers(0, 1, constants);
  ID3D11UnorderedAccessView* const views[] = {lightTexUAV.get(), diffBuffUAV.get()};
  context->CSSetUnorderedAccessViews(0, 2, views, nullptr);
  // One group is 16 words wide; the program fills four of them.
  context->Dispatch(1, TileGroups(height), 1);
}

// Unbinds the program, both frames and the tiles' measures. The constant buffer, the flag buffer
// in unordered-access slot 1 and the render target stay bound until the next detection.
void FrameDiffEngine::Unbind() {
  context->CSSetShader(nullptr, nullptr, 0);
  ID3D11ShaderResourceView* const nullResources[] = {nullptr, nullptr};
  context->CSSetShaderResources(0, 2, nullResources);
  ID3D11UnorderedAccessView* const uavnullptr[] = {nullptr};
  context->CSSetUnorderedAccessViews(0, 1, uavnullptr, nullptr);
}

// Fills diffRects; returns the changed area in pixels. The map waits for the three passes.
uint32_t FrameDiffEngine::ReadDiffRects() {
  if (!context) return 0xFFFFFFFF;
  isRead = false;
  // A build that failed half-way may have left the flag buffer's view without its copy.
  if (!RamBuff || !diffBuff) return 0;
  context->CopyResource(RamBuff.get(), diffBuff.get());
  D3D11_MAPPED_SUBRESOURCE diffRectDesc{};
  if (FAILED(context->Map(RamBuff.get(), 0, D3D11_MAP_READ, 0, &diffRectDesc))) return 0;

  uint32_t area = 0;
  try {
    if (diffRectDesc.pData != nullptr) {
      area = DecodeDiffRects(static_cast<const uint32_t*>(diffRectDesc.pData),
                             diffRectDesc.DepthPitch / kFlagBytesPerRow, width, height, diffRects);
      isRead = true;
    }
  } catch (...) {
    // Out of memory for the rectangles. Unmap the buffer, or it could never be read again.
    context->Unmap(RamBuff.get(), 0);
    throw;
  }
  context->Unmap(RamBuff.get(), 0);
  return area;
}

void FrameDiffEngine::UpdateOld(ID3D11Texture2D* frameTexture) {
  // A build that failed early has no texture yet.
  if (!context || frameTexture == nullptr || !oldTex) return;
  context->CopyResource(oldTex.get(), frameTexture);
}

void FrameDiffEngine::Release() {
  width = 0;
  height = 0;
  rectRows = 0;
  ramBuffWords = 0;
  diffRatio = 0.0f;
  isBuilt = false;

  // Unbind everything before the resources are released.
  if (context) {
    context->ClearState();
    context->Flush();
    context = nullptr;
  }
  device = nullptr;
  texture = nullptr;
  rtv = nullptr;
  diffBuff = nullptr;
  RamBuff = nullptr;
  diffBuffUAV = nullptr;
  frameDiffCS = nullptr;
  getBitFlagCS = nullptr;
  resetDiffRectsCS = nullptr;
  oldTex = nullptr;
  oldBk = nullptr;
  oldSRV = nullptr;
  newTex = nullptr;
  newBk = nullptr;
  newSRV = nullptr;
  texBuffer = nullptr;
  texInfoBuffer = nullptr;
  lightUAV = nullptr;
  lightStaging = nullptr;
  light = nullptr;
  lightTexUAV = nullptr;
  lightTexStaging = nullptr;
  lightTex = nullptr;
}
