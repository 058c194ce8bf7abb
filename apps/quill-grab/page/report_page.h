// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <string_view>

namespace quill_grab {

struct PageContent {
  std::string title;  // plain text
  std::string plain;  // plain text for browsers that run no scripts
  std::string data;   // a JSON text
};

// Whether this program contains the page: a build without Chart.js does not.
bool HasReportPage();

// The page's template, style and scripts from the program's resources, filled with content.
std::string ReportPage(const PageContent& content);

// text as the content of an HTML element.
std::string EscapeHtml(std::string_view text);

// A JSON text as the content of a script element, which no text in it can end.
std::string EscapeJsonForScript(std::string_view json);

}  // namespace quill_grab
