// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "quill-check/worker.h"

namespace quill_apps {

// This program running as a worker. It ends with this object, or when this program ends.
class WorkerProcess {
 public:
  // Throws ToolError when the process cannot be started.
  explicit WorkerProcess(const WorkerTask& task);
  ~WorkerProcess();
  WorkerProcess(const WorkerProcess&) = delete;
  WorkerProcess& operator=(const WorkerProcess&) = delete;

  // The lines of output that are complete and were not read yet. Does not wait.
  std::vector<std::string> ReadLines();

  // Whether the process has ended. Its last lines may still be unread.
  bool has_ended() const { return WaitForSingleObject(process_, 0) == WAIT_OBJECT_0; }
  DWORD exit_code() const;

  void Kill();

 private:
  HANDLE job_ = nullptr;
  HANDLE process_ = nullptr;
  HANDLE pipe_ = nullptr;
  std::string unread_;  // the beginning of a line
};

// Starts this program with the arguments; output is its inheritable standard output, or null.
// Throws ToolError.
HANDLE StartThisProgram(const std::wstring& arguments, HANDLE output);

}  // namespace quill_apps
