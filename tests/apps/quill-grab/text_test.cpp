// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/console/text.h"

#include <gtest/gtest.h>

#include <utility>

namespace quill_grab {
namespace {

// The text, in whatever language, has neither the full stop nor the line break of the system's.
TEST(DescribeErrorTest, PutsTheNumberBehindTheSystemsText) {
  for (const auto& [error, number] :
       {std::pair<DWORD, std::string>{ERROR_ACCESS_DENIED, " (5)"},
        std::pair<DWORD, std::string>{static_cast<DWORD>(E_OUTOFMEMORY), " (0x8007000e)"}}) {
    const std::string text = DescribeError(error);
    ASSERT_TRUE(text.ends_with(number)) << text;
    const std::string words = text.substr(0, text.size() - number.size());
    ASSERT_FALSE(words.empty()) << text;
    EXPECT_EQ(words.find_last_not_of(" .\r\n"), words.size() - 1) << text;
  }
}

TEST(DescribeErrorTest, GivesTheNumberOfAnErrorWithoutText) {
  EXPECT_EQ(DescribeError(0x2fffffff), "error 805306367");
}

}  // namespace
}  // namespace quill_grab
