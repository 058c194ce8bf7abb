// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/page/report_page.h"

#include <windows.h>

#include <map>
#include <stdexcept>

namespace quill_grab {

namespace {

HRSRC FindPart(const wchar_t* name) {
  return FindResourceW(nullptr, name, MAKEINTRESOURCEW(10));  // RT_RCDATA
}

std::string_view Resource(const wchar_t* name) {
  const HRSRC found = FindPart(name);
  if (found == nullptr) throw std::logic_error("a resource of the report is missing");
  const HGLOBAL loaded = LoadResource(nullptr, found);
  return {static_cast<const char*>(LockResource(loaded)), SizeofResource(nullptr, found)};
}

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

bool HasReportPage() {
  return FindPart(L"CHART_JS") != nullptr;
}

std::string EscapeHtml(std::string_view text) {
  return Replace(Replace(Replace(text, '&', "&amp;"), '<', "&lt;"), '>', "&gt;");
}

std::string EscapeJsonForScript(std::string_view json) {
  return Replace(json, '<', "\\u003c");
}

std::string ReportPage(const PageContent& content) {
  const std::map<std::string_view, std::string> parts = {
      {"title", EscapeHtml(content.title)},
      {"plain", EscapeHtml(content.plain)},
      {"data", EscapeJsonForScript(content.data)},
      {"style", std::string(Resource(L"REPORT_CSS"))},
      {"chart", std::string(Resource(L"CHART_JS"))},
      {"script", std::string(Resource(L"REPORT_JS"))},
  };
  std::string page;
  // One pass over the template, so that no marker is looked for in what was filled in.
  std::string_view rest = Resource(L"REPORT_HTML");
  for (size_t marker; (marker = rest.find("{{")) != std::string_view::npos;) {
    const size_t end = rest.find("}}", marker);
    page += rest.substr(0, marker);
    page += parts.at(rest.substr(marker + 2, end - marker - 2));
    rest.remove_prefix(end + 2);
  }
  page += rest;
  return page;
}

}  // namespace quill_grab
