// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <mutex>
#include <string>
#include <string_view>

namespace quill_apps {

// Standard output and error in UTF-8, with a progress line that stays below the text on a terminal.
// For any thread: log lines come from the platform's threads, too.
class Console {
 public:
  // program: "quill-grab", for errors. For the standard streams, or others in tests.
  explicit Console(std::string program, HANDLE out = GetStdHandle(STD_OUTPUT_HANDLE),
                   HANDLE err = GetStdHandle(STD_ERROR_HANDLE));
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  bool is_terminal() const { return is_terminal_; }

  // Prints to standard error from here on, because standard output carries a stream.
  void LeaveStandardOutput();

  void PrintLine(std::string_view text);
  // Prints "PROGRAM: TEXT" on standard error.
  void PrintError(std::string_view text);

  // Replaces the progress line. Shows nothing without a terminal. completion is 0 to 1.
  void ShowProgress(double completion, std::string_view text);
  // The same without a bar, for a run without an end.
  void ShowStatus(std::string_view text);
  void ClearProgress();

 private:
  void Write(HANDLE stream, std::string_view lines);
  void DrawProgress(const std::string& line);
  void EraseProgress();
  int Columns() const;

  std::mutex mutex_;
  const std::string program_;
  HANDLE out_;
  HANDLE err_;
  bool is_terminal_;
  std::string progress_;
};

// "[#####.....] TEXT", cut to fewer than columns characters, because the last column wraps.
std::string ProgressLine(double completion, std::string_view text, int columns);

}  // namespace quill_apps
