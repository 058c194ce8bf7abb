// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <filesystem>
#include <string>

// What a program left behind; the texts are without carriage returns.
struct ProgramResult {
  DWORD exit_code = 0;
  std::string out;
  std::string err;
};

// A program from the test's own folder, with its two output streams in files.
class ProgramRun {
 public:
  // arguments: the rest of the command line. folder: for the files, to be removed by the test.
  ProgramRun(const std::wstring& program, const std::wstring& arguments,
             const std::filesystem::path& folder);
  ~ProgramRun();
  ProgramRun(const ProgramRun&) = delete;
  ProgramRun& operator=(const ProgramRun&) = delete;

  // Waits until standard output holds the text; false after half a minute without.
  bool Prints(const std::string& text) const;
  // Waits at most half a minute, then ends the program and fails the test.
  ProgramResult Wait();

 private:
  std::filesystem::path out_;
  std::filesystem::path err_;
  PROCESS_INFORMATION process_{};
};
