// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

namespace standin {

// A DWORD under HKEY_CURRENT_USER\Software\libquill-wgc\Capture that chooses how the platform
// behaves; `fallback` when it is absent. README.md describes the values.
inline DWORD PlatformValue(const wchar_t* name, DWORD fallback) {
  DWORD value = 0;
  DWORD size = sizeof(value);
  const LSTATUS read = RegGetValueW(HKEY_CURRENT_USER, L"Software\\libquill-wgc\\Capture", name,
                                    RRF_RT_REG_DWORD, nullptr, &value, &size);
  return read == ERROR_SUCCESS ? value : fallback;
}

}  // namespace standin
