// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Which adapter a session's device is made on: the first of vendor 0x10DE, else the first that can
// describe itself.
#include <algorithm>

#include "native/host.h"

namespace session_test {
namespace {

using fake::AdapterSettings;
using fake::Fault;

constexpr UINT kPreferred = 0x10DE;
constexpr UINT kIntel = 0x8086;
constexpr UINT kAmd = 0x1002;
constexpr UINT kSoftware = DXGI_ADAPTER_FLAG_SOFTWARE;

class Adapters : public SessionTest {
 protected:
  // Starts on a platform with these adapters. Answers the one that the device is made on, empty
  // when there is none: "adapter<n>" is the n-th ever listed, and each enumeration lists new ones.
  std::string Start(Session& session, const std::vector<AdapterSettings>& adapters) {
    fake::settings.adapters = adapters;
    ContinueOnNewThread();
    recording = Recorded([&] { session.Start(); });
    const auto calls = LinesWith("D3D11CreateDevice(", recording);
    if (calls.empty()) return "";
    const size_t begin = calls[0].find('(') + 1;
    return calls[0].substr(begin, calls[0].find(',') - begin);
  }

  std::string Chosen(const std::vector<AdapterSettings>& adapters) {
    fake::Reset();
    Session session;
    return Start(session, adapters);
  }

  // How many times the last start asked for an adapter.
  size_t Asked() const { return LinesWith("EnumAdapters1(", recording).size(); }

  // The adapters that the last start released, in order of their names.
  std::vector<std::string> Released() const {
    auto released = LinesWith("~adapter", recording);
    std::sort(released.begin(), released.end());
    return released;
  }

  std::vector<std::string> recording;
};

TEST_F(Adapters, FirstAdapterWithADescriptionIsChosen) {
  EXPECT_EQ(Chosen({{kAmd}, {kIntel}, {kIntel}}), "adapter1");
  EXPECT_EQ(Asked(), 4u);
  EXPECT_EQ(Released(), (std::vector<std::string>{"~adapter2", "~adapter3"}));
  EXPECT_EQ(Chosen({{kIntel, E_FAIL}, {kAmd, DXGI_ERROR_NOT_FOUND}, {kIntel}}), "adapter3");
}

TEST_F(Adapters, FirstAdapterOfThePreferredVendorIsChosenAtAnyPosition) {
  EXPECT_EQ(Chosen({{kPreferred}, {kIntel}}), "adapter1");
  EXPECT_EQ(Chosen({{kIntel}, {kAmd}, {kPreferred}}), "adapter3");
  EXPECT_EQ(Chosen({{kIntel, E_FAIL}, {kPreferred}, {kPreferred}}), "adapter2");
  // The list is read no further.
  EXPECT_EQ(Asked(), 2u);
  EXPECT_EQ(Released(), std::vector<std::string>{"~adapter1"});
}

TEST_F(Adapters, VendorsWithSimilarIdsAreNotPreferred) {
  EXPECT_EQ(Chosen({{kIntel}, {0x10DD}, {0x10DF}, {0x110DE}, {0xDE10}}), "adapter1");
}

// Only S_OK counts: other success codes are passed over as failures are, though the description
// was filled in.
TEST_F(Adapters, AdapterWithoutADescriptionIsSkipped) {
  EXPECT_EQ(Chosen({{kIntel, S_FALSE}, {kAmd}}), "adapter2");
  EXPECT_EQ(Chosen({{kPreferred, E_FAIL}, {kIntel}}), "adapter2");
  EXPECT_EQ(Chosen({{kIntel}, {kPreferred, S_FALSE}, {kPreferred}}), "adapter3");
}

TEST_F(Adapters, SoftwareAdapterIsTreatedLikeAnyOther) {
  EXPECT_EQ(Chosen({{kIntel, S_OK, kSoftware}, {kAmd}}), "adapter1");
  EXPECT_EQ(Chosen({{kIntel}, {kPreferred, S_OK, kSoftware}, {kPreferred}}), "adapter2");
}

TEST_F(Adapters, NoDeviceIsCreatedWithoutAnAdapter) {
  EXPECT_EQ(Chosen({}), "");
  EXPECT_EQ(Chosen({{kIntel, E_FAIL}, {kPreferred, S_FALSE}}), "");
}

// Any failure ends the list, not only the one that says that the list is at its end.
TEST_F(Adapters, FailedEnumerationEndsTheList) {
  for (const Fault fault : {kFails, kGivesNothing, Failure(DXGI_ERROR_DEVICE_REMOVED)}) {
    fake::Reset();
    Session session;
    FailCalls("EnumAdapters1", {2}, fault);
    EXPECT_EQ(Start(session, {{kIntel}, {kPreferred}}), "adapter1");
    EXPECT_EQ(Asked(), 2u);
    Session other;
    FailCalls("EnumAdapters1", {1}, fault);
    EXPECT_EQ(Start(other, {{kIntel}, {kPreferred}}), "");
  }
}

TEST_F(Adapters, SecondStartKeepsTheAdapterUnlessOneOfThePreferredVendorIsFound) {
  Session session;
  // Also that of a start that failed later.
  FailEveryCall("D3D11CreateDevice");
  EXPECT_EQ(Start(session, {{kIntel}}), "adapter1");
  fake::PlanNoFaults();
  EXPECT_EQ(Start(session, {{kAmd}, {kIntel}}), "adapter1");
  EXPECT_EQ(Released(), (std::vector<std::string>{"~adapter2", "~adapter3"}));
  EXPECT_EQ(Start(session, {}), "adapter1");
  EXPECT_EQ(Start(session, {{kAmd}, {kPreferred}}), "adapter5");
  EXPECT_EQ(Released(), (std::vector<std::string>{"~adapter1", "~adapter4"}));
  EXPECT_EQ(Start(session, {{kAmd}}), "adapter5");
  EXPECT_EQ(Start(session, {{kPreferred}}), "adapter7");
}

}  // namespace
}  // namespace session_test
