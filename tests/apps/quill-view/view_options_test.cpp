// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include <sstream>

#include "common/version.h"
#include "quill-view/options.h"

namespace quill_apps {
namespace {

ViewParseResult Parse(const std::string& line) {
  std::istringstream stream(line);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  return ParseViewOptions(words);
}

TEST(ViewOptionsTest, DefaultsAreAsDocumented) {
  const ViewOptions options = Parse("--monitor 1").options.value();
  EXPECT_EQ(options.monitor, 1u);
  EXPECT_EQ(options.seconds, 0.0);
  EXPECT_FALSE(options.list || options.wait || options.tiles || options.on_top || options.cursor ||
               options.border || options.verbose);
}

TEST(ViewOptionsTest, EveryOptionIsTaken) {
  const ViewOptions options =
      Parse("--title T --class C --wait --tiles --on-top --seconds 2.5 --cursor --border --verbose")
          .options.value();
  EXPECT_EQ(options.title, "T");
  EXPECT_EQ(options.class_name, "C");
  EXPECT_EQ(options.seconds, 2.5);
  EXPECT_TRUE(options.wait && options.tiles && options.on_top && options.cursor && options.border &&
              options.verbose);
  EXPECT_EQ(Parse("--window 0x1f").options.value().window, 31u);
  EXPECT_TRUE(Parse("--list").options.value().list);
}

TEST(ViewOptionsTest, TilesTakeBytesWithDetectionAndThePlainViewTextures) {
  const Switches tiles = SwitchesOf(Parse("--monitor 0 --tiles --cursor").options.value());
  EXPECT_TRUE(tiles.detect && !tiles.texture && tiles.cursor && !tiles.border);
  const Switches plain = SwitchesOf(Parse("--monitor 0 --border").options.value());
  EXPECT_TRUE(!plain.detect && plain.texture && !plain.cursor && plain.border);
}

TEST(ViewOptionsTest, WrongCommandLineIsOneLineThatNamesTheHelp) {
  const char* const cases[][2] = {
      {"", "no target"},
      {"--tiles", "no target"},
      {"--monitor 0 --title T", "--title"},
      {"--monitor 0 --wait", "--wait"},
      {"--window 5 --wait", "--wait"},
      {"--monitor 0 --seconds 0", "--seconds"},
      {"--monitor 0 --seconds nan", "--seconds needs a number"},
      {"--monitor 0 --frames 5", "unknown: --frames 5"},
      {"--monitor first", "--monitor"},
  };
  for (const auto& [line, part] : cases) {
    const ViewParseResult result = Parse(line);
    EXPECT_FALSE(result.options) << line;
    EXPECT_TRUE(result.is_error) << line;
    EXPECT_NE(result.text.find(part), std::string::npos) << line << ": " << result.text;
    EXPECT_TRUE(result.text.ends_with(" (quill-view --help lists the options)")) << result.text;
    EXPECT_EQ(result.text.find('\n'), std::string::npos) << result.text;
  }
  EXPECT_FALSE(ParseViewOptions({"--title", ""}).options);
}

TEST(ViewOptionsTest, HelpListsEveryOptionAndKeyInLinesOf80Characters) {
  const ViewParseResult result = Parse("--help");
  EXPECT_FALSE(result.is_error);
  for (const char* part : {"--title", "--class", "--window", "--monitor", "--wait", "--tiles",
                           "--on-top", "--seconds", "--cursor", "--border", "--list", "--verbose",
                           "--version", "--help", "\n  F1 ", "\n  Esc "}) {
    EXPECT_NE(result.text.find(part), std::string::npos) << part;
  }
  std::istringstream lines(result.text);
  for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80u) << line;
  EXPECT_EQ(Parse("--version").text, std::string("quill-view ") + Version());
}

}  // namespace
}  // namespace quill_apps
