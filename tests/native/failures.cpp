// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "native/failures.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <optional>
#include <utility>

namespace session_test {
namespace {

using Kind = fake::Fault::Kind;

constexpr char kApiInformation[] = "Windows.Foundation.Metadata.ApiInformation";

std::vector<Step> StepsOf(const std::vector<fake::RecordedCall>& calls) {
  std::vector<Step> steps;
  std::map<std::string, uint64_t> seen;
  for (const fake::RecordedCall& call : calls) {
    if (call.can_fail) steps.push_back({call, steps.size() + 1, ++seen[call.function]});
  }
  return steps;
}

std::string Text(const fake::Fault& fault) {
  switch (fault.kind) {
    case Kind::kResult:
      return "answers " + Hex(fault.result);
    case Kind::kNothing:
      return "succeeds with nothing";
    case Kind::kResultAfterWork:
      return "does its work and answers " + Hex(fault.result);
    case Kind::kStandardException:
      return "throws a standard exception";
    case Kind::kForeignException:
      return "throws something";
  }
  return "?";
}

// What no platform does: succeed without an object where COM promises one (queries and activation;
// whether statics are agile is a mere question), or throw where the projection lets no exception
// through (a query that merely asks, weak references and what a revocation does).
bool IsImpossible(const Injection& injection) {
  if (injection.IsEmptySuccess()) {
    return injection.IsOneOf({"QueryInterface", "RoGetActivationFactory"}) &&
           !injection.Has("IAgileObject");
  }
  return injection.IsException() &&
         (injection.IsOneOf({"Resolve", "remove_FrameArrived", "remove_Closed"}) ||
          (injection.Is("QueryInterface") &&
           (injection.Has("IAgileObject") || injection.Has("IGraphicsCaptureItem") ||
            injection.Has("IDirect3D11CaptureFramePool"))));
}

// The scenario from its making to its end, after which nothing may be left of it.
template <typename Run>
void Play(const MakeScenario& make, Run run) {
  const int64_t objects = fake::LiveObjects();
  bool refusals_expected = false;
  {
    const auto scenario = make();
    scenario->Prepare();
    TakeLog();
    fake::PlanFaults(scenario->AlwaysFailing());
    run(*scenario);
    refusals_expected = scenario->ExpectsRefusals();
  }
  EXPECT_EQ(fake::LiveObjects(), objects) << "objects are left behind, or went too often";
  EXPECT_EQ(fake::HeapBytes(), 0);
  for (const std::string& refusal : fake::TakeRefusals()) {
    // A copy of nothing is beyond what may be expected.
    EXPECT_TRUE(refusals_expected && refusal.find("null") == refusal.npos) << refusal;
  }
}

}  // namespace

bool Step::IsOneOf(std::initializer_list<std::string_view> names) const {
  return std::find(names.begin(), names.end(), function) != names.end();
}

bool Step::IsOn(std::string_view kind) const {
  const std::string& object = arguments.empty() ? receiver : arguments.front();
  return receiver.starts_with(kind) || object.starts_with(kind);
}

bool Injection::IsLast() const {
  return std::none_of(steps.begin(), steps.end(), [&](const Step& other) {
    return other.function == function && other.nth > nth;
  });
}

bool Injection::IsAfter(std::string_view name, uint64_t n) const {
  return std::any_of(steps.begin(), steps.end(), [&](const Step& other) {
    return other.number < number && other.Is(name) && other.nth == n;
  });
}

bool Injection::IsNameOf(std::string_view runtime_class) const {
  // The name is made right before it is used.
  return Is("WindowsCreateStringReference") && number < steps.size() &&
         steps[number].Is("RoGetActivationFactory", runtime_class);
}

bool Injection::IsOfPropertyCheck() const {
  if (Is("RoGetActivationFactory", kApiInformation)) return true;
  if (!Is("WindowsCreateStringReference")) return Is("IsPropertyPresent");
  // Three strings: the names of class and property, and that of the statics that are asked.
  const auto user = std::find_if(steps.begin() + number, steps.end(),
                                 [](const Step& other) { return !other.is_quiet; });
  return user != steps.end() && user->Is("RoGetActivationFactory", kApiInformation);
}

uint64_t Sweep(const MakeScenario& make, const std::vector<fake::Fault>& faults) {
  std::vector<Step> steps;
  std::vector<bool> always_failing;
  {
    SCOPED_TRACE("nothing fails");
    Play(make, [&](Scenario& scenario) {
      fake::PlanFaults([&, base = scenario.AlwaysFailing()](const fake::FailableCall& call) {
        const auto fault = base ? base(call) : std::nullopt;
        always_failing.push_back(fault.has_value());
        return fault;
      });
      fake::StartRecording();
      scenario.Act();
      steps = StepsOf(fake::TakeCalls());
      fake::PlanNoFaults();
      EXPECT_EQ(steps.size(), always_failing.size());
      scenario.Check(nullptr);
    });
  }
  if (testing::Test::HasFailure()) return 0;

  uint64_t injected = 0;
  for (const fake::Fault& fault : faults) {
    for (const Step& step : steps) {
      const Injection injection{step, fault, steps};
      if (always_failing[step.number - 1] || IsImpossible(injection)) continue;
      SCOPED_TRACE("call " + std::to_string(step.number) + ", " + step.Text() + ", " + Text(fault));
      Play(make, [&](Scenario& scenario) {
        if (scenario.IsSpared(injection)) return fake::PlanNoFaults();
        bool hit = false;
        fake::PlanFaults([&, base = scenario.AlwaysFailing()](const fake::FailableCall& call) {
          const auto planned = base ? base(call) : std::nullopt;
          if (call.number != step.number) return planned;
          EXPECT_EQ(call.function, step.function);
          hit = true;
          return std::optional(fault);
        });
        scenario.Act();
        fake::PlanNoFaults();
        EXPECT_TRUE(hit);
        ++injected;
        scenario.Check(&injection);
      });
    }
  }
  return injected;
}

uint64_t SweepNew(const MakeScenario& make) {
  uint64_t failed = 0;
  for (bool fails = true; fails;) {
    SCOPED_TRACE("operator new " + std::to_string(failed + 1));
    Play(make, [&](Scenario& scenario) {
      fake::FailNew(failed + 1);
      scenario.Act();
      fails = fake::NewCalls() > failed;
      fake::FailNew(0);
      fake::PlanNoFaults();
      if (!fails) return scenario.Check(nullptr);
      ++failed;
      scenario.CheckOutOfMemory();
    });
  }
  return failed;
}

std::vector<fake::Fault> AllFaults() {
  return {
      {Kind::kResult, E_FAIL},       {Kind::kResult, DXGI_ERROR_DEVICE_REMOVED},
      {Kind::kResult, E_INVALIDARG}, {Kind::kResult, E_OUTOFMEMORY},
      {Kind::kNothing, S_OK},        {Kind::kResultAfterWork, E_ACCESSDENIED},
  };
}

std::vector<fake::Fault> Exceptions() {
  return {{Kind::kStandardException, S_OK}, {Kind::kForeignException, S_OK}};
}

LogLine WinrtException(HRESULT result) {
  return Error("Winrt exception:" + std::to_string(result));
}

LogLine RaisedInStart(const Injection& injection) {
  if (injection.fault.kind == Kind::kStandardException) {
    return Error(std::string("std exception:") + fake::kStandardExceptionText);
  }
  if (injection.fault.kind == Kind::kForeignException) return Error("unknown exception");
  // The projection raises the lack of memory as the language does.
  if (injection.fault.result == E_OUTOFMEMORY) return Error("std exception:std::bad_alloc");
  return WinrtException(injection.Result());
}

LogLine RaisedInPropertyCheck(const Injection& injection) {
  return WinrtException(injection.IsException() ? E_FAIL : injection.fault.result);
}

std::string Hex(HRESULT result) {
  char text[9];
  std::snprintf(text, sizeof(text), "%08x", static_cast<unsigned>(result));
  return text;
}

}  // namespace session_test
