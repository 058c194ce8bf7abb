// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "support/process.h"

#include <gtest/gtest.h>

#include <psapi.h>
#include <tlhelp32.h>
#include <winternl.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <vector>

namespace {

constexpr DWORD kOutputMs = 30000;
constexpr DWORD kEndMs = 60000;
// Wine sometimes needs 20 seconds before a program's first window.
constexpr DWORD kWindowMs = 60000;

std::filesystem::path NewFile() {
  static int number = 0;
  return std::filesystem::temp_directory_path() /
         ("quill-test-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++number));
}

HANDLE CreateStream(const std::filesystem::path& path) {
  SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
  return CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inheritable, CREATE_ALWAYS,
                     FILE_ATTRIBUTE_NORMAL, nullptr);
}

std::string ReadBytes(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string WithoutCarriageReturns(std::string text) {
  std::erase(text, '\r');
  return text;
}

struct WindowSearch {
  DWORD process_id;
  HWND found;
};

BOOL CALLBACK FindVisibleWindow(HWND window, LPARAM parameter) {
  auto* const search = reinterpret_cast<WindowSearch*>(parameter);
  DWORD process_id = 0;
  GetWindowThreadProcessId(window, &process_id);
  if (process_id != search->process_id || !IsWindowVisible(window)) return TRUE;
  search->found = window;
  return FALSE;
}

// An entry of the system's list of handles, which the SDK's winternl.h does not declare.
struct SystemHandle {
  ULONG owner;
  BYTE type;
  BYTE flags;
  USHORT value;
  void* object;
  ULONG access;
};

int CountHandlesOf(HANDLE process) {
  DWORD count = 0;
  EXPECT_TRUE(GetProcessHandleCount(process, &count));
  if (count != 0) return static_cast<int>(count);
  // Wine always says 0.
  constexpr auto kHandles = static_cast<SYSTEM_INFORMATION_CLASS>(16);
  std::vector<char> list(4 * 1024 * 1024);
  EXPECT_EQ(
      NtQuerySystemInformation(kHandles, list.data(), static_cast<ULONG>(list.size()), nullptr), 0);
  const auto* const handles = reinterpret_cast<const SystemHandle*>(&list[sizeof(void*)]);
  const DWORD owner = GetProcessId(process);
  return static_cast<int>(
      std::count_if(handles, handles + *reinterpret_cast<const ULONG*>(list.data()),
                    [owner](const SystemHandle& handle) { return handle.owner == owner; }));
}

int CountThreads() {
  const HANDLE list = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 thread{};
  thread.dwSize = sizeof(thread);
  int count = 0;
  for (BOOL more = Thread32First(list, &thread); more; more = Thread32Next(list, &thread)) {
    count += thread.th32OwnerProcessID == GetCurrentProcessId();
  }
  CloseHandle(list);
  return count;
}

// What Windows calls private bytes; Wine leaves that field 0, and the page file's share is the same
// number.
uint64_t PrivateBytes() {
  PROCESS_MEMORY_COUNTERS memory{};
  EXPECT_TRUE(K32GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof(memory)));
  return memory.PagefileUsage;
}

}  // namespace

Process::Process(const std::filesystem::path& program, const std::wstring& arguments,
                 const ProcessStreams& streams)
    : out_(NewFile()), err_(NewFile()) {
  const HANDLE out = CreateStream(out_);
  const HANDLE err = CreateStream(err_);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = streams.in;
  startup.hStdOutput = streams.out != nullptr ? streams.out : out;
  startup.hStdError = streams.err != nullptr ? streams.err : err;
  std::wstring command = L"\"" + program.wstring() + L"\" " + arguments;
  EXPECT_TRUE(CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                             &startup, &process_))
      << program << ": error " << GetLastError();
  CloseHandle(out);
  CloseHandle(err);
}

Process::~Process() {
  Wait();
  std::error_code ignored;
  std::filesystem::remove(out_, ignored);
  std::filesystem::remove(err_, ignored);
}

bool Process::IsRunningAfter(DWORD milliseconds) const {
  return WaitForSingleObject(process_.hProcess, milliseconds) == WAIT_TIMEOUT;
}

int Process::CountHandles() const {
  return CountHandlesOf(process_.hProcess);
}

testing::AssertionResult Process::Prints(const std::string& text) const {
  const ULONGLONG end = GetTickCount64() + kOutputMs;
  for (bool is_running = true;;) {
    const std::string printed = WithoutCarriageReturns(ReadBytes(out_));
    if (printed.find(text) != std::string::npos) return testing::AssertionSuccess();
    if (!is_running || GetTickCount64() > end) {
      return testing::AssertionFailure() << "\"" << text << "\" is not in:\n"
                                         << printed << "Standard error:\n"
                                         << ReadBytes(err_);
    }
    is_running = IsRunningAfter(20);
  }
}

HWND Process::AwaitWindow() const {
  WindowSearch search{process_.dwProcessId, nullptr};
  const ULONGLONG end = GetTickCount64() + kWindowMs;
  while (EnumWindows(FindVisibleWindow, reinterpret_cast<LPARAM>(&search)),
         search.found == nullptr && GetTickCount64() < end) {
    Sleep(10);
  }
  return search.found;
}

void Process::Terminate() {
  TerminateProcess(process_.hProcess, 1);
}

ProcessResult Process::Wait() {
  ProcessResult result;
  if (process_.hProcess == nullptr) return result;
  if (WaitForSingleObject(process_.hProcess, kEndMs) != WAIT_OBJECT_0) {
    ADD_FAILURE() << "the program did not end";
    Terminate();
    WaitForSingleObject(process_.hProcess, kEndMs);
  }
  GetExitCodeProcess(process_.hProcess, &result.exit_code);
  CloseHandle(process_.hThread);
  CloseHandle(process_.hProcess);
  process_ = {};
  result.bytes = ReadBytes(out_);
  result.out = WithoutCarriageReturns(result.bytes);
  result.err = WithoutCarriageReturns(ReadBytes(err_));
  return result;
}

ProcessFigures MeasureProcess() {
  return {CountHandlesOf(GetCurrentProcess()), CountThreads(), PrivateBytes()};
}
