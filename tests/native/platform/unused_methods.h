// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The methods of Direct3D's and DXGI's interfaces that the library has no use for. A call to one of
// them is refused, which fails the test that made it.
#pragma once

#include <windows.h>

#include <d3d11.h>
#include <dxgi.h>

#include <string>

#include "native/platform/calls.h"

namespace fake {

inline HRESULT Unused(const char* method) {
  Refuse(std::string(method) + ": not foreseen");
  return E_NOTIMPL;
}

class UnusedContextMethods : public ID3D11DeviceContext {
 public:
  void STDMETHODCALLTYPE VSSetConstantBuffers(UINT, UINT, ID3D11Buffer* const*) override {
    Unused("VSSetConstantBuffers");
  }
  void STDMETHODCALLTYPE PSSetShaderResources(UINT, UINT,
                                              ID3D11ShaderResourceView* const*) override {
    Unused("PSSetShaderResources");
  }
  void STDMETHODCALLTYPE PSSetShader(ID3D11PixelShader*, ID3D11ClassInstance* const*,
                                     UINT) override {
    Unused("PSSetShader");
  }
  void STDMETHODCALLTYPE PSSetSamplers(UINT, UINT, ID3D11SamplerState* const*) override {
    Unused("PSSetSamplers");
  }
  void STDMETHODCALLTYPE VSSetShader(ID3D11VertexShader*, ID3D11ClassInstance* const*,
                                     UINT) override {
    Unused("VSSetShader");
  }
  void STDMETHODCALLTYPE DrawIndexed(UINT, UINT, INT) override { Unused("DrawIndexed"); }
  void STDMETHODCALLTYPE Draw(UINT, UINT) override { Unused("Draw"); }
  void STDMETHODCALLTYPE PSSetConstantBuffers(UINT, UINT, ID3D11Buffer* const*) override {
    Unused("PSSetConstantBuffers");
  }
  void STDMETHODCALLTYPE IASetInputLayout(ID3D11InputLayout*) override {
    Unused("IASetInputLayout");
  }
  void STDMETHODCALLTYPE IASetVertexBuffers(UINT, UINT, ID3D11Buffer* const*, const UINT*,
                                            const UINT*) override {
    Unused("IASetVertexBuffers");
  }
  void STDMETHODCALLTYPE IASetIndexBuffer(ID3D11Buffer*, DXGI_FORMAT, UINT) override {
    Unused("IASetIndexBuffer");
  }
  void STDMETHODCALLTYPE DrawIndexedInstanced(UINT, UINT, UINT, INT, UINT) override {
    Unused("DrawIndexedInstanced");
  }
  void STDMETHODCALLTYPE DrawInstanced(UINT, UINT, UINT, UINT) override { Unused("DrawInstanced"); }
  void STDMETHODCALLTYPE GSSetConstantBuffers(UINT, UINT, ID3D11Buffer* const*) override {
    Unused("GSSetConstantBuffers");
  }
  void STDMETHODCALLTYPE GSSetShader(ID3D11GeometryShader*, ID3D11ClassInstance* const*,
                                     UINT) override {
    Unused("GSSetShader");
  }
  void STDMETHODCALLTYPE IASetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY) override {
    Unused("IASetPrimitiveTopology");
  }
  void STDMETHODCALLTYPE VSSetShaderResources(UINT, UINT,
                                              ID3D11ShaderResourceView* const*) override {
    Unused("VSSetShaderResources");
  }
  void STDMETHODCALLTYPE VSSetSamplers(UINT, UINT, ID3D11SamplerState* const*) override {
    Unused("VSSetSamplers");
  }
  void STDMETHODCALLTYPE Begin(ID3D11Asynchronous*) override { Unused("Begin"); }
  void STDMETHODCALLTYPE End(ID3D11Asynchronous*) override { Unused("End"); }
  HRESULT STDMETHODCALLTYPE GetData(ID3D11Asynchronous*, void*, UINT, UINT) override {
    return Unused("GetData");
  }
  void STDMETHODCALLTYPE SetPredication(ID3D11Predicate*, BOOL) override {
    Unused("SetPredication");
  }
  void STDMETHODCALLTYPE GSSetShaderResources(UINT, UINT,
                                              ID3D11ShaderResourceView* const*) override {
    Unused("GSSetShaderResources");
  }
  void STDMETHODCALLTYPE GSSetSamplers(UINT, UINT, ID3D11SamplerState* const*) override {
    Unused("GSSetSamplers");
  }
  void STDMETHODCALLTYPE OMSetRenderTargetsAndUnorderedAccessViews(
      UINT, ID3D11RenderTargetView* const*, ID3D11DepthStencilView*, UINT, UINT,
      ID3D11UnorderedAccessView* const*, const UINT*) override {
    Unused("OMSetRenderTargetsAndUnorderedAccessViews");
  }
  void STDMETHODCALLTYPE OMSetBlendState(ID3D11BlendState*, const FLOAT*, UINT) override {
    Unused("OMSetBlendState");
  }
  void STDMETHODCALLTYPE OMSetDepthStencilState(ID3D11DepthStencilState*, UINT) override {
    Unused("OMSetDepthStencilState");
  }
  void STDMETHODCALLTYPE SOSetTargets(UINT, ID3D11Buffer* const*, const UINT*) override {
    Unused("SOSetTargets");
  }
  void STDMETHODCALLTYPE DrawAuto() override { Unused("DrawAuto"); }
  void STDMETHODCALLTYPE DrawIndexedInstancedIndirect(ID3D11Buffer*, UINT) override {
    Unused("DrawIndexedInstancedIndirect");
  }
  void STDMETHODCALLTYPE DrawInstancedIndirect(ID3D11Buffer*, UINT) override {
    Unused("DrawInstancedIndirect");
  }
  void STDMETHODCALLTYPE DispatchIndirect(ID3D11Buffer*, UINT) override {
    Unused("DispatchIndirect");
  }
  void STDMETHODCALLTYPE RSSetState(ID3D11RasterizerState*) override { Unused("RSSetState"); }
  void STDMETHODCALLTYPE RSSetViewports(UINT, const D3D11_VIEWPORT*) override {
    Unused("RSSetViewports");
  }
  void STDMETHODCALLTYPE RSSetScissorRects(UINT, const D3D11_RECT*) override {
    Unused("RSSetScissorRects");
  }
  void STDMETHODCALLTYPE CopySubresourceRegion(ID3D11Resource*, UINT, UINT, UINT, UINT,
                                               ID3D11Resource*, UINT, const D3D11_BOX*) override {
    Unused("CopySubresourceRegion");
  }
  void STDMETHODCALLTYPE UpdateSubresource(ID3D11Resource*, UINT, const D3D11_BOX*, const void*,
                                           UINT, UINT) override {
    Unused("UpdateSubresource");
  }
  void STDMETHODCALLTYPE CopyStructureCount(ID3D11Buffer*, UINT,
                                            ID3D11UnorderedAccessView*) override {
    Unused("CopyStructureCount");
  }
  void STDMETHODCALLTYPE ClearRenderTargetView(ID3D11RenderTargetView*, const FLOAT*) override {
    Unused("ClearRenderTargetView");
  }
  void STDMETHODCALLTYPE ClearUnorderedAccessViewFloat(ID3D11UnorderedAccessView*,
                                                       const FLOAT*) override {
    Unused("ClearUnorderedAccessViewFloat");
  }
  void STDMETHODCALLTYPE ClearDepthStencilView(ID3D11DepthStencilView*, UINT, FLOAT,
                                               UINT8) override {
    Unused("ClearDepthStencilView");
  }
  void STDMETHODCALLTYPE GenerateMips(ID3D11ShaderResourceView*) override {
    Unused("GenerateMips");
  }
  void STDMETHODCALLTYPE SetResourceMinLOD(ID3D11Resource*, FLOAT) override {
    Unused("SetResourceMinLOD");
  }
  FLOAT STDMETHODCALLTYPE GetResourceMinLOD(ID3D11Resource*) override {
    Unused("GetResourceMinLOD");
    return {};
  }
  void STDMETHODCALLTYPE ResolveSubresource(ID3D11Resource*, UINT, ID3D11Resource*, UINT,
                                            DXGI_FORMAT) override {
    Unused("ResolveSubresource");
  }
  void STDMETHODCALLTYPE ExecuteCommandList(ID3D11CommandList*, BOOL) override {
    Unused("ExecuteCommandList");
  }
  void STDMETHODCALLTYPE HSSetShaderResources(UINT, UINT,
                                              ID3D11ShaderResourceView* const*) override {
    Unused("HSSetShaderResources");
  }
  void STDMETHODCALLTYPE HSSetShader(ID3D11HullShader*, ID3D11ClassInstance* const*,
                                     UINT) override {
    Unused("HSSetShader");
  }
  void STDMETHODCALLTYPE HSSetSamplers(UINT, UINT, ID3D11SamplerState* const*) override {
    Unused("HSSetSamplers");
  }
  void STDMETHODCALLTYPE HSSetConstantBuffers(UINT, UINT, ID3D11Buffer* const*) override {
    Unused("HSSetConstantBuffers");
  }
  void STDMETHODCALLTYPE DSSetShaderResources(UINT, UINT,
                                              ID3D11ShaderResourceView* const*) override {
    Unused("DSSetShaderResources");
  }
  void STDMETHODCALLTYPE DSSetShader(ID3D11DomainShader*, ID3D11ClassInstance* const*,
                                     UINT) override {
    Unused("DSSetShader");
  }
  void STDMETHODCALLTYPE DSSetSamplers(UINT, UINT, ID3D11SamplerState* const*) override {
    Unused("DSSetSamplers");
  }
  void STDMETHODCALLTYPE DSSetConstantBuffers(UINT, UINT, ID3D11Buffer* const*) override {
    Unused("DSSetConstantBuffers");
  }
  void STDMETHODCALLTYPE CSSetSamplers(UINT, UINT, ID3D11SamplerState* const*) override {
    Unused("CSSetSamplers");
  }
  void STDMETHODCALLTYPE VSGetConstantBuffers(UINT, UINT, ID3D11Buffer**) override {
    Unused("VSGetConstantBuffers");
  }
  void STDMETHODCALLTYPE PSGetShaderResources(UINT, UINT, ID3D11ShaderResourceView**) override {
    Unused("PSGetShaderResources");
  }
  void STDMETHODCALLTYPE PSGetShader(ID3D11PixelShader**, ID3D11ClassInstance**, UINT*) override {
    Unused("PSGetShader");
  }
  void STDMETHODCALLTYPE PSGetSamplers(UINT, UINT, ID3D11SamplerState**) override {
    Unused("PSGetSamplers");
  }
  void STDMETHODCALLTYPE VSGetShader(ID3D11VertexShader**, ID3D11ClassInstance**, UINT*) override {
    Unused("VSGetShader");
  }
  void STDMETHODCALLTYPE PSGetConstantBuffers(UINT, UINT, ID3D11Buffer**) override {
    Unused("PSGetConstantBuffers");
  }
  void STDMETHODCALLTYPE IAGetInputLayout(ID3D11InputLayout**) override {
    Unused("IAGetInputLayout");
  }
  void STDMETHODCALLTYPE IAGetVertexBuffers(UINT, UINT, ID3D11Buffer**, UINT*, UINT*) override {
    Unused("IAGetVertexBuffers");
  }
  void STDMETHODCALLTYPE IAGetIndexBuffer(ID3D11Buffer**, DXGI_FORMAT*, UINT*) override {
    Unused("IAGetIndexBuffer");
  }
  void STDMETHODCALLTYPE GSGetConstantBuffers(UINT, UINT, ID3D11Buffer**) override {
    Unused("GSGetConstantBuffers");
  }
  void STDMETHODCALLTYPE GSGetShader(ID3D11GeometryShader**, ID3D11ClassInstance**,
                                     UINT*) override {
    Unused("GSGetShader");
  }
  void STDMETHODCALLTYPE IAGetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY*) override {
    Unused("IAGetPrimitiveTopology");
  }
  void STDMETHODCALLTYPE VSGetShaderResources(UINT, UINT, ID3D11ShaderResourceView**) override {
    Unused("VSGetShaderResources");
  }
  void STDMETHODCALLTYPE VSGetSamplers(UINT, UINT, ID3D11SamplerState**) override {
    Unused("VSGetSamplers");
  }
  void STDMETHODCALLTYPE GetPredication(ID3D11Predicate**, BOOL*) override {
    Unused("GetPredication");
  }
  void STDMETHODCALLTYPE GSGetShaderResources(UINT, UINT, ID3D11ShaderResourceView**) override {
    Unused("GSGetShaderResources");
  }
  void STDMETHODCALLTYPE GSGetSamplers(UINT, UINT, ID3D11SamplerState**) override {
    Unused("GSGetSamplers");
  }
  void STDMETHODCALLTYPE OMGetRenderTargets(UINT, ID3D11RenderTargetView**,
                                            ID3D11DepthStencilView**) override {
    Unused("OMGetRenderTargets");
  }
  void STDMETHODCALLTYPE OMGetRenderTargetsAndUnorderedAccessViews(
      UINT, ID3D11RenderTargetView**, ID3D11DepthStencilView**, UINT, UINT,
      ID3D11UnorderedAccessView**) override {
    Unused("OMGetRenderTargetsAndUnorderedAccessViews");
  }
  void STDMETHODCALLTYPE OMGetBlendState(ID3D11BlendState**, FLOAT*, UINT*) override {
    Unused("OMGetBlendState");
  }
  void STDMETHODCALLTYPE OMGetDepthStencilState(ID3D11DepthStencilState**, UINT*) override {
    Unused("OMGetDepthStencilState");
  }
  void STDMETHODCALLTYPE SOGetTargets(UINT, ID3D11Buffer**) override { Unused("SOGetTargets"); }
  void STDMETHODCALLTYPE RSGetState(ID3D11RasterizerState**) override { Unused("RSGetState"); }
  void STDMETHODCALLTYPE RSGetViewports(UINT*, D3D11_VIEWPORT*) override {
    Unused("RSGetViewports");
  }
  void STDMETHODCALLTYPE RSGetScissorRects(UINT*, D3D11_RECT*) override {
    Unused("RSGetScissorRects");
  }
  void STDMETHODCALLTYPE HSGetShaderResources(UINT, UINT, ID3D11ShaderResourceView**) override {
    Unused("HSGetShaderResources");
  }
  void STDMETHODCALLTYPE HSGetShader(ID3D11HullShader**, ID3D11ClassInstance**, UINT*) override {
    Unused("HSGetShader");
  }
  void STDMETHODCALLTYPE HSGetSamplers(UINT, UINT, ID3D11SamplerState**) override {
    Unused("HSGetSamplers");
  }
  void STDMETHODCALLTYPE HSGetConstantBuffers(UINT, UINT, ID3D11Buffer**) override {
    Unused("HSGetConstantBuffers");
  }
  void STDMETHODCALLTYPE DSGetShaderResources(UINT, UINT, ID3D11ShaderResourceView**) override {
    Unused("DSGetShaderResources");
  }
  void STDMETHODCALLTYPE DSGetShader(ID3D11DomainShader**, ID3D11ClassInstance**, UINT*) override {
    Unused("DSGetShader");
  }
  void STDMETHODCALLTYPE DSGetSamplers(UINT, UINT, ID3D11SamplerState**) override {
    Unused("DSGetSamplers");
  }
  void STDMETHODCALLTYPE DSGetConstantBuffers(UINT, UINT, ID3D11Buffer**) override {
    Unused("DSGetConstantBuffers");
  }
  void STDMETHODCALLTYPE CSGetShaderResources(UINT, UINT, ID3D11ShaderResourceView**) override {
    Unused("CSGetShaderResources");
  }
  void STDMETHODCALLTYPE CSGetUnorderedAccessViews(UINT, UINT,
                                                   ID3D11UnorderedAccessView**) override {
    Unused("CSGetUnorderedAccessViews");
  }
  void STDMETHODCALLTYPE CSGetShader(ID3D11ComputeShader**, ID3D11ClassInstance**, UINT*) override {
    Unused("CSGetShader");
  }
  void STDMETHODCALLTYPE CSGetSamplers(UINT, UINT, ID3D11SamplerState**) override {
    Unused("CSGetSamplers");
  }
  void STDMETHODCALLTYPE CSGetConstantBuffers(UINT, UINT, ID3D11Buffer**) override {
    Unused("CSGetConstantBuffers");
  }
  D3D11_DEVICE_CONTEXT_TYPE STDMETHODCALLTYPE GetType() override {
    Unused("GetType");
    return {};
  }
  UINT STDMETHODCALLTYPE GetContextFlags() override {
    Unused("GetContextFlags");
    return {};
  }
  HRESULT STDMETHODCALLTYPE FinishCommandList(BOOL, ID3D11CommandList**) override {
    return Unused("FinishCommandList");
  }
};

class UnusedDeviceMethods : public ID3D11Device {
 public:
  HRESULT STDMETHODCALLTYPE CreateTexture1D(const D3D11_TEXTURE1D_DESC*,
                                            const D3D11_SUBRESOURCE_DATA*,
                                            ID3D11Texture1D**) override {
    return Unused("CreateTexture1D");
  }
  HRESULT STDMETHODCALLTYPE CreateTexture3D(const D3D11_TEXTURE3D_DESC*,
                                            const D3D11_SUBRESOURCE_DATA*,
                                            ID3D11Texture3D**) override {
    return Unused("CreateTexture3D");
  }
  HRESULT STDMETHODCALLTYPE CreateDepthStencilView(ID3D11Resource*,
                                                   const D3D11_DEPTH_STENCIL_VIEW_DESC*,
                                                   ID3D11DepthStencilView**) override {
    return Unused("CreateDepthStencilView");
  }
  HRESULT STDMETHODCALLTYPE CreateInputLayout(const D3D11_INPUT_ELEMENT_DESC*, UINT, const void*,
                                              SIZE_T, ID3D11InputLayout**) override {
    return Unused("CreateInputLayout");
  }
  HRESULT STDMETHODCALLTYPE CreateVertexShader(const void*, SIZE_T, ID3D11ClassLinkage*,
                                               ID3D11VertexShader**) override {
    return Unused("CreateVertexShader");
  }
  HRESULT STDMETHODCALLTYPE CreateGeometryShader(const void*, SIZE_T, ID3D11ClassLinkage*,
                                                 ID3D11GeometryShader**) override {
    return Unused("CreateGeometryShader");
  }
  HRESULT STDMETHODCALLTYPE CreateGeometryShaderWithStreamOutput(const void*, SIZE_T,
                                                                 const D3D11_SO_DECLARATION_ENTRY*,
                                                                 UINT, const UINT*, UINT, UINT,
                                                                 ID3D11ClassLinkage*,
                                                                 ID3D11GeometryShader**) override {
    return Unused("CreateGeometryShaderWithStreamOutput");
  }
  HRESULT STDMETHODCALLTYPE CreatePixelShader(const void*, SIZE_T, ID3D11ClassLinkage*,
                                              ID3D11PixelShader**) override {
    return Unused("CreatePixelShader");
  }
  HRESULT STDMETHODCALLTYPE CreateHullShader(const void*, SIZE_T, ID3D11ClassLinkage*,
                                             ID3D11HullShader**) override {
    return Unused("CreateHullShader");
  }
  HRESULT STDMETHODCALLTYPE CreateDomainShader(const void*, SIZE_T, ID3D11ClassLinkage*,
                                               ID3D11DomainShader**) override {
    return Unused("CreateDomainShader");
  }
  HRESULT STDMETHODCALLTYPE CreateClassLinkage(ID3D11ClassLinkage**) override {
    return Unused("CreateClassLinkage");
  }
  HRESULT STDMETHODCALLTYPE CreateBlendState(const D3D11_BLEND_DESC*, ID3D11BlendState**) override {
    return Unused("CreateBlendState");
  }
  HRESULT STDMETHODCALLTYPE CreateDepthStencilState(const D3D11_DEPTH_STENCIL_DESC*,
                                                    ID3D11DepthStencilState**) override {
    return Unused("CreateDepthStencilState");
  }
  HRESULT STDMETHODCALLTYPE CreateRasterizerState(const D3D11_RASTERIZER_DESC*,
                                                  ID3D11RasterizerState**) override {
    return Unused("CreateRasterizerState");
  }
  HRESULT STDMETHODCALLTYPE CreateSamplerState(const D3D11_SAMPLER_DESC*,
                                               ID3D11SamplerState**) override {
    return Unused("CreateSamplerState");
  }
  HRESULT STDMETHODCALLTYPE CreateQuery(const D3D11_QUERY_DESC*, ID3D11Query**) override {
    return Unused("CreateQuery");
  }
  HRESULT STDMETHODCALLTYPE CreatePredicate(const D3D11_QUERY_DESC*, ID3D11Predicate**) override {
    return Unused("CreatePredicate");
  }
  HRESULT STDMETHODCALLTYPE CreateCounter(const D3D11_COUNTER_DESC*, ID3D11Counter**) override {
    return Unused("CreateCounter");
  }
  HRESULT STDMETHODCALLTYPE CreateDeferredContext(UINT, ID3D11DeviceContext**) override {
    return Unused("CreateDeferredContext");
  }
  HRESULT STDMETHODCALLTYPE OpenSharedResource(HANDLE, REFIID, void**) override {
    return Unused("OpenSharedResource");
  }
  HRESULT STDMETHODCALLTYPE CheckFormatSupport(DXGI_FORMAT, UINT*) override {
    return Unused("CheckFormatSupport");
  }
  HRESULT STDMETHODCALLTYPE CheckMultisampleQualityLevels(DXGI_FORMAT, UINT, UINT*) override {
    return Unused("CheckMultisampleQualityLevels");
  }
  void STDMETHODCALLTYPE CheckCounterInfo(D3D11_COUNTER_INFO*) override {
    Unused("CheckCounterInfo");
  }
  HRESULT STDMETHODCALLTYPE CheckCounter(const D3D11_COUNTER_DESC*, D3D11_COUNTER_TYPE*, UINT*,
                                         LPSTR, UINT*, LPSTR, UINT*, LPSTR, UINT*) override {
    return Unused("CheckCounter");
  }
  HRESULT STDMETHODCALLTYPE CheckFeatureSupport(D3D11_FEATURE, void*, UINT) override {
    return Unused("CheckFeatureSupport");
  }
  HRESULT STDMETHODCALLTYPE GetPrivateData(REFGUID, UINT*, void*) override {
    return Unused("GetPrivateData");
  }
  HRESULT STDMETHODCALLTYPE SetPrivateData(REFGUID, UINT, const void*) override {
    return Unused("SetPrivateData");
  }
  HRESULT STDMETHODCALLTYPE SetPrivateDataInterface(REFGUID, const IUnknown*) override {
    return Unused("SetPrivateDataInterface");
  }
  D3D_FEATURE_LEVEL STDMETHODCALLTYPE GetFeatureLevel() override {
    Unused("GetFeatureLevel");
    return {};
  }
  UINT STDMETHODCALLTYPE GetCreationFlags() override {
    Unused("GetCreationFlags");
    return {};
  }
  HRESULT STDMETHODCALLTYPE GetDeviceRemovedReason() override {
    return Unused("GetDeviceRemovedReason");
  }
  HRESULT STDMETHODCALLTYPE SetExceptionMode(UINT) override { return Unused("SetExceptionMode"); }
  UINT STDMETHODCALLTYPE GetExceptionMode() override {
    Unused("GetExceptionMode");
    return {};
  }
};

class UnusedFactoryMethods : public IDXGIFactory1 {
 public:
  HRESULT STDMETHODCALLTYPE SetPrivateData(REFGUID, UINT, const void*) override {
    return Unused("SetPrivateData");
  }
  HRESULT STDMETHODCALLTYPE SetPrivateDataInterface(REFGUID, const IUnknown*) override {
    return Unused("SetPrivateDataInterface");
  }
  HRESULT STDMETHODCALLTYPE GetPrivateData(REFGUID, UINT*, void*) override {
    return Unused("GetPrivateData");
  }
  HRESULT STDMETHODCALLTYPE GetParent(REFIID, void**) override { return Unused("GetParent"); }
  HRESULT STDMETHODCALLTYPE EnumAdapters(UINT, IDXGIAdapter**) override {
    return Unused("EnumAdapters");
  }
  HRESULT STDMETHODCALLTYPE MakeWindowAssociation(HWND, UINT) override {
    return Unused("MakeWindowAssociation");
  }
  HRESULT STDMETHODCALLTYPE GetWindowAssociation(HWND*) override {
    return Unused("GetWindowAssociation");
  }
  HRESULT STDMETHODCALLTYPE CreateSwapChain(IUnknown*, DXGI_SWAP_CHAIN_DESC*,
                                            IDXGISwapChain**) override {
    return Unused("CreateSwapChain");
  }
  HRESULT STDMETHODCALLTYPE CreateSoftwareAdapter(HMODULE, IDXGIAdapter**) override {
    return Unused("CreateSoftwareAdapter");
  }
  BOOL STDMETHODCALLTYPE IsCurrent() override {
    Unused("IsCurrent");
    return {};
  }
};

class UnusedAdapterMethods : public IDXGIAdapter1 {
 public:
  HRESULT STDMETHODCALLTYPE SetPrivateData(REFGUID, UINT, const void*) override {
    return Unused("SetPrivateData");
  }
  HRESULT STDMETHODCALLTYPE SetPrivateDataInterface(REFGUID, const IUnknown*) override {
    return Unused("SetPrivateDataInterface");
  }
  HRESULT STDMETHODCALLTYPE GetPrivateData(REFGUID, UINT*, void*) override {
    return Unused("GetPrivateData");
  }
  HRESULT STDMETHODCALLTYPE GetParent(REFIID, void**) override { return Unused("GetParent"); }
  HRESULT STDMETHODCALLTYPE EnumOutputs(UINT, IDXGIOutput**) override {
    return Unused("EnumOutputs");
  }
  HRESULT STDMETHODCALLTYPE GetDesc(DXGI_ADAPTER_DESC*) override { return Unused("GetDesc"); }
  HRESULT STDMETHODCALLTYPE CheckInterfaceSupport(REFGUID, LARGE_INTEGER*) override {
    return Unused("CheckInterfaceSupport");
  }
};

}  // namespace fake
