// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/output.h"

namespace quill_apps {

std::string SummaryText(const RunResult& result, size_t max_changes) {
  return "Target: " + result.target + "\nEnd: " + result.end + "\n" +
         result.summary.Text(max_changes);
}

}  // namespace quill_apps
