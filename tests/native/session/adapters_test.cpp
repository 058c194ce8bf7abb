// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Which adapter a session's device is made on: the first of vendor 0x10DE, else the first that can
// describe itself.
#include <gtest/gtest.h>

#include <algorithm>

#include "native/call_list.h"
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
  // Starts, and keeps the recording.
  bool Start(Session& session) {
    ContinueOnNewThread();
    fake::StartRecording();
    const bool started = session.Start();
    recording = fake::TakeRecording();
    return started;
  }

  // The n-th adapter ever listed is "adapter<n>"; each enumeration lists new objects.
  std::string DeviceAdapter() const {
    const std::string call = "D3D11CreateDevice(";
    for (const std::string& line : recording) {
      if (line.starts_with(call)) return line.substr(call.size(), line.find(',') - call.size());
    }
    return "no device";
  }

  Calls Enumeration() const {
    return Only(recording, [](const std::string& line) {
      return Has(line, "EnumAdapters1(") || Has(line, ".GetDesc1()");
    });
  }

  // Adapters that a recorded step let go of, in order of their names.
  Calls Gone() const {
    Calls gone =
        Only(recording, [](const std::string& line) { return line.starts_with("~adapter"); });
    std::sort(gone.begin(), gone.end());
    return gone;
  }

  // The adapter that a new session's device is made on.
  std::string Chosen(const std::vector<AdapterSettings>& adapters) {
    fake::Reset();
    wgc_register_logger([](int, const char* text, size_t) { last_line = text; });
    fake::settings.adapters = adapters;
    Session session;
    EXPECT_TRUE(Start(session));
    return DeviceAdapter();
  }

  // That a new session finds none, and what it says.
  std::string LastLineWithout(const std::vector<AdapterSettings>& adapters) {
    fake::Reset();
    wgc_register_logger([](int, const char* text, size_t) { last_line = text; });
    fake::settings.adapters = adapters;
    Session session;
    EXPECT_FALSE(Start(session));
    EXPECT_EQ(DeviceAdapter(), "no device");
    return last_line;
  }

  static inline std::string last_line;
  Calls recording;
};

TEST_F(Adapters, TheFirstThatCanDescribeItself) {
  EXPECT_EQ(Chosen({{kIntel}}), "adapter1");
  EXPECT_EQ(Chosen({{kIntel}, {kAmd}}), "adapter1");
  EXPECT_EQ(Chosen({{kAmd}, {kIntel}, {kIntel}}), "adapter1");
  EXPECT_EQ(Chosen({{kIntel, E_FAIL}, {kAmd}, {kIntel}}), "adapter2");
  EXPECT_EQ(Chosen({{kIntel, E_FAIL}, {kAmd, DXGI_ERROR_NOT_FOUND}, {kIntel}}), "adapter3");
}

TEST_F(Adapters, ThePreferredVendorWherever) {
  EXPECT_EQ(Chosen({{kPreferred}}), "adapter1");
  EXPECT_EQ(Chosen({{kPreferred}, {kIntel}}), "adapter1");
  EXPECT_EQ(Chosen({{kIntel}, {kPreferred}}), "adapter2");
  EXPECT_EQ(Chosen({{kIntel}, {kAmd}, {kPreferred}}), "adapter3");
  EXPECT_EQ(Chosen({{kIntel, E_FAIL}, {kPreferred}}), "adapter2");
}

TEST_F(Adapters, TheFirstOfTwoOfThePreferredVendor) {
  EXPECT_EQ(Chosen({{kPreferred}, {kPreferred}}), "adapter1");
  EXPECT_EQ(Chosen({{kIntel}, {kPreferred}, {kPreferred}}), "adapter2");
}

// Only S_OK counts: other success codes are passed over as failures are, though the description
// was filled in.
TEST_F(Adapters, AnAdapterWithoutADescriptionIsNeither) {
  EXPECT_EQ(Chosen({{kIntel, S_FALSE}, {kAmd}}), "adapter2");
  EXPECT_EQ(Chosen({{kPreferred, E_FAIL}, {kIntel}}), "adapter2");
  EXPECT_EQ(Chosen({{kPreferred, S_FALSE}, {kIntel}}), "adapter2");
  EXPECT_EQ(Chosen({{kIntel}, {kPreferred, E_FAIL}}), "adapter1");
  EXPECT_EQ(Chosen({{kIntel}, {kPreferred, S_FALSE}, {kPreferred}}), "adapter3");
}

TEST_F(Adapters, SoftwareMakesNoDifference) {
  EXPECT_EQ(Chosen({{kIntel, S_OK, kSoftware}, {kAmd}}), "adapter1");
  EXPECT_EQ(Chosen({{kIntel}, {kPreferred, S_OK, kSoftware}, {kPreferred}}), "adapter2");
}

TEST_F(Adapters, NeighbouringVendorsAreNotPreferred) {
  EXPECT_EQ(Chosen({{kIntel}, {0x10DD}, {0x10DF}, {0x110DE}, {0xDE10}}), "adapter1");
}

TEST_F(Adapters, NoneIsAFailure) {
  const std::string line = "Failed to find any adapter to create d3d11 device";
  EXPECT_EQ(LastLineWithout({}), line);
  EXPECT_EQ(LastLineWithout({{kIntel, E_FAIL}, {kPreferred, S_FALSE}}), line);
}

TEST_F(Adapters, TheListIsReadToItsEndUnlessThePreferredVendorIsFound) {
  Chosen({{kIntel}, {kAmd, E_FAIL}});
  EXPECT_EQ(Text(Enumeration()), Text(List(R"(
factory1.EnumAdapters1(0) = adapter1
adapter1.GetDesc1()
factory1.EnumAdapters1(1) = adapter2
adapter2.GetDesc1()
factory1.EnumAdapters1(2)
)")));
  Chosen({{kIntel}, {kPreferred}, {kAmd}});
  EXPECT_EQ(Text(Enumeration()), Text(List(R"(
factory1.EnumAdapters1(0) = adapter1
adapter1.GetDesc1()
factory1.EnumAdapters1(1) = adapter2
adapter2.GetDesc1()
)")));
}

// Any failure ends the list, not only the one that says that the list is at its end.
TEST_F(Adapters, AFailedEnumerationEndsTheList) {
  for (const Fault fault : {Fault{Fault::Kind::kResult, E_FAIL}, Fault{Fault::Kind::kNothing, S_OK},
                            Fault{Fault::Kind::kResult, DXGI_ERROR_DEVICE_REMOVED}}) {
    fake::Reset();
    fake::settings.adapters = {{kIntel}, {kPreferred}};
    fake::PlanFaults(fake::NthCallOf("EnumAdapters1", 2, fault));
    Session session;
    EXPECT_TRUE(Start(session));
    EXPECT_EQ(DeviceAdapter(), "adapter1");
    EXPECT_EQ(Text(Enumeration()), Text(List(R"(
factory1.EnumAdapters1(0) = adapter1
adapter1.GetDesc1()
factory1.EnumAdapters1(1)
)")));
    EXPECT_EQ(fake::FaultsInjected(), 1u);

    fake::PlanFaults(fake::NthCallOf("EnumAdapters1", 1, fault));
    Session other;
    EXPECT_FALSE(Start(other));
    EXPECT_EQ(DeviceAdapter(), "no device");
  }
}

// When the start is over, only the chosen adapter is held.
TEST_F(Adapters, ThoseThatAreNotKeptAreReleased) {
  Chosen({{kIntel}, {kAmd}, {kIntel}});
  EXPECT_EQ(Text(Gone()), Text(List("~adapter2\n~adapter3")));
  Chosen({{kIntel, E_FAIL}, {kAmd}, {kPreferred}});
  EXPECT_EQ(Text(Gone()), Text(List("~adapter1\n~adapter2")));
}

TEST_F(Adapters, ASecondStartKeepsTheAdapter) {
  fake::settings.adapters = {{kIntel}};
  Session session;
  ASSERT_TRUE(Start(session));
  EXPECT_EQ(DeviceAdapter(), "adapter1");

  fake::settings.adapters = {{kAmd}, {kIntel}};  // adapter2, adapter3
  ASSERT_TRUE(Start(session));
  EXPECT_EQ(DeviceAdapter(), "adapter1");
  EXPECT_EQ(Text(Gone()), Text(List("~adapter2\n~adapter3")));

  fake::settings.adapters = {};
  ASSERT_TRUE(Start(session));
  EXPECT_EQ(DeviceAdapter(), "adapter1");
}

TEST_F(Adapters, ASecondStartTakesAnAdapterOfThePreferredVendor) {
  fake::settings.adapters = {{kIntel}};
  Session session;
  ASSERT_TRUE(Start(session));

  fake::settings.adapters = {{kAmd}, {kPreferred}};  // adapter2, adapter3
  ASSERT_TRUE(Start(session));
  EXPECT_EQ(DeviceAdapter(), "adapter3");
  EXPECT_EQ(Text(Gone()), Text(List("~adapter1\n~adapter2")));

  // And keeps it when there is none any more, and takes a new one when there is.
  fake::settings.adapters = {{kAmd}};  // adapter4
  ASSERT_TRUE(Start(session));
  EXPECT_EQ(DeviceAdapter(), "adapter3");
  fake::settings.adapters = {{kPreferred}};  // adapter5
  ASSERT_TRUE(Start(session));
  EXPECT_EQ(DeviceAdapter(), "adapter5");
}

TEST_F(Adapters, AStartThatFailsAfterTheChoiceKeepsTheAdapter) {
  fake::settings.adapters = {{kIntel}};
  Session session;
  fake::PlanFaults(fake::NthCallOf("D3D11CreateDevice", 1, {Fault::Kind::kResult, E_FAIL}));
  EXPECT_FALSE(Start(session));
  fake::PlanNoFaults();
  fake::settings.adapters = {{kAmd}};
  ASSERT_TRUE(Start(session));
  EXPECT_EQ(DeviceAdapter(), "adapter1");
}

}  // namespace
}  // namespace session_test
