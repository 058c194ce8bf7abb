// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <string>

#include "quill-check/verdict.h"

namespace quill_apps {

struct CheckReport {
  Answer answer;
  double seconds;
  nlohmann::ordered_json library;  // DescribeLibraryFile
  nlohmann::ordered_json machine;  // the figures of DescribeMachine; empty when it failed
  std::map<int, nlohmann::ordered_json> results;  // of checks, by number
};

// Every figure, HRESULT and log line, but no picture.
std::string ReportText(const CheckReport& report);

// The page for people.
std::string CheckPage(const CheckReport& report);

}  // namespace quill_apps
