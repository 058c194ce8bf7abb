// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The four switches: what they store, what they refuse, and when they reach the capture; and the
// support probe.
#include "native/host.h"

namespace session_test {
namespace {

class Switches : public SessionTest {
 protected:
  static bool CursorOf(Session& session) { return session.GetFrame().cursor_enabled; }
  // What an observer of the capture sees: the cursor, the border.
  using Drawn = std::pair<bool, bool>;
  static Drawn LastDrawn() {
    return {fake::LastSession()->cursor_captured, fake::LastSession()->border_drawn};
  }
};

TEST_F(Switches, CursorAndBorderReachALiveCaptureAtOnce) {
  Capture session;
  for (const bool on : {true, false, true, false}) {
    EXPECT_TRUE(session.EnableCursor(on));
    EXPECT_EQ(LastDrawn(), Drawn(on, !on));
    EXPECT_TRUE(session.ShowBorder(!on));
    EXPECT_EQ(LastDrawn(), Drawn(on, !on));
    EXPECT_EQ(CursorOf(session), on);
    EXPECT_TRUE(session.ShowBorder(on));
    EXPECT_EQ(LastDrawn(), Drawn(on, on));
    EXPECT_TRUE(session.ShowBorder(on));
  }
}

TEST_F(Switches, ReachACaptureThatHasClosedOrDidNotStart) {
  for (const bool starts : {true, false}) {
    Session session;
    if (!starts) FailEveryCall("StartCapture");
    ASSERT_EQ(session.Start(), starts);
    fake::PlanNoFaults();
    if (starts) fake::LastItem()->RaiseClosed();
    EXPECT_TRUE(session.EnableCursor(true));
    EXPECT_TRUE(session.ShowBorder(true));
    EXPECT_EQ(LastDrawn(), Drawn(true, true));
  }
}

TEST_F(Switches, AskThePlatformEachTime) {
  Session session;
  fake::settings.cursor_property_present = false;
  EXPECT_FALSE(session.EnableCursor(true));
  fake::settings.cursor_property_present = true;
  EXPECT_TRUE(session.EnableCursor(true));
  // A refusal keeps what was accepted before.
  fake::settings.cursor_property_present = false;
  EXPECT_FALSE(session.EnableCursor(true));
  EXPECT_TRUE(CursorOf(session));
}

TEST_F(Switches, CursorWithoutThePropertyCanOnlyBeDisabled) {
  fake::settings.cursor_property_present = false;
  Session session;
  EXPECT_FALSE(session.EnableCursor(true));
  EXPECT_FALSE(CursorOf(session));
  EXPECT_TRUE(session.EnableCursor(false));
  ASSERT_TRUE(session.Start());
  // The start leaves the platform's default.
  EXPECT_EQ(LastDrawn(), Drawn(true, false));
  // Disabling in a live capture is tried, though the platform's sessions have no such interface.
  TakeLog();
  EXPECT_TRUE(session.EnableCursor(false));
  EXPECT_EQ(TakeLog().back(), (LogLine{3, "Winrt exception:-2147467262"}));
}

TEST_F(Switches, BorderWithoutThePropertyCanOnlyBeShown) {
  fake::settings.border_property_present = false;
  Session session;
  EXPECT_FALSE(session.ShowBorder(false));
  ASSERT_TRUE(session.Start());
  EXPECT_EQ(LastDrawn(), Drawn(false, true));
  // Showing does not touch a live capture.
  TakeLog();
  EXPECT_TRUE(session.ShowBorder(true));
  EXPECT_EQ(TakeLog().size(), 1u);
  // A refusal keeps what was accepted before.
  EXPECT_FALSE(session.ShowBorder(false));
  fake::settings.border_property_present = true;
  ContinueOnNewThread();
  ASSERT_TRUE(session.Start());
  EXPECT_EQ(LastDrawn(), Drawn(false, true));
}

TEST_F(Switches, OfTwoSessionsAreIndependent) {
  Session first;
  Session second;
  EXPECT_TRUE(first.EnableCursor(true));
  EXPECT_TRUE(CursorOf(first));
  EXPECT_FALSE(CursorOf(second));
}

using SupportProbe = SessionTest;

// Nothing else is asked, so the probe needs no session and disturbs none.
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

}  // namespace
}  // namespace session_test
