// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "apps/quill-grab/grab_process.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace {

HANDLE CreateStream(const std::filesystem::path& path) {
  SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  return CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inheritable, CREATE_ALWAYS,
                     FILE_ATTRIBUTE_NORMAL, nullptr);
}

std::filesystem::path WithSuffix(std::filesystem::path path, const wchar_t* suffix) {
  path += suffix;
  return path;
}

std::string ReadBytes(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string WithoutCarriageReturns(std::string text) {
  std::erase(text, '\r');
  return text;
}

}  // namespace

GrabProcess::GrabProcess(const std::filesystem::path& program, const std::wstring& arguments,
                         const GrabStreams& elsewhere) {
  static int number = 0;
  streams_ = std::filesystem::temp_directory_path() /
             ("quill-grab-streams-" + std::to_string(GetCurrentProcessId()) + "-" +
              std::to_string(++number));
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  const HANDLE out = CreateStream(WithSuffix(streams_, L".out"));
  const HANDLE err = CreateStream(WithSuffix(streams_, L".err"));
  startup.hStdOutput = elsewhere.out != nullptr ? elsewhere.out : out;
  startup.hStdError = elsewhere.err != nullptr ? elsewhere.err : err;
  std::wstring command = L"\"" + program.wstring() + L"\" " + arguments;
  EXPECT_TRUE(CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                             nullptr, &startup, &process_))
      << GetLastError();
  CloseHandle(out);
  CloseHandle(err);
}

GrabProcess::~GrabProcess() {
  if (process_.hProcess != nullptr) Wait();
  std::error_code ignored;
  std::filesystem::remove(WithSuffix(streams_, L".out"), ignored);
  std::filesystem::remove(WithSuffix(streams_, L".err"), ignored);
}

bool GrabProcess::IsRunningAfter(DWORD milliseconds) const {
  return WaitForSingleObject(process_.hProcess, milliseconds) == WAIT_TIMEOUT;
}

bool GrabProcess::Prints(const std::string& text) const {
  const ULONGLONG end = GetTickCount64() + 30000;
  while (ReadBytes(WithSuffix(streams_, L".out")).find(text) == std::string::npos) {
    if (GetTickCount64() > end) return false;
    Sleep(20);
  }
  return true;
}

GrabResult GrabProcess::Wait() {
  GrabResult result;
  if (process_.hProcess == nullptr) return result;
  if (WaitForSingleObject(process_.hProcess, 60000) != WAIT_OBJECT_0) {
    ADD_FAILURE() << "quill-grab did not end";
    TerminateProcess(process_.hProcess, 99);
    WaitForSingleObject(process_.hProcess, 5000);
  }
  GetExitCodeProcess(process_.hProcess, &result.exit_code);
  CloseHandle(process_.hThread);
  CloseHandle(process_.hProcess);
  process_ = {};
  result.bytes = ReadBytes(WithSuffix(streams_, L".out"));
  result.out = WithoutCarriageReturns(result.bytes);
  result.err = WithoutCarriageReturns(ReadBytes(WithSuffix(streams_, L".err")));
  return result;
}

std::filesystem::path GrabProgram() {
  wchar_t path[MAX_PATH];
  GetModuleFileNameW(nullptr, path, MAX_PATH);
  return std::filesystem::path(path).parent_path() / "quill-grab.exe";
}
