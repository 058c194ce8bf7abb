// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-check/conductor.h"

#include <algorithm>
#include <utility>

#include "common/error.h"
#include "common/text.h"

namespace quill_apps {

namespace {

using std::chrono::steady_clock;

// For the process to start and load the DLL.
constexpr double kStartLimit = 10.0;
// For the process to end by itself once all its results are here.
constexpr double kEndLimit = 1.0;

double SecondsSince(steady_clock::time_point time) {
  return std::chrono::duration<double>(steady_clock::now() - time).count();
}

}  // namespace

Conductor::Conductor(Settings settings)
    : settings_(std::move(settings)), start_(steady_clock::now()) {}

double Conductor::Elapsed() const {
  return SecondsSince(start_);
}

void Conductor::Run(std::deque<Group> groups) {
  std::string reason;
  while (!groups.empty() || !running_.empty()) {
    StartWhatFits(groups);
    constexpr DWORD kPauseMs = 10;
    if (WaitForSingleObject(settings_.interrupted, kPauseMs) == WAIT_OBJECT_0) {
      reason = "interrupted";
      break;
    }
    if (Elapsed() > settings_.limit) {
      reason = Format("not finished: the time of %.0f s for all checks was up", settings_.limit);
      break;
    }
    for (auto worker = running_.begin(); worker != running_.end();) {
      const auto next = std::next(worker);
      if (!Attend(*worker)) {
        Group rest = std::move(worker->group);
        running_.erase(worker);
        if (!rest.checks.empty()) groups.push_front(std::move(rest));
      }
      worker = next;
    }
    settings_.on_wait(Elapsed());
  }
  for (const Running& worker : running_) groups.push_back(worker.group);
  running_.clear();
  for (const Group& group : groups) {
    for (const int number : group.checks) Skip(number, reason);
  }
}

void Conductor::StartWhatFits(std::deque<Group>& groups) {
  while (!groups.empty() && running_.size() < settings_.workers) {
    const bool company = !running_.empty();
    if (company && (groups.front().alone || running_.front().group.alone)) return;
    Group group = std::move(groups.front());
    groups.pop_front();
    try {
      Start(group);
    } catch (const ToolError& error) {
      // The report tells, and the other checks have their chance.
      Finding finding;
      finding.Fail(error.what());
      Keep(ResultJson(group.checks.front(), finding, 0.0));
      group.checks.erase(group.checks.begin());
      if (!group.checks.empty()) groups.push_front(std::move(group));
    }
  }
}

void Conductor::Start(const Group& group) {
  const bool slot_0_is_taken = !running_.empty() && running_.front().slot == 0;
  const int slot = slot_0_is_taken ? 1 : 0;
  const WorkerTask task{group.checks, slot, settings_.lose_device};
  running_.emplace_back(group, task);
}

bool Conductor::Attend(Running& worker) {
  // Asked before reading, so that a worker's last line is read before its end is noticed.
  const bool has_ended = worker.process.has_ended();
  for (const std::string& line : worker.process.ReadLines()) TakeLine(worker, line);
  if (worker.group.checks.empty()) {
    if (has_ended) return false;
    // How a process ends is a check of its own, so the others do not wait for it.
    return SecondsSince(worker.begin) < kEndLimit;
  }
  if (has_ended) {
    FailCurrent(worker, worker.crash.empty()
                            ? Format("its process ended in the middle, code 0x%08lx",
                                     worker.process.exit_code())
                            : "its process crashed: " + worker.crash);
    return false;
  }
  const double limit = Stretched(
      worker.check_has_begun ? FindCheck(worker.group.checks.front()).limit : kStartLimit);
  if (SecondsSince(worker.begin) < limit) return true;
  worker.process.Kill();
  FailCurrent(worker, Format("not finished after %.0f s", limit));
  return false;
}

void Conductor::TakeLine(Running& worker, const std::string& line) {
  Json json = Json::parse(line, nullptr, false);
  // Something that a driver in the process has printed.
  if (!json.is_object()) return;
  if (json.contains("crash")) {
    worker.crash = json.at("crash");
    return;
  }
  if (json.contains("log")) {
    worker.log.push_back(std::move(json.at("log")));
    return;
  }
  if (json.contains("note")) {
    worker.notes.push_back(std::move(json.at("note")));
    return;
  }
  worker.notes.clear();
  if (json.contains("begin")) worker.log = Json::array();
  worker.begin = steady_clock::now();
  worker.check_has_begun = json.contains("begin");
  if (worker.check_has_begun || worker.group.checks.empty()) return;
  worker.group.checks.erase(worker.group.checks.begin());
  json["log"] = std::exchange(worker.log, Json::array());
  Keep(std::move(json));
}

void Conductor::FailCurrent(Running& worker, const std::string& why) {
  const int number = worker.group.checks.front();
  worker.group.checks.erase(worker.group.checks.begin());
  Finding finding;
  finding.Fail(why);
  Json result = ResultJson(number, finding, SecondsSince(worker.begin) * 1e3);
  // What it found before is a part of the result.
  for (Json& note : worker.notes) result.at("notes").push_back(std::move(note));
  result["log"] = std::exchange(worker.log, Json::array());
  Keep(std::move(result));
}

void Conductor::Skip(int number, const std::string& reason) {
  Finding finding;
  finding.Skip(reason);
  Keep(ResultJson(number, finding, 0.0));
}

void Conductor::Keep(Json result) {
  if (!result.contains("log")) result["log"] = Json::array();
  settings_.on_result(result);
  const int number = result.at("number");
  results_.insert_or_assign(number, std::move(result));
}

}  // namespace quill_apps
