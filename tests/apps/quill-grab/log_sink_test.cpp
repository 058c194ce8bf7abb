// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/session/log_sink.h"

#include <libquill_wgc.h>

#include <gtest/gtest.h>

namespace quill_grab {
namespace {

void Log(int level, const std::string& text) {
  OnLogLine(level, text.c_str(), text.size());
}

// A sink for the test alone.
class LogSinkTest : public testing::Test {
 protected:
  void SetUp() override { SetLogSink(nullptr, false); }
  void TearDown() override { SetLogSink(nullptr, false); }
};

TEST_F(LogSinkTest, KeepsTheFirstLinesAndTheLastError) {
  Log(WGC_LOG_WARNING, "the first");
  for (size_t i = 1; i < kKeptLogLines; ++i) Log(WGC_LOG_INFO, "another");
  Log(WGC_LOG_ERROR, "an error");
  Log(WGC_LOG_ERROR, "the last error");
  Log(WGC_LOG_WARNING, "a warning");
  Log(WGC_LOG_INFO, "the last line");
  const std::vector<LogLine> lines = LoggedLines();
  ASSERT_EQ(lines.size(), kKeptLogLines);
  EXPECT_EQ(lines.front().level, WGC_LOG_WARNING);
  EXPECT_EQ(lines.front().text, "the first");
  EXPECT_EQ(lines.back().text, "another");
  EXPECT_EQ(LastLoggedError(), "the last error");
}

TEST_F(LogSinkTest, ForgetsWhatAnEarlierRunLogged) {
  Log(WGC_LOG_ERROR, "an error");
  SetLogSink(nullptr, false);
  EXPECT_EQ(LastLoggedError(), "");
  EXPECT_TRUE(LoggedLines().empty());
}

}  // namespace
}  // namespace quill_grab
