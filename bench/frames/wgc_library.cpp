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
  Find(library.module, "wgc_register_logger", library.wgc_register_logger);
  Find(library.module, "wgc_session_create", library.wgc_session_create);
  Find(library.module, "wgc_session_destroy", library.wgc_session_destroy);
  Find(library.module, "wgc_session_start", library.wgc_session_start);
  Find(library.module, "wgc_get_recent_frame", library.wgc_get_recent_frame);
  Find(library.module, "wgc_get_update_ratio", library.wgc_get_update_ratio);
  Find(library.module, "wgc_get_device", library.wgc_get_device);
  Find(library.module, "wgc_set_dirty_rect", library.wgc_set_dirty_rect);
  Find(library.module, "wgc_set_capture_to_texture", library.wgc_set_capture_to_texture);
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
