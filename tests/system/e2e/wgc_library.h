// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <libquill_wgc.h>

#include <mutex>
#include <string>
#include <vector>

// The DLL as a host without an import library sees it: loaded by name, called through its exports.
struct WgcLibrary {
  HMODULE module = nullptr;
  decltype(&::is_wgc_session_supported) is_wgc_session_supported = nullptr;
  decltype(&::wgc_register_logger) wgc_register_logger = nullptr;
  decltype(&::wgc_session_create) wgc_session_create = nullptr;
  decltype(&::wgc_session_create2) wgc_session_create2 = nullptr;
  decltype(&::wgc_session_destroy) wgc_session_destroy = nullptr;
  decltype(&::wgc_session_start) wgc_session_start = nullptr;
  decltype(&::wgc_get_recent_frame) wgc_get_recent_frame = nullptr;
  decltype(&::wgc_free_recent_frame) wgc_free_recent_frame = nullptr;
  decltype(&::wgc_get_update_ratio) wgc_get_update_ratio = nullptr;
  decltype(&::wgc_get_status) wgc_get_status = nullptr;
  decltype(&::wgc_get_device) wgc_get_device = nullptr;
  decltype(&::wgc_enable_cursor) wgc_enable_cursor = nullptr;
  decltype(&::wgc_show_border) wgc_show_border = nullptr;
  decltype(&::wgc_set_dirty_rect) wgc_set_dirty_rect = nullptr;
  decltype(&::wgc_set_capture_to_texture) wgc_set_capture_to_texture = nullptr;
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

// A value of the stand-in platform in the prefix's registry, for the life of this object.
class PlatformSetting {
 public:
  PlatformSetting(const wchar_t* name, DWORD value);
  ~PlatformSetting();

  PlatformSetting(const PlatformSetting&) = delete;
  PlatformSetting& operator=(const PlatformSetting&) = delete;

 private:
  const wchar_t* name_;
};
