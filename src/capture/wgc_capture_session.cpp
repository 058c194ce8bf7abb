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
#include <string>
#include <tuple>
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

// For %08x, which takes an unsigned int.
uint32_t ToUnsigned(HRESULT result) {
  return static_cast<uint32_t>(result);
}

// A platform that reports success without an object has failed.
HRESULT FailIfNull(HRESULT result, const void* object) {
  return SUCCEEDED(result) && object == nullptr ? E_POINTER : result;
}

template <typename RuntimeObject>
RuntimeObject ThrowIfNull(RuntimeObject object) {
  if (!object) throw winrt::hresult_error(E_POINTER);
  return object;
}

// The HRESULT of the exception being handled. winrt::to_hresult() ends the process for one that is
// neither its own nor the standard library's.
HRESULT CaughtResult() noexcept {
  try {
    throw;
  } catch (const winrt::hresult_error& error) {
    return error.code();
  } catch (const std::exception&) {
    return winrt::to_hresult();
  } catch (...) {
    return E_FAIL;
  }
}

// Empty when there is no memory for the conversion.
std::string NarrowMessage(const winrt::hresult_error& error) noexcept {
  try {
    return winrt::to_string(error.message());
  } catch (...) {
    return {};
  }
}

// Runs once per process, on the thread that constructs the first session. A failure is thrown, and
// the next construction tries again, as the initialiser of a local static does.
void EnsureComInitialized() {
  [[maybe_unused]] static const bool initialized = [] {
    const HRESULT result = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    // Not check_hresult(), which turns E_OUTOFMEMORY into std::bad_alloc.
    if (FAILED(result)) throw winrt::hresult_error(result);
    // Runs on the thread that ends the process, as the library is never unloaded before.
    std::atexit([] { CoUninitialize(); });
    return true;
  }();
}

int32_t TicksPer60Milliseconds() {
  LARGE_INTEGER ticks_per_second{};
  QueryPerformanceFrequency(&ticks_per_second);
  return static_cast<int32_t>(ticks_per_second.QuadPart * 60 / 1000);
}

// For platform calls whose failure is logged and does not reach the host.
template <typename Call>
void LogRaised(Call call) {
  try {
    call();
  } catch (...) {
    WgcLogf(LogError, "Winrt exception:%ld", static_cast<long>(CaughtResult()));
  }
}

bool IsSessionPropertyPresent(const wchar_t* name) {
  bool is_present = false;
  LogRaised([&] { is_present = ApiInformation::IsPropertyPresent(kCaptureSessionClass, name); });
  return is_present;
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
  // Before the engine, whose Release flushes the context and so frees the texture at once.
  frame_texture_ = nullptr;
  frame_diff_.Release();
}

bool WgcCaptureSession::Start() {
  WgcLogf(LogInfo, "%s", "WgcCaptureSession::Start");
  // A second start overwrites what the first made. When it fails, as on a thread that already has a
  // dispatcher queue, a capture that ran before goes on with all that it had. The Closed handler
  // tells that a capture ran: it is registered last, so a failed start never replaces it.
  const bool has_run = static_cast<bool>(closed_revoker_);
  auto replaced =
      std::tie(d3d_device_, dxgi_factory_, dxgi_adapter_, capture_item_, winrt_device_,
               d3d_context_, frame_pool_, capture_session_, content_size_, dispatcher_controller_);
  const auto before = std::apply([](auto&... member) { return std::tuple(member...); }, replaced);
  // These must not stay in place meanwhile: Direct3D resources of two devices must not mix.
  auto frame_handler_before = std::move(frame_arrived_revoker_);
  auto frame_texture_before = std::move(frame_texture_);
  auto output_texture_before = std::move(output_texture_);
  auto engine_before = std::exchange(frame_diff_, {});

  const bool is_started = CreateDevice() && SetUpCapture();
  if (is_started || !has_run) {
    engine_before.Release();
  } else {
    frame_arrived_revoker_ = std::move(frame_handler_before);
    frame_texture_ = std::move(frame_texture_before);
    output_texture_ = std::move(output_texture_before);
    frame_diff_ = std::move(engine_before);
    replaced = before;
  }
  return is_started;
}

bool WgcCaptureSession::CreateDevice() {
  HRESULT result = CreateDXGIFactory1(__uuidof(IDXGIFactory1), dxgi_factory_.put_void());
  result = FailIfNull(result, dxgi_factory_.get());
  if (FAILED(result)) {
    WgcLogf(LogError, "Failed to create dxgi factory1, hr:%08x", ToUnsigned(result));
    return false;
  }

  ChooseAdapter();
  if (!dxgi_adapter_) {
    WgcLogf(LogError, "Failed to find any adapter to create d3d11 device");
    return false;
  }

  constexpr D3D_FEATURE_LEVEL kFeatureLevels[] = {D3D_FEATURE_LEVEL_11_0, D3D_FEATURE_LEVEL_10_1,
                                                  D3D_FEATURE_LEVEL_10_0};
  D3D_FEATURE_LEVEL feature_level = D3D_FEATURE_LEVEL_10_0;
  // With an adapter given, the driver type must be unknown. No single-threaded flag: hosts share
  // the device.
  result = D3D11CreateDevice(dxgi_adapter_.get(), D3D_DRIVER_TYPE_UNKNOWN, nullptr,
                             D3D11_CREATE_DEVICE_BGRA_SUPPORT, kFeatureLevels,
                             static_cast<UINT>(std::size(kFeatureLevels)), D3D11_SDK_VERSION,
                             d3d_device_.put(), &feature_level, d3d_context_.put());
  result = FailIfNull(result, d3d_device_.get());
  if (FAILED(result)) {
    WgcLogf(LogError, "Failed to create d3d11 device,hr:%08x", ToUnsigned(result));
    return false;
  }
  // Without the engine a session still captures; detection then reports nothing.
  frame_diff_.Init(d3d_device_, d3d_context_);
  return true;
}

// Chooses the first adapter of the preferred vendor, or else the first that can describe itself;
// DXGI lists the one of the primary monitor first. Deliberately no more than that.
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
    WgcLogf(LogError, "Failed to QueryInterface[IDXGIDevice]. hr:%08x", ToUnsigned(result));
    return false;
  }
  winrt::com_ptr<::IInspectable> inspectable;
  result = CreateDirect3D11DeviceFromDXGIDevice(dxgi_device.get(), inspectable.put());
  result = FailIfNull(result, inspectable.get());
  if (FAILED(result)) {
    WgcLogf(LogError, "Failed to call CreateDirect3D11DeviceFromDXGIDevice, hr:%08x",
            ToUnsigned(result));
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
  frame_pool_ = ThrowIfNull(Direct3D11CaptureFramePool::Create(
      winrt_device_, DirectXPixelFormat::B8G8R8A8UIntNormalized, kFramePoolBuffers, size));
  capture_session_ = ThrowIfNull(frame_pool_.CreateCaptureSession(capture_item_));
  ApplyCursorAndBorder();
  d3d_device_->GetImmediateContext(d3d_context_.put());
  content_size_ = size;

  frame_arrived_revoker_ =
      frame_pool_.FrameArrived(winrt::auto_revoke, {this, &WgcCaptureSession::on_frame_arrived});
  capture_session_.StartCapture();
  // Last, so that this registration tells that a capture ran. An item that closes between the two
  // calls is not noticed.
  closed_revoker_ = capture_item_.Closed(winrt::auto_revoke, {this, &WgcCaptureSession::on_closed});

  running_.exchange(true);
  exit_requested_.exchange(false);
  WgcLogf(LogInfo, "Wgc session started.");
  return true;
}

void WgcCaptureSession::CreateDispatcherQueue() {
  const DispatcherQueueOptions options{sizeof(DispatcherQueueOptions), DQTYPE_THREAD_CURRENT,
                                       DQTAT_COM_STA};
  static_assert(sizeof(options) == 12);
  winrt::Windows::System::DispatcherQueueController controller{nullptr};
  winrt::check_hresult(CreateDispatcherQueueController(
      options, reinterpret_cast<ABI::Windows::System::IDispatcherQueueController**>(
                   winrt::put_abi(controller))));
  dispatcher_controller_ = std::move(controller);
}

// Prefers the window to the monitor. With neither, leaves capture_item_ as it is.
bool WgcCaptureSession::CreateCaptureItem(IGraphicsCaptureItemInterop* interop_factory) {
  if (hwnd_ != nullptr) {
    const HRESULT result = interop_factory->CreateForWindow(
        hwnd_, winrt::guid_of<IGraphicsCaptureItem>(), winrt::put_abi(capture_item_));
    if (FAILED(result)) {
      WgcLogf(LogError, "Failed to call IGraphicsCaptureItemInterop::CreateForWindow, hr:%08x",
              ToUnsigned(result));
      return false;
    }
  } else if (hmonitor_ != nullptr) {
    const HRESULT result = interop_factory->CreateForMonitor(
        hmonitor_, winrt::guid_of<IGraphicsCaptureItem>(), winrt::put_abi(capture_item_));
    if (FAILED(result)) {
      WgcLogf(LogError, "Failed to call IGraphicsCaptureItemInterop::CreateForMonitor, hr:%08x",
              ToUnsigned(result));
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

// May run on a thread of the platform, so it touches only the two atomic flags. The host sees the
// change in wgc_get_status() and may destroy the session at once: running_ is set last.
void WgcCaptureSession::on_closed(const GraphicsCaptureItem& /*sender*/,
                                  const winrt::Windows::Foundation::IInspectable& /*args*/) {
  WgcLogf(LogInfo, "Wgc on_closed");
  exit_requested_.exchange(true);
  running_.exchange(false);
}

void WgcCaptureSession::Stop() {
  // Leave running_ as it is: it tells whether the item closed, not whether the host stopped.
  exit_requested_.exchange(true);
  WgcLogf(LogInfo, "Try to exit wgc thread");
  try {
    frame_arrived_revoker_.revoke();
    closed_revoker_.revoke();
    // Closing the pool and the session ends delivery; there is no thread to join.
    if (frame_pool_) frame_pool_.Close();
    if (capture_session_) capture_session_.Close();
  } catch (const winrt::hresult_error& error) {
    WgcLogf(LogError, "Exception catced %s", NarrowMessage(error).c_str());
  } catch (...) {
    WgcLogf(LogError, "Exception catched: %08x", ToUnsigned(CaughtResult()));
  }
  WgcLogf(LogInfo, "Wgc exit.");
}

bool WgcCaptureSession::IsCursorToggleSupported() {
  return IsSessionPropertyPresent(L"IsCursorCaptureEnabled");
}

bool WgcCaptureSession::IsBorderRequiredSupported() {
  return IsSessionPropertyPresent(L"IsBorderRequired");
}

// Cursor and border mirror each other: without support, enabling the cursor and hiding the border
// fail, while disabling the cursor and showing the border succeed. Disabling the cursor reaches a
// live session without asking for support first.
bool WgcCaptureSession::EnableCursor(bool enable) {
  if (enable && !IsCursorToggleSupported()) {
    WgcLogf(LogWarning, "Failed to %s cursor", "enable");
    return false;
  }
  WgcLogf(LogInfo, "Set %s cursor", enable ? "enable" : "disable");
  cursor_enabled_ = enable;
  if (capture_session_) {
    LogRaised([&] { capture_session_.IsCursorCaptureEnabled(enable); });
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
  // Ask again: showing succeeds without support, and then must not reach the session.
  if (IsBorderRequiredSupported() && capture_session_) {
    LogRaised([&] { capture_session_.IsBorderRequired(border_enabled_); });
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
