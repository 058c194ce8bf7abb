// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The support probe.
#include <thread>

#include "native/host.h"

namespace session_test {
namespace {

class SupportProbe : public SessionTest {};

TEST_F(SupportProbe, AsksForTheEighthUniversalContractOnly) {
  const auto recording = Recorded([] { EXPECT_TRUE(is_wgc_session_supported()); });
  EXPECT_EQ(LinesWith("api_information1.Is", recording),
            std::vector<std::string>{"api_information1.IsApiContractPresent("
                                     "Windows.Foundation.UniversalApiContract, 8)"});
  EXPECT_TRUE(LinesWith("Create", recording).empty());
}

TEST_F(SupportProbe, AnswersByTheContractsVersion) {
  for (const uint16_t contract : {0, 1, 7, 8, 9, 19, 0xFFFF}) {
    fake::settings.universal_contract = contract;
    EXPECT_EQ(is_wgc_session_supported(), contract >= 8) << contract;
  }
}

TEST_F(SupportProbe, DoesNotDependOnTheSessionsProperties) {
  fake::settings.cursor_property_present = false;
  fake::settings.border_property_present = false;
  fake::settings.adapters.clear();
  EXPECT_TRUE(is_wgc_session_supported());
}

TEST_F(SupportProbe, NeedsNoSessionAndDisturbsNone) {
  Capture session;
  EXPECT_TRUE(is_wgc_session_supported());
  EXPECT_TRUE(session.Show(Pattern(64, 48)).available);
  bool elsewhere = false;
  std::thread([&] { elsewhere = is_wgc_session_supported(); }).join();
  EXPECT_TRUE(elsewhere);
}

}  // namespace
}  // namespace session_test
