// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Failure sweeps: something is done once untouched, then again and again with its first, second,
// ... last call into the platform made to fail, and judged by rules each time.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "native/host.h"

namespace session_test {

// A call of the library that can fail, among all those of the untouched run.
struct Step : fake::RecordedCall {
  uint64_t number = 0;  // among these calls, counted from 1
  uint64_t nth = 0;     // the same among the calls of its function

  // argument: the first one; any when empty.
  bool Is(std::string_view name, std::string_view argument = {}) const {
    return function == name && (argument.empty() || Has(argument));
  }
  bool IsOneOf(std::initializer_list<std::string_view> names) const;
  bool Has(std::string_view argument) const {
    return !arguments.empty() && arguments.front() == argument;
  }
  // Whether it is made on an object of this kind ("pool"), or with one as its first argument.
  bool IsOn(std::string_view kind) const;
};

struct Injection : Step {
  fake::Fault fault;
  const std::vector<Step>& steps;

  bool IsEmptySuccess() const { return fault.kind == fake::Fault::Kind::kNothing; }
  bool IsAfterWork() const { return fault.kind == fake::Fault::Kind::kResultAfterWork; }
  bool IsException() const {
    return fault.kind == fake::Fault::Kind::kStandardException ||
           fault.kind == fake::Fault::Kind::kForeignException;
  }
  // What a caller that looks for the object, too, takes it for.
  HRESULT Result() const { return IsEmptySuccess() ? E_POINTER : fault.result; }
  // Whether no later call is of the same function.
  bool IsLast() const;
  // Whether it comes after the n-th call of this function.
  bool IsAfter(std::string_view name, uint64_t n = 1) const;
  // Whether it asks if the capture session has a property.
  bool IsOfPropertyCheck() const;
  // Whether it makes the string by which this class is activated.
  bool IsNameOf(std::string_view runtime_class) const;
};

class Scenario {
 public:
  virtual ~Scenario() = default;

  // Sets the scenario up.
  virtual void Prepare() {}
  // Does what is recorded, and what fails.
  virtual void Act() = 0;
  // Judges and goes on with an untouched platform. Null: nothing failed.
  virtual void Check(const Injection* injection) = 0;
  // Judges after an operator new that failed.
  virtual void CheckOutOfMemory() { Check(nullptr); }

  // Calls that fail each time, whichever else does.
  virtual fake::FaultPlan AlwaysFailing() { return {}; }
  // Calls that the sweep does not fail, besides those that cannot fail so on a real platform.
  virtual bool IsSpared(const Injection&) { return false; }
  // Whether the scenario makes calls that Direct3D drops without an answer.
  virtual bool ExpectsRefusals() { return false; }
};

using MakeScenario = std::function<std::unique_ptr<Scenario>()>;

// Runs the scenario with each fault in each call, each time anew. Nothing may ever be left behind.
// Answers how many faults there were.
uint64_t Sweep(const MakeScenario& make, const std::vector<fake::Fault>& faults);

// The same with the first, second, ... operator new of the library.
uint64_t SweepNew(const MakeScenario& make);

// Failures as real platforms report them, then the two that they should not: success without a
// result, and failure of something that has been done.
std::vector<fake::Fault> AllFaults();
std::vector<fake::Fault> Exceptions();

// "Winrt exception:-2147467259", or what there is to say about an exception.
LogLine RaisedInStart(const Injection& injection);
LogLine RaisedInPropertyCheck(const Injection& injection);
LogLine WinrtException(HRESULT result);
std::string Hex(HRESULT result);
inline LogLine Error(const std::string& text) {
  return {WGC_LOG_ERROR, text};
}
inline LogLine Warning(const std::string& text) {
  return {WGC_LOG_WARNING, text};
}
inline LogLine Info(const std::string& text) {
  return {WGC_LOG_INFO, text};
}
inline void ExpectLog(const std::vector<LogLine>& lines) {
  EXPECT_EQ(TakeLog(), lines);
}

}  // namespace session_test
