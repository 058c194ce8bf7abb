// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <nlohmann/json.hpp>
#include <vector>

#include "quill-check/check.h"

namespace quill_apps {

// What a worker's command line asks for.
struct WorkerTask {
  std::vector<int> checks;
  int slot = 0;
  bool lose_device = false;
};

// Runs the checks one after the other and writes lines of JSON to standard output: for each check
// {"begin": NUMBER}, {"note": NOTE} and {"log": LINE} as they come, and the result with all of
// them, see ResultJson. If it crashes, the last line is {"crash": "CODE at MODULE + OFFSET"}. The
// process ends with 0.
int RunWorker(const WorkerTask& task);

// A check's result as the parent reports it: number, verdict, notes, figures, pictures, ms. The
// parent adds the library's log lines.
nlohmann::ordered_json ResultJson(int number, const Finding& finding, double milliseconds);

}  // namespace quill_apps
