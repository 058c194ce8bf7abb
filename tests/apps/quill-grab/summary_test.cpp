// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/console/summary.h"

#include <gtest/gtest.h>

#include "quill-grab/console/console.h"

namespace quill_grab {
namespace {

FrameRecord Frame(double seconds, float ratio, FrameSize size = {640, 480}, const char* file = "",
                  uint64_t missed = 0) {
  return {seconds, size, ratio, ratio > 0.0f, missed, file};
}

size_t CountOf(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

TEST(SummaryTest, OfNoFramesHasOnlyZeros) {
  Summary summary;
  EXPECT_EQ(summary.polls(), 0u);
  EXPECT_EQ(summary.mean_ratio(), 0.0);
  summary.AddPollWithoutFrame();
  EXPECT_EQ(summary.polls(), 1u);
  EXPECT_EQ(summary.frames(), 0u);
  EXPECT_EQ(summary.mean_ratio(), 0.0);
  EXPECT_NE(summary.Text(20).find("Sizes: none"), std::string::npos);
}

TEST(SummaryTest, CountsPollsFramesAndFiles) {
  Summary summary;
  summary.AddPollWithoutFrame();
  summary.AddPollWithoutFrame();
  summary.AddFrame(Frame(0.1, 1.0f, {640, 480}, "frame-0001.png"));
  summary.AddFrame(Frame(0.2, 0.0f));
  summary.AddFrame(Frame(0.3, 0.25f, {640, 480}, "frame-0002.png"));
  summary.AddFrame(Frame(0.4, 0.0f));
  EXPECT_EQ(summary.polls(), 6u);
  EXPECT_EQ(summary.frames(), 4u);
  EXPECT_EQ(summary.new_frames(), 2u);
  EXPECT_EQ(summary.written(), 2u);
  EXPECT_EQ(summary.zero_ratios(), 2u);
}

TEST(SummaryTest, AddsUpWhatWasDropped) {
  Summary summary;
  summary.AddFrame(Frame(0.1, 1.0f));
  summary.AddFrame(Frame(0.4, 0.0f, {640, 480}, "", 2));
  summary.AddFrame(Frame(0.9, 0.0f, {640, 480}, "", 4));
  EXPECT_EQ(summary.missed(), 6u);
  EXPECT_NE(summary.Text(20).find("Polls: 3, of which 3 gave a frame; 6 dropped"),
            std::string::npos)
      << summary.Text(20);
}

// (1 + 0 + 0.25 + 0.75) / 4 = 0.5, all exact in binary.
TEST(SummaryTest, GivesMinimumMeanAndMaximumOfAllFrames) {
  Summary summary;
  for (const float ratio : {1.0f, 0.0f, 0.25f, 0.75f}) summary.AddFrame(Frame(0, ratio));
  EXPECT_EQ(summary.min_ratio(), 0.0f);
  EXPECT_EQ(summary.mean_ratio(), 0.5);
  EXPECT_EQ(summary.max_ratio(), 1.0f);
}

TEST(SummaryTest, MinimumIsNotTheInitialZero) {
  Summary summary;
  summary.AddFrame(Frame(0, 0.5f));
  summary.AddFrame(Frame(0, 0.75f));
  EXPECT_EQ(summary.min_ratio(), 0.5f);
}

TEST(SummaryTest, ListsSizesInOrderOfAppearance) {
  Summary summary;
  summary.AddFrame(Frame(0, 1, {800, 600}));
  summary.AddFrame(Frame(0, 1, {640, 480}));
  summary.AddFrame(Frame(0, 1, {800, 600}));
  ASSERT_EQ(summary.sizes().size(), 2u);
  EXPECT_EQ(summary.sizes()[0], (std::pair{FrameSize{800, 600}, uint64_t{2}}));
  EXPECT_EQ(summary.sizes()[1], (std::pair{FrameSize{640, 480}, uint64_t{1}}));
}

TEST(SummaryTest, ListsOnlyFramesWithARatioAboveZero) {
  Summary summary;
  summary.AddFrame(Frame(1.5, 1.0f, {640, 480}, "frame-0001.png"));
  summary.AddFrame(Frame(2.5, 0.0f, {640, 480}, "frame-0002.png"));
  const std::string text = summary.Text(20);
  EXPECT_NE(text.find("1.500 s  1.0000  640 x 480  frame-0001.png"), std::string::npos) << text;
  EXPECT_EQ(text.find("frame-0002.png"), std::string::npos) << text;
}

TEST(SummaryTest, CapsTheListAndSaysHowManyAreLeft) {
  Summary summary;
  for (int i = 0; i < 30; ++i) summary.AddFrame(Frame(i, 0.5f, {640, 480}, "frame.png"));
  EXPECT_EQ(CountOf(summary.Text(20), "frame.png"), 20u);
  EXPECT_NE(summary.Text(20).find("... and 10 more"), std::string::npos);
  EXPECT_EQ(CountOf(summary.Text(30), "frame.png"), 30u);
  EXPECT_EQ(summary.Text(30).find("more"), std::string::npos);
}

// A thousand are kept.
TEST(SummaryTest, CountsTheChangesThatItDoesNotKeep) {
  Summary summary;
  for (int i = 0; i < 1003; ++i) summary.AddFrame(Frame(i, 0.5f, {640, 480}, "frame.png"));
  const std::string text = summary.Text(2000);
  EXPECT_EQ(CountOf(text, "frame.png"), 1000u);
  EXPECT_TRUE(text.ends_with("... and 3 more")) << text;
}

TEST(ProgressLineTest, FillsTheBarInProportion) {
  EXPECT_EQ(ProgressLine(0.0, "x", 80), "[........................] x");
  EXPECT_EQ(ProgressLine(0.5, "x", 80), "[############............] x");
  EXPECT_EQ(ProgressLine(1.0, "x", 80), "[########################] x");
}

TEST(ProgressLineTest, StaysInsideItsBounds) {
  EXPECT_EQ(ProgressLine(7.0, "x", 80), ProgressLine(1.0, "x", 80));
  EXPECT_EQ(ProgressLine(-1.0, "x", 80), ProgressLine(0.0, "x", 80));
  EXPECT_EQ(ProgressLine(0.5, "a long text", 30).size(), 29u);
  EXPECT_EQ(ProgressLine(0.5, "x", 0), "");
}

}  // namespace
}  // namespace quill_grab
