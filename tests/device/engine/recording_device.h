// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// A Direct3D device that notes what is created, passes it on to a real device, and fails one
// creation when it is told to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "device/d3d_device.h"

enum class CreationKind {
  kTexture,
  kBuffer,
  kRenderTargetView,
  kShaderResourceView,
  kTextureAccessView,
  kBufferAccessView,
  kComputeShader,
};

struct Creation {
  CreationKind kind;
  // The fields of the description in their order; of a view's, those that its dimension has.
  std::vector<uint32_t> desc;
  // What was created, null when that failed, and for a view the resource that it is on.
  winrt::com_ptr<ID3D11DeviceChild> object;
  winrt::com_ptr<ID3D11DeviceChild> resource;
  // A buffer's initial data, a program's bytecode.
  std::vector<uint32_t> contents;
};

enum class Fault { kFailingResult, kSuccessWithoutObject };

class RecordingDevice final : public ID3D11Device {
 public:
  explicit RecordingDevice(const winrt::com_ptr<ID3D11Device>& device) : device_(device) {}
  virtual ~RecordingDevice() = default;

  const std::vector<Creation>& Creations() const { return creations_; }

  // Forgets the creations noted so far; nothing fails any more.
  void Restart();

  // As Restart, but the creation with this number, counted from 0, will fail.
  void RestartFailing(size_t number, Fault fault);

  // New textures for the GPU hold this in every byte: a driver may hand out memory that was used.
  void FillNewTextures(uint8_t byte) { new_texture_byte_ = byte; }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE CreateBuffer(const D3D11_BUFFER_DESC* desc,
                                         const D3D11_SUBRESOURCE_DATA* data,
                                         ID3D11Buffer** buffer) override;
  HRESULT STDMETHODCALLTYPE CreateTexture2D(const D3D11_TEXTURE2D_DESC* desc,
                                            const D3D11_SUBRESOURCE_DATA* data,
                                            ID3D11Texture2D** texture) override;
  HRESULT STDMETHODCALLTYPE CreateShaderResourceView(ID3D11Resource* resource,
                                                     const D3D11_SHADER_RESOURCE_VIEW_DESC* desc,
                                                     ID3D11ShaderResourceView** view) override;
  HRESULT STDMETHODCALLTYPE CreateUnorderedAccessView(ID3D11Resource* resource,
                                                      const D3D11_UNORDERED_ACCESS_VIEW_DESC* desc,
                                                      ID3D11UnorderedAccessView** view) override;
  HRESULT STDMETHODCALLTYPE CreateRenderTargetView(ID3D11Resource* resource,
                                                   const D3D11_RENDER_TARGET_VIEW_DESC* desc,
                                                   ID3D11RenderTargetView** view) override;
  HRESULT STDMETHODCALLTYPE CreateComputeShader(const void* bytecode, SIZE_T size,
                                                ID3D11ClassLinkage* linkage,
                                                ID3D11ComputeShader** shader) override;

  // The engine has no use for the rest.
  HRESULT STDMETHODCALLTYPE CreateTexture1D(const D3D11_TEXTURE1D_DESC*,
                                            const D3D11_SUBRESOURCE_DATA*,
                                            ID3D11Texture1D**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateTexture3D(const D3D11_TEXTURE3D_DESC*,
                                            const D3D11_SUBRESOURCE_DATA*,
                                            ID3D11Texture3D**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateDepthStencilView(ID3D11Resource*,
                                                   const D3D11_DEPTH_STENCIL_VIEW_DESC*,
                                                   ID3D11DepthStencilView**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateInputLayout(const D3D11_INPUT_ELEMENT_DESC*, UINT, const void*,
                                              SIZE_T, ID3D11InputLayout**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateVertexShader(const void*, SIZE_T, ID3D11ClassLinkage*,
                                               ID3D11VertexShader**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateGeometryShader(const void*, SIZE_T, ID3D11ClassLinkage*,
                                                 ID3D11GeometryShader**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateGeometryShaderWithStreamOutput(const void*, SIZE_T,
                                                                 const D3D11_SO_DECLARATION_ENTRY*,
                                                                 UINT, const UINT*, UINT, UINT,
                                                                 ID3D11ClassLinkage*,
                                                                 ID3D11GeometryShader**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreatePixelShader(const void*, SIZE_T, ID3D11ClassLinkage*,
                                              ID3D11PixelShader**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateHullShader(const void*, SIZE_T, ID3D11ClassLinkage*,
                                             ID3D11HullShader**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateDomainShader(const void*, SIZE_T, ID3D11ClassLinkage*,
                                               ID3D11DomainShader**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateClassLinkage(ID3D11ClassLinkage**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE CreateBlendState(const D3D11_BLEND_DESC*, ID3D11BlendState**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateDepthStencilState(const D3D11_DEPTH_STENCIL_DESC*,
                                                    ID3D11DepthStencilState**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateRasterizerState(const D3D11_RASTERIZER_DESC*,
                                                  ID3D11RasterizerState**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateSamplerState(const D3D11_SAMPLER_DESC*,
                                               ID3D11SamplerState**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateQuery(const D3D11_QUERY_DESC*, ID3D11Query**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreatePredicate(const D3D11_QUERY_DESC*, ID3D11Predicate**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateCounter(const D3D11_COUNTER_DESC*, ID3D11Counter**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateDeferredContext(UINT, ID3D11DeviceContext**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE OpenSharedResource(HANDLE, REFIID, void**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CheckFormatSupport(DXGI_FORMAT, UINT*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE CheckMultisampleQualityLevels(DXGI_FORMAT, UINT, UINT*) override {
    return E_NOTIMPL;
  }
  void STDMETHODCALLTYPE CheckCounterInfo(D3D11_COUNTER_INFO*) override {}
  HRESULT STDMETHODCALLTYPE CheckCounter(const D3D11_COUNTER_DESC*, D3D11_COUNTER_TYPE*, UINT*,
                                         LPSTR, UINT*, LPSTR, UINT*, LPSTR, UINT*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CheckFeatureSupport(D3D11_FEATURE, void*, UINT) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetPrivateData(REFGUID, UINT*, void*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE SetPrivateData(REFGUID, UINT, const void*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetPrivateDataInterface(REFGUID, const IUnknown*) override {
    return E_NOTIMPL;
  }
  D3D_FEATURE_LEVEL STDMETHODCALLTYPE GetFeatureLevel() override { return D3D_FEATURE_LEVEL_11_0; }
  UINT STDMETHODCALLTYPE GetCreationFlags() override { return 0; }
  HRESULT STDMETHODCALLTYPE GetDeviceRemovedReason() override { return E_NOTIMPL; }
  void STDMETHODCALLTYPE GetImmediateContext(ID3D11DeviceContext**) override {}
  HRESULT STDMETHODCALLTYPE SetExceptionMode(UINT) override { return E_NOTIMPL; }
  UINT STDMETHODCALLTYPE GetExceptionMode() override { return 0; }

 private:
  // Notes the creation and calls create, unless it is this one's turn to fail.
  template <typename T, typename Create>
  HRESULT Note(Creation creation, T** object, Create create);

  void Fill(ID3D11Texture2D* texture, const D3D11_TEXTURE2D_DESC& desc, uint8_t byte);

  ULONG references_ = 1;
  winrt::com_ptr<ID3D11Device> device_;
  std::vector<Creation> creations_;
  std::optional<size_t> failing_;
  Fault fault_ = Fault::kFailingResult;
  std::optional<uint8_t> new_texture_byte_;
};
