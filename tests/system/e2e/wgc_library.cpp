// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "system/e2e/wgc_library.h"

#include <cstdio>
#include <cstdlib>
#include <ostream>

namespace {

constexpr wchar_t kSettingsKey[] = L"Software\\libquill-wgc\\Capture";

LogRecorder* recorder = nullptr;

template <typename Function>
void Load(HMODULE module, const char* name, Function* function) {
  *function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
  if (*function == nullptr) {
    std::fprintf(stderr, "libquill-wgc.dll lacks %s\n", name);
    std::exit(1);
  }
}

WgcLibrary LoadWgc() {
  WgcLibrary wgc;
  wgc.module = LoadLibraryW(L"libquill-wgc.dll");
  if (wgc.module == nullptr) {
    std::fprintf(stderr, "libquill-wgc.dll cannot be loaded: %lu\n", GetLastError());
    std::exit(1);
  }
  Load(wgc.module, "is_wgc_session_supported", &wgc.is_wgc_session_supported);
  Load(wgc.module, "wgc_register_logger", &wgc.wgc_register_logger);
  Load(wgc.module, "wgc_session_create", &wgc.wgc_session_create);
  Load(wgc.module, "wgc_session_create2", &wgc.wgc_session_create2);
  Load(wgc.module, "wgc_session_destroy", &wgc.wgc_session_destroy);
  Load(wgc.module, "wgc_session_start", &wgc.wgc_session_start);
  Load(wgc.module, "wgc_get_recent_frame", &wgc.wgc_get_recent_frame);
  Load(wgc.module, "wgc_free_recent_frame", &wgc.wgc_free_recent_frame);
  Load(wgc.module, "wgc_get_update_ratio", &wgc.wgc_get_update_ratio);
  Load(wgc.module, "wgc_get_status", &wgc.wgc_get_status);
  Load(wgc.module, "wgc_get_device", &wgc.wgc_get_device);
  Load(wgc.module, "wgc_enable_cursor", &wgc.wgc_enable_cursor);
  Load(wgc.module, "wgc_show_border", &wgc.wgc_show_border);
  Load(wgc.module, "wgc_set_dirty_rect", &wgc.wgc_set_dirty_rect);
  Load(wgc.module, "wgc_set_capture_to_texture", &wgc.wgc_set_capture_to_texture);
  return wgc;
}

LogLine Line(int level, std::string text) {
  const size_t length = text.size();
  return {level, std::move(text), length};
}

}  // namespace

const WgcLibrary& Wgc() {
  static const WgcLibrary wgc = LoadWgc();
  return wgc;
}

LogLine Info(std::string text) {
  return Line(1, std::move(text));
}
LogLine Warning(std::string text) {
  return Line(2, std::move(text));
}
LogLine Error(std::string text) {
  return Line(3, std::move(text));
}

std::ostream& operator<<(std::ostream& out, const LogLine& line) {
  return out << line.level << " \"" << line.text << "\" (" << line.length << ")";
}

LogRecorder::LogRecorder() {
  recorder = this;
  Wgc().wgc_register_logger(Receive);
}

LogRecorder::~LogRecorder() {
  Wgc().wgc_register_logger(nullptr);
  recorder = nullptr;
}

void LogRecorder::Receive(int level, const char* text, size_t length) {
  const LogLine line{level, text, length};
  {
    std::lock_guard lock(recorder->mutex_);
    recorder->lines_.push_back(line);
  }
  if (recorder->on_line != nullptr) recorder->on_line(line, recorder->context);
}

std::vector<LogLine> LogRecorder::lines() const {
  std::lock_guard lock(mutex_);
  return lines_;
}

bool LogRecorder::Has(const LogLine& line) const {
  std::lock_guard lock(mutex_);
  for (const LogLine& held : lines_) {
    if (held == line) return true;
  }
  return false;
}

void LogRecorder::Clear() {
  std::lock_guard lock(mutex_);
  lines_.clear();
}

PlatformSetting::PlatformSetting(const wchar_t* name, DWORD value) : name_(name) {
  const LSTATUS status =
      RegSetKeyValueW(HKEY_CURRENT_USER, kSettingsKey, name, REG_DWORD, &value, sizeof(value));
  if (status != ERROR_SUCCESS) {
    std::fprintf(stderr, "the platform setting cannot be written: %ld\n", status);
    std::exit(1);
  }
}

PlatformSetting::~PlatformSetting() {
  RegDeleteKeyValueW(HKEY_CURRENT_USER, kSettingsKey, name_);
}
