// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/console/options.h"

#include <limits>
#include <sstream>

#include "apps/quill-grab/grab_test.h"

namespace quill_apps {
namespace {

constexpr double kForever = std::numeric_limits<double>::infinity();

// The words of a command line, which are separated by single spaces.
std::vector<std::string> Words(const std::string& line) {
  std::istringstream stream(line);
  std::vector<std::string> words;
  for (std::string word; std::getline(stream, word, ' ');) words.push_back(word);
  return words;
}

Options Parsed(const std::string& line) {
  const ParseResult result = ParseOptions(Words(line));
  EXPECT_TRUE(result.options) << line << ": " << result.text;
  return result.options.value_or(Options{});
}

void ExpectError(const std::vector<std::string>& arguments, const std::string& part) {
  std::string line;
  for (const std::string& argument : arguments) line += " " + argument;
  SCOPED_TRACE("quill-grab" + line);
  const ParseResult result = ParseOptions(arguments);
  EXPECT_FALSE(result.options);
  EXPECT_TRUE(result.is_error);
  EXPECT_TRUE(Contains(result.text, part));
  EXPECT_TRUE(Contains(result.text, "quill-grab --help"));
  EXPECT_EQ(result.text.find('\n'), std::string::npos) << result.text;
}

TEST(OptionsTest, DefaultsAreAsDocumented) {
  const Options options = Parsed("--title \u65e5\u672c");
  EXPECT_EQ(options.title, "\u65e5\u672c");
  EXPECT_FALSE(options.class_name || options.window || options.monitor);
  EXPECT_EQ(options.frames, 0u);
  EXPECT_EQ(options.seconds, 10.0);
  EXPECT_EQ(options.fps, 30.0);
  EXPECT_EQ(options.out, "quill-grab-frames");
  EXPECT_EQ(options.wait_seconds, 0.0);
  EXPECT_EQ(options.on_resize, OnResize::kLetterbox);
  EXPECT_FALSE(options.size || options.screenshot || options.json || options.report);
  EXPECT_FALSE(options.HasStream() || options.UsesStandardOutput() || options.watch);
  EXPECT_FALSE(options.all || options.cursor || options.border || options.detect ||
               options.texture || options.verbose);
}

TEST(OptionsTest, EveryOptionIsTaken) {
  const Options options = Parsed(
      "--class C --title T --frames 5 --seconds 2.5 --fps 0.5 --out o --all --cursor --border "
      "--detect --texture --verbose --raw - --y4m \\\\.\\pipe\\p --nv12 n --json j --report r "
      "--watch --size 640x480 --on-resize crop --wait 3");
  EXPECT_EQ(options.class_name, "C");
  EXPECT_EQ(options.title, "T");
  EXPECT_EQ(options.frames, 5u);
  EXPECT_EQ(options.seconds, 2.5);
  EXPECT_EQ(options.fps, 0.5);
  EXPECT_EQ(options.out, "o");
  EXPECT_TRUE(options.all && options.cursor && options.border && options.detect &&
              options.texture && options.verbose && options.watch);
  ASSERT_EQ(options.streams.size(), 3u);
  const char* const expected[][2] = {{"--raw", "-"}, {"--y4m", "\\\\.\\pipe\\p"}, {"--nv12", "n"}};
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(options.streams[i].format->option, std::string(expected[i][0]));
    EXPECT_EQ(options.streams[i].file, expected[i][1]);
  }
  EXPECT_EQ(options.json, "j");
  EXPECT_EQ(options.report, "r");
  EXPECT_EQ(options.size, (FrameSize{640, 480}));
  EXPECT_EQ(options.on_resize, OnResize::kCrop);
  EXPECT_EQ(options.wait_seconds, 3.0);
  EXPECT_TRUE(options.HasStream());
  EXPECT_TRUE(options.UsesStandardOutput());
  EXPECT_EQ(Parsed("--window 0x3004e").window, 0x3004eu);
  EXPECT_EQ(Parsed("--window 42").window, 42u);
  EXPECT_EQ(Parsed("--monitor 0").monitor, 0u);
}

TEST(OptionsTest, PngFilesAreWrittenOnlyWithoutAnotherOutput) {
  for (const char* output :
       {"--raw f", "--y4m f", "--nv12 f", "--screenshot f", "--json f", "--report f", "--watch"}) {
    EXPECT_FALSE(Parsed(std::string("--title T ") + output).out) << output;
  }
  EXPECT_EQ(Parsed("--title T --watch --out o").out, "o");
}

// Ten seconds and as long as the frames take, but no limit for what others read or look at.
TEST(OptionsTest, TimeLimitFollowsFromTheOutputsAndTheNumberOfFrames) {
  const std::pair<const char*, double> kLimits[] = {
      {"--raw f", kForever},          {"--y4m f --frames 5", kForever},
      {"--json f", kForever},         {"--watch", kForever},
      {"--frames 60", 12.0},          {"--frames 60 --seconds 1", 1.0},
      {"--json f --frames 60", 12.0}, {"--json f --screenshot s", 10.0},
      {"--report f", 10.0},           {"--raw f --seconds 4", 4.0}};
  for (const auto& [line, seconds] : kLimits) {
    EXPECT_EQ(Parsed(std::string("--title T ") + line).seconds, seconds) << line;
  }
}

// A thousand times 1.001 is less than 1001 in floating point.
TEST(OptionsTest, RatesAreRoundedToThreeDecimals) {
  const std::pair<const char*, double> kRates[] = {
      {"29.97", 29.97}, {"23.97602", 23.976}, {"23.9766", 23.977}, {"1.001", 1.001}};
  for (const auto& [text, fps] : kRates) {
    EXPECT_EQ(Parsed(std::string("--title T --fps ") + text).fps, fps);
  }
}

TEST(OptionsTest, ValuesOutOfRangeAreRefused) {
  struct {
    const char* option;
    std::vector<const char*> values;
  } const cases[] = {
      {"--fps", {"0", "1000", "nan", "fast"}},
      {"--seconds", {"0", "-3", "nan"}},
      {"--frames", {"0", "-1", "1.5"}},
      {"--wait", {"nan", "-1"}},
      {"--size", {"640", "640x", "x480", "0x480", "640x480x2", "640x16385", "-1x480"}},
      {"--on-resize", {"stretch"}},
      {"--title", {""}},
      {"--out", {""}},
      {"--nv12", {""}}};
  for (const auto& [option, values] : cases) {
    for (const char* value : values) {
      ExpectError({"--class", "C", "--raw", "f", option, value}, option);
    }
  }
  ExpectError({"--class", ""}, "--class");
  ExpectError({"--window", "mine"}, "--window");
  ExpectError({"--monitor", "-1"}, "--monitor");
}

TEST(OptionsTest, OptionsThatDoNotGoTogetherAreRefused) {
  ExpectError({}, "no target");
  const std::pair<const char*, const char*> cases[] = {
      {"--frames 3", "no target"},
      {"--title T --monitor 0", "--monitor"},
      {"--window 1 --class C", "--class"},
      {"--window 1 --monitor 1", "--monitor"},
      {"--window 1 --wait 1", "--wait"},
      {"--monitor 0 --wait 1", "--wait"},
      {"--title", "--title"},
      {"--title T --raw - --y4m -", "--raw and --y4m both write to standard output"},
      {"--title T --nv12 - --json -", "both write to standard output"},
      {"--title T --raw a --json a", "both write to a"},
      {"--title T --raw a --raw b", "--raw"},
      {"--title T --raw --detect", "--raw needs a file"},
      {"--title T --report -", "--report needs a file"},
      {"--title T --screenshot -", "--screenshot needs a file"},
      {"--title T --size 640x480", "use it with --raw, --y4m or --nv12"},
      {"--title T --json j --on-resize crop", "--on-resize is for streams"},
      {"--title T --raw f --all", "--all"},
      {"--bogus", "--bogus"},
      {"--title T stray", "unknown: stray"},
      {"--title T --tilte stray", "unknown: --tilte stray"},
  };
  for (const auto& [line, part] : cases) ExpectError(Words(line), part);
  for (const char* other :
       {"--out 1", "--raw 1", "--nv12 1", "--report 1", "--frames 1", "--watch"}) {
    ExpectError(Words(std::string("--title T --screenshot s ") + other), Words(other)[0]);
  }
}

TEST(OptionsTest, HelpNamesEveryOptionInLinesThatFitATerminal) {
  const ParseResult result = ParseOptions({"--help"});
  EXPECT_FALSE(result.is_error);
  EXPECT_FALSE(result.options);
  std::istringstream lines(result.text);
  for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 79u) << line;
  for (const char* name :
       {"--list",      "--title TEXT",      "--class NAME",  "--window N",      "--monitor N",
        "--frames N",  "--seconds T",       "--fps RATE",    "--out FOLDER",    "--all",
        "--cursor",    "--border",          "--detect",      "--texture",       "--verbose",
        "--help",      "--version",         "--wait T",      "--watch",         "--size WxH",
        "--json FILE", "--screenshot FILE", "--report FILE", "--on-resize RULE"}) {
    EXPECT_TRUE(Contains(result.text, std::string("  ") + name));
  }
  for (const StreamFormat& format : StreamFormats()) {
    EXPECT_TRUE(Contains(result.text, std::string("  ") + format.option + " FILE"));
    EXPECT_TRUE(Contains(result.text, std::string("  ") + format.help + "\n"));
  }
  EXPECT_TRUE(Contains(result.text, "Exit codes: 0 done"));
}

TEST(OptionsTest, VersionIsThatOfTheProject) {
  const ParseResult result = ParseOptions({"--version"});
  EXPECT_FALSE(result.is_error);
  EXPECT_EQ(result.text, "quill-grab " QUILL_GRAB_TEST_VERSION);
}

}  // namespace
}  // namespace quill_apps
