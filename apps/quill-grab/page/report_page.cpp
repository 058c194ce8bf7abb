// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/page/report_page.h"

#include "common/page/page.h"

namespace quill_apps {

bool HasReportPage() {
  return PageResource(L"CHART_JS").has_value();
}

std::string ReportPage(const PageContent& content) {
  const auto resource = [](const wchar_t* name) { return std::string(PageResource(name).value()); };
  return FillPage(resource(L"REPORT_HTML"), {{"title", EscapeHtml(content.title)},
                                             {"plain", EscapeHtml(content.plain)},
                                             {"data", EscapeJsonForScript(content.data)},
                                             {"style", resource(L"PAGE_CSS")},
                                             {"chart", resource(L"CHART_JS")},
                                             {"script", resource(L"REPORT_JS")}});
}

}  // namespace quill_apps
