// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "examples/program_run.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace {

constexpr DWORD kLimitMs = 30000;

HANDLE CreateStream(const std::filesystem::path& path) {
  SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
  return CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inheritable, CREATE_ALWAYS,
                     FILE_ATTRIBUTE_NORMAL, nullptr);
}

std::string ReadText(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  std::erase(text, '\r');
  return text;
}

std::filesystem::path OwnFolder() {
  wchar_t path[MAX_PATH];
  GetModuleFileNameW(nullptr, path, MAX_PATH);
  return std::filesystem::path(path).parent_path();
}

}  // namespace

ProgramRun::ProgramRun(const std::wstring& program, const std::wstring& arguments,
                       const std::filesystem::path& folder) {
  static int number = 0;
  const std::wstring name = program + std::to_wstring(++number);
  out_ = folder / (name + L".out");
  err_ = folder / (name + L".err");
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = CreateStream(out_);
  startup.hStdError = CreateStream(err_);
  const std::filesystem::path path = OwnFolder() / (program + L".exe");
  std::wstring command = L"\"" + path.wstring() + L"\" " + arguments;
  EXPECT_TRUE(CreateProcessW(path.c_str(), command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                             nullptr, &startup, &process_))
      << GetLastError();
  CloseHandle(startup.hStdOutput);
  CloseHandle(startup.hStdError);
}

ProgramRun::~ProgramRun() {
  Wait();
}

bool ProgramRun::Prints(const std::string& text) const {
  const ULONGLONG end = GetTickCount64() + kLimitMs;
  while (ReadText(out_).find(text) == std::string::npos) {
    if (GetTickCount64() > end) return false;
    Sleep(20);
  }
  return true;
}

ProgramResult ProgramRun::Wait() {
  ProgramResult result;
  if (process_.hProcess == nullptr) return result;
  if (WaitForSingleObject(process_.hProcess, kLimitMs) != WAIT_OBJECT_0) {
    ADD_FAILURE() << out_ << ": the program did not end";
    TerminateProcess(process_.hProcess, 99);
    WaitForSingleObject(process_.hProcess, 5000);
  }
  GetExitCodeProcess(process_.hProcess, &result.exit_code);
  CloseHandle(process_.hThread);
  CloseHandle(process_.hProcess);
  process_ = {};
  result.out = ReadText(out_);
  result.err = ReadText(err_);
  return result;
}
