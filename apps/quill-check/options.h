// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

#include "common/parsed.h"

namespace quill_apps {

// The command line. Texts are UTF-8.
struct CheckOptions {
  std::string out = ".";
  std::vector<int> only;  // empty: all checks
  bool lose_device = false;
  // Set in the processes that the program starts: see WorkerTask and RunExitTask.
  std::vector<int> worker;
  int slot = 0;
  std::string exit_task;
};

using CheckParseResult = Parsed<CheckOptions>;

// arguments: without the program's name.
CheckParseResult ParseCheckOptions(std::vector<std::string> arguments);

}  // namespace quill_apps
