// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-check/verdict.h"

#include <gtest/gtest.h>

#include "quill-check/check.h"

namespace quill_apps {
namespace {

using Results = std::map<int, nlohmann::ordered_json>;

// The checks without which there is no capture, as docs/quill-check.md lists them.
constexpr int kRequired[] = {1, 2, 3, 10, 11, 13, 17};

nlohmann::ordered_json Result(const char* verdict) {
  return {{"verdict", verdict}, {"figures", nlohmann::ordered_json::object()}};
}

Results AllPass() {
  Results results;
  for (int number = 1; number <= 23; ++number) results[number] = Result("PASS");
  return results;
}

Results With(int number, const char* verdict) {
  Results results = AllPass();
  results[number] = Result(verdict);
  return results;
}

TEST(Finding, HasTheVerdictOfItsGravestNote) {
  Finding finding;
  EXPECT_EQ(finding.verdict(), Verdict::kSkip);
  const Verdict kOrder[] = {Verdict::kInfo, Verdict::kPass, Verdict::kWarn, Verdict::kFail};
  for (const Verdict verdict : kOrder) {
    finding.Add(verdict, "");
    finding.Skip("");
    EXPECT_EQ(finding.verdict(), verdict);
  }
}

TEST(Finding, KeepsAllOfItsPartsButWhatPassed) {
  Finding part;
  part.Pass("seen");
  part.Warn("disturbed");
  part.Figure(Finding::kDisturbed, true);
  Finding finding;
  finding.Figure("tiles", 3);
  finding.AddAllButPasses(part);
  ASSERT_EQ(finding.notes().size(), 1u);
  EXPECT_EQ(finding.notes()[0].text, "disturbed");
  EXPECT_EQ(finding.verdict(), Verdict::kWarn);
  EXPECT_EQ(finding.figures(), (nlohmann::ordered_json{{"tiles", 3}, {"disturbed", true}}));
}

TEST(Judge, CaptureWorksWhenAllPass) {
  EXPECT_EQ(Judge(AllPass()), Answer::kWorks);
  EXPECT_EQ(AnswerText(Answer::kWorks, AllPass()),
            "Capture works on this machine: 23 PASS, 0 WARN, 0 INFO, 0 SKIP.");
}

TEST(Judge, OneFailureIsEnough) {
  for (int number = 1; number <= 23; ++number) {
    EXPECT_EQ(Judge(With(number, "FAIL")), Answer::kDoesNotWork) << number;
  }
  EXPECT_EQ(AnswerText(Answer::kDoesNotWork, With(14, "FAIL")),
            "Capture does not work as promised on this machine: failed: 14.");
}

TEST(Judge, FailureOutweighsWhatIsNotDecided) {
  Results results = With(9, "FAIL");
  results.erase(2);
  EXPECT_EQ(Judge(results), Answer::kDoesNotWork);
}

TEST(Judge, RequiredCheckThatWasNotMadeLeavesItUndecided) {
  for (const int number : kRequired) {
    Results results = AllPass();
    results.erase(number);
    EXPECT_EQ(Judge(results), Answer::kUndecided) << number;
    for (const char* const verdict : {"SKIP", "INFO"}) {
      EXPECT_EQ(Judge(With(number, verdict)), Answer::kUndecided) << number << verdict;
    }
    EXPECT_EQ(AnswerText(Answer::kUndecided, results),
              "Not decided, because these checks were not made, or were disturbed: " +
                  std::to_string(number) + ".");
  }
}

TEST(Judge, WarningOfARequiredCheckIsAPass) {
  for (const int number : kRequired) {
    EXPECT_EQ(Judge(With(number, "WARN")), Answer::kWorks) << number;
  }
}

TEST(Judge, DisturbedCheckDecidesNothing) {
  for (const int number : kRequired) {
    Results results = With(number, "WARN");
    results[number]["figures"][Finding::kDisturbed] = true;
    EXPECT_EQ(Judge(results), Answer::kUndecided) << number;
  }
}

TEST(Judge, OtherChecksMayBeSkipped) {
  Results results;
  for (const int number : kRequired) results[number] = Result("PASS");
  EXPECT_EQ(Judge(results), Answer::kWorks);
}

}  // namespace
}  // namespace quill_apps
