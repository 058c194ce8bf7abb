// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// pattern_window PROCESS LEFT TOP WIDTH HEIGHT
// Shows a pattern window until it is closed or the process with the id PROCESS has ended.
#include <cstdlib>

#include "support/pattern_window.h"

int main(int argc, char** argv) {
  if (argc != 6) return 2;
  SetProcessDpiAwarenessContext(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2);
  const auto number = [argv](int index) { return std::atoi(argv[index]); };
  const HANDLE parent = OpenProcess(SYNCHRONIZE, FALSE, number(1));
  if (parent == nullptr) return 2;
  const PatternWindow window(MakePattern(number(4), number(5)),
                             {.position = {number(2), number(3)}});
  while (IsWindow(window.handle()) && WaitForSingleObject(parent, 20) == WAIT_TIMEOUT) continue;
}
