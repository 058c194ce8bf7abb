// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "common/text.h"

#include <cstdarg>
#include <cstdio>

namespace quill_apps {

std::string ToUtf8(std::wstring_view text) {
  const int length = static_cast<int>(text.size());
  const int size =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string result(size, '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), length, result.data(), size, nullptr, nullptr);
  return result;
}

std::wstring ToWide(std::string_view text) {
  const int length = static_cast<int>(text.size());
  const int size = MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0);
  std::wstring result(size, L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), length, result.data(), size);
  return result;
}

std::string Format(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  std::string result(length > 0 ? length : 0, '\0');
  std::vsnprintf(result.data(), result.size() + 1, format, again);
  va_end(again);
  return result;
}

std::string DescribeError(DWORD error) {
  wchar_t text[512];
  DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                error, 0, text, static_cast<DWORD>(std::size(text)), nullptr);
  while (length > 0 && (text[length - 1] == L'\n' || text[length - 1] == L'\r' ||
                        text[length - 1] == L' ' || text[length - 1] == L'.')) {
    --length;
  }
  const std::string number = error & 0x80000000u ? Format("0x%08x", static_cast<unsigned>(error))
                                                 : Format("%u", static_cast<unsigned>(error));
  return length == 0 ? "error " + number : ToUtf8({text, length}) + " (" + number + ")";
}

}  // namespace quill_apps
