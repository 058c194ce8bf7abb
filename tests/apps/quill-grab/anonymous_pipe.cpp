// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// anonymous_pipe WRITER READER
// Runs two command lines with a pipe between them, as cmd on Windows runs WRITER | READER: Wine 8's
// cmd runs one after the other, with a file between them. Prints both exit codes.
#include <windows.h>

#include <cstdio>

namespace {

using Stream = HANDLE STARTUPINFOA::*;

// Null if the program does not start. handle is the one that the program inherits besides standard
// error.
HANDLE Start(char* command, HANDLE handle, Stream stream) {
  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  startup.*stream = handle;
  PROCESS_INFORMATION process{};
  SetHandleInformation(handle, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
  CreateProcessA(nullptr, command, nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process);
  CloseHandle(handle);
  return process.hProcess;
}

DWORD ExitCode(HANDLE process) {
  DWORD code = 0;
  WaitForSingleObject(process, INFINITE);
  GetExitCodeProcess(process, &code);
  return code;
}

}  // namespace

int main(int argc, char** argv) {
  HANDLE read = nullptr;
  HANDLE write = nullptr;
  if (argc != 3 || !CreatePipe(&read, &write, nullptr, 0)) return 2;
  const HANDLE writer = Start(argv[1], write, &STARTUPINFOA::hStdOutput);
  const HANDLE reader = Start(argv[2], read, &STARTUPINFOA::hStdInput);
  if (writer == nullptr || reader == nullptr) return 2;
  std::printf("%lu %lu", ExitCode(writer), ExitCode(reader));
}
