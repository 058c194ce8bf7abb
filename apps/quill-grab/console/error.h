// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <stdexcept>
#include <string>

namespace quill_grab {

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

// Ends the run: one line for the user, which names the remedy where one is known, and the exit
// code. UTF-8.
class GrabError : public std::runtime_error {
 public:
  GrabError(ExitCode code, const std::string& text) : std::runtime_error(text), code_(code) {}
  ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

}  // namespace quill_grab
