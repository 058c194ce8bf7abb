// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "wgc_library.h"

#include <cstdio>
#include <cstdlib>

#include "capture_source.h"

namespace bench {
namespace {

template <class Function>
void Find(HMODULE module, const char* name, Function*& function) {
  function = reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module, name)));
  Check(function != nullptr, name);
}

void PrintLog(int level, const char* text, size_t /*length*/) {
  if (level >= 2) std::fprintf(stderr, "quill_bench: %s\n", text);
}

WgcLibrary Load() {
  WgcLibrary library;
  library.module = LoadLibraryW(kLibraryName);
  Check(library.module != nullptr, "libquill-wgc.dll cannot be loaded: build the target quill-wgc");
#define FIND(name) Find(library.module, #name, library.name);
  QUILL_WGC_EXPORTS(FIND)
#undef FIND
  library.wgc_register_logger(PrintLog);
  ServeCapture(library.module);
  return library;
}

}  // namespace

const WgcLibrary& Wgc() {
  static const WgcLibrary library = Load();
  return library;
}

void Fail(const char* message) {
  std::fprintf(stderr, "quill_bench: %s\n", message);
  std::exit(1);
}

}  // namespace bench
