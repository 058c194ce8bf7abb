// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "apps/quill-grab/grab_error.h"
#include "apps/quill-grab/grab_test.h"
#include "quill-grab/output/report/report.h"

namespace quill_apps {
namespace {

using BuildWithoutChartJsTest = ComTest;

TEST_F(BuildWithoutChartJsTest, ReportIsRefused) {
  const ToolError error = ErrorOf([] { const Report report("report.html"); });
  EXPECT_EQ(error.code(), ExitCode::kUnsupported);
  EXPECT_EQ(
      std::string(error.what()),
      "--report is not in this quill-grab, which was built without Chart.js: leave it out, or "
      "install Chart.js (Debian: libjs-chart.js) and build again");
}

}  // namespace
}  // namespace quill_apps
