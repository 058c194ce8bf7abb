// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/session/beats.h"

#include <gtest/gtest.h>

namespace quill_grab {
namespace {

TEST(BeatsTest, LeavesNothingOutWhileEveryPollIsInTime) {
  Beats beats(5.0, 4.0);
  for (int beat = 0; beat < 1000; ++beat) {
    ASSERT_EQ(beats.next(), 5.0 + beat * 0.25);
    ASSERT_EQ(beats.Take(beats.next()), 0u);
  }
}

// 0.24 s late at four a second: the next beat has not come yet.
TEST(BeatsTest, APollThatIsLateByLessThanABeatLosesNone) {
  Beats beats(0.0, 4.0);
  for (int beat = 0; beat < 100; ++beat) {
    EXPECT_EQ(beats.Take(beat * 0.25 + 0.24), 0u);
    EXPECT_EQ(beats.next(), (beat + 1) * 0.25);
  }
}

TEST(BeatsTest, CountsTheBeatsThatALatePollSkips) {
  Beats beats(5.0, 10.0);
  EXPECT_EQ(beats.Take(5.0), 0u);
  EXPECT_EQ(beats.Take(5.55), 4u);  // it stands for beat 5; 1 to 4 are lost
  EXPECT_DOUBLE_EQ(beats.next(), 5.6);
  EXPECT_EQ(beats.Take(5.6), 0u);
}

// A day at 30000 / 1001 frames a second, each poll a little late.
TEST(BeatsTest, RoundingDoesNotAddUp) {
  constexpr double kFps = 29.97;
  constexpr int kBeats = 2589408;
  Beats beats(0.1, kFps);
  uint64_t left_out = 0;
  for (int beat = 0; beat < kBeats; ++beat) left_out += beats.Take(beats.next());
  EXPECT_EQ(left_out, 0u);
  EXPECT_NEAR(beats.next(), 0.1 + 86400.0, 1e-6);
}

}  // namespace
}  // namespace quill_grab
