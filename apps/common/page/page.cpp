// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "common/page/page.h"

#include <windows.h>

#include <wincrypt.h>

namespace quill_apps {

namespace {

std::string Replace(std::string_view text, char what, std::string_view by) {
  std::string result;
  result.reserve(text.size());
  for (const char c : text) {
    if (c == what) {
      result += by;
    } else {
      result += c;
    }
  }
  return result;
}

}  // namespace

std::optional<std::string_view> PageResource(const wchar_t* name) {
  const HRSRC found = FindResourceW(nullptr, name, MAKEINTRESOURCEW(10));  // RT_RCDATA
  if (found == nullptr) return std::nullopt;
  const HGLOBAL loaded = LoadResource(nullptr, found);
  return std::string_view(static_cast<const char*>(LockResource(loaded)),
                          SizeofResource(nullptr, found));
}

std::string EscapeHtml(std::string_view text) {
  return Replace(Replace(Replace(text, '&', "&amp;"), '<', "&lt;"), '>', "&gt;");
}

std::string EscapeJsonForScript(std::string_view json) {
  return Replace(json, '<', "\\u003c");
}

std::string FillPage(std::string_view page, const std::map<std::string_view, std::string>& parts) {
  std::string filled;
  // One pass over the template, so that no marker is looked for in what was filled in.
  std::string_view rest = page;
  for (size_t marker; (marker = rest.find("{{")) != std::string_view::npos;) {
    const size_t end = rest.find("}}", marker);
    filled += rest.substr(0, marker);
    filled += parts.at(rest.substr(marker + 2, end - marker - 2));
    rest.remove_prefix(end + 2);
  }
  filled += rest;
  return filled;
}

std::string PngDataUri(std::span<const uint8_t> png) {
  const auto size = static_cast<DWORD>(png.size());
  constexpr DWORD kFlags = CRYPT_STRING_BASE64 | CRYPT_STRING_NOCRLF;
  DWORD length = 0;
  CryptBinaryToStringA(png.data(), size, kFlags, nullptr, &length);
  std::string text(length, '\0');
  CryptBinaryToStringA(png.data(), size, kFlags, text.data(), &length);
  text.resize(length);
  return "data:image/png;base64," + text;
}

}  // namespace quill_apps
