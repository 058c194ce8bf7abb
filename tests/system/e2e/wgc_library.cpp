// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "system/e2e/wgc_library.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

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
#define LOAD(name) Load(wgc.module, #name, &wgc.name);
  QUILL_WGC_EXPORTS(LOAD)
#undef LOAD
  return wgc;
}

}  // namespace

const WgcLibrary& Wgc() {
  static const WgcLibrary wgc = LoadWgc();
  return wgc;
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
  EXPECT_EQ(length, std::strlen(text)) << text;
  const std::lock_guard lock(recorder->mutex_);
  recorder->lines_.push_back({level, text});
}

std::vector<LogLine> LogRecorder::lines() const {
  const std::lock_guard lock(mutex_);
  return lines_;
}

bool LogRecorder::Has(const LogLine& line) const {
  const auto all = lines();
  return std::find(all.begin(), all.end(), line) != all.end();
}

void LogRecorder::Clear() {
  const std::lock_guard lock(mutex_);
  lines_.clear();
}
