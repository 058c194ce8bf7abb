// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Linked against the DLL from C++. Ends with 0 when a start without a window fails and says why.
#include <iostream>
#include <string>

#include "libquill_wgc.h"

namespace {
std::string errors;
}

int main() {
  wgc_register_logger([](int level, const char* text, size_t) {
    if (level == WGC_LOG_ERROR) errors += text;
  });
  if (!is_wgc_session_supported()) {
    std::cerr << "host_cpp: capture is not supported\n";
    return 1;
  }
  void* const session = wgc_session_create(nullptr);
  if (session == nullptr) {
    std::cerr << "host_cpp: no session\n";
    return 1;
  }
  const bool started = wgc_session_start(session);
  wgc_session_destroy(session);
  if (started || errors.empty()) {
    std::cerr << "host_cpp: a start without a window succeeded, or failed in silence\n";
    return 1;
  }
  return 0;
}
