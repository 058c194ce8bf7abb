// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// loader VERSION: finds libquill-wgc.dll by its name alone, all its functions by theirs, and
// VERSION in its resources.
#include <windows.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

const char* const kNames[] = {
    "is_wgc_session_supported", "wgc_register_logger",   "wgc_session_create",
    "wgc_session_create2",      "wgc_session_destroy",   "wgc_session_start",
    "wgc_get_recent_frame",     "wgc_free_recent_frame", "wgc_get_update_ratio",
    "wgc_get_status",           "wgc_get_device",        "wgc_enable_cursor",
    "wgc_show_border",          "wgc_set_dirty_rect",    "wgc_set_capture_to_texture",
};

// "1.2.3", from the resource's numbers; empty when there are none, or a fourth that is not 0.
std::string FileVersion(const wchar_t* path) {
  const DWORD size = GetFileVersionInfoSizeW(path, nullptr);
  std::vector<char> resource(size);
  void* value = nullptr;
  UINT value_size = 0;
  if (size == 0 || !GetFileVersionInfoW(path, 0, size, resource.data()) ||
      !VerQueryValueW(resource.data(), L"\\", &value, &value_size)) {
    return "";
  }
  const auto* const numbers = static_cast<const VS_FIXEDFILEINFO*>(value);
  if (LOWORD(numbers->dwFileVersionLS) != 0) return "";
  if (numbers->dwProductVersionMS != numbers->dwFileVersionMS) return "";
  if (numbers->dwProductVersionLS != numbers->dwFileVersionLS) return "";
  return std::to_string(HIWORD(numbers->dwFileVersionMS)) + "." +
         std::to_string(LOWORD(numbers->dwFileVersionMS)) + "." +
         std::to_string(HIWORD(numbers->dwFileVersionLS));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const HMODULE library = LoadLibraryW(L"libquill-wgc.dll");
  if (library == nullptr) {
    std::fprintf(stderr, "loader: libquill-wgc.dll: error %lu\n", GetLastError());
    return 1;
  }
  bool right = true;
  for (const char* const name : kNames) {
    if (GetProcAddress(library, name) == nullptr) {
      std::fprintf(stderr, "loader: there is no %s\n", name);
      right = false;
    }
  }
  wchar_t path[MAX_PATH];
  GetModuleFileNameW(library, path, MAX_PATH);
  const std::string version = FileVersion(path);
  if (version != argv[1]) {
    std::fprintf(stderr, "loader: the resources say version \"%s\"\n", version.c_str());
    right = false;
  }
  return right ? 0 : 1;
}
