// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "common/console.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "common/text.h"

namespace quill_apps {

namespace {

bool IsTerminal(HANDLE stream) {
  DWORD mode;
  return GetConsoleMode(stream, &mode) != 0;
}

std::string WithCarriageReturns(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c == '\n') result += '\r';
    result += c;
  }
  return result;
}

// Cut to fewer than columns characters, because a character in the last column wraps the line.
std::string Shortened(std::string_view text, int columns) {
  return std::string(text.substr(0, static_cast<size_t>(std::max(columns - 1, 0))));
}

}  // namespace

std::string ProgressLine(double completion, std::string_view text, int columns) {
  constexpr int kCells = 24;
  const int full = static_cast<int>(std::lround(std::clamp(completion, 0.0, 1.0) * kCells));
  std::string line = "[";
  line.append(full, '#').append(kCells - full, '.').append("] ").append(text);
  return Shortened(line, columns);
}

Console::Console(std::string program, HANDLE out, HANDLE err)
    : program_(std::move(program)), out_(out), err_(err), is_terminal_(IsTerminal(out)) {}

void Console::PrintLine(std::string_view text) {
  const std::lock_guard lock(mutex_);
  EraseProgress();
  Write(out_, std::string(text) + "\n");
  if (!progress_.empty()) Write(out_, progress_);
}

void Console::PrintError(std::string_view text) {
  const std::lock_guard lock(mutex_);
  EraseProgress();
  Write(err_, program_ + ": " + std::string(text) + "\n");
  if (!progress_.empty()) Write(out_, progress_);
}

void Console::LeaveStandardOutput() {
  // On a terminal, JSON lines would run into the progress line below them.
  is_terminal_ = !is_terminal_ && IsTerminal(err_);
  out_ = err_;
}

void Console::ShowProgress(double completion, std::string_view text) {
  if (is_terminal_) DrawProgress(ProgressLine(completion, text, Columns()));
}

void Console::ShowStatus(std::string_view text) {
  if (is_terminal_) DrawProgress(Shortened(text, Columns()));
}

void Console::DrawProgress(const std::string& line) {
  const std::lock_guard lock(mutex_);
  if (line == progress_) return;
  // Overwrites the old line in one write, which does not flicker.
  std::string drawn = "\r" + line;
  if (progress_.size() > line.size()) drawn.append(progress_.size() - line.size(), ' ');
  progress_ = line;
  Write(out_, drawn);
}

void Console::ClearProgress() {
  const std::lock_guard lock(mutex_);
  EraseProgress();
  progress_.clear();
}

void Console::EraseProgress() {
  if (progress_.empty()) return;
  std::string blank = "\r";
  blank.append(progress_.size(), ' ').append("\r");
  Write(out_, blank);
}

int Console::Columns() const {
  CONSOLE_SCREEN_BUFFER_INFO info;
  if (!GetConsoleScreenBufferInfo(out_, &info)) return 80;
  return info.srWindow.Right - info.srWindow.Left + 1;
}

// A terminal shows UTF-16 correctly whatever its code page. A file or pipe gets UTF-8.
void Console::Write(HANDLE stream, std::string_view lines) {
  const std::string bytes = WithCarriageReturns(lines);
  std::string_view text = bytes;
  DWORD written;
  if (IsTerminal(stream)) {
    const std::wstring wide = ToWide(text);
    WriteConsoleW(stream, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr);
    return;
  }
  while (!text.empty() &&
         WriteFile(stream, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) &&
         written > 0) {
    text.remove_prefix(written);
  }
}

}  // namespace quill_apps
