// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The cursor and border switches and the support probe with each of their calls made to fail.
#include <memory>
#include <string>
#include <vector>

#include "native/failures.h"

namespace session_test {
namespace {

struct SwitchCase {
  const char* name;
  bool border;
  bool enable;
  bool live;

  friend std::ostream& operator<<(std::ostream& out, const SwitchCase& choice) {
    return out << choice.name;
  }
};

constexpr SwitchCase kCases[] = {
    {"CursorOn", false, true, false},      {"CursorOff", false, false, false},
    {"LiveCursorOn", false, true, true},   {"LiveCursorOff", false, false, true},
    {"BorderShown", true, true, false},    {"BorderHidden", true, false, false},
    {"LiveBorderShown", true, true, true}, {"LiveBorderHidden", true, false, true},
};

struct Outcome {
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

  bool IsSpared(const Step& step, const fake::Fault& fault) override {
    if (fault.kind == fake::Fault::Kind::kNothing) {
      return PromisesAnObject(step) && !step.Is("QueryInterface(IAgileObject)");
    }
    return IsException(fault) && IsCalledWithoutExceptions(step);
  }

  void Check(const Injection* injection) override {
    const Outcome outcome = OutcomeOf(injection);
    EXPECT_EQ(accepted_, outcome.accepted);
    const LogLine refused =
        Warning(case_.border ? "Failed to  hide border" : "Failed to enable cursor");
    EXPECT_EQ(TakeLog(),
              outcome.before + (outcome.accepted ? Accepted() : refused) + outcome.after);
    if (case_.live) {
      EXPECT_EQ(State(), outcome.applied ? case_.enable : !case_.enable);
      EXPECT_TRUE(session_.Running());
    }

    const bool wish = outcome.accepted ? case_.enable : !case_.enable;
    if (!case_.border) {
      EXPECT_EQ(session_.GetFrame().cursor_enabled, wish);
    }
    // The next start shows what the session remembers.
    const std::string word = wish ? "Enable " : "Disable ";
    ContinueOnNewThread();
    EXPECT_TRUE(session_.Start());
    EXPECT_EQ(TakeLog(),
              (std::vector<LogLine>{Info("WgcCaptureSession::Start"),
                                    Info("Wgc cursor " + (case_.border ? "Disable " : word)),
                                    Info("Wgc border " + (case_.border ? word : "Disable ")),
                                    Info("Wgc session started.")}));
    EXPECT_EQ(State(), wish);
    // Once more, on an untouched platform.
    EXPECT_TRUE(Switch(case_.enable));
    EXPECT_EQ(TakeLog(), std::vector<LogLine>{Accepted()});
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

  Outcome OutcomeOf(const Injection* injection) const {
    Outcome outcome;
    // Whether statics may be kept is a mere question.
    if (!injection || injection->step.Is("QueryInterface(IAgileObject)")) return outcome;

    const fake::Fault& fault = injection->fault;
    std::vector<LogLine> lines;
    if (!injection->IsEmptySuccess()) lines = {RaisedInPropertyCheck(fault)};
    if (!IsOfPropertyCheck(injection->step)) {
      // The setting itself. The wish is kept for the next start.
      EXPECT_TRUE(case_.live);
      outcome.applied = injection->IsAfterWork() && injection->step.Is("put_");
      outcome.after = lines;
      return outcome;
    }
    if (injection->IsEmptySuccess() && IsClassString(*injection)) {
      lines = {WinrtException(REGDB_E_CLASSNOTREG)};
    }
    if (injection->IsAfter("IsPropertyPresent(")) {
      // The border asks a second time, before it touches the capture session.
      EXPECT_TRUE(case_.border);
      outcome.applied = false;
      outcome.after = lines;
      return outcome;
    }
    outcome.before = lines;
    // Nothing is stored. Only showing the border is accepted without the answer.
    outcome.accepted = outcome.applied = case_.border && case_.enable;
    return outcome;
  }

  const SwitchCase case_;
  Session session_;
  bool accepted_ = false;
};

class SwitchFailures : public SessionTest, public testing::WithParamInterface<SwitchCase> {
 protected:
  static auto Make() {
    return [] { return std::make_unique<SwitchScenario>(GetParam()); };
  }
};

TEST_P(SwitchFailures, OfEachCall) {
  const auto injected = Sweep(Make(), AllFaults());
  // A cursor that is switched off ahead of start is nobody's business but the session's.
  EXPECT_EQ(injected == 0, GetParam().name == std::string("CursorOff"));
}

TEST_P(SwitchFailures, ExceptionsOfEachCall) {
  const auto injected = Sweep(Make(), Exceptions());
  EXPECT_EQ(injected == 0, GetParam().name == std::string("CursorOff"));
}

TEST_P(SwitchFailures, NothingIsAllocated) {
  EXPECT_EQ(SweepNew(Make(), [](Scenario& scenario, const auto*) { scenario.Check(nullptr); }), 0u);
}

INSTANTIATE_TEST_SUITE_P(, SwitchFailures, testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

class ProbeScenario : public Scenario {
 public:
  void Act() override { supported_ = is_wgc_session_supported(); }

  bool IsSpared(const Step& step, const fake::Fault& fault) override {
    if (fault.kind == fake::Fault::Kind::kNothing) {
      return PromisesAnObject(step) && !step.Is("QueryInterface(IAgileObject)");
    }
    return IsException(fault) && IsCalledWithoutExceptions(step);
  }

  void Check(const Injection* injection) override {
    EXPECT_EQ(supported_, !injection || injection->step.Is("QueryInterface(IAgileObject)"));
    EXPECT_EQ(TakeLog(), std::vector<LogLine>());
    EXPECT_TRUE(is_wgc_session_supported());
  }

 private:
  bool supported_ = false;
};

class ProbeFailures : public SessionTest {};

TEST_F(ProbeFailures, OfEachCall) {
  EXPECT_GT(Sweep([] { return std::make_unique<ProbeScenario>(); }, AllFaults()), 0u);
}

TEST_F(ProbeFailures, ExceptionsOfEachCall) {
  EXPECT_GT(Sweep([] { return std::make_unique<ProbeScenario>(); }, Exceptions()), 0u);
}

TEST_F(ProbeFailures, NothingIsAllocated) {
  EXPECT_EQ(SweepNew([] { return std::make_unique<ProbeScenario>(); },
                     [](Scenario& scenario, const auto*) { scenario.Check(nullptr); }),
            0u);
}

}  // namespace
}  // namespace session_test
