// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "support/desktop.h"

#include <dwmapi.h>
#include <roapi.h>
#include <windows.graphics.capture.h>
#include <winstring.h>

#include <cwchar>
#include <future>

#include "common/ref.h"

namespace {

// Empty when the object has no name.
std::wstring NameOf(HANDLE desktop) {
  wchar_t name[256] = {};
  GetUserObjectInformationW(desktop, UOI_NAME, name, sizeof(name) - sizeof(name[0]), nullptr);
  return name;
}

// While the desktop is locked, input goes to another one, which a program may not open.
bool IsDesktopInUse() {
  const HDESK input = OpenInputDesktop(0, FALSE, DESKTOP_READOBJECTS);
  if (input == nullptr) return false;
  const std::wstring name = NameOf(input);
  CloseDesktop(input);
  return name == NameOf(GetThreadDesktop(GetCurrentThreadId()));
}

// The answer of Windows.Graphics.Capture.GraphicsCaptureSession.IsSupported.
bool IsCaptureSupported() {
  using ABI::Windows::Graphics::Capture::IGraphicsCaptureSessionStatics;
  static constexpr wchar_t kClass[] = L"Windows.Graphics.Capture.GraphicsCaptureSession";
  if (FAILED(RoInitialize(RO_INIT_MULTITHREADED))) return false;
  boolean supported = false;
  {
    HSTRING name = nullptr;
    WindowsCreateString(kClass, static_cast<UINT32>(std::wcslen(kClass)), &name);
    standin::Ref<IGraphicsCaptureSessionStatics> statics;
    RoGetActivationFactory(name, __uuidof(IGraphicsCaptureSessionStatics),
                           reinterpret_cast<void**>(statics.Put()));
    WindowsDeleteString(name);
    if (statics) statics->IsSupported(&supported);
  }
  RoUninitialize();
  return supported != 0;
}

bool HasSize(const RECT& bounds, uint32_t width, uint32_t height) {
  return bounds.right - bounds.left == static_cast<LONG>(width) &&
         bounds.bottom - bounds.top == static_cast<LONG>(height);
}

}  // namespace

bool IsWine() {
  return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

std::string WhyNothingCanBeCaptured() {
  if (IsWine()) return {};
  DWORD session = 0;
  if (ProcessIdToSessionId(GetCurrentProcessId(), &session) && session == 0) {
    return "this process runs as a service, in session 0, which has no desktop to capture";
  }
  if (!IsDesktopInUse()) return "the desktop of this process is locked or not in use";
  // On a thread of its own, because a thread's apartment stays with it.
  if (!std::async(std::launch::async, IsCaptureSupported).get()) {
    return "GraphicsCaptureSession.IsSupported is false";
  }
  return {};
}

bool MayBeFrameSize(HWND window, uint32_t width, uint32_t height) {
  RECT bounds;
  if (!GetWindowRect(window, &bounds) || HasSize(bounds, width, height)) return true;
  const HRESULT known =
      DwmGetWindowAttribute(window, DWMWA_EXTENDED_FRAME_BOUNDS, &bounds, sizeof(bounds));
  return SUCCEEDED(known) && HasSize(bounds, width, height);
}
