// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <d3d11.h>
#include <dxgi.h>
#include <wrl/client.h>

#include "common/text.h"
#include "common/texture_reader.h"
#include "quill-check/checks/checks.h"
#include "quill-check/checks/pattern_capture.h"

namespace quill_apps {

namespace {

using Microsoft::WRL::ComPtr;

// The texture of the library's latest frame, once it shows the counter.
ComPtr<ID3D11Texture2D> AwaitTexture(CaptureSession& session, TextureReader& reader,
                                     uint32_t counter, PatternReading& reading) {
  ComPtr<ID3D11Texture2D> texture;
  Await(1.0, [&] {
    const std::optional<CapturedFrame> frame = session.Poll();
    if (!frame) return false;
    texture = static_cast<ID3D11Texture2D*>(frame->data.get());
    const FramePixels pixels = reader.Read(texture.Get());
    reading = ReadPattern(pixels.view(), kStageSize);
    return reading.IsCompared() && reading.counter == counter;
  });
  return texture;
}

Note JudgeDescription(const D3D11_TEXTURE2D_DESC& description) {
  const bool is_right = description.Format == DXGI_FORMAT_B8G8R8A8_UNORM &&
                        description.MipLevels == 1 && description.ArraySize == 1 &&
                        description.SampleDesc.Count == 1 &&
                        description.Usage == D3D11_USAGE_DEFAULT &&
                        (description.BindFlags & D3D11_BIND_RENDER_TARGET) != 0;
  const FrameSize size{description.Width, description.Height};
  return {
      is_right && size == kStageSize ? Verdict::kPass : Verdict::kFail,
      Format("the texture is %s, format %d, %u mip levels, usage %d, bind flags 0x%x",
             SizeText(size).c_str(), static_cast<int>(description.Format), description.MipLevels,
             static_cast<int>(description.Usage), description.BindFlags)};
}

Note JudgeReading(const std::string& what, const PatternReading& reading, uint32_t counter) {
  if (!reading.IsCompared() || reading.counter != counter) {
    return {Verdict::kFail, what + ": the picture does not come within 1 s"};
  }
  return JudgeColours(what, reading, PrimaryMonitor());
}

ComPtr<ID3D11Device> SecondDevice(ID3D11Device* device) {
  ComPtr<IDXGIDevice> dxgi_device;
  ComPtr<IDXGIAdapter> adapter;
  ComPtr<ID3D11Device> second;
  if (SUCCEEDED(device->QueryInterface(IID_PPV_ARGS(&dxgi_device))) &&
      SUCCEEDED(dxgi_device->GetAdapter(&adapter))) {
    D3D11CreateDevice(adapter.Get(), D3D_DRIVER_TYPE_UNKNOWN, nullptr,
                      D3D11_CREATE_DEVICE_BGRA_SUPPORT, nullptr, 0, D3D11_SDK_VERSION, &second,
                      nullptr, nullptr);
  }
  return second;
}

// As a host does it: the frame is copied into a texture that two devices share.
Note JudgeSharing(ID3D11Device* device, ID3D11Texture2D* frame, uint32_t counter) {
  const std::string what = "on a second device";
  D3D11_TEXTURE2D_DESC description;
  frame->GetDesc(&description);
  description.BindFlags = D3D11_BIND_RENDER_TARGET | D3D11_BIND_SHADER_RESOURCE;
  description.MiscFlags = D3D11_RESOURCE_MISC_SHARED;
  ComPtr<ID3D11Texture2D> shared;
  ComPtr<IDXGIResource> resource;
  HANDLE handle = nullptr;
  HRESULT result = device->CreateTexture2D(&description, nullptr, &shared);
  if (SUCCEEDED(result)) result = shared.As(&resource);
  if (SUCCEEDED(result)) result = resource->GetSharedHandle(&handle);
  const ComPtr<ID3D11Device> second = SecondDevice(device);
  ComPtr<ID3D11Texture2D> opened;
  if (SUCCEEDED(result) && second) {
    ComPtr<ID3D11DeviceContext> context;
    device->GetImmediateContext(&context);
    context->CopyResource(shared.Get(), frame);
    // The other device sees what has been submitted.
    context->Flush();
    result = second->OpenSharedResource(handle, IID_PPV_ARGS(&opened));
  }
  if (!opened) {
    const std::string why = second ? DescribeError(static_cast<DWORD>(result)) : "no second device";
    if (IsWine()) return {Verdict::kSkip, what + ": Wine does not share textures: " + why};
    return {Verdict::kFail, what + ": a shared copy could not be opened: " + why};
  }
  // Flush does not wait for the copy, so it is looked at until it has come.
  TextureReader reader(second.Get());
  PatternReading reading;
  Await(1.0, [&] {
    reading = ReadPattern(reader.Read(opened.Get()).view(), kStageSize);
    return reading.IsCompared() && reading.counter == counter;
  });
  return JudgeReading(what, reading, counter);
}

// Between bytes and texture and back, each with a new picture.
Note JudgeSwitches(CheckContext& context, StageWindow& window, CaptureSession& session,
                   TextureReader& reader, uint32_t& counter) {
  const auto see_bytes = [&] {
    return Await(1.0, [&] {
      const std::optional<CapturedFrame> frame = session.Poll();
      if (!frame) return false;
      const PatternReading reading =
          ReadPattern({static_cast<const uint8_t*>(frame->data.get()), frame->size.width,
                       frame->size.height, frame->size.width * kPixelBytes},
                      kStageSize);
      return reading.IsCompared() && reading.counter == counter;
    });
  };
  const auto see_texture = [&] {
    return Await(1.0, [&] {
      void* data = nullptr;
      FrameSize size{};
      bool cursor;
      if (!context.library.wgc_get_recent_frame(session.handle(), &data, nullptr, &size.width,
                                                &size.height, &cursor)) {
        return false;
      }
      ComPtr<ID3D11Texture2D> texture;
      texture.Attach(static_cast<ID3D11Texture2D*>(data));
      const PatternReading reading = ReadPattern(reader.Read(texture.Get()).view(), kStageSize);
      return reading.IsCompared() && reading.counter == counter;
    });
  };
  constexpr int kRounds = 3;
  for (int round = 0; round < kRounds; ++round) {
    for (const bool is_texture : {true, false}) {
      context.library.wgc_set_capture_to_texture(session.handle(), is_texture);
      window.Present(++counter);
      if (!(is_texture ? see_texture() : see_bytes())) {
        return {Verdict::kFail, Format("after a switch to %s no right frame comes within 1 s",
                                       is_texture ? "texture" : "bytes")};
      }
    }
  }
  return {Verdict::kPass, "switches between bytes and texture: the right picture after each"};
}

}  // namespace

void CheckTexture(CheckContext& context) {
  Finding& finding = context.finding;
  StageWindowOptions options;
  options.position = SlotPosition(PrimaryMonitor(), context.slot);
  StageWindow window(options);
  uint32_t counter = 1;
  {
    Switches switches;
    switches.texture = true;
    CaptureSession session(context.library, window.handle(), nullptr, switches);
    ID3D11Device* device = context.library.wgc_get_device(session.handle());
    TextureReader reader(device);
    ComPtr<ID3D11Texture2D> texture;
    const bool is_right = TryPart(finding, window, [&] {
      window.Present(++counter);
      PatternReading reading;
      texture = AwaitTexture(session, reader, counter, reading);
      return JudgeReading("read back through a staging texture", reading, counter);
    });
    if (!texture) return;
    D3D11_TEXTURE2D_DESC description;
    texture->GetDesc(&description);
    const Note note = JudgeDescription(description);
    finding.Add(note.verdict, note.text);
    if (!is_right) return;
    TryPart(finding, window, [&] { return JudgeSharing(device, texture.Get(), counter); });
  }
  OnFreshThread([&] {
    CaptureSession session(context.library, window.handle(), nullptr, {});
    TextureReader reader(context.library.wgc_get_device(session.handle()));
    TryPart(finding, window,
            [&] { return JudgeSwitches(context, window, session, reader, counter); });
  });
}

}  // namespace quill_apps
