// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "api/wgc_log.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

struct Line {
  int level;
  std::string text;  // up to the NUL
  size_t length;
  std::string covered;  // what length covers
};

std::vector<Line> lines;

void Record(int level, const char* text, size_t length) {
  lines.push_back({level, text, length, std::string(text, length)});
}

class WgcLogfTest : public testing::Test {
 protected:
  void SetUp() override {
    lines.clear();
    logger = Record;
  }
  void TearDown() override { logger = nullptr; }
};

TEST_F(WgcLogfTest, DeliversLevelTextAndLength) {
  WgcLogf(LogWarning, "Failed to %s cursor ", "enable");
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].level, 2);
  EXPECT_EQ(lines[0].text, "Failed to enable cursor ");
  EXPECT_EQ(lines[0].length, 24u);
}

TEST_F(WgcLogfTest, PrintsAnHresultAsEightLowerCaseDigitsAndAsASignedNumber) {
  WgcLogf(LogError, "hr:%08x", 0x8007000Eu);
  WgcLogf(LogError, "hr:%08x", 0x1u);
  WgcLogf(LogError, "Winrt exception:%ld", -2147467262L);
  EXPECT_EQ(lines.at(0).text, "hr:8007000e");
  EXPECT_EQ(lines.at(1).text, "hr:00000001");
  EXPECT_EQ(lines.at(2).text, "Winrt exception:-2147467262");
}

// Leaves ones where the next function that is called will have its variables.
void FillTheStack() {
  volatile char bytes[16384];
  for (volatile char& byte : bytes) byte = '\xFF';
}
// Keeps the compiler from inlining it.
void (*volatile fill_the_stack)() = FillTheStack;

TEST_F(WgcLogfTest, CutsALongLineAt1022CharactersWithALengthUpTo1024) {
  const struct {
    size_t formatted, stored, length;
  } kLines[] = {{1021, 1021, 1021}, {1022, 1022, 1022}, {1023, 1022, 1023},
                {1024, 1022, 1024}, {1025, 1022, 1024}, {2000, 1022, 1024}};
  for (const auto& [formatted, stored, length] : kLines) {
    SCOPED_TRACE(formatted);
    lines.clear();
    std::string text;
    for (size_t i = 0; i < formatted; ++i) text += static_cast<char>('a' + i % 26);
    fill_the_stack();
    WgcLogf(LogInfo, "%s", text.c_str());
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, text.substr(0, stored));
    ASSERT_EQ(lines[0].length, length);
    // What the length covers beyond the text is zeros, never stale memory.
    EXPECT_EQ(lines[0].covered.substr(stored), std::string(length - stored, '\0'));
  }
}

TEST_F(WgcLogfTest, DeliversNothingForAnEmptyText) {
  WgcLogf(LogInfo, "%s", "");
  EXPECT_TRUE(lines.empty());
}

#ifndef _WIN32
TEST_F(WgcLogfTest, DeliversNothingWhenTheTextCannotBeEncoded) {
  // A wide character that the C locale has no bytes for, as wide as the C library has them.
  const uint32_t text[] = {0x20AC, 0};
  WgcLogf(LogInfo, "%ls", reinterpret_cast<const wchar_t*>(text));
  EXPECT_TRUE(lines.empty());
}
#endif

TEST_F(WgcLogfTest, DeliversToTheCallbackOfTheMomentIfAny) {
  static int other_calls;
  other_calls = 0;
  WgcLogf(LogInfo, "%s", "first");
  logger = [](int, const char*, size_t) { ++other_calls; };
  WgcLogf(LogInfo, "%s", "second");
  logger = nullptr;
  WgcLogf(LogInfo, "%s", "third");
  EXPECT_EQ(lines.size(), 1u);
  EXPECT_EQ(other_calls, 1);
}

}  // namespace
