// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <libquill_wgc.h>
#include <quill_wgc_exports.h>

#include <mutex>
#include <string>
#include <utility>
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

// Level and text.
using LogLine = std::pair<int, std::string>;

inline LogLine Info(const std::string& text) {
  return {WGC_LOG_INFO, text};
}
inline LogLine Warning(const std::string& text) {
  return {WGC_LOG_WARNING, text};
}
inline LogLine Error(const std::string& text) {
  return {WGC_LOG_ERROR, text};
}

// Registers a logger that keeps every line, and checks the length of each; unregisters it at the
// end of its life.
class LogRecorder {
 public:
  LogRecorder();
  ~LogRecorder();

  std::vector<LogLine> lines() const;
  bool Has(const LogLine& line) const;
  void Clear();

 private:
  static void Receive(int level, const char* text, size_t length);

  mutable std::mutex mutex_;
  std::vector<LogLine> lines_;
};
