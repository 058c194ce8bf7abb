// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-check/worker_process.h"

#include "common/error.h"
#include "common/library.h"
#include "common/text.h"

namespace quill_apps {

namespace {

[[noreturn]] void Fail(const char* call) {
  throw ToolError(ExitCode::kCaptureFailed, std::string("a worker process could not be started: ") +
                                                call + ": " + DescribeError(GetLastError()) +
                                                ": close other programs and try again");
}

std::wstring Arguments(const WorkerTask& task) {
  std::string numbers;
  for (const int number : task.checks)
    numbers += Format("%s%d", numbers.empty() ? "" : ",", number);
  return ToWide(Format("--worker %s --slot %d%s", numbers.c_str(), task.slot,
                       task.lose_device ? " --tdr" : ""));
}

}  // namespace

HANDLE StartThisProgram(const std::wstring& arguments, HANDLE output) {
  std::wstring command = L"\"" + ProgramPath().wstring() + L"\" " + arguments;
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = output;
  startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  PROCESS_INFORMATION process;
  if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                      &startup, &process)) {
    Fail("CreateProcess");
  }
  CloseHandle(process.hThread);
  return process.hProcess;
}

WorkerProcess::WorkerProcess(const WorkerTask& task) {
  SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
  HANDLE write_end = nullptr;
  // One result may hold pictures. A pipe that takes it at once lets the worker go on.
  constexpr DWORD kPipeBytes = 1 << 20;
  if (!CreatePipe(&pipe_, &write_end, &inheritable, kPipeBytes)) Fail("CreatePipe");
  SetHandleInformation(pipe_, HANDLE_FLAG_INHERIT, 0);
  try {
    process_ = StartThisProgram(Arguments(task), write_end);
  } catch (...) {
    CloseHandle(write_end);
    CloseHandle(pipe_);
    throw;
  }
  CloseHandle(write_end);
  // Ends the worker when this program is ended from outside. It may have failed already; then there
  // is nothing to end.
  job_ = CreateJobObjectW(nullptr, nullptr);
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  SetInformationJobObject(job_, JobObjectExtendedLimitInformation, &limits, sizeof limits);
  AssignProcessToJobObject(job_, process_);
}

WorkerProcess::~WorkerProcess() {
  Kill();
  CloseHandle(process_);
  CloseHandle(pipe_);
  CloseHandle(job_);
}

std::vector<std::string> WorkerProcess::ReadLines() {
  DWORD available = 0;
  while (PeekNamedPipe(pipe_, nullptr, 0, nullptr, &available, nullptr) && available > 0) {
    std::string piece(available, '\0');
    DWORD read = 0;
    if (!ReadFile(pipe_, piece.data(), available, &read, nullptr)) break;
    unread_.append(piece, 0, read);
  }
  std::vector<std::string> lines;
  size_t begin = 0;
  for (size_t end; (end = unread_.find('\n', begin)) != std::string::npos; begin = end + 1) {
    lines.push_back(unread_.substr(begin, end - begin));
  }
  unread_.erase(0, begin);
  return lines;
}

DWORD WorkerProcess::exit_code() const {
  DWORD code = 0;
  GetExitCodeProcess(process_, &code);
  return code;
}

void WorkerProcess::Kill() {
  if (has_ended()) return;
  TerminateProcess(process_, 1);
  // Its windows must be gone before the next worker's appear.
  constexpr DWORD kLimitMs = 2000;
  WaitForSingleObject(process_, kLimitMs);
}

}  // namespace quill_apps
