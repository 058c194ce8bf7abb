// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "native/failures.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <utility>

namespace session_test {
namespace {

using Kind = fake::Fault::Kind;

constexpr char kActivateApiInformation[] =
    "RoGetActivationFactory(Windows.Foundation.Metadata.ApiInformation";

struct Line {
  std::string receiver;
  std::string function;
  std::string call;
};

// "pool1.Close() = x" is a call of Close on pool1.
Line Parse(const std::string& text) {
  const std::string whole = text.substr(0, text.rfind(')') + 1);
  const size_t bracket = whole.find('(');
  const size_t dot = whole.rfind('.', bracket);
  const size_t begin = dot == std::string::npos ? 0 : dot + 1;
  return {whole.substr(0, dot == std::string::npos ? 0 : dot), whole.substr(begin, bracket - begin),
          whole.substr(begin)};
}

// Windows Runtime strings are not written down, they would clutter the recordings.
bool IsWrittenDown(const std::string& function) {
  return !function.starts_with("Windows");
}

// Brings the functions of the failable calls together with the lines of the recording.
std::vector<Step> StepsOf(const std::vector<std::string>& functions,
                          const std::vector<std::string>& recording) {
  std::vector<Step> steps;
  auto line = recording.begin();
  for (const std::string& function : functions) {
    Step step{steps.size() + 1, function, function, ""};
    if (IsWrittenDown(function)) {
      line = std::find_if(line, recording.end(), [&](const std::string& text) {
        return Parse(text).function == function;
      });
      if (line == recording.end()) {
        ADD_FAILURE() << function << " is not in the recording";
        return steps;
      }
      const Line parsed = Parse(*line++);
      step.call = parsed.call;
      step.receiver = parsed.receiver;
    }
    steps.push_back(std::move(step));
  }
  // A string belongs to the call that takes it.
  const std::string* taker = nullptr;
  for (auto step = steps.rbegin(); step != steps.rend(); ++step) {
    if (IsWrittenDown(step->function)) {
      taker = &step->call;
    } else if (taker) {
      step->call += " for " + *taker;
    }
  }
  return steps;
}

// What is left behind when a scenario has gone.
struct Leftovers {
  int64_t objects = fake::LiveObjects();

  void Expect() const {
    EXPECT_EQ(fake::LiveObjects(), objects) << "objects are left behind, or went too often";
    EXPECT_EQ(fake::HeapBytes(), 0);
  }
};

}  // namespace

bool Injection::IsNth(uint64_t n, std::string_view beginning) const {
  if (!step.Is(beginning)) return false;
  const auto before = std::count_if(steps.begin(), steps.end(), [&](const Step& other) {
    return other.number <= step.number && other.Is(beginning);
  });
  return static_cast<uint64_t>(before) == n;
}

bool Injection::IsAfter(std::string_view beginning) const {
  const auto first = std::find_if(steps.begin(), steps.end(),
                                  [&](const Step& other) { return other.Is(beginning); });
  return first != steps.end() && step.number > first->number;
}

uint64_t Sweep(const std::function<std::unique_ptr<Scenario>()>& make,
               const std::vector<fake::Fault>& faults) {
  uint64_t injected = 0;
  std::vector<Step> steps;
  std::vector<bool> always_failing;
  {
    SCOPED_TRACE("nothing fails");
    const Leftovers leftovers;
    auto scenario = make();
    scenario->Prepare();
    TakeLog();
    fake::PlanFaults([&, base = scenario->AlwaysFailing()](const fake::FailableCall& call) {
      const auto fault = base ? base(call) : std::nullopt;
      always_failing.push_back(fault.has_value());
      return fault;
    });
    fake::StartRecording();
    scenario->Act();
    const auto recording = fake::TakeRecording();
    fake::PlanNoFaults();
    steps = StepsOf(fake::FailableFunctionsRecorded(), recording);
    EXPECT_EQ(steps.size(), always_failing.size());
    scenario->Check(nullptr);
    scenario.reset();
    leftovers.Expect();
    EXPECT_EQ(fake::TakeRefusals(), std::vector<std::string>());
  }
  if (testing::Test::HasFailure()) return 0;

  for (const fake::Fault& fault : faults) {
    for (const Step& step : steps) {
      if (always_failing[step.number - 1]) continue;
      const Injection injection{step, fault, steps};
      SCOPED_TRACE("call " + std::to_string(step.number) + ", " + step.receiver + " " + step.call +
                   ", " + Text(fault));
      const Leftovers leftovers;
      auto scenario = make();
      if (scenario->IsSpared(step, fault)) continue;
      scenario->Prepare();
      TakeLog();
      bool hit = false;
      fake::PlanFaults([&, base = scenario->AlwaysFailing()](const fake::FailableCall& call) {
        auto planned = base ? base(call) : std::nullopt;
        if (call.number == step.number) {
          EXPECT_EQ(call.function, step.function);
          hit = true;
          planned = fault;
        }
        return planned;
      });
      scenario->Act();
      fake::PlanNoFaults();
      EXPECT_TRUE(hit);
      ++injected;
      scenario->Check(&injection);
      const bool refusals_expected = scenario->ExpectsRefusals(injection);
      scenario.reset();
      leftovers.Expect();
      const auto refusals = fake::TakeRefusals();
      if (refusals_expected) {
        // A copy of nothing is beyond what may be expected.
        for (const std::string& refusal : refusals) {
          EXPECT_EQ(refusal.find("null"), refusal.npos) << refusal;
        }
      } else {
        EXPECT_EQ(refusals, std::vector<std::string>());
      }
    }
  }
  return injected;
}

uint64_t SweepNew(
    const std::function<std::unique_ptr<Scenario>()>& make,
    const std::function<void(Scenario&, const std::vector<std::string>* recording)>& check) {
  uint64_t failed = 0;
  for (bool fails = true; fails;) {
    SCOPED_TRACE("operator new " + std::to_string(failed + 1));
    const Leftovers leftovers;
    auto scenario = make();
    scenario->Prepare();
    TakeLog();
    fake::PlanFaults(scenario->AlwaysFailing());
    fake::StartRecording();
    fake::FailNew(failed + 1);
    scenario->Act();
    fails = fake::NewCalls() > failed;
    fake::FailNew(0);
    fake::PlanNoFaults();
    const auto recording = fake::TakeRecording();
    check(*scenario, fails ? &recording : nullptr);
    if (fails) ++failed;
    scenario.reset();
    leftovers.Expect();
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

bool PromisesAnObject(const Step& step) {
  return step.Is("QueryInterface(") || step.Is("RoGetActivationFactory(");
}

bool IsCalledWithoutExceptions(const Step& step) {
  return step.Is("QueryInterface(IAgileObject)") || step.Is("Resolve(") || step.Is("remove_") ||
         step.Is("QueryInterface(IGraphicsCaptureItem)") ||
         step.Is("QueryInterface(IDirect3D11CaptureFramePool)");
}

bool IsOfPropertyCheck(const Step& step) {
  return step.Is("IsPropertyPresent(") || step.Is(kActivateApiInformation) ||
         step.Is(std::string("WindowsCreateStringReference for ") + kActivateApiInformation);
}

bool IsClassString(const Injection& injection) {
  const size_t next = injection.step.number;
  return injection.step.Is("WindowsCreateStringReference for ") && next < injection.steps.size() &&
         injection.steps[next].Is("RoGetActivationFactory(");
}

LogLine WinrtException(HRESULT result) {
  return Error("Winrt exception:" + std::to_string(result));
}

LogLine RaisedInStart(const fake::Fault& fault) {
  if (fault.kind == Kind::kStandardException) {
    return Error(std::string("std exception:") + fake::kStandardExceptionText);
  }
  if (fault.kind == Kind::kForeignException) return Error("unknown exception");
  // The projection raises the lack of memory as the language does.
  if (fault.result == E_OUTOFMEMORY) return Error("std exception:std::bad_alloc");
  return WinrtException(fault.result);
}

LogLine RaisedInPropertyCheck(const fake::Fault& fault) {
  return WinrtException(IsException(fault) ? E_FAIL : fault.result);
}

std::string Hex(HRESULT result) {
  char text[9];
  std::snprintf(text, sizeof(text), "%08x", static_cast<unsigned>(result));
  return text;
}

std::vector<LogLine> operator+(std::vector<LogLine> lines, const LogLine& line) {
  lines.push_back(line);
  return lines;
}

std::vector<LogLine> operator+(std::vector<LogLine> lines, const std::vector<LogLine>& more) {
  lines.insert(lines.end(), more.begin(), more.end());
  return lines;
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

}  // namespace session_test
