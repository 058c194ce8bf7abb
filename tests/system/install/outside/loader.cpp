// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// loader VERSION NAME...: loads libquill-wgc.dll by name, looks each function NAME up in it, and
// compares VERSION with the DLL's resources.
#include <windows.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

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
  if (argc < 3) return 2;
  const HMODULE library = LoadLibraryW(L"libquill-wgc.dll");
  if (library == nullptr) {
    std::fprintf(stderr, "loader: libquill-wgc.dll: error %lu\n", GetLastError());
    return 1;
  }
  bool right = true;
  for (int i = 2; i < argc; ++i) {
    if (GetProcAddress(library, argv[i]) == nullptr) {
      std::fprintf(stderr, "loader: there is no %s\n", argv[i]);
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
