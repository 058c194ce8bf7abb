// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <libquill_wgc.h>
#include <quill_wgc_exports.h>

#include <mutex>
#include <string>
#include <vector>

// The DLL as a host without an import library sees it: loaded by name, called through its exports.
struct WgcLibrary {
  HMODULE module = nullptr;
#define MEMBER(name) decltype(&::name) name = nullptr;
  QUILL_WGC_EXPORTS(MEMBER)
#undef MEMBER
};

// Loaded on first use, once per process; a missing name ends the program.
const WgcLibrary& Wgc();

struct LogLine {
  int level;
  std::string text;
  size_t length;

  bool operator==(const LogLine&) const = default;
};

LogLine Info(std::string text);
LogLine Warning(std::string text);
LogLine Error(std::string text);
std::ostream& operator<<(std::ostream& out, const LogLine& line);

// Registers a logger that keeps every line; unregisters it at the end of its life.
class LogRecorder {
 public:
  LogRecorder();
  ~LogRecorder();

  std::vector<LogLine> lines() const;
  bool Has(const LogLine& line) const;
  void Clear();

  // Runs on the logging thread with each line; set before anything logs.
  void (*on_line)(const LogLine& line, void* context) = nullptr;
  void* context = nullptr;

 private:
  static void Receive(int level, const char* text, size_t length);

  mutable std::mutex mutex_;
  std::vector<LogLine> lines_;
};
