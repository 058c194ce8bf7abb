// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <stdexcept>
#include <string>

namespace quill_apps {

// The kinds of failure, with the exit codes of quill-grab.
enum class ExitCode {
  kOk = 0,
  kUsage = 1,
  kTargetNotFound = 2,
  kUnsupported = 3,
  kCaptureFailed = 4,
  kOutputFailed = 5,
  kTargetClosed = 6,
  kNoFrame = 7,
  kSizeChanged = 8,
  kReaderGone = 9,
};

// Ends the run: the exit code and one line for the user, which says what to do where that is known.
// UTF-8.
class ToolError : public std::runtime_error {
 public:
  ToolError(ExitCode code, const std::string& text) : std::runtime_error(text), code_(code) {}
  ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

// Turns failed calls of one task into errors.
struct ResultCheck {
  ExitCode code;
  const char* task;    // "a PNG file could not be encoded"
  const char* remedy;  // what the user can do, or empty

  // Throws std::bad_alloc for E_OUTOFMEMORY, and for other failures the ToolError
  // "TASK: CALL: the system's text: REMEDY".
  void operator()(HRESULT result, const char* call) const;
};

}  // namespace quill_apps
