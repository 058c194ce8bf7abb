// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/report/report_history.h"

#include <gtest/gtest.h>

namespace quill_grab {
namespace {

FrameRecord Record(double seconds, float ratio, uint64_t missed = 0, FrameSize size = {8, 8}) {
  return {seconds, size, ratio, ratio > 0.0f, missed, ""};
}

TEST(BinnedSeriesTest, SumsUpWhatFallsIntoABin) {
  BinnedSeries series(0.5, 8);
  series.Add(Record(0.1, 0.25f, 2));
  series.Add(Record(0.2, 0.75f));
  series.Add(Record(0.4, 0.0f, 1));
  series.Add(Record(1.0, 0.5f));  // the first moment of its bin
  ASSERT_EQ(series.bins().size(), 3u);
  const SeriesBin& first = series.bins()[0];
  EXPECT_EQ(first.polls, 3u);
  EXPECT_EQ(first.new_frames, 2u);
  EXPECT_EQ(first.missed, 3u);
  EXPECT_DOUBLE_EQ(first.ratio_sum, 1.0);
  EXPECT_EQ(first.max_ratio, 0.75f);
  EXPECT_DOUBLE_EQ(first.max_seconds, 0.2);
  EXPECT_EQ(series.bins()[1].polls, 0u);
  EXPECT_EQ(series.bins()[2].polls, 1u);
}

TEST(BinnedSeriesTest, RemembersWhenTheLargestWasFirstSeen) {
  BinnedSeries series(1.0, 8);
  for (double seconds : {0.1, 0.2, 0.3}) series.Add(Record(seconds, seconds > 0.15 ? 0.5f : 0.0f));
  EXPECT_DOUBLE_EQ(series.bins()[0].max_seconds, 0.2);
}

TEST(BinnedSeriesTest, DoublesTheWidthAndLosesNothingElse) {
  BinnedSeries series(1.0, 4);
  series.Add(Record(0.5, 0.1f, 1));
  series.Add(Record(1.5, 0.4f, 2));
  series.Add(Record(3.5, 0.2f, 3));
  series.Add(Record(4.0, 0.3f, 4));  // beyond four bins
  EXPECT_DOUBLE_EQ(series.bin_seconds(), 2.0);
  ASSERT_EQ(series.bins().size(), 3u);
  EXPECT_EQ(series.bins()[0].polls, 2u);
  EXPECT_EQ(series.bins()[0].new_frames, 2u);
  EXPECT_EQ(series.bins()[0].missed, 3u);
  EXPECT_NEAR(series.bins()[0].ratio_sum, 0.5, 1e-6);
  EXPECT_EQ(series.bins()[0].max_ratio, 0.4f);
  EXPECT_DOUBLE_EQ(series.bins()[0].max_seconds, 1.5);
  EXPECT_DOUBLE_EQ(series.bins()[1].max_seconds, 3.5);
  EXPECT_EQ(series.bins()[1].missed, 7u);  // four came due before 4.0
  EXPECT_EQ(series.bins()[2].missed, 0u);
}

// Nine polls left out within five seconds: one every half a second.
TEST(BinnedSeriesTest, SpreadsPollsLeftOutOverTheTimeTheyCameDue) {
  BinnedSeries series(1.0, 8);
  series.Add(Record(0.25, 1.0f));
  series.Add(Record(5.25, 1.0f, 9));
  const std::vector<uint64_t> expected = {1, 2, 2, 2, 2, 0};  // at 0.75, 1.25 ... 4.75
  ASSERT_EQ(series.bins().size(), expected.size());
  for (size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(series.bins()[i].missed, expected[i]) << i;
  series.Add(Record(8.0, 1.0f));
  EXPECT_EQ(series.bins()[1].missed, 4u);
  EXPECT_EQ(series.bins()[1].polls, 0u);
}

// Merged into an empty bin, 0 is a ratio that was seen, at a time of its own.
TEST(BinnedSeriesTest, MergesARatioOfZeroWithItsTime) {
  BinnedSeries series(1.0, 2);
  series.Add(Record(1.25, 0.0f));
  series.Add(Record(2.0, 0.5f));
  EXPECT_EQ(series.bins()[0].polls, 1u);
  EXPECT_DOUBLE_EQ(series.bins()[0].max_seconds, 1.25);
}

TEST(BinnedSeriesTest, StaysBoundedOverDays) {
  BinnedSeries series(1.0 / 64, 2048);
  constexpr uint64_t kPolls = 3 * 86400;
  for (uint64_t i = 0; i < kPolls; ++i) series.Add(Record(static_cast<double>(i), 1.0f));
  EXPECT_LE(series.bins().size(), 2048u);
  EXPECT_DOUBLE_EQ(series.bin_seconds(), 128.0);  // the first power of two with 2048 * 128 > 259199
  uint64_t polls = 0;
  for (const SeriesBin& bin : series.bins()) polls += bin.polls;
  EXPECT_EQ(polls, kPolls);
}

TEST(SizeHistoryTest, HasASpanForEachStretchOfOneSize) {
  SizeHistory history;
  history.Add(Record(0.0, 1.0f, 0, {8, 8}));
  history.Add(Record(1.0, 0.0f, 0, {8, 8}));
  history.Add(Record(2.0, 1.0f, 0, {9, 8}));
  history.Add(Record(3.0, 1.0f, 0, {8, 8}));
  ASSERT_EQ(history.spans().size(), 3u);
  EXPECT_EQ(history.span_count(), 3u);
  const SizeSpan& first = history.spans()[0];
  EXPECT_DOUBLE_EQ(first.from, 0.0);
  EXPECT_DOUBLE_EQ(first.to, 1.0);
  EXPECT_EQ(first.polls, 2u);
  EXPECT_EQ(first.new_frames, 1u);
  EXPECT_EQ(history.spans()[1].size, (FrameSize{9, 8}));
  EXPECT_DOUBLE_EQ(history.spans()[2].from, 3.0);
}

TEST(SizeHistoryTest, CountsTheSpansItDoesNotKeep) {
  SizeHistory history;
  for (uint32_t i = 0; i < SizeHistory::kKeptSpans + 5; ++i) {
    history.Add(Record(i, 1.0f, 0, {i + 1, 8}));
    history.Add(Record(i + 0.5, 1.0f, 0, {i + 1, 8}));
  }
  EXPECT_EQ(history.spans().size(), SizeHistory::kKeptSpans);
  EXPECT_EQ(history.span_count(), SizeHistory::kKeptSpans + 5);
  EXPECT_EQ(history.spans().back().size, (FrameSize{SizeHistory::kKeptSpans, 8}));
  EXPECT_EQ(history.spans().back().polls, 2u);
}

TEST(GapListTest, TakesStretchesOfMoreThanASecond) {
  GapList gaps;
  for (double seconds : {1.0, 1.5, 4.0, 5.0, 6.25}) gaps.Mark(seconds);
  ASSERT_EQ(gaps.longest().size(), 2u);
  EXPECT_EQ(gaps.count(), 2u);
  EXPECT_DOUBLE_EQ(gaps.total_seconds(), 3.75);
  EXPECT_DOUBLE_EQ(gaps.longest()[0].from, 1.5);
  EXPECT_DOUBLE_EQ(gaps.longest()[0].to, 4.0);
  EXPECT_DOUBLE_EQ(gaps.longest()[1].from, 5.0);
}

TEST(GapListTest, KeepsTheLongestInTheOrderOfTime) {
  GapList gaps;
  double seconds = 0.0;
  for (size_t i = 0; i < GapList::kKeptGaps + 10; ++i) {
    // The second one and every third of the others are short.
    seconds += i % 3 == 1 ? 2.0 : 5.0;
    gaps.Mark(seconds);
  }
  ASSERT_EQ(gaps.longest().size(), GapList::kKeptGaps);
  EXPECT_EQ(gaps.count(), GapList::kKeptGaps + 10);
  double previous = -1.0;
  for (const Gap& gap : gaps.longest()) {  // 30 gaps, of which 20 are long
    EXPECT_DOUBLE_EQ(gap.length(), 5.0);
    EXPECT_GT(gap.from, previous);
    previous = gap.from;
  }
}

}  // namespace
}  // namespace quill_grab
