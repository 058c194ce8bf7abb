// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <mutex>
#include <string>
#include <string_view>

namespace quill_grab {

// Standard output and error in UTF-8, with a progress line that stays below the text on a terminal.
// Any thread: log lines come from threads of the platform's too.
class Console {
 public:
  Console();
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  bool is_terminal() const { return is_terminal_; }

  // What is printed goes to standard error from here on, as standard output carries a stream.
  void LeaveStandardOutput();

  void PrintLine(std::string_view text);
  // The line appears on standard error as "quill-grab: TEXT".
  void PrintError(std::string_view text);

  // Replaces the progress line; without a terminal nothing is shown. share is 0 to 1.
  void ShowProgress(double share, std::string_view text);
  // The same without a bar, for what has no end.
  void ShowStatus(std::string_view text);
  void ClearProgress();

 private:
  void Write(HANDLE stream, std::string_view lines);
  void DrawProgress(const std::string& line);
  void EraseProgress();
  int Columns() const;

  std::mutex mutex_;
  HANDLE out_;
  HANDLE err_;
  bool is_terminal_;
  std::string progress_;
};

// "[#####.....] TEXT", cut to fewer than columns characters, as the last column would wrap.
std::string ProgressLine(double share, std::string_view text, int columns);

}  // namespace quill_grab
