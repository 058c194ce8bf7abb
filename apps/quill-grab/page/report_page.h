// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <string>

namespace quill_apps {

struct PageContent {
  std::string title;  // plain text
  std::string plain;  // plain text for browsers that run no scripts
  std::string data;   // a JSON text
};

// Whether this program contains the page: a build without Chart.js does not.
bool HasReportPage();

// The page's template, style and scripts from the program's resources, filled with content.
std::string ReportPage(const PageContent& content);

}  // namespace quill_apps
