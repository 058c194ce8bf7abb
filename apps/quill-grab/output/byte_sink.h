// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "common/console.h"

namespace quill_apps {

// The FILE that means standard output.
constexpr char kStandardOutput[] = "-";

// Where the bytes of a stream go: standard output, a named pipe, or a file. A file is written in
// place, so that what was written stays readable however the run ends.
class ByteSink {
 public:
  // name, in UTF-8: "-" for standard output, \\.\pipe\NAME for a pipe, or the path of a file. When
  // there is no such pipe, this creates it and waits for a reader until interrupted is true.
  // option ("--raw") is for error texts. Throws ToolError.
  ByteSink(const std::string& name, const char* option, Console& console,
           const std::atomic<bool>& interrupted);
  ~ByteSink();
  ByteSink(const ByteSink&) = delete;
  ByteSink& operator=(const ByteSink&) = delete;

  const std::string& name() const { return name_; }

  // Returns when all bytes are written or, for a pipe, are in the pipe's buffer. A file keeps all
  // of them or none. Throws ToolError.
  void Write(std::span<const uint8_t> bytes);

 private:
  struct HandleCloser {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
  };
  using OwnedHandle = std::unique_ptr<void, HandleCloser>;

  void OpenPipe(Console& console, const std::atomic<bool>& interrupted);
  void WaitForReader(const std::atomic<bool>& interrupted);
  void Own(HANDLE file);
  DWORD WriteSome(std::span<const uint8_t> bytes, DWORD& written);
  [[noreturn]] void Fail(DWORD error) const;

  std::string name_;
  std::string remedy_;
  OwnedHandle event_;  // only for a pipe that this object created, whose calls are overlapped
  OwnedHandle owned_;  // all but standard output
  HANDLE file_ = nullptr;
  bool is_file_ = false;
};

}  // namespace quill_apps
