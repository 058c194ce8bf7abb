// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

// Where the program is, for the report of Require; empty outside of a run.
inline std::string (*position)() = nullptr;

// Ends the process when `holds` is false: that is how libFuzzer learns that an input fails.
inline void Require(bool holds, const char* expectation) {
  if (holds) return;
  std::fprintf(stderr, "%snot so: %s\n", position ? position().c_str() : "", expectation);
  std::abort();
}
