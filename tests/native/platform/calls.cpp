// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "native/platform/calls.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <stdexcept>
#include <unordered_map>
#include <utility>

namespace fake {
namespace {

// Relaxed everywhere: the counters must not order the threads that the thread sanitizer watches.
constexpr auto kRelaxed = std::memory_order_relaxed;

// What an allocation looks at is never destroyed: the program's own libraries still allocate after
// the last destructor, when they write coverage counters for instance.
FaultPlan& fault_plan = *new FaultPlan;
std::atomic<uint64_t> failable_calls = 0;
std::atomic<uint64_t> faults_injected = 0;
std::atomic<uint64_t> faults_injected_ever = 0;

std::atomic<bool> recording = false;
std::atomic<bool> recording_references = false;
std::mutex recording_mutex;
std::vector<RecordedCall> recorded_calls;

std::mutex bookkeeping_mutex;
std::vector<std::string> refusals;
std::unordered_map<void*, size_t>& heap_blocks = *new std::unordered_map<void*, size_t>;
int64_t heap_bytes = 0;
int64_t heap_peak = 0;
std::atomic<int64_t> live_objects = 0;

// How many objects of a kind have been named. Without a lock: every thread names objects all the
// time, and a lock would order what the thread sanitizer is to find unordered.
struct NamedKind {
  std::atomic<const char*> kind = nullptr;
  std::atomic<int> given = 0;
};
NamedKind named_kinds[64];

thread_local int outside_library = 0;
thread_local uint64_t failing_new = 0;
thread_local uint64_t new_calls = 0;

bool NewFails() {
  if (outside_library > 0) return false;
  if (++new_calls != failing_new) return false;
  faults_injected_ever.fetch_add(1, kRelaxed);
  return true;
}

}  // namespace

void PlanFaults(FaultPlan plan) {
  fault_plan = std::move(plan);
  failable_calls = 0;
  faults_injected = 0;
}

uint64_t FaultsInjected() {
  return faults_injected.load(kRelaxed);
}

uint64_t FaultsInjectedEver() {
  return faults_injected_ever.load(kRelaxed);
}

FaultPlan NthCall(uint64_t number, Fault fault) {
  return [=](const FailableCall& call) {
    return call.number == number ? std::optional(fault) : std::nullopt;
  };
}

FaultPlan CallsOf(std::string function, std::vector<uint64_t> numbers, Fault fault) {
  return [=, seen = uint64_t{0}](const FailableCall& call) mutable {
    const bool fails = call.function == function &&
                       std::find(numbers.begin(), numbers.end(), ++seen) != numbers.end();
    return fails ? std::optional(fault) : std::nullopt;
  };
}

FaultPlan EveryCallOf(std::string function, Fault fault) {
  return [=](const FailableCall& call) {
    return call.function == function ? std::optional(fault) : std::nullopt;
  };
}

std::string RecordedCall::Text() const {
  if (!note.empty()) return note;
  std::string text = receiver.empty() ? "" : receiver + ".";
  text += function + "(";
  for (const std::string& argument : arguments) {
    if (&argument != &arguments.front()) text += ", ";
    text += argument;
  }
  return text + ")" + (made.empty() ? "" : " = " + made);
}

void StartRecording(bool references) {
  recorded_calls.clear();
  recording_references = references;
  recording = true;
}

std::vector<RecordedCall> TakeCalls() {
  recording = false;
  recording_references = false;
  return std::exchange(recorded_calls, {});
}

std::vector<std::string> TakeRecording() {
  std::vector<std::string> lines;
  for (const RecordedCall& call : TakeCalls()) {
    if (!call.is_quiet) lines.push_back(call.Text());
  }
  return lines;
}

void Note(const std::string& line) {
  if (!IsRecording()) return;
  const std::lock_guard lock(recording_mutex);
  recorded_calls.push_back({.note = line});
}

std::vector<std::string> TakeRefusals() {
  const std::lock_guard lock(bookkeeping_mutex);
  return std::exchange(refusals, {});
}

int64_t LiveObjects() {
  return live_objects.load(kRelaxed);
}

int64_t HeapBytes() {
  const std::lock_guard lock(bookkeeping_mutex);
  return heap_bytes;
}

int64_t HeapPeak() {
  const std::lock_guard lock(bookkeeping_mutex);
  return heap_peak;
}

void ResetHeapPeak() {
  const std::lock_guard lock(bookkeeping_mutex);
  heap_peak = heap_bytes;
}

void FailNew(uint64_t number) {
  failing_new = number;
  new_calls = 0;
}

uint64_t NewCalls() {
  return new_calls;
}

OutsideLibrary::OutsideLibrary() {
  ++outside_library;
}

OutsideLibrary::~OutsideLibrary() {
  --outside_library;
}

void ResetCalls() {
  PlanNoFaults();
  TakeCalls();
  TakeRefusals();
  FailNew(0);
  const std::lock_guard lock(bookkeeping_mutex);
  for (NamedKind& entry : named_kinds) entry.given = 0;
  heap_peak = heap_bytes;
}

bool IsRecording() {
  return recording.load(kRelaxed);
}

bool IsRecordingReferences() {
  return recording_references.load(kRelaxed) && outside_library == 0;
}

void Refuse(const std::string& line) {
  const std::lock_guard lock(bookkeeping_mutex);
  // A host that goes on for days with a broken engine must not fill the memory.
  if (refusals.size() < 1000) refusals.push_back(line);
}

std::string NewName(const char* kind) {
  for (NamedKind& entry : named_kinds) {
    const char* known = nullptr;
    if (entry.kind.compare_exchange_strong(known, kind, kRelaxed) ||
        std::strcmp(known, kind) == 0) {
      return kind + std::to_string(entry.given.fetch_add(1, kRelaxed) + 1);
    }
  }
  std::abort();
}

void CountObject(int change) {
  live_objects.fetch_add(change, kRelaxed);
}

bool Call::Fails() {
  const uint64_t number = failable_calls.fetch_add(1, kRelaxed) + 1;
  if (line_ != SIZE_MAX) {
    const std::lock_guard lock(recording_mutex);
    // The recording may have been taken while the call lasted.
    if (line_ < recorded_calls.size()) recorded_calls[line_].can_fail = true;
  }
  if (!fault_plan) return false;
  fault_ = fault_plan({number, function_});
  if (!fault_) return false;
  faults_injected.fetch_add(1, kRelaxed);
  faults_injected_ever.fetch_add(1, kRelaxed);
  switch (fault_->kind) {
    case Fault::Kind::kStandardException:
      throw std::runtime_error(kStandardExceptionText);
    case Fault::Kind::kForeignException:
      throw 42;
    case Fault::Kind::kResultAfterWork:
      return false;
    default:
      return true;
  }
}

void Call::Made(std::string_view name) {
  if (line_ == SIZE_MAX) return;
  const std::lock_guard lock(recording_mutex);
  if (line_ < recorded_calls.size()) recorded_calls[line_].made = name;
}

void Call::Record(RecordedCall&& call) {
  const std::lock_guard lock(recording_mutex);
  line_ = recorded_calls.size();
  recorded_calls.push_back(std::move(call));
}

}  // namespace fake

// The linker sends the library's uses of these functions here (--wrap). The standard library's and
// the sanitizers' own uses stay as they are.
extern "C" {

void* __real_malloc(size_t size);
void __real_free(void* block);
void* __real__Znwm(size_t size);
void* __real__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t& tag);

void* __wrap_malloc(size_t size) {
  fake::Call call("", "malloc", size);
  if (call.Fails()) return nullptr;
  void* const block = __real_malloc(size);
  if (block != nullptr) {
    // New memory holds anything; a host must never see it.
    std::fill_n(static_cast<unsigned char*>(block), size, 0xA5);
    const std::lock_guard lock(fake::bookkeeping_mutex);
    fake::heap_blocks[block] = size;
    fake::heap_bytes += static_cast<int64_t>(size);
    fake::heap_peak = std::max(fake::heap_peak, fake::heap_bytes);
  }
  return block;
}

void __wrap_free(void* block) {
  {
    const fake::OutsideLibrary outside;
    const std::lock_guard lock(fake::bookkeeping_mutex);
    if (const auto found = fake::heap_blocks.find(block); found != fake::heap_blocks.end()) {
      fake::Note("free(" + std::to_string(found->second) + ")");
      fake::heap_bytes -= static_cast<int64_t>(found->second);
      fake::heap_blocks.erase(found);
    }
  }
  __real_free(block);
}

void* __wrap__Znwm(size_t size) {
  if (fake::NewFails()) throw std::bad_alloc();
  return __real__Znwm(size);
}

void* __wrap__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t& tag) {
  if (fake::NewFails()) return nullptr;
  return __real__ZnwmRKSt9nothrow_t(size, tag);
}

}  // extern "C"
