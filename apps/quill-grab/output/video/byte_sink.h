// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <span>
#include <string>

#include "quill-grab/console/console.h"

namespace quill_grab {

// Where the bytes of a stream go: standard output, a named pipe or a file, which is written in
// place, so that whatever ends the run, what was written stays readable.
class ByteSink {
 public:
  // name: "-" for standard output, \\.\pipe\NAME for a pipe, or a file's path, in UTF-8. A pipe
  // that does not exist is made; then this waits for its reader, until interrupted is true.
  // option ("--raw") is for errors. Throws GrabError.
  ByteSink(const std::string& name, const char* option, Console& console,
           const std::atomic<bool>& interrupted);
  ~ByteSink();
  ByteSink(const ByteSink&) = delete;
  ByteSink& operator=(const ByteSink&) = delete;

  const std::string& name() const { return name_; }

  // Returns when all of it is written or, in a pipe, on its way. A file keeps all of it or nothing.
  // Throws GrabError.
  void Write(std::span<const uint8_t> bytes);

 private:
  void OpenPipe(Console& console, const std::atomic<bool>& interrupted);
  void WaitForReader(const std::atomic<bool>& interrupted);
  DWORD WriteSome(std::span<const uint8_t> bytes, DWORD& written);
  [[noreturn]] void Fail(DWORD error) const;

  std::string name_;
  std::string remedy_;
  HANDLE file_ = INVALID_HANDLE_VALUE;
  HANDLE event_ = nullptr;  // set for a pipe of our own, whose calls are overlapped
  bool is_file_ = false;
};

}  // namespace quill_grab
