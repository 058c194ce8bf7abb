// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The exports. Each is a thin wrapper over one session operation; except for the support probe,
// none catches anything. A failed first COM initialisation passes through the create functions to
// the host, so compile this file such that exceptions may leave extern "C" functions.
#include "libquill_wgc.h"

#include <unknwn.h>

#include <winrt/Windows.Foundation.Metadata.h>

#include <new>

#include "api/wgc_log.h"
#include "capture/wgc_capture_session.h"

static WgcCaptureSession* FromHandle(void* session) {
  return static_cast<WgcCaptureSession*>(session);
}

// Keeps the library loaded until the process ends, whatever the host frees: the projection's
// factory cache, event handlers and the clean-up of COM refer to its code, and an unload would run
// that clean-up on any thread. When it fails, the library stays loaded as long as the host keeps
// it.
static void PinModule() {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                     reinterpret_cast<LPCWSTR>(&PinModule), &module);
}

bool is_wgc_session_supported(void) {
  PinModule();
  try {
    using winrt::Windows::Foundation::Metadata::ApiInformation;
    return ApiInformation::IsApiContractPresent(L"Windows.Foundation.UniversalApiContract", 8);
  } catch (...) {
    // A platform that cannot even answer has no capture either.
    return false;
  }
}

void wgc_register_logger(WgcLogCallback cb) {
  logger = cb;
}

void* wgc_session_create(HWND window) {
  PinModule();
  return new (std::nothrow) WgcCaptureSession(window);
}

void* wgc_session_create2(HMONITOR monitor) {
  if (monitor == nullptr) return nullptr;
  PinModule();
  return new (std::nothrow) WgcCaptureSession(monitor);
}

bool wgc_session_start(void* session) {
  return FromHandle(session)->Start();
}

void wgc_session_destroy(void* session) {
  // Stop whatever is passed: a null handle is a mistake of the host and faults here, which a silent
  // return would hide together with the session that leaks.
  FromHandle(session)->Stop();
  if (session != nullptr) delete FromHandle(session);
}

bool wgc_get_recent_frame(void* session, void** frame, void* reserved, uint32_t* width,
                          uint32_t* height, bool* cursor_enabled) {
  return FromHandle(session)->GetRecentFrame(frame, reserved, width, height, cursor_enabled);
}

void wgc_free_recent_frame(void* /*session*/, void* /*frame*/) {}

float wgc_get_update_ratio(void* session) {
  return FromHandle(session)->GetUpdateRatio();
}

bool wgc_get_status(void* session) {
  return FromHandle(session)->GetStatus();
}

ID3D11Device* wgc_get_device(void* session) {
  return FromHandle(session)->GetDevice();
}

bool wgc_enable_cursor(void* session, bool enable) {
  return FromHandle(session)->EnableCursor(enable);
}

bool wgc_show_border(void* session, bool show) {
  return FromHandle(session)->ShowBorder(show);
}

void wgc_set_dirty_rect(void* session, bool enable) {
  FromHandle(session)->SetDirtyRect(enable);
}

void wgc_set_capture_to_texture(void* session, bool enable) {
  FromHandle(session)->SetCaptureToTexture(enable);
}
