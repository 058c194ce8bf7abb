// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/console/watch.h"

#include <gtest/gtest.h>

namespace quill_grab {
namespace {

constexpr FrameSize kSize{640, 480};

// count polls, of which new_frames gave a new frame.
void Add(Summary& summary, int count, int new_frames) {
  for (int i = 0; i < count; ++i) {
    summary.AddFrame({0.0, kSize, 0.0f, i < new_frames, 0, ""});
  }
}

TEST(WatchTest, RatesAreThoseOfTheLastTwoSeconds) {
  Watch watch;
  Summary summary;
  Add(summary, 30, 1);
  EXPECT_EQ(watch.Line(1.0, kSize, 1.0f, summary),
            "1.0 s  640 x 480  30.0 polls/s  1.0 new/s  ratio 1.0000  0 missed");
  Add(summary, 30, 0);
  EXPECT_EQ(watch.Line(2.0, kSize, 1.0f, summary),
            "2.0 s  640 x 480  30.0 polls/s  0.5 new/s  ratio 1.0000  0 missed");
  Add(summary, 10, 3);
  EXPECT_EQ(watch.Line(3.0, kSize, 0.25f, summary),
            "3.0 s  640 x 480  20.0 polls/s  1.5 new/s  ratio 0.2500  0 missed");
}

TEST(WatchTest, SaysThatThereIsNoFrameYetAndCountsMissedPolls) {
  Watch watch;
  Summary summary;
  EXPECT_EQ(watch.Line(0.0, std::nullopt, 0.0f, summary),
            "0.0 s  no frame  0.0 polls/s  0.0 new/s  ratio 0.0000  0 missed");
  summary.AddFrame({0.5, kSize, 1.0f, true, 7, ""});
  EXPECT_EQ(watch.Line(0.5, kSize, 1.0f, summary),
            "0.5 s  640 x 480  2.0 polls/s  2.0 new/s  ratio 1.0000  7 missed");
}

}  // namespace
}  // namespace quill_grab
