// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The four switches: what they store, what they refuse, and when they reach the capture.
#include "native/frames.h"

namespace session_test {
namespace {

using fake::Fault;
using Log = std::vector<LogLine>;

class Switches : public SessionTest {
 protected:
  static bool CursorOf(Session& session) { return session.GetFrame().cursor_enabled; }
};

constexpr char kCursorQuestion[] =
    "IsPropertyPresent(Windows.Graphics.Capture.GraphicsCaptureSession, IsCursorCaptureEnabled)";
constexpr char kBorderQuestion[] =
    "IsPropertyPresent(Windows.Graphics.Capture.GraphicsCaptureSession, IsBorderRequired)";

TEST_F(Switches, AreOffAtFirst) {
  Session session;
  EXPECT_FALSE(CursorOf(session));
  ASSERT_TRUE(session.Start());
  EXPECT_FALSE(fake::LastSession()->cursor_captured);
  EXPECT_FALSE(fake::LastSession()->border_drawn);
  // Buffer output, without detection.
  fake::StartRecording();
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
  const Poll poll = session.GetFrame();
  EXPECT_EQ(LinesWith("CreateBuffer", fake::TakeRecording()), std::vector<std::string>());
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48).pixels);
}

TEST_F(Switches, SetBeforeStartAreAppliedByIt) {
  Session session;
  EXPECT_TRUE(wgc_enable_cursor(session.handle(), true));
  EXPECT_TRUE(wgc_show_border(session.handle(), true));
  EXPECT_TRUE(CursorOf(session));
  ASSERT_TRUE(session.Start());
  EXPECT_TRUE(fake::LastSession()->cursor_captured);
  EXPECT_TRUE(fake::LastSession()->border_drawn);
}

TEST_F(Switches, OneOfCursorAndBorderLeavesTheOtherAlone) {
  Session cursor_only;
  EXPECT_TRUE(wgc_enable_cursor(cursor_only.handle(), true));
  ASSERT_TRUE(cursor_only.Start());
  EXPECT_TRUE(fake::LastSession()->cursor_captured);
  EXPECT_FALSE(fake::LastSession()->border_drawn);

  ContinueOnNewThread();
  Session border_only;
  EXPECT_TRUE(wgc_show_border(border_only.handle(), true));
  ASSERT_TRUE(border_only.Start());
  EXPECT_FALSE(fake::LastSession()->cursor_captured);
  EXPECT_TRUE(fake::LastSession()->border_drawn);
  EXPECT_FALSE(CursorOf(border_only));
}

TEST_F(Switches, OfCursorAndBorderReachALiveCaptureAtOnce) {
  Session session;
  ASSERT_TRUE(session.Start());
  for (const bool on : {true, false, false, true}) {
    EXPECT_TRUE(wgc_enable_cursor(session.handle(), on));
    EXPECT_EQ(fake::LastSession()->cursor_captured, on);
    EXPECT_TRUE(wgc_show_border(session.handle(), on));
    EXPECT_EQ(fake::LastSession()->border_drawn, on);
    EXPECT_EQ(CursorOf(session), on);
  }
}

TEST_F(Switches, StillReachACaptureWhoseItemHasClosed) {
  Session session;
  ASSERT_TRUE(session.Start());
  fake::LastItem()->RaiseClosed();
  EXPECT_TRUE(wgc_enable_cursor(session.handle(), true));
  EXPECT_TRUE(wgc_show_border(session.handle(), true));
  EXPECT_TRUE(fake::LastSession()->cursor_captured);
  EXPECT_TRUE(fake::LastSession()->border_drawn);
}

TEST_F(Switches, ReachACaptureSessionThatDidNotStart) {
  Session session;
  fake::PlanFaults(fake::EveryCallOf("StartCapture", {Fault::Kind::kResult, E_FAIL}));
  ASSERT_FALSE(session.Start());
  EXPECT_TRUE(wgc_enable_cursor(session.handle(), true));
  EXPECT_TRUE(fake::LastSession()->cursor_captured);
}

TEST_F(Switches, AskThePlatformWhatItsSessionsCanDo) {
  Session session;
  fake::StartRecording();
  wgc_enable_cursor(session.handle(), true);
  std::vector<std::string> recording = fake::TakeRecording();
  EXPECT_EQ(LinesWith(kCursorQuestion, recording).size(), 1u);
  EXPECT_EQ(LinesWith("IsPropertyPresent", recording).size(), 1u);

  // Turning the cursor off asks nothing; the border asks before and after, whatever is wanted.
  fake::StartRecording();
  wgc_enable_cursor(session.handle(), false);
  EXPECT_EQ(LinesWith("IsPropertyPresent", fake::TakeRecording()), std::vector<std::string>());
  for (const bool show : {true, false}) {
    fake::StartRecording();
    wgc_show_border(session.handle(), show);
    recording = fake::TakeRecording();
    EXPECT_EQ(LinesWith(kBorderQuestion, recording).size(), 2u);
    EXPECT_EQ(LinesWith("IsPropertyPresent", recording).size(), 2u);
  }
}

TEST_F(Switches, KeepNoAnswerOfThePlatform) {
  Session session;
  fake::settings.cursor_property_present = false;
  EXPECT_FALSE(wgc_enable_cursor(session.handle(), true));
  fake::settings.cursor_property_present = true;
  EXPECT_TRUE(wgc_enable_cursor(session.handle(), true));
}

class SwitchesWithoutCursorProperty : public Switches {
 protected:
  void SetUp() override {
    Switches::SetUp();
    fake::settings.cursor_property_present = false;
  }
};

TEST_F(SwitchesWithoutCursorProperty, RefuseToEnableAndAcceptToDisable) {
  Session session;
  EXPECT_FALSE(wgc_enable_cursor(session.handle(), true));
  EXPECT_FALSE(CursorOf(session));
  EXPECT_TRUE(wgc_enable_cursor(session.handle(), false));
  EXPECT_FALSE(CursorOf(session));
}

TEST_F(SwitchesWithoutCursorProperty, ARefusalKeepsWhatWasAcceptedBefore) {
  Session session;
  fake::settings.cursor_property_present = true;
  ASSERT_TRUE(wgc_enable_cursor(session.handle(), true));
  fake::settings.cursor_property_present = false;
  EXPECT_FALSE(wgc_enable_cursor(session.handle(), true));
  EXPECT_TRUE(CursorOf(session));
  EXPECT_TRUE(wgc_enable_cursor(session.handle(), false));
  EXPECT_FALSE(CursorOf(session));
}

TEST_F(SwitchesWithoutCursorProperty, TheStartLeavesThePlatformsDefault) {
  Session session;
  fake::StartRecording();
  ASSERT_TRUE(session.Start());
  EXPECT_EQ(LinesWith("put_IsCursorCaptureEnabled", fake::TakeRecording()),
            std::vector<std::string>());
  EXPECT_TRUE(fake::LastSession()->cursor_captured);
  EXPECT_FALSE(fake::LastSession()->border_drawn);
}

TEST_F(SwitchesWithoutCursorProperty, DisablingALiveCaptureIsTriedAndAnswersTrue) {
  Session session;
  ASSERT_TRUE(session.Start());
  TakeLog();
  fake::StartRecording();
  EXPECT_TRUE(wgc_enable_cursor(session.handle(), false));
  // The platform's sessions have no such interface.
  EXPECT_EQ(LinesWith("QueryInterface(IGraphicsCaptureSession2)", fake::TakeRecording()).size(),
            1u);
  EXPECT_EQ(TakeLog(), (Log{{1, "Set disable cursor"}, {3, "Winrt exception:-2147467262"}}));
}

class SwitchesWithoutBorderProperty : public Switches {
 protected:
  void SetUp() override {
    Switches::SetUp();
    fake::settings.border_property_present = false;
  }
};

TEST_F(SwitchesWithoutBorderProperty, RefuseToHideAndAcceptToShow) {
  Session session;
  EXPECT_FALSE(wgc_show_border(session.handle(), false));
  EXPECT_TRUE(wgc_show_border(session.handle(), true));
}

TEST_F(SwitchesWithoutBorderProperty, ARefusalKeepsWhatWasAcceptedBefore) {
  Session session;
  ASSERT_TRUE(wgc_show_border(session.handle(), true));
  EXPECT_FALSE(wgc_show_border(session.handle(), false));
  fake::settings.border_property_present = true;
  ASSERT_TRUE(session.Start());
  EXPECT_TRUE(fake::LastSession()->border_drawn);
}

TEST_F(SwitchesWithoutBorderProperty, TheStartLeavesThePlatformsDefault) {
  Session session;
  fake::StartRecording();
  ASSERT_TRUE(session.Start());
  EXPECT_EQ(LinesWith("put_IsBorderRequired", fake::TakeRecording()), std::vector<std::string>());
  EXPECT_TRUE(fake::LastSession()->border_drawn);
  EXPECT_FALSE(fake::LastSession()->cursor_captured);
}

TEST_F(SwitchesWithoutBorderProperty, ShowingDoesNotTouchALiveCapture) {
  Session session;
  ASSERT_TRUE(session.Start());
  TakeLog();
  fake::StartRecording();
  EXPECT_TRUE(wgc_show_border(session.handle(), true));
  const std::vector<std::string> recording = fake::TakeRecording();
  EXPECT_EQ(LinesWith("IGraphicsCaptureSession3", recording), std::vector<std::string>());
  EXPECT_EQ(LinesWith("put_IsBorderRequired", recording), std::vector<std::string>());
  EXPECT_EQ(TakeLog(), (Log{{1, "Set show border"}}));
}

struct CheckFailure {
  const char* name;
  const char* function;
  Fault fault;
  const char* line;
};

class FailedPropertyCheck : public Switches, public testing::WithParamInterface<CheckFailure> {};

TEST_P(FailedPropertyCheck, IsLoggedAndCountsAsUnsupported) {
  Session session;
  fake::PlanFaults(fake::EveryCallOf(GetParam().function, GetParam().fault));
  EXPECT_FALSE(wgc_enable_cursor(session.handle(), true));
  EXPECT_FALSE(wgc_show_border(session.handle(), false));
  EXPECT_TRUE(wgc_show_border(session.handle(), true));
  const LogLine error{3, GetParam().line};
  EXPECT_EQ(TakeLog(), (Log{error,
                            {2, "Failed to enable cursor"},
                            error,
                            {2, "Failed to  hide border"},
                            error,
                            {1, "Set show border"},
                            error}));
}

TEST_P(FailedPropertyCheck, DoesNotEndAStart) {
  Session session;
  // The capture's own classes are activated as usual.
  fake::PlanFaults([checks = false](const fake::FailableCall& call) mutable {
    checks = checks || call.function == "CreateCaptureSession";
    const bool capture = call.function == "put_IsCursorCaptureEnabled";
    return checks && !capture && call.function == GetParam().function
               ? std::optional(GetParam().fault)
               : std::nullopt;
  });
  EXPECT_TRUE(session.Start());
  const LogLine error{3, GetParam().line};
  EXPECT_EQ(TakeLog(), (Log{{1, "WgcCaptureSession::Start"},
                            error,
                            {1, "IsCursorToggleSupported: no"},
                            error,
                            {1, "IsBorderRequiredSupported: no"},
                            {1, "Wgc session started."}}));
  EXPECT_TRUE(fake::LastSession()->cursor_captured);
  EXPECT_TRUE(fake::LastSession()->border_drawn);
}

INSTANTIATE_TEST_SUITE_P(Kinds, FailedPropertyCheck,
                         testing::Values(CheckFailure{"Result",
                                                      "IsPropertyPresent",
                                                      {Fault::Kind::kResult, E_ACCESSDENIED},
                                                      "Winrt exception:-2147024891"},
                                         CheckFailure{"OutOfMemory",
                                                      "IsPropertyPresent",
                                                      {Fault::Kind::kResult, E_OUTOFMEMORY},
                                                      "Winrt exception:-2147024882"},
                                         CheckFailure{"ForeignException",
                                                      "IsPropertyPresent",
                                                      {Fault::Kind::kForeignException},
                                                      "Winrt exception:-2147467259"},
                                         CheckFailure{"NoMetadata",
                                                      "RoGetActivationFactory",
                                                      {Fault::Kind::kResult, REGDB_E_CLASSNOTREG},
                                                      "Winrt exception:-2147221164"}),
                         [](const auto& info) { return info.param.name; });

TEST_F(Switches, AnswerTrueWhenALiveCaptureRefuses) {
  Session session;
  ASSERT_TRUE(session.Start());
  TakeLog();
  fake::PlanFaults([](const fake::FailableCall& call) {
    return call.function.starts_with("put_")
               ? std::optional<Fault>({Fault::Kind::kResult, E_ACCESSDENIED})
               : std::nullopt;
  });
  EXPECT_TRUE(wgc_enable_cursor(session.handle(), true));
  EXPECT_TRUE(CursorOf(session));
  EXPECT_TRUE(wgc_show_border(session.handle(), true));
  EXPECT_EQ(TakeLog(), (Log{{1, "Set enable cursor"},
                            {3, "Winrt exception:-2147024891"},
                            {1, "Set show border"},
                            {3, "Winrt exception:-2147024891"}}));
}

TEST_F(Switches, DirtyRectLogsAlsoWhenNothingChanges) {
  Session session;
  session.DirtyRect(true);
  session.DirtyRect(true);
  session.DirtyRect(false);
  session.DirtyRect(false);
  EXPECT_EQ(TakeLog(), (Log{{1, "Set dirtyRect enable"},
                            {1, "Set dirtyRect enable"},
                            {1, "Set dirtyRect disable"},
                            {1, "Set dirtyRect disable"}}));
}

TEST_F(Switches, DirtyRectTakesEffectWithTheNextFrame) {
  Session session;
  ASSERT_TRUE(session.Start());
  for (const bool on : {false, true, false}) {
    session.DirtyRect(on);
    fake::StartRecording();
    ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
    session.GetFrame();
    // Only a detecting session keeps the frame for the next comparison: a copy more.
    const size_t copies = LinesWith("CopyResource", fake::TakeRecording()).size();
    EXPECT_EQ(copies > 1, on);
  }
}

TEST_F(Switches, CaptureToTextureNeverLogs) {
  Session session;
  session.ToTexture(true);
  session.ToTexture(true);
  session.ToTexture(false);
  EXPECT_EQ(TakeLog(), Log());
}

TEST_F(Switches, CaptureToTextureTakesEffectWithTheNextFrameAndPoll) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
  EXPECT_TRUE(session.GetFrame().available);
  session.ToTexture(true);
  EXPECT_FALSE(session.GetFrame().available);
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2)));
  const Poll poll = session.GetFrame();
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(TexturePixels(poll).pixels, Pattern(64, 48, 2).pixels);
}

TEST_F(Switches, OfTwoSessionsAreApart) {
  Session first;
  Session second;
  EXPECT_TRUE(wgc_enable_cursor(first.handle(), true));
  EXPECT_TRUE(CursorOf(first));
  EXPECT_FALSE(CursorOf(second));
}

}  // namespace
}  // namespace session_test
