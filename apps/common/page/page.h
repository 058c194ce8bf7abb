// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <map>
#include <optional>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace quill_apps {

// The contents of an RCDATA resource of this program: a part of a page. Valid for good.
std::optional<std::string_view> PageResource(const wchar_t* name);

// The page with each {{NAME}} replaced by the part of that name. std::out_of_range without one.
std::string FillPage(std::string_view page, const std::map<std::string_view, std::string>& parts);

// text as the content of an HTML element.
std::string EscapeHtml(std::string_view text);

// A JSON text as the content of a script element, which no text in it can end.
std::string EscapeJsonForScript(std::string_view json);

// A PNG file as the address of a picture in the page.
std::string PngDataUri(std::span<const uint8_t> png);

}  // namespace quill_apps
