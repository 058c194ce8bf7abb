// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace quill_apps {

std::string ToUtf8(std::wstring_view text);
std::wstring ToWide(std::string_view text);

// printf for std::string; the text may have any length.
#ifdef __GNUC__
__attribute__((format(__MINGW_PRINTF_FORMAT, 1, 2)))
#endif
std::string
Format(const char* format, ...);

// A 64-bit number for Format's %llu.
inline unsigned long long Number(uint64_t value) {
  return value;
}

// The system's text for a Win32 error or an HRESULT, with its number: "Access denied (5)".
std::string DescribeError(DWORD error);

}  // namespace quill_apps
