// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The support probe.
#include <thread>

#include "native/frames.h"

namespace session_test {
namespace {

using fake::Fault;

class SupportProbe : public SessionTest {};

TEST_F(SupportProbe, AsksForTheEighthUniversalContractAndNothingElse) {
  fake::StartRecording();
  EXPECT_TRUE(is_wgc_session_supported());
  const std::vector<std::string> recording = fake::TakeRecording();
  EXPECT_EQ(LinesWith("api_information1.Is", recording),
            std::vector<std::string>{"api_information1.IsApiContractPresent("
                                     "Windows.Foundation.UniversalApiContract, 8)"});
  EXPECT_EQ(LinesWith("RoGetActivationFactory", recording).size(), 1u);
  EXPECT_EQ(LinesWith("Create", recording), std::vector<std::string>());
}

TEST_F(SupportProbe, AnswersByTheContractsVersion) {
  for (const auto& [contract, supported] : {std::pair<uint16_t, bool>{0, false},
                                            {1, false},
                                            {7, false},
                                            {8, true},
                                            {9, true},
                                            {19, true},
                                            {0xFFFF, true}}) {
    fake::settings.universal_contract = contract;
    EXPECT_EQ(is_wgc_session_supported(), supported) << contract;
  }
}

TEST_F(SupportProbe, DoesNotDependOnTheSessionsProperties) {
  fake::settings.cursor_property_present = false;
  fake::settings.border_property_present = false;
  fake::settings.adapters.clear();
  EXPECT_TRUE(is_wgc_session_supported());
}

struct ProbeFailure {
  const char* name;
  const char* function;
  Fault fault;
};

class FailedProbe : public SupportProbe, public testing::WithParamInterface<ProbeFailure> {};

TEST_P(FailedProbe, AnswersFalseLogsNothingAndIsNotRemembered) {
  fake::PlanFaults(fake::EveryCallOf(GetParam().function, GetParam().fault));
  EXPECT_FALSE(is_wgc_session_supported());
  EXPECT_GT(fake::FaultsInjected(), 0u);
  EXPECT_EQ(TakeLog(), std::vector<LogLine>());
  fake::PlanNoFaults();
  EXPECT_TRUE(is_wgc_session_supported());
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, FailedProbe,
    testing::Values(
        ProbeFailure{
            "NoMetadata", "RoGetActivationFactory", {Fault::Kind::kResult, REGDB_E_CLASSNOTREG}},
        ProbeFailure{
            "ActivationThrows", "RoGetActivationFactory", {Fault::Kind::kForeignException}},
        ProbeFailure{"CallFails", "IsApiContractPresent", {Fault::Kind::kResult, E_FAIL}},
        ProbeFailure{"OutOfMemory", "IsApiContractPresent", {Fault::Kind::kResult, E_OUTOFMEMORY}},
        ProbeFailure{"CallAnswersNothing", "IsApiContractPresent", {Fault::Kind::kNothing}},
        ProbeFailure{"CallThrows", "IsApiContractPresent", {Fault::Kind::kStandardException}},
        ProbeFailure{
            "CallThrowsWhatNobodyKnows", "IsApiContractPresent", {Fault::Kind::kForeignException}}),
    [](const auto& info) { return info.param.name; });

TEST_F(SupportProbe, NeedsNoSessionAndDisturbsNone) {
  Session session;
  ASSERT_TRUE(session.Start());
  EXPECT_TRUE(is_wgc_session_supported());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
  EXPECT_TRUE(session.GetFrame().available);
  bool elsewhere = false;
  std::thread([&] { elsewhere = is_wgc_session_supported(); }).join();
  EXPECT_TRUE(elsewhere);
}

}  // namespace
}  // namespace session_test
