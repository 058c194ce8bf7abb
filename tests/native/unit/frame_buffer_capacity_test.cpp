// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "capture/frame_buffer_capacity.h"

#include <gtest/gtest.h>

namespace {

TEST(GrownFrameBufferCapacity, IsTheNextLargerScreen) {
  // A need of exactly one screen goes to the one above; beyond the largest it is exact.
  constexpr uint32_t kScreens[] = {8294400, 14745600, 23040000, 33177600, 35389440};
  uint32_t smaller = 4;
  for (const uint32_t screen : kScreens) {
    EXPECT_EQ(GrownFrameBufferCapacity(smaller), screen);
    EXPECT_EQ(GrownFrameBufferCapacity(screen - 1), screen);
    smaller = screen;
  }
  for (const uint32_t needed : {35389440u, 58982400u, 1073741824u}) {
    EXPECT_EQ(GrownFrameBufferCapacity(needed), needed);
  }
}

}  // namespace
