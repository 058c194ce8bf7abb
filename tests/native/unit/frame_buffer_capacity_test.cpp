// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "capture/frame_buffer_capacity.h"

#include <gtest/gtest.h>

namespace {

TEST(GrownFrameBufferCapacity, GoesToTheNextLargerScreen) {
  EXPECT_EQ(GrownFrameBufferCapacity(4), 8294400u);
  EXPECT_EQ(GrownFrameBufferCapacity(8294399), 8294400u);
  EXPECT_EQ(GrownFrameBufferCapacity(1921 * 1080 * 4), 14745600u);
  EXPECT_EQ(GrownFrameBufferCapacity(14745599), 14745600u);
  EXPECT_EQ(GrownFrameBufferCapacity(23039999), 23040000u);
  EXPECT_EQ(GrownFrameBufferCapacity(33177599), 33177600u);
  EXPECT_EQ(GrownFrameBufferCapacity(35389439), 35389440u);
}

TEST(GrownFrameBufferCapacity, ANeedOfExactlyOneScreenGoesToTheOneAbove) {
  EXPECT_EQ(GrownFrameBufferCapacity(8294400), 14745600u);
  EXPECT_EQ(GrownFrameBufferCapacity(14745600), 23040000u);
  EXPECT_EQ(GrownFrameBufferCapacity(23040000), 33177600u);
  EXPECT_EQ(GrownFrameBufferCapacity(33177600), 35389440u);
}

TEST(GrownFrameBufferCapacity, BeyondTheLargestScreenIsExact) {
  EXPECT_EQ(GrownFrameBufferCapacity(35389440), 35389440u);
  EXPECT_EQ(GrownFrameBufferCapacity(5120 * 2880 * 4), 58982400u);
  EXPECT_EQ(GrownFrameBufferCapacity(1073741824), 1073741824u);
}

}  // namespace
