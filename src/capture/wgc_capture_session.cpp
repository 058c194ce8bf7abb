// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// A session's life, its start and its switches. The path of a frame is in wgc_capture_frames.cpp.
#include "capture/wgc_capture_session.h"

#include <dispatcherqueue.h>
#include <windows.graphics.capture.interop.h>
#include <windows.graphics.directx.direct3d11.interop.h>

#include <winrt/Windows.Foundation.Metadata.h>

#include <cstdlib>
#include <exception>
#include <iterator>
#include <utility>

#include "api/wgc_log.h"

using winrt::Windows::Foundation::Metadata::ApiInformation;
using winrt::Windows::Graphics::Capture::Direct3D11CaptureFramePool;
using winrt::Windows::Graphics::Capture::GraphicsCaptureItem;
using winrt::Windows::Graphics::Capture::IGraphicsCaptureItem;
using winrt::Windows::Graphics::DirectX::DirectXPixelFormat;
using winrt::Windows::Graphics::DirectX::Direct3D11::IDirect3DDevice;

namespace {

// The PCI vendor whose adapter is preferred.
constexpr UINT kPreferredVendorId = 0x10DE;

constexpr wchar_t kCaptureSessionClass[] = L"Windows.Graphics.Capture.GraphicsCaptureSession";

uint32_t Hex(HRESULT result) {
  return static_cast<uint32_t>(result);
}

// A platform that reports success and hands out nothing has failed all the same.
HRESULT Delivered(HRESULT result, const void* object) {
  return SUCCEEDED(result) && object == nullptr ? E_POINTER : result;
}

template <typename RuntimeObject>
RuntimeObject Delivered(RuntimeObject object) {
  if (!object) throw winrt::hresult_error(E_POINTER);
  return object;
}

// Once per process, on the thread that constructs the first session. A failure is raised and leaves
// the next construction to try again (the initialiser of a local static does exactly that).
void EnsureComInitialized() {
  [[maybe_unused]] static const bool initialized = [] {
    winrt::check_hresult(CoInitializeEx(nullptr, COINIT_MULTITHREADED));
    std::atexit([] { CoUninitialize(); });
    return true;
  }();
}

int32_t TicksPer60Milliseconds() {
  LARGE_INTEGER ticks_per_second{};
  QueryPerformanceFrequency(&ticks_per_second);
  return static_cast<int32_t>(ticks_per_second.QuadPart * 60 / 1000);
}

bool IsSessionPropertyPresent(const wchar_t* property) {
  try {
    return ApiInformation::IsPropertyPresent(kCaptureSessionClass, property);
  } catch (...) {
    WgcLogf(LogError, "Winrt exception:%ld", static_cast<long>(winrt::to_hresult()));
    return false;
  }
}

// Sets a property of a live capture session. The host's switch has taken effect for the next start
// in any case, so a platform that refuses is logged and does not reach the host.
template <typename Set>
void SetSessionProperty(Set set) {
  try {
    set();
  } catch (...) {
    WgcLogf(LogError, "Winrt exception:%ld", static_cast<long>(winrt::to_hresult()));
  }
}

}  // namespace

WgcCaptureSession::WgcCaptureSession(HWND window) : WgcCaptureSession(window, nullptr) {}

WgcCaptureSession::WgcCaptureSession(HMONITOR monitor) : WgcCaptureSession(nullptr, monitor) {}

WgcCaptureSession::WgcCaptureSession(HWND window, HMONITOR monitor)
    : hwnd_(window), hmonitor_(monitor) {
  EnsureComInitialized();
  ticks_per_60ms_ = TicksPer60Milliseconds();
}

WgcCaptureSession::~WgcCaptureSession() {
  if (frame_buffer_ != nullptr) {
    std::free(frame_buffer_);
    frame_buffer_ = nullptr;
    frame_buffer_size_ = 0;
  }
  // Ahead of the engine, whose Release flushes the context and so frees the texture at once.
  frame_texture_ = nullptr;
  frame_diff_.Release();
}

bool WgcCaptureSession::Start() {
  WgcLogf(LogInfo, "%s", "WgcCaptureSession::Start");
  DeviceObjects objects;
  if (!CreateDevice(objects)) return false;
  // Without the engine a session still captures; detection then reports nothing.
  objects.frame_diff.Init(objects.device, objects.context);

  // Nothing of one device may meet what belongs to another. On a second start the capture that runs
  // keeps its own until there is a new pool, which Windows denies to a thread that has one already.
  const void* const pool_before = winrt::get_abi(frame_pool_);
  SwapDeviceObjects(objects);
  if (SetUpCapture()) return true;
  if (pool_before != nullptr && winrt::get_abi(frame_pool_) == pool_before) {
    SwapDeviceObjects(objects);
  }
  return false;
}

void WgcCaptureSession::SwapDeviceObjects(DeviceObjects& other) {
  std::swap(d3d_device_, other.device);
  std::swap(d3d_context_, other.context);
  std::swap(winrt_device_, other.winrt_device);
  std::swap(frame_texture_, other.frame_texture);
  std::swap(output_texture_, other.output_texture);
  std::swap(frame_diff_, other.frame_diff);
}

bool WgcCaptureSession::CreateDevice(DeviceObjects& created) {
  HRESULT result = CreateDXGIFactory1(__uuidof(IDXGIFactory1), dxgi_factory_.put_void());
  result = Delivered(result, dxgi_factory_.get());
  if (FAILED(result)) {
    WgcLogf(LogError, "Failed to create dxgi factory1, hr:%08x", Hex(result));
    return false;
  }

  ChooseAdapter();
  if (!dxgi_adapter_) {
    WgcLogf(LogError, "Failed to find any adapter to create d3d11 device");
    return false;
  }

  constexpr D3D_FEATURE_LEVEL kFeatureLevels[] = {
      D3D_FEATURE_LEVEL_11_0,
      D3D_FEATURE_LEVEL_10_1,
      D3D_FEATURE_LEVEL_10_0,
  };
  D3D_FEATURE_LEVEL feature_level = D3D_FEATURE_LEVEL_10_0;
  // With an adapter given, the driver type must be unknown. No single-threaded flag: hosts share
  // the device.
  result = D3D11CreateDevice(dxgi_adapter_.get(), D3D_DRIVER_TYPE_UNKNOWN, nullptr,
                             D3D11_CREATE_DEVICE_BGRA_SUPPORT, kFeatureLevels,
                             static_cast<UINT>(std::size(kFeatureLevels)), D3D11_SDK_VERSION,
                             created.device.put(), &feature_level, created.context.put());
  result = Delivered(result, created.device.get());
  if (FAILED(result)) {
    WgcLogf(LogError, "Failed to create d3d11 device,hr:%08x", Hex(result));
    return false;
  }
  return true;
}

// The first adapter of the preferred vendor, else the first that can describe itself, which is the
// one DXGI lists first. Deliberately no more than that: a host that wants another adapter says so
// in the system's graphics settings.
void WgcCaptureSession::ChooseAdapter() {
  winrt::com_ptr<IDXGIAdapter1> adapter;
  // DXGI_ERROR_NOT_FOUND ends the list; any other failure would repeat at every index.
  for (UINT index = 0; SUCCEEDED(dxgi_factory_->EnumAdapters1(index, adapter.put())) && adapter;
       ++index) {
    DXGI_ADAPTER_DESC1 desc{};
    if (adapter->GetDesc1(&desc) != S_OK) continue;
    if (!dxgi_adapter_) dxgi_adapter_ = adapter;
    if (desc.VendorId == kPreferredVendorId) {
      dxgi_adapter_ = adapter;
      break;
    }
  }
}

bool WgcCaptureSession::SetUpCapture() {
  try {
    return BuildCapture();
  } catch (const winrt::hresult_error& error) {
    WgcLogf(LogError, "Winrt exception:%ld", static_cast<long>(error.code()));
  } catch (const std::exception& error) {
    WgcLogf(LogError, "std exception:%s", error.what());
  } catch (...) {
    WgcLogf(LogError, "unknown exception");
  }
  return false;
}

bool WgcCaptureSession::BuildCapture() {
  CreateDispatcherQueue();

  winrt::com_ptr<IDXGIDevice> dxgi_device;
  HRESULT result = d3d_device_->QueryInterface(__uuidof(IDXGIDevice), dxgi_device.put_void());
  if (FAILED(result)) {
    WgcLogf(LogError, "Failed to QueryInterface[IDXGIDevice]. hr:%08x", Hex(result));
    return false;
  }
  winrt::com_ptr<::IInspectable> inspectable;
  result = CreateDirect3D11DeviceFromDXGIDevice(dxgi_device.get(), inspectable.put());
  result = Delivered(result, inspectable.get());
  if (FAILED(result)) {
    WgcLogf(LogError, "Failed to call CreateDirect3D11DeviceFromDXGIDevice, hr:%08x", Hex(result));
    return false;
  }

  const auto activation_factory = winrt::get_activation_factory<GraphicsCaptureItem>();
  const auto interop_factory = activation_factory.as<IGraphicsCaptureItemInterop>();
  if (!CreateCaptureItem(interop_factory.get())) return false;
  winrt_device_ = inspectable.as<IDirect3DDevice>();
  if (!capture_item_) {
    WgcLogf(LogError, "No window or monitor to capture");
    return false;
  }
  const auto size = capture_item_.Size();

  // Create, not CreateFreeThreaded: this is what ties the frames to the start thread.
  auto frame_pool = Delivered(Direct3D11CaptureFramePool::Create(
      winrt_device_, DirectXPixelFormat::B8G8R8A8UIntNormalized, kFramePoolBuffers, size));
  // Nothing comes from a pool before any more: its frames are of another device.
  frame_arrived_revoker_.revoke();
  frame_pool_ = std::move(frame_pool);
  capture_session_ = Delivered(frame_pool_.CreateCaptureSession(capture_item_));
  ApplyCursorAndBorder();
  d3d_device_->GetImmediateContext(d3d_context_.put());
  content_size_ = size;

  frame_arrived_revoker_ =
      frame_pool_.FrameArrived(winrt::auto_revoke, {this, &WgcCaptureSession::on_frame_arrived});
  capture_session_.StartCapture();
  // Only a capture that runs can close; an item that closes before is seen as a failed start.
  closed_revoker_ = capture_item_.Closed(winrt::auto_revoke, {this, &WgcCaptureSession::on_closed});

  running_.exchange(true);
  exit_requested_.exchange(false);
  WgcLogf(LogInfo, "Wgc session started.");
  return true;
}

void WgcCaptureSession::CreateDispatcherQueue() {
  const DispatcherQueueOptions options{
      sizeof(DispatcherQueueOptions),
      DQTYPE_THREAD_CURRENT,
      DQTAT_COM_STA,
  };
  static_assert(sizeof(options) == 12);
  winrt::Windows::System::DispatcherQueueController controller{nullptr};
  winrt::check_hresult(CreateDispatcherQueueController(
      options, reinterpret_cast<ABI::Windows::System::IDispatcherQueueController**>(
                   winrt::put_abi(controller))));
  dispatcher_controller_ = std::move(controller);
}

// The window wins over the monitor. With neither, capture_item_ is left as it is.
bool WgcCaptureSession::CreateCaptureItem(IGraphicsCaptureItemInterop* interop_factory) {
  if (hwnd_ != nullptr) {
    const HRESULT result = interop_factory->CreateForWindow(
        hwnd_, winrt::guid_of<IGraphicsCaptureItem>(), winrt::put_abi(capture_item_));
    if (FAILED(result)) {
      WgcLogf(LogError, "Failed to call IGraphicsCaptureItemInterop::CreateForWindow, hr:%08x",
              Hex(result));
      return false;
    }
  } else if (hmonitor_ != nullptr) {
    const HRESULT result = interop_factory->CreateForMonitor(
        hmonitor_, winrt::guid_of<IGraphicsCaptureItem>(), winrt::put_abi(capture_item_));
    if (FAILED(result)) {
      WgcLogf(LogError, "Failed to call IGraphicsCaptureItemInterop::CreateForMonitor, hr:%08x",
              Hex(result));
      return false;
    }
  }
  return true;
}

void WgcCaptureSession::ApplyCursorAndBorder() {
  if (IsCursorToggleSupported()) {
    WgcLogf(LogInfo, "Wgc cursor %s ", cursor_enabled_ ? "Enable" : "Disable");
    capture_session_.IsCursorCaptureEnabled(cursor_enabled_);
  } else {
    WgcLogf(LogInfo, "IsCursorToggleSupported: no");
  }
  if (IsBorderRequiredSupported()) {
    WgcLogf(LogInfo, "Wgc border %s ", border_enabled_ ? "Enable" : "Disable");
    capture_session_.IsBorderRequired(border_enabled_);
  } else {
    WgcLogf(LogInfo, "IsBorderRequiredSupported: no");
  }
}

// May run on a thread of the platform's, so it touches the two atomic flags and nothing else. The
// host sees the change through its status and destroys the session.
void WgcCaptureSession::on_closed(const GraphicsCaptureItem& /*sender*/,
                                  const winrt::Windows::Foundation::IInspectable& /*args*/) {
  WgcLogf(LogInfo, "Wgc on_closed");
  running_.exchange(false);
  exit_requested_.exchange(true);
}

void WgcCaptureSession::Stop() {
  // running_ stays as it is: it tells whether the item closed, not whether the host has left.
  exit_requested_.exchange(true);
  WgcLogf(LogInfo, "Try to exit wgc thread");
  try {
    try {
      frame_arrived_revoker_.revoke();
      closed_revoker_.revoke();
      // Closing the pool and the session is what ends delivery; there is no thread to join.
      if (frame_pool_) frame_pool_.Close();
      if (capture_session_) capture_session_.Close();
    } catch (const winrt::hresult_error& error) {
      WgcLogf(LogError, "Exception catced %s", winrt::to_string(error.message()).c_str());
    }
  } catch (...) {
    // Also when there is no memory to convert the message above.
    WgcLogf(LogError, "Exception catched: %08x", Hex(winrt::to_hresult()));
  }
  WgcLogf(LogInfo, "Wgc exit.");
}

bool WgcCaptureSession::IsCursorToggleSupported() {
  return IsSessionPropertyPresent(L"IsCursorCaptureEnabled");
}

bool WgcCaptureSession::IsBorderRequiredSupported() {
  return IsSessionPropertyPresent(L"IsBorderRequired");
}

// The guards of cursor and border mirror each other. Without support the cursor refuses to be
// enabled and accepts to be disabled, the border refuses to be hidden and accepts to be shown. A
// disabled cursor is passed to a live session without asking for support first.
bool WgcCaptureSession::EnableCursor(bool enable) {
  if (enable && !IsCursorToggleSupported()) {
    WgcLogf(LogWarning, "Failed to %s cursor", "enable");
    return false;
  }
  WgcLogf(LogInfo, "Set %s cursor", enable ? "enable" : "disable");
  cursor_enabled_ = enable;
  if (capture_session_) {
    SetSessionProperty([&] { capture_session_.IsCursorCaptureEnabled(enable); });
  }
  return true;
}

bool WgcCaptureSession::ShowBorder(bool show) {
  if (!IsBorderRequiredSupported() && !show) {
    WgcLogf(LogWarning, "Failed to  %s border", "hide");
    return false;
  }
  WgcLogf(LogInfo, "Set %s border", show ? "show" : "hide");
  border_enabled_ = show;
  // Asked again: showing is accepted without support, and then must not reach the session.
  if (IsBorderRequiredSupported() && capture_session_) {
    SetSessionProperty([&] { capture_session_.IsBorderRequired(border_enabled_); });
  }
  return true;
}

void WgcCaptureSession::SetDirtyRect(bool enable) {
  dirty_rect_enabled_.exchange(enable);
  WgcLogf(LogInfo, "Set dirtyRect %s", enable ? "enable" : "disable");
}

void WgcCaptureSession::SetCaptureToTexture(bool enable) {
  capture_to_texture_ = enable;
}
