// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-check/verdict.h"

#include "common/text.h"
#include "quill-check/check.h"

namespace quill_apps {

namespace {

using Results = std::map<int, nlohmann::ordered_json>;

// The DLL, the first frame, the pixels, detection, a resize, a closed target, the next session.
constexpr int kRequired[] = {1, 2, 3, 10, 11, 13, 17};

std::string NumbersOf(const Results& results, const char* verdict) {
  std::string numbers;
  for (const auto& [number, result] : results) {
    if (result.at("verdict") == verdict) {
      numbers += Format("%s%d", numbers.empty() ? "" : ", ", number);
    }
  }
  return numbers;
}

int CountOf(const Results& results, const char* verdict) {
  int count = 0;
  for (const auto& [number, result] : results) count += result.at("verdict") == verdict ? 1 : 0;
  return count;
}

// A check that was disturbed has shown nothing.
bool IsDecided(const nlohmann::ordered_json& result) {
  const bool has_passed = result.at("verdict") == "PASS" || result.at("verdict") == "WARN";
  return has_passed && !result.at("figures").contains(Finding::kDisturbed);
}

std::string Undecided(const Results& results) {
  std::string numbers;
  for (const int number : kRequired) {
    const auto result = results.find(number);
    const bool is_decided = result != results.end() && IsDecided(result->second);
    if (!is_decided) numbers += Format("%s%d", numbers.empty() ? "" : ", ", number);
  }
  return numbers;
}

}  // namespace

Answer Judge(const Results& results) {
  if (CountOf(results, "FAIL") > 0) return Answer::kDoesNotWork;
  return Undecided(results).empty() ? Answer::kWorks : Answer::kUndecided;
}

std::string AnswerText(Answer answer, const Results& results) {
  switch (answer) {
    case Answer::kWorks:
      break;
    case Answer::kDoesNotWork:
      return "Capture does not work as promised on this machine: failed: " +
             NumbersOf(results, "FAIL") + ".";
    default:
      return "Not decided, because these checks were not made, or were disturbed: " +
             Undecided(results) + ".";
  }
  return Format("Capture works on this machine: %d PASS, %d WARN, %d INFO, %d SKIP.",
                CountOf(results, "PASS"), CountOf(results, "WARN"), CountOf(results, "INFO"),
                CountOf(results, "SKIP"));
}

}  // namespace quill_apps
