// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <d3d11.h>
#include <d3dcompiler.h>
#include <wrl/client.h>

#include <cstring>

#include "common/text.h"
#include "quill-check/checks/checks.h"
#include "quill-check/checks/pattern_capture.h"

namespace quill_apps {

namespace {

using Microsoft::WRL::ComPtr;

// Runs for as long as the driver lets it, which Windows then resets: 2 s by default.
constexpr char kEndless[] =
    "RWByteAddressBuffer sink : register(u0);"
    "[numthreads(64, 1, 1)] void main(uint3 id : SV_DispatchThreadID) {"
    "  uint value = id.x;"
    "  [allow_uav_condition] while (sink.Load(0) == 0) { value = value * 1664525 + 1013904223;"
    "    sink.Store(4, value); }"
    "}";

// Compiled here, with the compiler that is part of Windows, so that no program that hangs a device
// lies in the file.
ComPtr<ID3DBlob> CompileEndless() {
  using Compile = decltype(&D3DCompile);
  const HMODULE module =
      LoadLibraryExW(L"d3dcompiler_47.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
  const auto compile = reinterpret_cast<Compile>(
      reinterpret_cast<void*>(module == nullptr ? nullptr : GetProcAddress(module, "D3DCompile")));
  ComPtr<ID3DBlob> code;
  if (compile != nullptr) {
    compile(kEndless, std::strlen(kEndless), nullptr, nullptr, nullptr, "main", "cs_5_0", 0, 0,
            &code, nullptr);
  }
  return code;
}

// Keeps the session's device busy until Windows takes it away. False when it stays.
bool LoseDevice(ID3D11Device* device) {
  const ComPtr<ID3DBlob> code = CompileEndless();
  ComPtr<ID3D11ComputeShader> shader;
  D3D11_BUFFER_DESC description{};
  description.ByteWidth = 16;
  description.BindFlags = D3D11_BIND_UNORDERED_ACCESS;
  description.MiscFlags = D3D11_RESOURCE_MISC_BUFFER_ALLOW_RAW_VIEWS;
  D3D11_UNORDERED_ACCESS_VIEW_DESC view_description{};
  view_description.Format = DXGI_FORMAT_R32_TYPELESS;
  view_description.ViewDimension = D3D11_UAV_DIMENSION_BUFFER;
  view_description.Buffer = {0, 4, D3D11_BUFFER_UAV_FLAG_RAW};
  const uint32_t zeros[4]{};
  const D3D11_SUBRESOURCE_DATA data{zeros, 0, 0};
  ComPtr<ID3D11Buffer> buffer;
  ComPtr<ID3D11UnorderedAccessView> view;
  if (!code ||
      FAILED(device->CreateComputeShader(code->GetBufferPointer(), code->GetBufferSize(), nullptr,
                                         &shader)) ||
      FAILED(device->CreateBuffer(&description, &data, &buffer)) ||
      FAILED(device->CreateUnorderedAccessView(buffer.Get(), &view_description, &view))) {
    return false;
  }
  ComPtr<ID3D11DeviceContext> context;
  device->GetImmediateContext(&context);
  context->CSSetShader(shader.Get(), nullptr, 0);
  context->CSSetUnorderedAccessViews(0, 1, view.GetAddressOf(), nullptr);
  context->Dispatch(1024, 1, 1);
  context->Flush();
  constexpr double kSeconds = 6.0;
  return Await(kSeconds, [&] { return device->GetDeviceRemovedReason() != S_OK; });
}

}  // namespace

void CheckDeviceLoss(CheckContext& context) {
  Finding& finding = context.finding;
  if (!context.lose_device) {
    finding.Skip("only with --tdr, because every program's picture stops for some seconds");
    return;
  }
  StageWindowOptions options;
  options.drawing = Drawing::kGdi;
  options.position = SlotPosition(PrimaryMonitor(), context.slot);
  StageWindow window(options);
  OnFreshThread([&] {
    PatternCapture capture(context.library, window.handle());
    capture.AwaitPresented(window, 2);
    ID3D11Device* device = context.library.wgc_get_device(capture.session().handle());
    if (!LoseDevice(device)) {
      finding.Skip("the device could not be lost");
      return;
    }
    finding.Figure("reason", DescribeError(static_cast<DWORD>(device->GetDeviceRemovedReason())));
    const bool still_comes = capture.AwaitPresented(window, 3);
    finding.Info(std::string("after the loss, frames ") + (still_comes ? "still come" : "stop"));
  });
  bool next_works = false;
  OnFreshThread([&] {
    PatternCapture capture(context.library, window.handle());
    next_works = capture.AwaitPresented(window, 4, 3.0);
  });
  finding.Add(next_works ? Verdict::kPass : Verdict::kFail,
              std::string("the polls returned, and a new session ") +
                  (next_works ? "captures" : "does not capture"));
}

}  // namespace quill_apps
