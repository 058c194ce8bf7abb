// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <string>

#include "apps/quill-grab/test_support.h"
#include "quill-grab/console/error.h"
#include "quill-grab/output/report/report.h"

namespace quill_grab {
namespace {

using BuildWithoutChartJsTest = ComTest;

TEST_F(BuildWithoutChartJsTest, RefusesReport) {
  try {
    const Report report("report.html");
    ADD_FAILURE() << "no error";
  } catch (const GrabError& error) {
    EXPECT_EQ(error.code(), ExitCode::kUnsupported);
    EXPECT_EQ(std::string(error.what()),
              "this quill-grab was built without Chart.js and has no --report");
  }
}

}  // namespace
}  // namespace quill_grab
