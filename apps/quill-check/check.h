// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <chrono>
#include <exception>
#include <functional>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "common/library.h"
#include "common/log_sink.h"
#include "common/pixels.h"

namespace quill_apps {

// In the order in which one outweighs the other: the verdict of a check is that of its gravest
// part.
enum class Verdict {
  kSkip,  // could not be tried
  kInfo,  // a fact of the platform that nobody promised
  kPass,
  kWarn,  // works, but the figure is unusual
  kFail,  // a promise is broken
};

// "PASS"
const char* VerdictName(Verdict verdict);

struct Note {
  Verdict verdict;
  std::string text;
};

// What one check has found out. For the thread of the check only.
class Finding {
 public:
  Finding() = default;
  // on_note is called for each note at once: a check may crash or hang after it.
  explicit Finding(std::function<void(const Note&)> on_note) : on_note_(std::move(on_note)) {}

  // One part of the check: one clear sentence with its figure.
  void Add(Verdict verdict, std::string text);
  void Pass(std::string text) { Add(Verdict::kPass, std::move(text)); }
  void Warn(std::string text) { Add(Verdict::kWarn, std::move(text)); }
  void Fail(std::string text) { Add(Verdict::kFail, std::move(text)); }
  void Info(std::string text) { Add(Verdict::kInfo, std::move(text)); }
  void Skip(std::string text) { Add(Verdict::kSkip, std::move(text)); }

  // Adds what another finding has, but for what passed there.
  void AddAllButPasses(const Finding& other);

  // The figure that tells that the user or another program has disturbed a part: see Judge.
  static constexpr char kDisturbed[] = "disturbed";

  // Every figure behind the sentences, for the JSON report: times in ms, sizes in pixels or bytes.
  void Figure(const char* name, nlohmann::ordered_json value) { figures_[name] = std::move(value); }

  // A picture of one of this program's own windows for the report; never one of the desktop.
  void Picture(std::string name, const PixelView& view);

  Verdict verdict() const;
  const std::vector<Note>& notes() const { return notes_; }
  const nlohmann::ordered_json& figures() const { return figures_; }

  struct NamedPicture {
    std::string name;
    std::string data_uri;
  };
  const std::vector<NamedPicture>& pictures() const { return pictures_; }

 private:
  std::vector<Note> notes_;
  nlohmann::ordered_json figures_ = nlohmann::ordered_json::object();
  std::vector<NamedPicture> pictures_;
  std::function<void(const Note&)> on_note_;
};

// What a check works with.
struct CheckContext {
  const Library& library;
  int slot;          // 0 or 1: windows of two workers at the same time must not overlap
  bool lose_device;  // --tdr: the user agreed to lose the graphics device
  Finding& finding;
};

struct Check {
  int number;
  const char* name;     // "first frame"
  const char* promise;  // one sentence
  double limit;         // seconds; then the check has failed
  // Runs on a thread of its own, which has started no session and may start one. The process holds
  // the multithreaded apartment. A ToolError is a failure of the check.
  void (*run)(CheckContext& context);
};

// In the order of their numbers.
std::span<const Check> AllChecks();
// Number 0 describes the machine for the head of the report; its figures are the description.
const Check& FindCheck(int number);

// Runs task on a thread of its own, as a session's whole life must be, and hands on its exception.
template <typename Task>
void OnFreshThread(Task task) {
  std::exception_ptr error;
  std::thread([&] {
    try {
      task();
    } catch (...) {
      error = std::current_exception();
    }
  }).join();
  if (error) std::rethrow_exception(error);
}

// Asks every millisecond until the answer is true; false when it has not come within seconds.
template <typename Condition>
bool Await(double seconds, Condition condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

// Milliseconds since start.
inline double MillisecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
      .count();
}

// Wine has no capture service, border, protected windows or HDR of its own: what only Windows can
// answer is skipped there.
bool IsWine();

// A limit that only guards. Wine draws on the processor, so it gets twice the time.
inline double Stretched(double seconds) {
  return IsWine() ? 2 * seconds : seconds;
}

}  // namespace quill_apps
