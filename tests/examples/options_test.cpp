// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/options.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace quill_grab {
namespace {

Options Parsed(const std::vector<std::string>& arguments) {
  const ParseResult result = ParseOptions(arguments);
  EXPECT_TRUE(result.options) << result.text;
  return result.options.value_or(Options{});
}

void ExpectError(const std::vector<std::string>& arguments, const std::string& part) {
  std::string command;
  for (const std::string& argument : arguments) command += " " + argument;
  SCOPED_TRACE("quill-grab" + command);
  const ParseResult result = ParseOptions(arguments);
  EXPECT_FALSE(result.options);
  EXPECT_TRUE(result.is_error);
  EXPECT_NE(result.text.find(part), std::string::npos) << result.text;
  EXPECT_NE(result.text.find("quill-grab --help"), std::string::npos) << result.text;
  EXPECT_EQ(result.text.find('\n'), std::string::npos) << result.text;
}

TEST(OptionsTest, DefaultsAreAsDocumented) {
  const Options options = Parsed({"--title", "Mine"});
  EXPECT_EQ(options.title, "Mine");
  EXPECT_FALSE(options.class_name || options.window || options.monitor);
  EXPECT_EQ(options.frames, 0u);
  EXPECT_EQ(options.seconds, 10.0);
  EXPECT_EQ(options.fps, 30.0);
  EXPECT_EQ(options.out, "quill-grab-frames");
  EXPECT_FALSE(options.all || options.cursor || options.border || options.detect ||
               options.texture || options.verbose || options.list);
}

TEST(OptionsTest, TakesEveryOption) {
  const Options options = Parsed({"--class", "C", "--title", "T", "--frames", "5", "--seconds",
                                  "2.5", "--fps", "0.5", "--out", "a b", "--all", "--cursor",
                                  "--border", "--detect", "--texture", "--verbose"});
  EXPECT_EQ(options.class_name, "C");
  EXPECT_EQ(options.title, "T");
  EXPECT_EQ(options.frames, 5u);
  EXPECT_EQ(options.seconds, 2.5);
  EXPECT_EQ(options.fps, 0.5);
  EXPECT_EQ(options.out, "a b");
  EXPECT_TRUE(options.all && options.cursor && options.border && options.detect &&
              options.texture && options.verbose);
}

TEST(OptionsTest, TakesHandlesAsTheListShowsThem) {
  EXPECT_EQ(Parsed({"--window", "0x3004e"}).window, 0x3004eu);
  EXPECT_EQ(Parsed({"--window", "42"}).window, 42u);
  EXPECT_EQ(Parsed({"--monitor", "0"}).monitor, 0u);
}

TEST(OptionsTest, TimeFollowsTheNumberOfFrames) {
  EXPECT_EQ(Parsed({"--title", "T", "--frames", "60"}).seconds, 12.0);
  EXPECT_EQ(Parsed({"--title", "T", "--frames", "60", "--seconds", "1"}).seconds, 1.0);
}

TEST(OptionsTest, KeepsTitlesOfAnyScript) {
  EXPECT_EQ(Parsed({"--title", "\u65e5\u672c"}).title, "\u65e5\u672c");
}

TEST(OptionsTest, RefusesWhatMakesNoSense) {
  ExpectError({}, "no target");
  ExpectError({"--frames", "3"}, "no target");
  ExpectError({"--title", "T", "--monitor", "0"}, "--monitor");
  ExpectError({"--window", "1", "--class", "C"}, "--class");
  ExpectError({"--window", "1", "--monitor", "1"}, "--monitor");
  ExpectError({"--window", "mine"}, "--window");
  ExpectError({"--monitor", "-1"}, "--monitor");
  ExpectError({"--title", "T", "--fps", "0"}, "--fps");
  ExpectError({"--title", "T", "--fps", "1000"}, "--fps");
  ExpectError({"--title", "T", "--fps", "nan"}, "--fps");
  ExpectError({"--title", "T", "--seconds", "nan"}, "--seconds");
  ExpectError({"--title", "T", "--seconds", "0"}, "--seconds");
  ExpectError({"--title", "T", "--seconds", "-3"}, "--seconds");
  ExpectError({"--title", "T", "--frames", "0"}, "--frames");
  ExpectError({"--title", "T", "--frames", "-1"}, "--frames");
  ExpectError({"--title", "T", "--frames", "1.5"}, "--frames");
  ExpectError({"--title"}, "--title");
  ExpectError({"--title", ""}, "--title");
  ExpectError({"--class", ""}, "--class");
  ExpectError({"--title", "T", "--out", ""}, "--out");
  ExpectError({"--bogus"}, "--bogus");
  ExpectError({"--title", "T", "stray"}, "stray");
}

TEST(OptionsTest, HelpFitsOneScreenAndNamesEverything) {
  const ParseResult result = ParseOptions({"--help"});
  EXPECT_FALSE(result.is_error);
  EXPECT_FALSE(result.options);
  std::istringstream lines(result.text);
  size_t count = 0;
  for (std::string line; std::getline(lines, line); ++count) EXPECT_LE(line.size(), 79u) << line;
  EXPECT_LE(count, 23u);  // of 24, one for the prompt
  for (const char* name :
       {"--list", "--title TEXT", "--class NAME", "--window N", "--monitor N", "--frames N",
        "--seconds T", "--fps RATE", "--out FOLDER", "--all", "--cursor", "--border", "--detect",
        "--texture", "--verbose", "--help"}) {
    EXPECT_NE(result.text.find(name), std::string::npos) << name;
  }
  EXPECT_NE(result.text.find("Exit codes: 0 done"), std::string::npos);
}

}  // namespace
}  // namespace quill_grab
