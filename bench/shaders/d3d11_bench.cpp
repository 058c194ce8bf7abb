// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// shader_bench COMPILER.dll FOLDER [OPTION...]: the options are in comparison.h.
// Compiles the programs in src/diff and bench/shaders under the repository's root FOLDER with
// Microsoft's d3dcompiler_47.dll, and times them on Direct3D 11.

#include <windows.h>
#include <d3d11.h>
#include <d3dcompiler.h>
#include <unknwn.h>

#include <winrt/base.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <stdexcept>

#include "comparison.h"
#include "diff/diff_rects.h"

namespace shader_bench {
namespace {

using winrt::check_hresult;
using winrt::com_ptr;

// The bench on Vulkan cannot read the library's header.
static_assert(kTileEdge == kTileSize, "change bench/shaders/frames.h as well");

class Compiler {
 public:
  explicit Compiler(const std::filesystem::path& dll) {
    const HMODULE module = LoadLibraryExW(std::filesystem::absolute(dll).wstring().c_str(), nullptr,
                                          LOAD_WITH_ALTERED_SEARCH_PATH);
    const FARPROC found = module ? GetProcAddress(module, "D3DCompileFromFile") : nullptr;
    if (!found) {
      throw std::runtime_error("no D3DCompileFromFile in " + dll.string());
    }
    compile_ = reinterpret_cast<decltype(compile_)>(reinterpret_cast<void*>(found));
  }

  com_ptr<ID3DBlob> Compile(const std::filesystem::path& file, const char* batch) const {
    const D3D_SHADER_MACRO macros[] = {{"BATCH", batch}, {}};
    com_ptr<ID3DBlob> code;
    com_ptr<ID3DBlob> messages;
    const HRESULT hr =
        compile_(file.wstring().c_str(), *batch ? macros : nullptr, nullptr, "main", "cs_5_0",
                 D3DCOMPILE_OPTIMIZATION_LEVEL3, 0, code.put(), messages.put());
    if (FAILED(hr)) {
      throw std::runtime_error(
          file.string() + ": " +
          (messages ? static_cast<const char*>(messages->GetBufferPointer()) : "cannot be read"));
    }
    return code;
  }

 private:
  decltype(&D3DCompileFromFile) compile_;
};

class D3d11Device : public Device {
 public:
  D3d11Device(const Compiler& compiler, const std::filesystem::path& root) {
    const D3D_FEATURE_LEVEL level = D3D_FEATURE_LEVEL_11_0;
    check_hresult(D3D11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, 0, &level, 1,
                                    D3D11_SDK_VERSION, device_.put(), nullptr, context_.put()));
    for (const Program& program : kPrograms) {
      const std::string name = std::string(program.file) + ".hlsl";
      std::filesystem::path file = root / "bench" / "shaders" / name;
      if (!std::filesystem::exists(file)) {
        file = root / "src" / "diff" / name;
      }
      const com_ptr<ID3DBlob> code = compiler.Compile(file, program.batch);
      com_ptr<ID3D11ComputeShader> shader;
      check_hresult(device_->CreateComputeShader(code->GetBufferPointer(), code->GetBufferSize(),
                                                 nullptr, shader.put()));
      shaders_.push_back(shader);
    }
    D3D11_BUFFER_DESC description = {};
    description.ByteWidth = sizeof(Constants);
    description.BindFlags = D3D11_BIND_CONSTANT_BUFFER;
    check_hresult(device_->CreateBuffer(&description, nullptr, constants_.put()));
  }

  std::string Name() const override {
    com_ptr<IDXGIAdapter> adapter;
    check_hresult(device_.as<IDXGIDevice>()->GetAdapter(adapter.put()));
    DXGI_ADAPTER_DESC description;
    check_hresult(adapter->GetDesc(&description));
    return "Direct3D 11, " + winrt::to_string(description.Description);
  }

  void Load(const Size& size, const Pixels& before, const Pixels& after) override {
    size_ = size;
    before_ = MakeFrame(before);
    after_ = MakeFrame(after);
    CD3D11_TEXTURE2D_DESC description(DXGI_FORMAT_R32_SINT, Columns(size), Rows(size), 1, 1,
                                      D3D11_BIND_UNORDERED_ACCESS);
    measures_ = nullptr;
    check_hresult(device_->CreateTexture2D(&description, nullptr, measures_.put()));
    measures_view_ = nullptr;
    check_hresult(
        device_->CreateUnorderedAccessView(measures_.get(), nullptr, measures_view_.put()));
    description.Usage = D3D11_USAGE_STAGING;
    description.BindFlags = 0;
    description.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
    readback_ = nullptr;
    check_hresult(device_->CreateTexture2D(&description, nullptr, readback_.put()));
  }

  // Reading the measures back, as the engine does with its flags, waits for the end.
  double Run(size_t program, const Constants& constants) override {
    Bind(program, constants);
    Wait();
    const auto start = std::chrono::steady_clock::now();
    context_->Dispatch(Groups(size_.width, kPrograms.at(program)),
                       Groups(size_.height, kPrograms.at(program)), 1);
    Wait();
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    return time.count();
  }

  std::vector<uint32_t> Result() override {
    std::vector<uint32_t> values;
    D3D11_MAPPED_SUBRESOURCE mapped = {};
    check_hresult(context_->Map(readback_.get(), 0, D3D11_MAP_READ, 0, &mapped));
    for (uint32_t row = 0; row < Rows(size_); ++row) {
      const auto* first = reinterpret_cast<const uint32_t*>(
          static_cast<const unsigned char*>(mapped.pData) + size_t{row} * mapped.RowPitch);
      values.insert(values.end(), first, first + Columns(size_));
    }
    context_->Unmap(readback_.get(), 0);
    return values;
  }

 private:
  com_ptr<ID3D11ShaderResourceView> MakeFrame(const Pixels& pixels) {
    const CD3D11_TEXTURE2D_DESC description(DXGI_FORMAT_B8G8R8A8_UNORM, size_.width, size_.height,
                                            1, 1, D3D11_BIND_SHADER_RESOURCE);
    const D3D11_SUBRESOURCE_DATA data = {pixels.data(),
                                         static_cast<UINT>(size_.width * sizeof(uint32_t)), 0};
    com_ptr<ID3D11Texture2D> texture;
    check_hresult(device_->CreateTexture2D(&description, &data, texture.put()));
    com_ptr<ID3D11ShaderResourceView> view;
    check_hresult(device_->CreateShaderResourceView(texture.get(), nullptr, view.put()));
    return view;
  }

  void Bind(size_t program, const Constants& constants) {
    context_->UpdateSubresource(constants_.get(), 0, nullptr, constants.data(), 0, 0);
    const UINT zero[4] = {};
    context_->ClearUnorderedAccessViewUint(measures_view_.get(), zero);
    ID3D11Buffer* const buffers[] = {constants_.get()};
    ID3D11ShaderResourceView* const frames[] = {after_.get(), before_.get()};
    ID3D11UnorderedAccessView* const outputs[] = {measures_view_.get()};
    context_->CSSetShader(shaders_.at(program).get(), nullptr, 0);
    context_->CSSetConstantBuffers(0, 1, buffers);
    context_->CSSetShaderResources(0, 2, frames);
    context_->CSSetUnorderedAccessViews(0, 1, outputs, nullptr);
  }

  void Wait() {
    context_->CopyResource(readback_.get(), measures_.get());
    D3D11_MAPPED_SUBRESOURCE mapped = {};
    check_hresult(context_->Map(readback_.get(), 0, D3D11_MAP_READ, 0, &mapped));
    context_->Unmap(readback_.get(), 0);
  }

  com_ptr<ID3D11Device> device_;
  com_ptr<ID3D11DeviceContext> context_;
  std::vector<com_ptr<ID3D11ComputeShader>> shaders_;
  com_ptr<ID3D11Buffer> constants_;
  Size size_ = {};
  com_ptr<ID3D11ShaderResourceView> before_;
  com_ptr<ID3D11ShaderResourceView> after_;
  com_ptr<ID3D11Texture2D> measures_;
  com_ptr<ID3D11UnorderedAccessView> measures_view_;
  com_ptr<ID3D11Texture2D> readback_;
};

}  // namespace
}  // namespace shader_bench

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "shader_bench COMPILER.dll FOLDER [OPTION...]\n");
    return 2;
  }
  try {
    shader_bench::D3d11Device device(shader_bench::Compiler(argv[1]), argv[2]);
    shader_bench::Compare(device, {argv + 3, argv + argc});
    return 0;
  } catch (const winrt::hresult_error& error) {
    std::fprintf(stderr, "shader_bench: %s\n", winrt::to_string(error.message()).c_str());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "shader_bench: %s\n", error.what());
  }
  return 1;
}
