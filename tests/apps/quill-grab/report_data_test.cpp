// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What the report keeps of a run: polls over time, sizes, gaps, pictures and the heat of tiles.

#include <algorithm>
#include <sstream>

#include "apps/quill-grab/grab_test.h"
#include "quill-grab/output/report/report_history.h"
#include "quill-grab/output/report/report_thumbnails.h"
#include "quill-grab/output/report/tile_heat.h"

namespace quill_apps {
namespace {

FrameRecord Record(double seconds, float ratio, uint64_t missed = 0, FrameSize size = {8, 8}) {
  return {seconds, size, ratio, ratio > 0.0f, missed, ""};
}

BinnedSeries Series(double bin_seconds, size_t max_bins, const std::vector<FrameRecord>& records) {
  BinnedSeries series(bin_seconds, max_bins);
  for (const FrameRecord& record : records) series.Add(record);
  return series;
}

// What a bin holds. A bin without polls has only missed ones.
std::string Text(const SeriesBin& bin) {
  std::string text = std::to_string(bin.missed) + " missed";
  if (bin.polls == 0) return text;
  std::ostringstream stream;
  stream << bin.polls << " polls, " << bin.new_frames << " new, " << text << ", ratios "
         << bin.ratio_sum << " in all, " << bin.max_ratio << " at " << bin.max_seconds;
  return stream.str();
}

std::vector<std::string> Texts(const BinnedSeries& series) {
  std::vector<std::string> texts;
  for (const SeriesBin& bin : series.bins()) texts.push_back(Text(bin));
  return texts;
}

TEST(BinnedSeriesTest, NumberOfBinsStaysBoundedOverDays) {
  BinnedSeries series(1.0 / 64, 2048);
  constexpr uint64_t kPolls = 3 * 86400;
  for (uint64_t i = 0; i < kPolls; ++i) series.Add(Record(static_cast<double>(i), 1.0f));
  EXPECT_LE(series.bins().size(), 2048u);
  EXPECT_DOUBLE_EQ(series.bin_seconds(), 128.0);  // the first power of two with 2048 * 128 > 259199
  uint64_t polls = 0;
  for (const SeriesBin& bin : series.bins()) polls += bin.polls;
  EXPECT_EQ(polls, kPolls);
}

// The largest ratio has the time at which it was first seen.
TEST(BinnedSeriesTest, PollsOfABinAreSummedUp) {
  const BinnedSeries series =
      Series(0.5, 8,
             {Record(0.1, 0.25f, 2), Record(0.2, 0.75f), Record(0.3, 0.75f), Record(0.4, 0.0f, 1),
              Record(1.0, 0.5f)});  // 1.0 begins a bin
  EXPECT_EQ(Texts(series),
            (std::vector<std::string>{"4 polls, 3 new, 3 missed, ratios 1.75 in all, 0.75 at 0.2",
                                      "0 missed",
                                      "1 polls, 1 new, 0 missed, ratios 0.5 in all, 0.5 at 1"}));
}

// The last record lies beyond four bins. Its four missed polls came due before it.
TEST(BinnedSeriesTest, BinsAreMergedInPairsWhenTheRunOutlastsThem) {
  const BinnedSeries series = Series(
      1.0, 4,
      {Record(0.5, 0.1f, 1), Record(1.5, 0.4f, 2), Record(3.5, 0.2f, 3), Record(4.0, 0.3f, 4)});
  EXPECT_DOUBLE_EQ(series.bin_seconds(), 2.0);
  EXPECT_EQ(Texts(series),
            (std::vector<std::string>{"2 polls, 2 new, 3 missed, ratios 0.5 in all, 0.4 at 1.5",
                                      "1 polls, 1 new, 7 missed, ratios 0.2 in all, 0.2 at 3.5",
                                      "1 polls, 1 new, 0 missed, ratios 0.3 in all, 0.3 at 4"}));
}

// A ratio of 0 that is merged into an empty bin was seen, at its own time.
TEST(BinnedSeriesTest, RatioOfZeroIsMergedWithItsTime) {
  const BinnedSeries series = Series(1.0, 2, {Record(1.25, 0.0f), Record(2.0, 0.5f)});
  EXPECT_EQ(Text(series.bins()[0]), "1 polls, 0 new, 0 missed, ratios 0 in all, 0 at 1.25");
}

// Nine missed polls within five seconds: at 0.75, 1.25 ... 4.75.
TEST(BinnedSeriesTest, MissedPollsAreSpreadOverTheTimeInWhichTheyCameDue) {
  const BinnedSeries series = Series(1.0, 8, {Record(0.25, 1.0f), Record(5.25, 1.0f, 9)});
  std::vector<uint64_t> missed;
  for (const SeriesBin& bin : series.bins()) missed.push_back(bin.missed);
  EXPECT_EQ(missed, (std::vector<uint64_t>{1, 2, 2, 2, 2, 0}));
}

TEST(SizeHistoryTest, EachStretchOfOneSizeHasASpan) {
  SizeHistory history;
  for (const FrameRecord& record :
       {Record(0.0, 1.0f), Record(1.0, 0.0f), Record(2.0, 1.0f, 0, {9, 8}), Record(3.0, 1.0f)}) {
    history.Add(record);
  }
  ASSERT_EQ(history.spans().size(), 3u);
  const SizeSpan& first = history.spans()[0];
  EXPECT_DOUBLE_EQ(first.from, 0.0);
  EXPECT_DOUBLE_EQ(first.to, 1.0);
  EXPECT_EQ(first.polls, 2u);
  EXPECT_EQ(first.new_frames, 1u);
  EXPECT_EQ(history.spans()[1].size, (FrameSize{9, 8}));
  EXPECT_DOUBLE_EQ(history.spans()[2].from, 3.0);
}

TEST(SizeHistoryTest, SpansThatAreNotKeptAreCounted) {
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

TEST(GapListTest, GapsAreStretchesOfMoreThanASecond) {
  GapList gaps;
  for (const double seconds : {1.0, 1.5, 4.0, 5.0, 6.25}) gaps.Mark(seconds);
  ASSERT_EQ(gaps.longest().size(), 2u);
  EXPECT_EQ(gaps.count(), 2u);
  EXPECT_DOUBLE_EQ(gaps.total_seconds(), 3.75);
  EXPECT_DOUBLE_EQ(gaps.longest()[0].from, 1.5);
  EXPECT_DOUBLE_EQ(gaps.longest()[0].to, 4.0);
  EXPECT_DOUBLE_EQ(gaps.longest()[1].from, 5.0);
}

// Of 30 gaps, every third is short.
TEST(GapListTest, LongestGapsAreKeptInTheOrderOfTime) {
  GapList gaps;
  double seconds = 0.0;
  for (size_t i = 0; i < GapList::kKeptGaps + 10; ++i) gaps.Mark(seconds += i % 3 == 1 ? 2.0 : 5.0);
  ASSERT_EQ(gaps.longest().size(), GapList::kKeptGaps);
  EXPECT_EQ(gaps.count(), GapList::kKeptGaps + 10);
  double previous = -1.0;
  for (const Gap& gap : gaps.longest()) {
    EXPECT_DOUBLE_EQ(gap.length(), 5.0);
    EXPECT_GT(gap.from, previous);
    previous = gap.from;
  }
}

// The left half of the frames has one colour, the right half another; alpha is 0.
class ThumbnailPickerTest : public testing::Test {
 protected:
  static void Offer(ThumbnailPicker& picker, double seconds, float ratio, FrameSize size = {4, 4}) {
    std::vector<uint32_t> pixels(size_t{size.width} * size.height, 0x00204080);
    for (size_t i = 0; i < pixels.size(); ++i) {
      if (i % size.width >= size.width / 2) pixels[i] = 0x00C06010;
    }
    picker.Offer(seconds, ratio,
                 {reinterpret_cast<const uint8_t*>(pixels.data()), size.width, size.height,
                  size_t{size.width} * 4});
  }

  static std::vector<double> Times(const ThumbnailPicker& picker) {
    std::vector<double> times;
    for (const Thumbnail& thumbnail : picker.Picked()) times.push_back(thumbnail.seconds);
    return times;
  }
};

TEST_F(ThumbnailPickerTest, LargeFramesAreShrunkAndColoursKeepTheirPlaces) {
  const std::pair<FrameSize, FrameSize> kSizes[] = {
      {{1280, 720}, {320, 180}}, {{600, 800}, {240, 320}}, {{5, 4}, {5, 4}}};
  for (const auto& [frame, expected] : kSizes) {
    ThumbnailPicker picker;
    Offer(picker, 0.0, 1.0f, frame);
    const Thumbnail thumbnail = picker.Picked().at(0);
    EXPECT_EQ(thumbnail.frame, frame);
    ASSERT_EQ(thumbnail.size, expected);
    ASSERT_EQ(thumbnail.pixels.size(), size_t{expected.width} * expected.height * 4);
    const auto pixel = [&, pixels = thumbnail.pixels.data()](size_t index) {
      return pixels[index * 4] | pixels[index * 4 + 1] << 8 | pixels[index * 4 + 2] << 16;
    };
    EXPECT_EQ(pixel(0), 0x204080);
    EXPECT_EQ(pixel(size_t{expected.width} * expected.height - 1), 0xC06010);
  }
}

TEST_F(ThumbnailPickerTest, LargestRatiosArePickedInTheOrderOfTime) {
  ThumbnailPicker picker;
  EXPECT_TRUE(picker.Picked().empty());
  const std::vector<int> percents = {10, 37, 64, 1, 28, 55, 82, 19, 46, 73};
  for (size_t i = 0; i < percents.size(); ++i) {
    Offer(picker, static_cast<double>(i), static_cast<float>(percents[i]) / 100.0f);
  }
  EXPECT_EQ(Times(picker), (std::vector<double>{1, 2, 4, 5, 6, 7, 8, 9}));
}

TEST_F(ThumbnailPickerTest, FirstLargestRatioOfASpanIsPicked) {
  ThumbnailPicker picker;
  Offer(picker, 0.1, 0.2f);
  Offer(picker, 0.2, 0.9f);
  Offer(picker, 0.3, 0.9f);
  Offer(picker, 0.4, 0.3f);
  EXPECT_EQ(Times(picker), std::vector<double>{0.2});
}

// 0 first, then each time what lies farthest from the others: 14, 7, 3 or 4, 10 or 11 ...
TEST_F(ThumbnailPickerTest, EqualRatiosAreSpreadOverTheRun) {
  ThumbnailPicker picker;
  for (int i = 0; i < 15; ++i) Offer(picker, i, 1.0f);
  const std::vector<double> times = Times(picker);
  ASSERT_EQ(times.size(), ThumbnailPicker::kPicked);
  EXPECT_EQ(times.front(), 0.0);
  EXPECT_EQ(times.back(), 14.0);
  for (size_t i = 1; i < times.size(); ++i) EXPECT_LE(times[i] - times[i - 1], 4.0);
}

TEST_F(ThumbnailPickerTest, LargestRatioOfALongRunIsFound) {
  ThumbnailPicker picker;
  for (int i = 0; i < 20000; ++i) Offer(picker, i, i == 7001 ? 0.75f : 0.25f);
  const std::vector<double> times = Times(picker);
  EXPECT_EQ(times.size(), ThumbnailPicker::kPicked);
  EXPECT_NE(std::find(times.begin(), times.end(), 7001.0), times.end());
}

// A picture whose pixels a test changes one by one; its rows have padding.
class TestFrame {
 public:
  TestFrame(uint32_t width, uint32_t height, uint8_t padding = 0)
      : width_(width), height_(height), pitch_(size_t{width} * 4 + 16), bytes_(pitch_ * height) {
    for (uint32_t y = 0; y < height; ++y) {
      std::fill_n(bytes_.begin() + static_cast<ptrdiff_t>(y * pitch_ + width * 4), 16, padding);
    }
  }

  void Change(uint32_t x, uint32_t y, size_t channel) { ++bytes_[y * pitch_ + x * 4 + channel]; }
  PixelView view() const { return {bytes_.data(), width_, height_, pitch_}; }

 private:
  uint32_t width_;
  uint32_t height_;
  size_t pitch_;
  std::vector<uint8_t> bytes_;
};

using Counts = std::vector<uint32_t>;

// 4 x 3 tiles, the last ones 4 pixels wide and 6 high.
TEST(TileHeatTest, FramesThatChangedATileAreCountedForIt) {
  TileHeat heat;
  TestFrame frame(100, 70);
  heat.Add(frame.view());
  frame.Change(31, 31, 0);
  heat.Add(frame.view());
  frame.Change(32, 31, 1);
  frame.Change(32, 30, 1);  // twice in one tile counts once
  frame.Change(31, 32, 2);
  heat.Add(frame.view());
  frame.Change(99, 69, 0);
  frame.Change(32, 0, 0);
  heat.Add(frame.view());
  heat.Add(TestFrame(100, 70).view());  // differs from the frame just before in all of these tiles
  const HeatMap map = heat.Maps().at(0);
  EXPECT_EQ(map.size, (FrameSize{100, 70}));
  EXPECT_EQ(map.columns, 4u);
  EXPECT_EQ(map.rows, 3u);
  EXPECT_EQ(map.frames, 5u);
  EXPECT_EQ(map.compared, 4u);
  EXPECT_EQ(map.changes, (Counts{2, 3, 0, 0, /**/ 2, 0, 0, 0, /**/ 0, 0, 0, 2}));
}

TEST(TileHeatTest, AlphaAndPaddingDoNotCount) {
  TileHeat heat;
  heat.Add(TestFrame(40, 2, 0x11).view());
  TestFrame other(40, 2, 0x22);
  other.Change(3, 0, 3);
  heat.Add(other.view());
  EXPECT_EQ(heat.Maps().at(0).changes, (Counts{0, 0}));
  other.Change(3, 0, 3);
  other.Change(39, 0, 2);  // a colour in a row whose alpha changes too
  heat.Add(other.view());
  EXPECT_EQ(heat.Maps().at(0).changes, (Counts{0, 1}));
}

TEST(TileHeatTest, EachSizeHasAMapAndOnlyFramesThatFollowEachOtherAreCompared) {
  TileHeat heat;
  TestFrame large(64, 32);
  TestFrame other(32, 32);
  heat.Add(large.view());
  heat.Add(other.view());
  other.Change(0, 0, 0);
  heat.Add(other.view());
  large.Change(63, 0, 0);
  heat.Add(large.view());  // after another size
  large.Change(40, 9, 0);
  heat.Add(large.view());
  const std::vector<HeatMap> maps = heat.Maps();
  ASSERT_EQ(maps.size(), 2u);
  EXPECT_EQ(maps[0].size, (FrameSize{64, 32}));
  EXPECT_EQ(maps[0].frames, 3u);
  EXPECT_EQ(maps[0].compared, 1u);
  EXPECT_EQ(maps[0].changes, (Counts{0, 1}));
  EXPECT_EQ(maps[1].frames, 2u);
  EXPECT_EQ(maps[1].changes, (Counts{1}));
  EXPECT_EQ(heat.discarded_maps(), 0u);
}

TEST(TileHeatTest, MapsOfFewestFramesAreDiscarded) {
  TileHeat heat;
  const TestFrame lasting(200, 8);
  heat.Add(lasting.view());
  heat.Add(lasting.view());
  for (uint32_t width = 1; width <= 40; ++width) heat.Add(TestFrame(width, 8).view());
  const std::vector<HeatMap> maps = heat.Maps();
  EXPECT_EQ(maps.size(), TileHeat::kKeptMaps);
  EXPECT_EQ(maps.front().size, (FrameSize{200, 8}));
  EXPECT_EQ(heat.discarded_maps(), 41 - TileHeat::kKeptMaps);
}

}  // namespace
}  // namespace quill_apps
