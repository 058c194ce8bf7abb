// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <libquill_wgc.h>
#include <quill_wgc_exports.h>

namespace bench {

// The built DLL, loaded by name from the program's own folder.
struct WgcLibrary {
  HMODULE module = nullptr;
#define MEMBER(name) decltype(&::name) name = nullptr;
  QUILL_WGC_EXPORTS(MEMBER)
#undef MEMBER
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
