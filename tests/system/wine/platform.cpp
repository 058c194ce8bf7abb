// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "platform.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>

namespace wine_test {
namespace {

constexpr wchar_t kSettingsKey[] = L"Software\\libquill-wgc\\Capture";

// One thread in the multithreaded apartment is enough: all others count as members of it. Wine 8
// gives out factories without one; Windows and later Wines do not.
class Apartment : public testing::Environment {
 public:
  void SetUp() override { ASSERT_EQ(RoInitialize(RO_INIT_MULTITHREADED), S_OK); }
};

testing::Environment* const apartment = testing::AddGlobalTestEnvironment(new Apartment);

GraphicsDevice MakeDevice() {
  GraphicsDevice device;
  const D3D_FEATURE_LEVEL level = D3D_FEATURE_LEVEL_11_0;
  D3D11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, D3D11_CREATE_DEVICE_BGRA_SUPPORT,
                    &level, 1, D3D11_SDK_VERSION, device.d3d.Put(), nullptr, device.context.Put());
  const auto dxgi = device.d3d.As<IDXGIDevice>();
  ComPointer<IInspectable> inspectable;
  CreateDirect3D11DeviceFromDXGIDevice(dxgi.Get(), inspectable.Put());
  device.winrt = inspectable.As<IDirect3DDevice>();
  return device;
}

// Factories are kept, as hosts keep them: Wine's RoGetActivationFactory loses a handle at every
// call, which would hide what a capture leaves behind.
ComPointer<IGraphicsCaptureItemInterop> ItemInterop() {
  static const auto& interop =
      *new auto(ActivationFactory<IGraphicsCaptureItemInterop>(kItemClass));
  return interop;
}

}  // namespace

// Left to the end of the process: releasing a device while statics are destroyed helps nobody.
GraphicsDevice& Device() {
  static GraphicsDevice& device = *new GraphicsDevice(MakeDevice());
  return device;
}

void OnNewThread(const std::function<void()>& body) {
  std::thread(body).join();
}

ComPointer<IDispatcherQueueController> MakeDispatcherQueue() {
  ComPointer<IDispatcherQueueController> controller;
  CreateDispatcherQueueController(
      {sizeof(DispatcherQueueOptions), DQTYPE_THREAD_CURRENT, DQTAT_COM_STA}, controller.Put());
  return controller;
}

// Refused where there is one already. The queue stays when its controller is released.
void EnsureDispatcherQueue() {
  MakeDispatcherQueue();
}

ComPointer<IGraphicsCaptureItem> MakeItem(HWND window) {
  const auto interop = ItemInterop();
  ComPointer<IGraphicsCaptureItem> item;
  interop->CreateForWindow(window, __uuidof(IGraphicsCaptureItem),
                           reinterpret_cast<void**>(item.Put()));
  return item;
}

ComPointer<IGraphicsCaptureItem> MakeItem(HMONITOR monitor) {
  const auto interop = ItemInterop();
  ComPointer<IGraphicsCaptureItem> item;
  interop->CreateForMonitor(monitor, __uuidof(IGraphicsCaptureItem),
                            reinterpret_cast<void**>(item.Put()));
  return item;
}

ComPointer<IDirect3D11CaptureFramePool> MakePool(SizeInt32 size, int buffers, HRESULT* result) {
  static const auto& statics =
      *new auto(ActivationFactory<IDirect3D11CaptureFramePoolStatics>(kPoolClass));
  ComPointer<IDirect3D11CaptureFramePool> pool;
  const HRESULT created = statics->Create(
      Device().winrt.Get(), DirectXPixelFormat_B8G8R8A8UIntNormalized, buffers, size, pool.Put());
  if (result) *result = created;
  return pool;
}

HRESULT Close(IUnknown* object) {
  ComPointer<IClosable> closable;
  const HRESULT found =
      object->QueryInterface(__uuidof(IClosable), reinterpret_cast<void**>(closable.Put()));
  return FAILED(found) ? found : closable->Close();
}

ComPointer<IWeakReference> WeaklyReferTo(IUnknown* object) {
  ComPointer<IWeakReferenceSource> source;
  ComPointer<IWeakReference> weak;
  object->QueryInterface(__uuidof(IWeakReferenceSource), reinterpret_cast<void**>(source.Put()));
  if (source) source->GetWeakReference(weak.Put());
  return weak;
}

ComPointer<ID3D11Texture2D> TextureOf(IDirect3D11CaptureFrame* frame) {
  ComPointer<IDirect3DSurface> surface;
  ComPointer<ID3D11Texture2D> texture;
  if (FAILED(frame->get_Surface(surface.Put()))) return texture;
  const auto access = surface.As<IDirect3DDxgiInterfaceAccess>();
  access->GetInterface(__uuidof(ID3D11Texture2D), reinterpret_cast<void**>(texture.Put()));
  return texture;
}

Pixels ReadPixels(IDirect3D11CaptureFrame* frame) {
  const auto texture = TextureOf(frame);
  D3D11_TEXTURE2D_DESC description;
  texture->GetDesc(&description);
  description.Usage = D3D11_USAGE_STAGING;
  description.BindFlags = 0;
  description.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
  ComPointer<ID3D11Texture2D> staging;
  Device().d3d->CreateTexture2D(&description, nullptr, staging.Put());
  Device().context->CopyResource(staging.Get(), texture.Get());
  Pixels pixels;
  D3D11_MAPPED_SUBRESOURCE mapped = {};
  if (FAILED(Device().context->Map(staging.Get(), 0, D3D11_MAP_READ, 0, &mapped))) return pixels;
  pixels.width = static_cast<int>(description.Width);
  pixels.height = static_cast<int>(description.Height);
  pixels.values.resize(static_cast<size_t>(pixels.width) * pixels.height);
  for (int y = 0; y < pixels.height; ++y) {
    std::memcpy(&pixels.values[static_cast<size_t>(y) * pixels.width],
                static_cast<const char*>(mapped.pData) + static_cast<size_t>(y) * mapped.RowPitch,
                pixels.width * sizeof(UINT32));
  }
  Device().context->Unmap(staging.Get(), 0);
  return pixels;
}

int DrainMessages() {
  int count = 0;
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    TranslateMessage(&message);
    DispatchMessageW(&message);
    ++count;
  }
  return count;
}

bool PumpUntil(const std::function<bool()>& done, DWORD limit_ms) {
  const ULONGLONG end = GetTickCount64() + limit_ms;
  for (;;) {
    DrainMessages();
    if (done()) return true;
    if (GetTickCount64() >= end) return false;
    MsgWaitForMultipleObjects(0, nullptr, FALSE, 5, QS_ALLINPUT);
  }
}

void PumpFor(DWORD time_ms) {
  PumpUntil([] { return false; }, time_ms);
}

PlatformSetting::PlatformSetting(const wchar_t* name, DWORD value) : name_(name) {
  const LSTATUS set =
      RegSetKeyValueW(HKEY_CURRENT_USER, kSettingsKey, name, REG_DWORD, &value, sizeof(value));
  EXPECT_EQ(set, ERROR_SUCCESS);
}

PlatformSetting::~PlatformSetting() {
  RegDeleteKeyValueW(HKEY_CURRENT_USER, kSettingsKey, name_);
}

}  // namespace wine_test
