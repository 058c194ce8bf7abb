// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "system/e2e/window_process.h"

#include <cstdlib>

namespace {

// Wine sometimes needs 20 seconds before a program's first window.
constexpr DWORD kFirstWindowMs = 40000;
constexpr DWORD kAnswerMs = 10000;

// A pipe of which the child inherits one end.
bool MakePipe(HANDLE* read, HANDLE* write, HANDLE* own) {
  SECURITY_ATTRIBUTES inherited{sizeof(inherited), nullptr, TRUE};
  return CreatePipe(read, write, &inherited, 0) &&
         SetHandleInformation(*own, HANDLE_FLAG_INHERIT, 0);
}

}  // namespace

WindowProcess::WindowProcess(int left, int top, SIZE size) {
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  if (!MakePipe(&startup.hStdInput, &to_, &to_) || !MakePipe(&from_, &startup.hStdOutput, &from_)) {
    return;
  }
  wchar_t command[100];
  swprintf(command, std::size(command), L"e2e_soak_window.exe %d %d %ld %ld", left, top, size.cx,
           size.cy);
  const bool started = CreateProcessW(nullptr, command, nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                                      &startup, &process_);
  CloseHandle(startup.hStdInput);
  CloseHandle(startup.hStdOutput);
  if (!started) return;
  const std::string answer = ReadLine(kFirstWindowMs);
  window_ =
      reinterpret_cast<HWND>(static_cast<uintptr_t>(std::strtoull(answer.c_str(), nullptr, 10)));
}

WindowProcess::~WindowProcess() {
  if (to_ != nullptr) CloseHandle(to_);
  if (process_.hProcess != nullptr) {
    // The end of its input ends it.
    if (WaitForSingleObject(process_.hProcess, kAnswerMs) != WAIT_OBJECT_0) {
      TerminateProcess(process_.hProcess, 1);
    }
    CloseHandle(process_.hThread);
    CloseHandle(process_.hProcess);
  }
  if (from_ != nullptr) CloseHandle(from_);
}

void WindowProcess::Send(const std::string& line) {
  const std::string text = line + "\n";
  DWORD written = 0;
  WriteFile(to_, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

bool WindowProcess::Sync() {
  Send("sync");
  return ReadLine(kAnswerMs) == "ok";
}

std::string WindowProcess::ReadLine(DWORD limit_ms) {
  const ULONGLONG deadline = GetTickCount64() + limit_ms;
  std::string line;
  while (GetTickCount64() < deadline) {
    DWORD waiting = 0;
    if (!PeekNamedPipe(from_, nullptr, 0, nullptr, &waiting, nullptr)) break;
    if (waiting == 0) {
      Sleep(1);
      continue;
    }
    char character = 0;
    DWORD read = 0;
    if (!ReadFile(from_, &character, 1, &read, nullptr) || read != 1) break;
    if (character == '\n') return line;
    if (character != '\r') line += character;
  }
  return {};
}
