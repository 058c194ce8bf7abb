// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "capture/settings.h"

namespace standin {
namespace {

DWORD ReadNumber(const wchar_t* name, DWORD fallback) {
  DWORD value = 0;
  DWORD size = sizeof(value);
  const LSTATUS read = RegGetValueW(HKEY_CURRENT_USER, L"Software\\libquill-wgc\\Capture", name,
                                    RRF_RT_REG_DWORD, nullptr, &value, &size);
  return read == ERROR_SUCCESS ? value : fallback;
}

}  // namespace

Settings ReadSettings() {
  Settings settings;
  settings.send_unchanged_frames = ReadNumber(L"SendUnchangedFrames", 0) != 0;
  settings.cursor_property = ReadNumber(L"WithoutCursorProperty", 0) == 0;
  settings.border_property = ReadNumber(L"WithoutBorderProperty", 0) == 0;
  settings.universal_api_contract =
      static_cast<UINT16>(ReadNumber(L"UniversalApiContract", settings.universal_api_contract));
  return settings;
}

}  // namespace standin
