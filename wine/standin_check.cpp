// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// standin-check [DLL...]
// Runs in a Wine prefix. Ends with 0 when programs there get the stand-in and none of the DLLs from
// Wine, which may have DLLs and classes of the same names; otherwise names what they get instead
// and ends with 1.
#include <activation.h>
#include <roapi.h>
#include <winstring.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

namespace {

// A loaded module begins with its file's header, where Wine marks its own DLLs.
bool IsWines(HMODULE module) {
  constexpr std::string_view kMark = "Wine builtin DLL";
  constexpr size_t kMarkOffset = 64;
  return std::memcmp(reinterpret_cast<const char*>(module) + kMarkOffset, kMark.data(),
                     kMark.size()) == 0;
}

bool IsOurs(HMODULE module, const char* what) {
  if (module && !IsWines(module)) return true;
  std::printf("%s %s\n", module ? "Wine's" : "no", what);
  return false;
}

// The module that makes a class's objects; null when nothing does.
HMODULE ModuleOfClass(std::wstring_view name) {
  HSTRING text = nullptr;
  if (FAILED(WindowsCreateString(name.data(), static_cast<UINT32>(name.size()), &text))) {
    return nullptr;
  }
  IActivationFactory* factory = nullptr;
  const HRESULT got = RoGetActivationFactory(text, __uuidof(IActivationFactory),
                                             reinterpret_cast<void**>(&factory));
  WindowsDeleteString(text);
  if (FAILED(got)) return nullptr;
  HMODULE module = nullptr;
  // Its code: an object begins with the address of its table of functions.
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      *reinterpret_cast<const wchar_t* const*>(factory), &module);
  factory->Release();
  return module;
}

}  // namespace

int main(int argc, char** argv) {
  // Not from this program's own folder, where the build has left the stand-in's.
  SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);
  if (FAILED(RoInitialize(RO_INIT_MULTITHREADED))) return 1;
  bool ours = IsOurs(LoadLibraryW(L"CoreMessaging.dll"), "CoreMessaging.dll");
  ours = IsOurs(LoadLibraryW(L"d3d11.dll"), "d3d11.dll") && ours;
  for (int i = 1; i < argc; ++i) ours = IsOurs(LoadLibraryA(argv[i]), argv[i]) && ours;
  // Wine's DLL crashes when it is asked for a class in place of ours.
  if (!ours) return 1;
  for (const std::wstring_view name :
       {L"Windows.Foundation.Metadata.ApiInformation",
        L"Windows.Graphics.Capture.Direct3D11CaptureFramePool",
        L"Windows.Graphics.Capture.GraphicsCaptureItem",
        L"Windows.Graphics.Capture.GraphicsCaptureSession", L"Windows.System.DispatcherQueue"}) {
    ours = IsOurs(ModuleOfClass(name), std::string(name.begin(), name.end()).c_str()) && ours;
  }
  return ours ? 0 : 1;
}
