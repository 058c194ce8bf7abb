// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <chrono>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "quill-check/worker_process.h"

namespace quill_apps {

// Checks that one worker runs, one after the other.
struct Group {
  std::vector<int> checks;
  bool alone;  // nothing else may run meanwhile: it measures time or needs the whole desktop
};

// Runs groups of checks in worker processes, one or two at a time, and keeps every result. A check
// whose worker crashes or runs out of time has failed; another worker goes on with the rest of its
// group.
class Conductor {
 public:
  using Json = nlohmann::ordered_json;

  // interrupted: an event. limit: seconds for everything. on_result is called for each result as it
  // comes, on_wait a few times a second.
  struct Settings {
    HANDLE interrupted;
    size_t workers;  // at a time
    double limit;
    bool lose_device;
    std::function<void(const Json& result)> on_result;
    std::function<void(double seconds)> on_wait;
  };
  explicit Conductor(Settings settings);

  // Returns when all groups are done, the time is up, or the run is interrupted. What did not run
  // is skipped with the reason. A worker that cannot be started fails its first check.
  void Run(std::deque<Group> groups);

  // Notes that a check is not run.
  void Skip(int number, const std::string& reason);

  // By number.
  const std::map<int, Json>& results() const { return results_; }

 private:
  using Time = std::chrono::steady_clock::time_point;
  struct Running {
    Running(Group its_group, const WorkerTask& task)
        : group(std::move(its_group)), slot(task.slot), process(task) {}

    Group group;  // what is left of it, the current check included
    int slot;
    WorkerProcess process;
    Time begin = std::chrono::steady_clock::now();  // of the current check, or of the process
    bool check_has_begun = false;
    std::string crash;           // what the worker said of its crash
    Json notes = Json::array();  // of the current check, as far as it has come
    // The library's lines since the current check has begun.
    Json log = Json::array();
  };

  void StartWhatFits(std::deque<Group>& groups);
  void Start(const Group& group);
  // False when the worker is done with its group.
  bool Attend(Running& worker);
  void TakeLine(Running& worker, const std::string& line);
  void Keep(Json result);
  void FailCurrent(Running& worker, const std::string& why);
  double Elapsed() const;

  Settings settings_;
  const Time start_;
  std::list<Running> running_;
  std::map<int, Json> results_;
};

}  // namespace quill_apps
