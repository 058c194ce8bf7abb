// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <filesystem>
#include <string>

// What a run of quill-grab.exe left behind.
struct GrabResult {
  DWORD exit_code = 0;
  std::string bytes;  // standard output as it is
  std::string out;    // the same as text, without carriage returns
  std::string err;
};

// Inheritable handles for output streams that are to go elsewhere than into a file.
struct GrabStreams {
  HANDLE out = nullptr;
  HANDLE err = nullptr;
};

// A running quill-grab.exe whose output streams go to files of their own.
class GrabProcess {
 public:
  // arguments: the rest of the command line.
  GrabProcess(const std::filesystem::path& program, const std::wstring& arguments,
              const GrabStreams& elsewhere = {});
  ~GrabProcess();
  GrabProcess(const GrabProcess&) = delete;
  GrabProcess& operator=(const GrabProcess&) = delete;

  bool IsRunningAfter(DWORD milliseconds) const;

  // Waits until standard output has the text; false when it does not come in half a minute.
  bool Prints(const std::string& text) const;

  // At most a minute; then the process is ended and the test fails.
  GrabResult Wait();

 private:
  std::filesystem::path streams_;  // the common start of the two file names
  PROCESS_INFORMATION process_{};
};

// quill-grab.exe beside the test program.
std::filesystem::path GrabProgram();
