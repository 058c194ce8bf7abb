// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <string>

namespace quill_apps {

// The exit codes of the program.
enum class Answer { kWorks = 0, kDoesNotWork = 1, kUndecided = 2, kNothingChecked = 3 };

// The results as ResultJson makes them, by number. Capture works where no check fails and those
// pass without which there is no capture; a warning is a pass. If one of them was not tried,
// or was disturbed, nothing is decided.
Answer Judge(const std::map<int, nlohmann::ordered_json>& results);

// "Capture works on this machine: 18 PASS, 1 WARN, 2 INFO, 2 SKIP."
std::string AnswerText(Answer answer, const std::map<int, nlohmann::ordered_json>& results);

}  // namespace quill_apps
