// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <libquill_wgc.h>

namespace bench {

// The built DLL, loaded by name from the program's own folder.
struct WgcLibrary {
  HMODULE module = nullptr;
  decltype(&::wgc_register_logger) wgc_register_logger = nullptr;
  decltype(&::wgc_session_create) wgc_session_create = nullptr;
  decltype(&::wgc_session_destroy) wgc_session_destroy = nullptr;
  decltype(&::wgc_session_start) wgc_session_start = nullptr;
  decltype(&::wgc_get_recent_frame) wgc_get_recent_frame = nullptr;
  decltype(&::wgc_get_update_ratio) wgc_get_update_ratio = nullptr;
  decltype(&::wgc_get_device) wgc_get_device = nullptr;
  decltype(&::wgc_set_dirty_rect) wgc_set_dirty_rect = nullptr;
  decltype(&::wgc_set_capture_to_texture) wgc_set_capture_to_texture = nullptr;
};

inline constexpr wchar_t kLibraryName[] = L"libquill-wgc.dll";

// Loaded, with the bench's capture source behind it, on first use.
const WgcLibrary& Wgc();

// Prints the message and ends the program: a figure from a run that went wrong is worth nothing.
[[noreturn]] void Fail(const char* message);
inline void Check(bool holds, const char* message) {
  if (!holds) Fail(message);
}

}  // namespace bench
