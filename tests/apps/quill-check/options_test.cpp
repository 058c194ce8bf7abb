// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-check/options.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "quill-check/check.h"
#include "quill-check/plan.h"

namespace quill_apps {
namespace {

void ExpectError(std::vector<std::string> arguments, const std::string& part) {
  const CheckParseResult result = ParseCheckOptions(std::move(arguments));
  EXPECT_FALSE(result.options);
  EXPECT_TRUE(result.is_error);
  EXPECT_NE(result.text.find(part), std::string::npos) << result.text;
  EXPECT_NE(result.text.find("quill-check --help"), std::string::npos) << result.text;
}

TEST(CheckOptions, NoneAreNeeded) {
  const CheckParseResult result = ParseCheckOptions({});
  ASSERT_TRUE(result.options);
  EXPECT_EQ(result.options->out, ".");
  EXPECT_TRUE(result.options->only.empty());
  EXPECT_FALSE(result.options->lose_device);
}

TEST(CheckOptions, AllCanBeGiven) {
  const CheckParseResult result =
      ParseCheckOptions({"--out", "a folder", "--only", "1,22,13", "--tdr"});
  ASSERT_TRUE(result.options);
  EXPECT_EQ(result.options->out, "a folder");
  EXPECT_EQ(result.options->only, (std::vector<int>{1, 22, 13}));
  EXPECT_TRUE(result.options->lose_device);
}

TEST(CheckOptions, WrongOnesAreRefused) {
  ExpectError({"--all"}, "--all");
  ExpectError({"folder"}, "folder");
  ExpectError({"--out", ""}, "--out needs a folder");
  ExpectError({"--only", "24"}, "there is no check 24");
  ExpectError({"--only", "0"}, "there is no check 0");
  ExpectError({"--only", "first"}, "first");
}

TEST(CheckOptions, HelpVersionAndListAreNoErrors) {
  for (const char* const option : {"--help", "--version", "--list"}) {
    const CheckParseResult result = ParseCheckOptions({option});
    EXPECT_FALSE(result.options) << option;
    EXPECT_FALSE(result.is_error) << option;
  }
  EXPECT_TRUE(ParseCheckOptions({"--help"}).text.starts_with("Usage: quill-check"));
  EXPECT_TRUE(ParseCheckOptions({"--version"}).text.starts_with("quill-check "));
  const std::string list = ParseCheckOptions({"--list"}).text;
  EXPECT_EQ(std::count(list.begin(), list.end(), '\n'), 22) << list;
}

TEST(Plan, RunsEachCheckOnceAndTheProbeFirst) {
  std::multiset<int> planned;
  for (const std::deque<Group>& groups : {FirstGroup(), OtherGroups()}) {
    for (const Group& group : groups) planned.insert(group.checks.begin(), group.checks.end());
  }
  std::multiset<int> expected{0};  // the machine
  for (int number = 1; number <= 23; ++number) expected.insert(number);
  EXPECT_EQ(planned, expected);
  EXPECT_EQ(FirstGroup().front().checks, (std::vector<int>{0, 1}));
}

}  // namespace
}  // namespace quill_apps
