// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <gtest/gtest.h>

#include <windows.h>

#include <cstdint>
#include <filesystem>
#include <string>

// What a program left behind when it ended.
struct ProcessResult {
  DWORD exit_code = 0;
  std::string bytes;  // standard output as it is
  std::string out;    // standard output as text, without carriage returns
  std::string err;    // standard error as text, without carriage returns
};

// Inheritable handles for output streams that do not go into files, and for what the program reads.
struct ProcessStreams {
  HANDLE out = nullptr;
  HANDLE err = nullptr;
  HANDLE in = nullptr;
};

// A running program whose output streams go into temporary files.
class Process {
 public:
  // program: a path, or the name of a program beside the test program or in the system's folders.
  // arguments: the rest of the command line. A program that does not start fails the test.
  explicit Process(const std::filesystem::path& program, const std::wstring& arguments = {},
                   const ProcessStreams& streams = {});
  // Waits, as Wait does, for a program that still runs.
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  DWORD id() const { return process_.dwProcessId; }

  int CountHandles() const;

  bool IsRunningAfter(DWORD milliseconds) const;

  // Waits until standard output, as text, holds this: half a minute at most, not beyond the end.
  testing::AssertionResult Prints(const std::string& text) const;

  // Waits for the program's first visible top-level window; null when none appears in time.
  HWND AwaitWindow() const;

  void Terminate();

  // Waits a minute at most, then ends the program and fails the test.
  ProcessResult Wait();

 private:
  std::filesystem::path out_;
  std::filesystem::path err_;
  PROCESS_INFORMATION process_{};
};

// What this process holds.
struct ProcessFigures {
  int handles = 0;
  int threads = 0;
  uint64_t memory = 0;  // bytes of its own
};

ProcessFigures MeasureProcess();
