// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Failure sweeps: something is done once untouched, then again and again with its first, second,
// ... last call into the platform made to fail, and judged by rules each time.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "native/host.h"

namespace session_test {

// A call of the library that can fail.
struct Step {
  uint64_t number = 0;  // among these calls, counted from 1
  std::string function;
  // As it reads in a recording, without receiver and result. A call that is not written down, such
  // as the making of a string, reads "function for" the call that comes next.
  std::string call;
  std::string receiver;  // "pool1"; empty for a flat function

  bool Is(std::string_view beginning) const { return call.starts_with(beginning); }
  bool Has(std::string_view part) const { return call.find(part) != call.npos; }
};

struct Injection {
  Step step;
  fake::Fault fault;
  // All calls of the untouched run, this one included.
  const std::vector<Step>& steps;

  bool IsEmptySuccess() const { return fault.kind == fake::Fault::Kind::kNothing; }
  bool IsAfterWork() const { return fault.kind == fake::Fault::Kind::kResultAfterWork; }
  // Whether this is the n-th of the calls that begin so, counted from 1.
  bool IsNth(uint64_t n, std::string_view beginning) const;
  // Whether it comes after the first call that begins so.
  bool IsAfter(std::string_view beginning) const;
};

class Scenario {
 public:
  virtual ~Scenario() = default;

  // What leads up to it.
  virtual void Prepare() {}
  // What is watched and disturbed.
  virtual void Act() = 0;
  // Judges and goes on with an untouched platform. Null: nothing failed.
  virtual void Check(const Injection* injection) = 0;

  // Calls that fail each time, whichever else does.
  virtual fake::FaultPlan AlwaysFailing() { return {}; }
  // Steps that are left alone.
  virtual bool IsSpared(const Step&, const fake::Fault&) { return false; }
  // Whether what Direct3D drops without an answer is part of it.
  virtual bool ExpectsRefusals(const Injection&) { return false; }
};

// Runs the scenario with each fault in each call, each time anew, until it runs through untouched.
// Nothing may ever be left behind. Answers how many faults there were.
uint64_t Sweep(const std::function<std::unique_ptr<Scenario>()>& make,
               const std::vector<fake::Fault>& faults);

// The same with the first, second, ... operator new of the library; `check` instead of the
// scenario's own, with the recording up to the end of the action.
uint64_t SweepNew(
    const std::function<std::unique_ptr<Scenario>()>& make,
    const std::function<void(Scenario&, const std::vector<std::string>* recording)>& check);

// Failures as real platforms report them, then the two that they should not: success without a
// result, and failure of something that has been done.
std::vector<fake::Fault> AllFaults();
std::vector<fake::Fault> Exceptions();
inline bool IsException(const fake::Fault& fault) {
  return fault.kind == fake::Fault::Kind::kStandardException ||
         fault.kind == fake::Fault::Kind::kForeignException;
}

// Where success without an object is out of COM's question, and nobody looks for it: queries and
// activation.
bool PromisesAnObject(const Step& step);
// Where the projection may not let an exception through: a query that merely asks, weak references
// and what a revocation does.
bool IsCalledWithoutExceptions(const Step& step);

// Whether it is one of the calls that ask whether the capture session has a property.
bool IsOfPropertyCheck(const Step& step);
// Whether the check finds the name of the class empty when the string comes out empty: of the three
// strings, the platform looks at the class's first.
bool IsClassString(const Injection& injection);

// "Winrt exception:-2147467259", or what there is to say about an exception.
LogLine RaisedInStart(const fake::Fault& fault);
LogLine RaisedInPropertyCheck(const fake::Fault& fault);
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
std::vector<LogLine> operator+(std::vector<LogLine> lines, const LogLine& line);
std::vector<LogLine> operator+(std::vector<LogLine> lines, const std::vector<LogLine>& more);

std::string Text(const fake::Fault& fault);

}  // namespace session_test
