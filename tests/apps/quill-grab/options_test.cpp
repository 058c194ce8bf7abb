// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/console/options.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
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

TEST(OptionsTest, TakesEveryOutput) {
  const Options options = Parsed({"--title", "T", "--out", "o", "--raw", "-", "--y4m",
                                  "\\\\.\\pipe\\p", "--json", "j", "--report", "r", "--watch",
                                  "--size", "640x480", "--on-resize", "crop", "--wait", "3"});
  EXPECT_EQ(options.out, "o");
  EXPECT_EQ(options.raw, "-");
  EXPECT_EQ(options.y4m, "\\\\.\\pipe\\p");
  EXPECT_EQ(options.json, "j");
  EXPECT_EQ(options.report, "r");
  EXPECT_TRUE(options.watch);
  EXPECT_EQ(options.size, (FrameSize{640, 480}));
  EXPECT_EQ(options.on_resize, OnResize::kCrop);
  EXPECT_EQ(options.wait_seconds, 3.0);
  EXPECT_TRUE(options.HasStream());
  EXPECT_TRUE(options.UsesStandardOutput());
}

TEST(OptionsTest, WritesPngFilesOnlyWhenNothingElseIsAskedFor) {
  for (const char* output : {"--raw", "--y4m", "--screenshot", "--json", "--report"}) {
    EXPECT_FALSE(Parsed({"--title", "T", output, "file"}).out) << output;
  }
  EXPECT_FALSE(Parsed({"--title", "T", "--watch"}).out);
  EXPECT_EQ(Parsed({"--title", "T", "--watch", "--out", "o"}).out, "o");
}

TEST(OptionsTest, WhatOthersReadHasNoEndOfItsOwn) {
  constexpr double kForever = std::numeric_limits<double>::infinity();
  EXPECT_EQ(Parsed({"--title", "T", "--raw", "f"}).seconds, kForever);
  EXPECT_EQ(Parsed({"--title", "T", "--y4m", "f", "--frames", "5"}).seconds, kForever);
  EXPECT_EQ(Parsed({"--title", "T", "--json", "f"}).seconds, kForever);
  EXPECT_EQ(Parsed({"--title", "T", "--watch"}).seconds, kForever);
  EXPECT_EQ(Parsed({"--title", "T", "--json", "f", "--frames", "60"}).seconds, 12.0);
  EXPECT_EQ(Parsed({"--title", "T", "--json", "f", "--screenshot", "s"}).seconds, 10.0);
  EXPECT_EQ(Parsed({"--title", "T", "--report", "f"}).seconds, 10.0);
  EXPECT_EQ(Parsed({"--title", "T", "--raw", "f", "--seconds", "4"}).seconds, 4.0);
}

TEST(OptionsTest, RatesHaveThreeDecimals) {
  EXPECT_EQ(Parsed({"--title", "T", "--fps", "29.97"}).fps, 29.97);
  EXPECT_EQ(Parsed({"--title", "T", "--fps", "23.97602"}).fps, 23.976);
  EXPECT_EQ(Parsed({"--title", "T", "--fps", "23.9766"}).fps, 23.977);
  // A thousand times 1.001 is less than 1001 in floating point.
  EXPECT_EQ(Parsed({"--title", "T", "--fps", "1.001"}).fps, 1.001);
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
  ExpectError({"--title", "T", "--raw", "-", "--y4m", "-"}, "both write to standard output");
  ExpectError({"--title", "T", "--raw", "-", "--json", "-"}, "both write to standard output");
  ExpectError({"--title", "T", "--raw", "a", "--json", "a"}, "both write to a");
  ExpectError({"--title", "T", "--raw", ""}, "--raw needs a file");
  ExpectError({"--title", "T", "--report", "-"}, "--report needs a file");
  ExpectError({"--title", "T", "--screenshot", "-"}, "--screenshot needs a file");
  ExpectError({"--title", "T", "--size", "640x480"}, "--raw or --y4m");
  ExpectError({"--title", "T", "--json", "j", "--on-resize", "crop"}, "--raw or --y4m");
  ExpectError({"--title", "T", "--raw", "f", "--on-resize", "stretch"}, "letterbox, crop or stop");
  for (const char* size : {"640", "640x", "x480", "0x480", "640x480x2", "640x16385", "-1x480"}) {
    ExpectError({"--title", "T", "--raw", "f", "--size", size}, "--size");
  }
  for (const char* other : {"--out", "--raw", "--y4m", "--report", "--frames"}) {
    ExpectError({"--title", "T", "--screenshot", "s", other, "1"}, other);
  }
  ExpectError({"--title", "T", "--screenshot", "s", "--watch"}, "--watch");
  ExpectError({"--title", "T", "--raw", "f", "--all"}, "--all");
  ExpectError({"--title", "T", "--wait", "nan"}, "--wait");
  ExpectError({"--title", "T", "--wait", "-1"}, "--wait");
  ExpectError({"--window", "1", "--wait", "1"}, "--wait");
  ExpectError({"--monitor", "0", "--wait", "1"}, "--wait");
  ExpectError({"--bogus"}, "--bogus");
  ExpectError({"--title", "T", "stray"}, "unknown: stray");
  ExpectError({"--title", "T", "--tilte", "stray"}, "unknown: --tilte stray");
  ExpectError({"--title", "T", "--raw", "--detect"}, "--raw needs a file");
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
       {"--list",          "--title TEXT", "--class NAME",  "--window N",        "--monitor N",
        "--frames N",      "--seconds T",  "--fps RATE",    "--out FOLDER",      "--all",
        "--cursor",        "--border",     "--detect",      "--texture",         "--verbose",
        "--help",          "--version",    "--wait T",      "--screenshot FILE", "--raw FILE",
        "--y4m FILE",      "--json FILE",  "--report FILE", "--watch",           "--size WxH",
        "--on-resize RULE"}) {
    EXPECT_NE(result.text.find(name), std::string::npos) << name;
  }
  EXPECT_NE(result.text.find("Exit codes: 0 done"), std::string::npos);
}

TEST(OptionsTest, VersionIsThatOfTheProject) {
  const ParseResult result = ParseOptions({"--version"});
  EXPECT_FALSE(result.is_error);
  EXPECT_EQ(result.text, "quill-grab " QUILL_GRAB_TEST_VERSION);
}

}  // namespace
}  // namespace quill_grab
