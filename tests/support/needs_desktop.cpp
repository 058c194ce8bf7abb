// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Part of each test program that captures windows: ends it, skipped, where nothing can be captured.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "support/desktop.h"

namespace {

class CapturableDesktop : public testing::Environment {
 public:
  void SetUp() override {
    const std::string reason = WhyNothingCanBeCaptured();
    if (reason.empty()) return;
    std::printf("Skipped: %s\n", reason.c_str());
    std::exit(kSkippedExitCode);
  }
};

[[maybe_unused]] testing::Environment* const desktop =
    testing::AddGlobalTestEnvironment(new CapturableDesktop);

}  // namespace
