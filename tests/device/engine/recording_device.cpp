// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "device/engine/recording_device.h"

#include <cstring>
#include <utility>

namespace {

std::vector<uint32_t> Words(const void* data, size_t bytes) {
  std::vector<uint32_t> words(bytes / sizeof(uint32_t));
  if (data != nullptr) std::memcpy(words.data(), data, words.size() * sizeof(uint32_t));
  return words;
}

winrt::com_ptr<ID3D11DeviceChild> Reference(ID3D11DeviceChild* child) {
  winrt::com_ptr<ID3D11DeviceChild> reference;
  reference.copy_from(child);
  return reference;
}

}  // namespace

void RecordingDevice::Restart() {
  creations_.clear();
  failing_.reset();
}

void RecordingDevice::RestartFailing(size_t number, Fault fault) {
  Restart();
  failing_ = number;
  fault_ = fault;
}

HRESULT RecordingDevice::QueryInterface(REFIID id, void** object) {
  if (id != __uuidof(IUnknown) && id != __uuidof(ID3D11Device)) {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  AddRef();
  *object = this;
  return S_OK;
}

ULONG RecordingDevice::Release() {
  const ULONG left = --references_;
  if (left == 0) delete this;
  return left;
}

template <typename T, typename Create>
HRESULT RecordingDevice::Note(Creation creation, T** object, Create create) {
  HRESULT result;
  if (failing_ == creations_.size()) {
    *object = nullptr;
    result = fault_ == Fault::kFailingResult ? E_OUTOFMEMORY : S_OK;
  } else {
    result = create();
    creation.object = Reference(*object);
  }
  creations_.push_back(std::move(creation));
  return result;
}

HRESULT RecordingDevice::CreateBuffer(const D3D11_BUFFER_DESC* desc,
                                      const D3D11_SUBRESOURCE_DATA* data, ID3D11Buffer** buffer) {
  Creation creation{CreationKind::kBuffer, Words(desc, sizeof(*desc)), nullptr, nullptr, {}};
  if (data != nullptr) creation.contents = Words(data->pSysMem, desc->ByteWidth);
  return Note(std::move(creation), buffer,
              [&] { return device_->CreateBuffer(desc, data, buffer); });
}

HRESULT RecordingDevice::CreateTexture2D(const D3D11_TEXTURE2D_DESC* desc,
                                         const D3D11_SUBRESOURCE_DATA* data,
                                         ID3D11Texture2D** texture) {
  return Note({CreationKind::kTexture, Words(desc, sizeof(*desc)), nullptr, nullptr, {}}, texture,
              [&] {
                const HRESULT result = device_->CreateTexture2D(desc, data, texture);
                if (SUCCEEDED(result) && desc->Usage == D3D11_USAGE_DEFAULT && new_texture_byte_) {
                  Fill(*texture, *desc, *new_texture_byte_);
                }
                return result;
              });
}

void RecordingDevice::Fill(ID3D11Texture2D* texture, const D3D11_TEXTURE2D_DESC& desc,
                           uint8_t byte) {
  winrt::com_ptr<ID3D11DeviceContext> context;
  device_->GetImmediateContext(context.put());
  const UINT row_bytes = desc.Width * 4;  // enough for each of the engine's formats
  const std::vector<uint8_t> bytes(size_t{row_bytes} * desc.Height, byte);
  context->UpdateSubresource(texture, 0, nullptr, bytes.data(), row_bytes, 0);
}

HRESULT RecordingDevice::CreateShaderResourceView(ID3D11Resource* resource,
                                                  const D3D11_SHADER_RESOURCE_VIEW_DESC* desc,
                                                  ID3D11ShaderResourceView** view) {
  return Note({CreationKind::kShaderResourceView,
               {static_cast<uint32_t>(desc->Format), static_cast<uint32_t>(desc->ViewDimension),
                desc->Texture2D.MostDetailedMip, desc->Texture2D.MipLevels},
               nullptr,
               Reference(resource),
               {}},
              view, [&] { return device_->CreateShaderResourceView(resource, desc, view); });
}

HRESULT RecordingDevice::CreateUnorderedAccessView(ID3D11Resource* resource,
                                                   const D3D11_UNORDERED_ACCESS_VIEW_DESC* desc,
                                                   ID3D11UnorderedAccessView** view) {
  Creation creation{
      CreationKind::kTextureAccessView,
      {static_cast<uint32_t>(desc->Format), static_cast<uint32_t>(desc->ViewDimension)},
      nullptr,
      Reference(resource),
      {}};
  if (desc->ViewDimension == D3D11_UAV_DIMENSION_BUFFER) {
    creation.kind = CreationKind::kBufferAccessView;
    creation.desc.insert(creation.desc.end(),
                         {desc->Buffer.FirstElement, desc->Buffer.NumElements, desc->Buffer.Flags});
  } else {
    creation.desc.push_back(desc->Texture2D.MipSlice);
  }
  return Note(std::move(creation), view,
              [&] { return device_->CreateUnorderedAccessView(resource, desc, view); });
}

HRESULT RecordingDevice::CreateRenderTargetView(ID3D11Resource* resource,
                                                const D3D11_RENDER_TARGET_VIEW_DESC* desc,
                                                ID3D11RenderTargetView** view) {
  return Note({CreationKind::kRenderTargetView,
               {static_cast<uint32_t>(desc->Format), static_cast<uint32_t>(desc->ViewDimension),
                desc->Texture2D.MipSlice},
               nullptr,
               Reference(resource),
               {}},
              view, [&] { return device_->CreateRenderTargetView(resource, desc, view); });
}

HRESULT RecordingDevice::CreateComputeShader(const void* bytecode, SIZE_T size,
                                             ID3D11ClassLinkage* linkage,
                                             ID3D11ComputeShader** shader) {
  return Note({CreationKind::kComputeShader, {}, nullptr, nullptr, Words(bytecode, size)}, shader,
              [&] { return device_->CreateComputeShader(bytecode, size, linkage, shader); });
}
