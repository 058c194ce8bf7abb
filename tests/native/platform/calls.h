// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The native tests' platform: what every call into it goes through. A call is written down, counts
// towards the faults that a test has planned, and may so be made to fail. Objects count themselves.
//
// Everything here may be used from several threads at once, except that a test plans faults and
// starts a recording only while no other thread is inside the platform.
#pragma once

#include <windows.h>

#include <unknwn.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace fake {

// What a call does in place of its work.
struct Fault {
  enum class Kind {
    kResult,           // answers `result` and leaves no object behind
    kNothing,          // answers S_OK and leaves no object, no data and no text behind
    kResultAfterWork,  // does its work, then answers `result` all the same
    kStandardException,
    kForeignException,  // of a type that nobody knows
  };

  Kind kind = Kind::kResult;
  HRESULT result = S_OK;
};

inline constexpr char kStandardExceptionText[] = "the platform's own words";

// A call that can fail: one that answers an HRESULT, or that allocates.
struct FailableCall {
  uint64_t number;  // counted from 1 since the plan was made
  std::string_view function;
};

// Decides for each failable call; an empty answer lets it do its work. Called from every thread
// that is inside the platform.
using FaultPlan = std::function<std::optional<Fault>(const FailableCall&)>;

// Replaces the plan and starts counting from 1. An empty plan only counts.
void PlanFaults(FaultPlan plan);
inline void PlanNoFaults() {
  PlanFaults({});
}

// How many calls have failed since the plan was made.
uint64_t FaultsInjected();
// The faults of all plans, and of FailNew, since the program began.
uint64_t FaultsInjectedEver();

// The usual plans.
FaultPlan NthCall(uint64_t number, Fault fault);
// numbers: among the function's calls, counted from 1.
FaultPlan CallsOf(std::string function, std::vector<uint64_t> numbers, Fault fault);
FaultPlan EveryCallOf(std::string function, Fault fault);

// A call as it was made.
struct RecordedCall {
  std::string receiver = {};  // the object's name, "pool1"; empty for a flat function
  std::string function = {};
  std::vector<std::string> arguments = {};  // objects by their names
  std::string made = {};                    // the names of what it made
  bool can_fail = false;
  // Strings and the like, which would clutter a list of calls.
  bool is_quiet = false;
  std::string note = {};  // in place of a call

  // As in C++, with the object in front: "pool1.Close()"; ends in " = name" if it made something.
  std::string Text() const;
};

// From now on each call is recorded, until TakeRecording or TakeCalls. Destructions are noted as
// "~name". With `references`, the library's AddRef and Release calls are noted, too.
void StartRecording(bool references = false);
std::vector<RecordedCall> TakeCalls();
// The same as text, without the quiet calls.
std::vector<std::string> TakeRecording();

// Adds a line of the test's own to the recording.
void Note(const std::string& line);

// What the library asked for that a real platform would refuse without an answer (a copy between
// textures of different size, for instance). Emptied by the call.
std::vector<std::string> TakeRefusals();

// Objects of the platform that are alive, and bytes of the C heap that the library holds.
int64_t LiveObjects();
int64_t HeapBytes();
// The largest number of such bytes held at once since the last ResetHeapPeak.
int64_t HeapPeak();
void ResetHeapPeak();

// The library's next `number`-th operator new on this thread throws std::bad_alloc (its nothrow
// form answers null); 0 turns that off. What the platform and OutsideLibrary allocate is not
// counted.
void FailNew(uint64_t number);
// How often the library called operator new on this thread since FailNew.
uint64_t NewCalls();

// Marks code that the library calls but that is not the library's, such as a log callback.
class OutsideLibrary {
 public:
  OutsideLibrary();
  ~OutsideLibrary();
  OutsideLibrary(const OutsideLibrary&) = delete;
  OutsideLibrary& operator=(const OutsideLibrary&) = delete;
};

// Forgets plans, recordings, refusals and names, for the next test.
void ResetCalls();

// From here on for the platform itself.

bool IsRecording();
// Whether a reference that is counted now is to be written down: the library counts it, not the
// platform on its own account.
bool IsRecordingReferences();
void Refuse(const std::string& line);
std::string NewName(const char* kind);
void CountObject(int change);
std::string InterfaceName(REFIID id);

// A method that the library is not known to need: fails the test.
template <typename Result>
Result Unused(const char* method) {
  Refuse(std::string(method) + ": not foreseen");
  if constexpr (std::is_same_v<Result, HRESULT>) {
    return E_NOTIMPL;
  } else if constexpr (!std::is_void_v<Result>) {
    return Result();
  }
}

// How an object reads as an argument.
std::string NameOf(::IUnknown* object);

template <typename T>
void Print(std::ostream& out, const T& value) {
  if constexpr (std::is_invocable_v<T>) {
    out << value();
  } else if constexpr (std::is_same_v<T, GUID>) {
    out << InterfaceName(value);
  } else if constexpr (std::is_convertible_v<T, ::IUnknown*>) {
    out << NameOf(value);
  } else {
    out << value;
  }
}

// One call of the library into the platform, for as long as it lasts.
class Call {
 public:
  // receiver: the object's name, empty for a flat function. Of a function among the arguments the
  // result is recorded.
  template <typename... Arguments>
  Call(std::string_view receiver, const char* function, const Arguments&... arguments)
      : function_(function) {
    if (IsRecording()) {
      Record({std::string(receiver), function, {Printed(arguments)...}});
    }
  }

  struct Quiet {};
  Call(Quiet, const char* function) : function_(function) {
    if (IsRecording()) Record({.function = function, .is_quiet = true});
  }

  // Whether the call is to fail; counts it among the failable ones. Throws when that is the fault.
  bool Fails();
  // The same, after clearing what the call answers with.
  template <typename T>
  bool Fails(T* answer) {
    *answer = {};
    return Fails();
  }
  // The answer of a call that fails.
  HRESULT Result() const { return fault_->result; }
  bool FailsAfterWork() const { return fault_ && fault_->kind == Fault::Kind::kResultAfterWork; }
  // The answer of a call that has done its work.
  HRESULT Done() const { return FailsAfterWork() ? fault_->result : S_OK; }

  // Completes the record with what the call made.
  void Made(std::string_view name);
  template <typename T, typename Interface>
  HRESULT Made(T* object, Interface** answer) {
    *answer = object;
    Made(object->Name());
    return Done();
  }

 private:
  template <typename T>
  static std::string Printed(const T& argument) {
    std::ostringstream out;
    Print(out, argument);
    return out.str();
  }
  void Record(RecordedCall&& call);

  OutsideLibrary outside_;
  const char* function_;
  std::optional<Fault> fault_;
  size_t line_ = SIZE_MAX;
};

}  // namespace fake
