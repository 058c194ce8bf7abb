// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Start, stop, the cursor and border switches and the support probe, with each of their calls made
// to fail.
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "native/failures.h"
#include "native/session_state.h"

namespace session_test {
namespace {

const std::vector<LogLine> kStopLines = {Info("Try to exit wgc thread"), Info("Wgc exit.")};

// Start.

struct StartCase {
  const char* name;
  bool monitor;
  bool cursor;
  bool border;
  bool properties_present;
};

// What becomes of a start in which one call fails.
struct StartOutcome {
  // The line that ends it; without one it goes on.
  std::optional<LogLine> end;
  // A property that cannot be asked for counts as absent.
  bool cursor_unknown = false;
  bool border_unknown = false;
  std::optional<LogLine> property_line;
  // What a start that goes on leaves undone.
  bool cursor_unset = false;
  bool border_unset = false;
  bool no_frames = false;
  bool no_closed = false;
  bool no_detection = false;
};

StartOutcome Ends(const LogLine& line) {
  StartOutcome outcome;
  outcome.end = line;
  return outcome;
}

// Failures that are logged as "... hr:" and the result, which are no exceptions.
std::optional<std::string> ReportOf(const Injection& injection) {
  if (injection.Is("CreateDXGIFactory1")) return "Failed to create dxgi factory1, hr:";
  if (injection.Is("D3D11CreateDevice")) return "Failed to create d3d11 device,hr:";
  if (injection.Is("QueryInterface", "IDXGIDevice")) {
    return "Failed to QueryInterface[IDXGIDevice]. hr:";
  }
  if (injection.Is("CreateDirect3D11DeviceFromDXGIDevice")) {
    return "Failed to call " + injection.function + ", hr:";
  }
  if (injection.IsOneOf({"CreateForWindow", "CreateForMonitor"})) {
    return "Failed to call IGraphicsCaptureItemInterop::" + injection.function + ", hr:";
  }
  return std::nullopt;
}

StartOutcome OutcomeOf(const Injection& injection) {
  const bool nothing = injection.IsEmptySuccess();
  StartOutcome outcome;
  // Whether statics may be kept is a mere question.
  if (injection.Is("QueryInterface", "IAgileObject")) return outcome;
  if (nothing && injection.IsOneOf({"CreateForWindow", "CreateForMonitor"})) {
    return Ends(Error("No window or monitor to capture"));
  }
  if (const auto report = ReportOf(injection); report && !injection.IsException()) {
    return Ends(Error(*report + Hex(injection.Result())));
  }
  if (injection.Is("EnumAdapters1") || (injection.Is("GetDesc1") && !nothing)) {
    // The second enumeration is to end the list.
    if (injection.Is("EnumAdapters1") && injection.nth > 1) return outcome;
    return Ends(Error("Failed to find any adapter to create d3d11 device"));
  }
  if (injection.Is("CreateComputeShader")) {
    // Of the three programs detection asks only for the last one; it is not made after a failure.
    // One that is made all the same is as good as any.
    outcome.no_detection = !(injection.IsAfterWork() && injection.nth == 3);
    return outcome;
  }
  if (injection.IsOfPropertyCheck()) {
    // The border is asked for when the cursor has its answer.
    (injection.IsAfter("IsPropertyPresent") ? outcome.border_unknown : outcome.cursor_unknown) =
        true;
    if (!nothing) {
      outcome.property_line = RaisedInPropertyCheck(injection);
    } else if (injection.IsNameOf("Windows.Foundation.Metadata.ApiInformation")) {
      outcome.property_line = WinrtException(REGDB_E_CLASSNOTREG);
    }
    return outcome;
  }
  if (!nothing) return Ends(RaisedInStart(injection));

  // No class has an empty name, and no pool is empty.
  if (injection.IsNameOf("Windows.Graphics.Capture.GraphicsCaptureItem") ||
      injection.IsNameOf("Windows.Graphics.Capture.Direct3D11CaptureFramePool")) {
    return Ends(WinrtException(REGDB_E_CLASSNOTREG));
  }
  if (injection.Is("get_Size")) return Ends(WinrtException(E_INVALIDARG));
  if (injection.IsOneOf({"Create", "CreateCaptureSession"})) {
    return Ends(WinrtException(E_POINTER));
  }
  outcome.cursor_unset = injection.Is("put_IsCursorCaptureEnabled");
  outcome.border_unset = injection.Is("put_IsBorderRequired");
  outcome.no_frames = injection.IsOneOf({"add_FrameArrived", "StartCapture"});
  outcome.no_closed = injection.Is("add_Closed");
  return outcome;
}

class StartScenario : public Scenario {
 public:
  explicit StartScenario(const StartCase& start) : start_(start) {
    fake::settings.cursor_property_present = start.properties_present;
    fake::settings.border_property_present = start.properties_present;
    if (start.monitor) {
      session_.emplace(kMonitor);
    } else {
      session_.emplace(kWindow);
    }
  }

  void Prepare() override {
    if (start_.cursor) wgc_enable_cursor(session_->handle(), true);
    if (start_.border) wgc_show_border(session_->handle(), true);
  }

  void Act() override { started_ = session_->Start(); }

  // What comes before the set-up are plain functions of DXGI and Direct3D, which throw nothing.
  bool IsSpared(const Injection& injection) override {
    return injection.IsException() &&
           injection.IsOneOf({"CreateDXGIFactory1", "EnumAdapters1", "GetDesc1",
                              "D3D11CreateDevice", "CreateComputeShader"});
  }

  void Check(const Injection* injection) override {
    Check(injection ? OutcomeOf(*injection) : StartOutcome(), injection);
  }

  // The handlers of the events are made once the properties are set.
  void CheckOutOfMemory() override { Check(Ends(Error("std exception:std::bad_alloc")), nullptr); }

 private:
  void Check(const StartOutcome& outcome, const Injection* injection) {
    ExpectLog(LinesOf(outcome, injection));
    EXPECT_EQ(started_, !outcome.end);
    EXPECT_EQ(session_->Running(), !outcome.end);
    EXPECT_FALSE(IsExitRequested(session_->handle()));
    const Poll before = session_->GetFrame();
    EXPECT_FALSE(before.available);
    EXPECT_EQ(before.frame, kUntouched);
    EXPECT_EQ(before.width, 0u);
    EXPECT_EQ(before.height, 0u);
    EXPECT_EQ(before.cursor_enabled, start_.cursor);

    if (outcome.end) {
      if (injection && injection->Is("D3D11CreateDevice") && !injection->IsAfterWork()) {
        EXPECT_EQ(wgc_get_device(session_->handle()), nullptr);
      }
      // Nothing of the failed start is in the way of the next.
      ContinueOnNewThread();
      EXPECT_TRUE(session_->Start());
      ExpectLog(LinesOf({}, nullptr));
    }
    CheckRunning(*session_, outcome.end ? StartOutcome() : outcome);
    TakeLog();
    session_->Destroy();
    ExpectLog(kStopLines);

    Session other;
    EXPECT_TRUE(other.Start());
    CheckRunning(other, {});
  }

  std::vector<LogLine> LinesOf(const StartOutcome& outcome, const Injection* injection) const {
    std::vector<LogLine> lines = {Info("WgcCaptureSession::Start")};
    // nth: of the questions. The properties are set right after their lines.
    const auto add_property = [&](uint64_t nth, bool unknown, const char* absent,
                                  const std::string& name, bool on) {
      if (unknown && outcome.property_line) lines.push_back(*outcome.property_line);
      if (outcome.end && injection && !injection->IsAfter("IsPropertyPresent", nth)) return;
      const bool present = start_.properties_present && !unknown;
      lines.push_back(Info(present ? name + (on ? "Enable " : "Disable ") : absent));
    };
    add_property(1, outcome.cursor_unknown, "IsCursorToggleSupported: no", "Wgc cursor ",
                 start_.cursor);
    add_property(2, outcome.border_unknown, "IsBorderRequiredSupported: no", "Wgc border ",
                 start_.border);
    lines.push_back(outcome.end.value_or(Info("Wgc session started.")));
    return lines;
  }

  void CheckRunning(Session& session, const StartOutcome& outcome) {
    EXPECT_TRUE(session.Running());
    EXPECT_FALSE(IsExitRequested(session.handle()));
    const bool owned = &session == &*session_;
    const auto* const capture = fake::LastSession();
    ASSERT_NE(capture, nullptr);
    // The platform captures the cursor and draws the border unless it is told otherwise.
    const bool absent = !start_.properties_present;
    EXPECT_EQ(capture->cursor_captured,
              absent || outcome.cursor_unknown || outcome.cursor_unset || (owned && start_.cursor));
    EXPECT_EQ(capture->border_drawn,
              absent || outcome.border_unknown || outcome.border_unset || (owned && start_.border));

    session.DirtyRect(true);
    const auto first = Pattern(64, 48, 1);
    auto second = first;
    second.At(3, 5) ^= 0xFF;
    for (const reference::Image& picture : {first, second}) {
      fake::LastPool()->Deliver(picture);
      const Poll poll = session.GetFrame();
      EXPECT_EQ(poll.available, !outcome.no_frames);
      if (!poll.available) return;
      EXPECT_EQ(fake::LastPool()->HandlerResult(), S_OK);
      EXPECT_EQ(Pixels(poll).pixels, picture.pixels);
    }
    const auto changed = reference::DiffOf(first, second).area;
    EXPECT_EQ(session.Ratio(), outcome.no_detection ? 1.0f : reference::Ratio(changed, 64, 48));

    TakeLog();
    EXPECT_EQ(fake::LastItem()->HasHandler(), !outcome.no_closed);
    fake::LastItem()->RaiseClosed();
    EXPECT_EQ(session.Running(), outcome.no_closed);
    EXPECT_EQ(IsExitRequested(session.handle()), !outcome.no_closed);
    EXPECT_EQ(TakeLog().size(), outcome.no_closed ? 0u : 1u);
  }

  const StartCase start_;
  std::optional<Session> session_;
  bool started_ = false;
};

// Stop.

// The system's text for a code; the platform of these tests knows two.
std::string SystemText(HRESULT result) {
  if (result == E_ACCESSDENIED) return "Access denied.";
  return result == E_INVALIDARG ? "Invalid parameter." : "";
}

std::vector<LogLine> FailedStop(const LogLine& line) {
  return {kStopLines.front(), line, kStopLines.back()};
}

// A session that captures and holds a frame. The test keeps what a platform may keep, too.
class StopScenario : public Scenario {
 public:
  void Prepare() override {
    EXPECT_TRUE(session_.Start());
    session_.DirtyRect(true);
    EXPECT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
    EXPECT_TRUE(session_.GetFrame().available);
    item_.copy_from(fake::LastItem());
    pool_.copy_from(fake::LastPool());
    capture_.copy_from(fake::LastSession());
  }

  void Act() override { session_.Destroy(); }

  void Check(const Injection* injection) override {
    const bool closes =
        injection && (injection->Is("QueryInterface", "IClosable") || injection->Is("Close"));
    const bool closes_pool = closes && injection->IsOn("pool");
    const bool closes_capture = closes && injection->IsOn("session");
    const bool fails = closes && !injection->IsEmptySuccess();
    const bool undone =
        injection && !(injection->IsAfterWork() && !injection->Is("QueryInterface"));

    ExpectLog(fails ? FailedStop(LineOf(*injection)) : kStopLines);
    EXPECT_EQ(pool_->IsClosed(), !(closes_pool && undone));
    // What comes after a failure is left out.
    EXPECT_EQ(capture_->IsClosed(), !(closes_capture && undone) && !(closes_pool && fails));
    // A source that refuses to let its handler go has nobody to tell.
    const bool revokes = undone && !closes;
    EXPECT_EQ(pool_->HasHandler(),
              revokes && (IsNthResolve(*injection, 1) || IsOf(*injection, "pool")));
    EXPECT_EQ(item_->HasHandler(),
              revokes && (IsNthResolve(*injection, 2) || IsOf(*injection, "item")));
  }

 private:
  static LogLine LineOf(const Injection& injection) {
    if (injection.IsException()) return Error("Exception catched: " + Hex(E_FAIL));
    // Not a Windows Runtime error but the language's.
    if (injection.fault.result == E_OUTOFMEMORY) {
      return Error("Exception catched: " + Hex(E_OUTOFMEMORY));
    }
    return Error("Exception catced " + SystemText(injection.fault.result));
  }

  // The first of the two weak references leads to the pool.
  static bool IsNthResolve(const Injection& injection, uint64_t n) {
    return injection.Is("Resolve") && injection.nth == n;
  }
  static bool IsOf(const Injection& injection, std::string_view kind) {
    return injection.receiver.starts_with(kind);
  }

  winrt::com_ptr<fake::CaptureItem> item_;
  winrt::com_ptr<fake::FramePool> pool_;
  winrt::com_ptr<fake::CaptureSession> capture_;
  Session session_;
};

// A session whose pool cannot be closed, for a reason that has a text.
class RefusedStopScenario : public Scenario {
 public:
  void Prepare() override { EXPECT_TRUE(session_.Start()); }

  fake::FaultPlan AlwaysFailing() override {
    return fake::EveryCallOf("Close", {fake::Fault::Kind::kResult, E_INVALIDARG});
  }

  void Act() override { session_.Destroy(); }

  // Only what becomes of the text is of interest.
  bool IsSpared(const Injection& injection) override {
    return !injection.Is("WindowsCreateString");
  }

  // The line stays when the text cannot be had.
  void Check(const Injection* injection) override {
    ExpectLog(FailedStop(Error("Exception catced " + (injection ? "" : SystemText(E_INVALIDARG)))));
  }
  void CheckOutOfMemory() override { ExpectLog(FailedStop(Error("Exception catced "))); }

 private:
  Session session_;
};

// The switches.

struct SwitchCase {
  bool border;
  bool enable;
  bool live;
};

struct SwitchOutcome {
  bool accepted = true;
  bool applied = true;          // to the capture session that is live
  std::vector<LogLine> before;  // logged ahead of the switch's own line
  std::vector<LogLine> after;
};

class SwitchScenario : public Scenario {
 public:
  explicit SwitchScenario(const SwitchCase& choice) : case_(choice) {}

  void Prepare() override {
    // From the opposite.
    EXPECT_TRUE(Switch(!case_.enable));
    if (case_.live) {
      EXPECT_TRUE(session_.Start());
      EXPECT_EQ(State(), !case_.enable);
    }
  }

  void Act() override { accepted_ = Switch(case_.enable); }

  void Check(const Injection* injection) override {
    const SwitchOutcome outcome = OutcomeOf(injection);
    EXPECT_EQ(accepted_, outcome.accepted);
    std::vector<LogLine> lines = outcome.before;
    lines.push_back(outcome.accepted ? Accepted()
                                     : Warning(case_.border ? "Failed to  hide border"
                                                            : "Failed to enable cursor"));
    lines.insert(lines.end(), outcome.after.begin(), outcome.after.end());
    ExpectLog(lines);
    if (case_.live) {
      EXPECT_EQ(State(), outcome.applied ? case_.enable : !case_.enable);
      EXPECT_TRUE(session_.Running());
    }
    const bool wish = outcome.accepted ? case_.enable : !case_.enable;
    if (!case_.border) {
      EXPECT_EQ(session_.GetFrame().cursor_enabled, wish);
    }
    // The next start shows what the session remembers.
    ContinueOnNewThread();
    EXPECT_TRUE(session_.Start());
    TakeLog();
    EXPECT_EQ(State(), wish);
    // Once more, on an untouched platform.
    EXPECT_TRUE(Switch(case_.enable));
    ExpectLog({Accepted()});
    EXPECT_EQ(State(), case_.enable);
  }

 private:
  bool Switch(bool enable) {
    return case_.border ? wgc_show_border(session_.handle(), enable)
                        : wgc_enable_cursor(session_.handle(), enable);
  }

  bool State() const {
    return case_.border ? fake::LastSession()->border_drawn : fake::LastSession()->cursor_captured;
  }

  LogLine Accepted() const {
    return Info(case_.border ? (case_.enable ? "Set show border" : "Set hide border")
                             : (case_.enable ? "Set enable cursor" : "Set disable cursor"));
  }

  SwitchOutcome OutcomeOf(const Injection* injection) const {
    SwitchOutcome outcome;
    // Whether statics may be kept is a mere question.
    if (!injection || injection->Is("QueryInterface", "IAgileObject")) return outcome;

    std::vector<LogLine> lines;
    if (!injection->IsEmptySuccess()) {
      lines = {RaisedInPropertyCheck(*injection)};
    } else if (injection->IsNameOf("Windows.Foundation.Metadata.ApiInformation")) {
      lines = {WinrtException(REGDB_E_CLASSNOTREG)};
    }
    if (injection->IsOfPropertyCheck() && !injection->IsAfter("IsPropertyPresent")) {
      // Nothing is stored. Only showing the border is accepted without the answer.
      outcome.before = lines;
      outcome.accepted = outcome.applied = case_.border && case_.enable;
      return outcome;
    }
    // The wish is kept for the next start: the setting itself has failed, or the border's second
    // question, which comes before the capture session is touched.
    outcome.after = lines;
    outcome.applied = injection->IsAfterWork() && injection->function.starts_with("put_");
    return outcome;
  }

  const SwitchCase case_;
  Session session_;
  bool accepted_ = false;
};

class ProbeScenario : public Scenario {
 public:
  void Act() override { supported_ = is_wgc_session_supported(); }

  void Check(const Injection* injection) override {
    EXPECT_EQ(supported_, !injection || injection->Is("QueryInterface", "IAgileObject"));
    ExpectLog({});
    EXPECT_TRUE(is_wgc_session_supported());
  }

 private:
  bool supported_ = false;
};

struct Action {
  std::string name;
  MakeScenario make;
  bool has_calls = true;
  bool allocates = false;

  friend std::ostream& operator<<(std::ostream& out, const Action& action) {
    return out << action.name;
  }
};

std::vector<Action> Actions() {
  std::vector<Action> actions = {
      {"Stop", [] { return std::make_unique<StopScenario>(); }},
      {"RefusedStop", [] { return std::make_unique<RefusedStopScenario>(); }, true, true},
      {"Probe", [] { return std::make_unique<ProbeScenario>(); }},
  };
  for (const StartCase& start : {StartCase{"StartOfWindowWithBorder", false, false, true, true},
                                 StartCase{"StartOfMonitorWithCursor", true, true, false, true},
                                 StartCase{"StartWithoutProperties", false, false, false, false}}) {
    actions.push_back(
        {start.name, [=] { return std::make_unique<StartScenario>(start); }, true, true});
  }
  for (const bool border : {false, true}) {
    for (const bool enable : {false, true}) {
      for (const bool live : {false, true}) {
        const SwitchCase choice{border, enable, live};
        // A cursor that is switched off ahead of start is nobody's business but the session's.
        actions.push_back({std::string(live ? "Live" : "") + (border ? "Border" : "Cursor") +
                               (enable ? "On" : "Off"),
                           [=] { return std::make_unique<SwitchScenario>(choice); },
                           border || enable || live});
      }
    }
  }
  return actions;
}

class Failures : public SessionTest, public testing::WithParamInterface<Action> {};

TEST_P(Failures, OfEachCall) {
  EXPECT_EQ(Sweep(GetParam().make, AllFaults()) > 0, GetParam().has_calls);
}

// The platform's objects may be other programs' too; the library stops whatever they throw.
TEST_P(Failures, ExceptionsOfEachCall) {
  EXPECT_EQ(Sweep(GetParam().make, Exceptions()) > 0, GetParam().has_calls);
}

TEST_P(Failures, OfEachAllocation) {
  EXPECT_EQ(SweepNew(GetParam().make) > 0, GetParam().allocates);
}

INSTANTIATE_TEST_SUITE_P(, Failures, testing::ValuesIn(Actions()),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace session_test
