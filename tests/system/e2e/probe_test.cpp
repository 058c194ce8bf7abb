// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The support probe on a platform whose metadata cannot be had. A process of its own: once
// obtained, the metadata is kept for the life of the process.
#include "system/e2e/capture.h"

namespace {

TEST(SupportProbe, WithoutTheMetadataClassAnswersFalseInsteadOfRaising) {
  LogRecorder log;
  {
    const MissingClass missing(L"Windows.Foundation.Metadata.ApiInformation");
    EXPECT_FALSE(Wgc().is_wgc_session_supported());
    EXPECT_FALSE(Wgc().is_wgc_session_supported());
  }
  // A failure is not remembered.
  EXPECT_TRUE(Wgc().is_wgc_session_supported());
  EXPECT_TRUE(log.lines().empty());
}

TEST(SupportProbe, AnswersByTheUniversalApiContract) {
  for (const DWORD version : {7u, 8u}) {
    const PlatformSetting contract(L"UniversalApiContract", version);
    EXPECT_EQ(Wgc().is_wgc_session_supported(), version == 8);
  }
}

}  // namespace
