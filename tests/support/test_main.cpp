// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#ifdef _WIN32
#include <windows.h>

#include <cstdio>

#include "support/desktop.h"

// A fault must end the test program with a failure. Left alone, Wine starts its debugger, which
// waits for input that never comes.
static LONG WINAPI EndProcess(EXCEPTION_POINTERS* fault) {
  std::fprintf(stderr, "unhandled exception %08lx at %p\n", fault->ExceptionRecord->ExceptionCode,
               fault->ExceptionRecord->ExceptionAddress);
  std::fflush(stderr);
  TerminateProcess(GetCurrentProcess(), 3);
  return EXCEPTION_EXECUTE_HANDLER;
}
#endif

int main(int argc, char** argv) {
#ifdef _WIN32
  SetUnhandledExceptionFilter(EndProcess);
  // A window has as many pixels as it asks for, on a monitor of any scale.
  SetProcessDpiAwarenessContext(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2);
#endif
  testing::InitGoogleTest(&argc, argv);
  const int result = RUN_ALL_TESTS();
#ifdef _WIN32
  const auto& tests = *testing::UnitTest::GetInstance();
  if (result == 0 && tests.test_to_run_count() > 0 && tests.successful_test_count() == 0) {
    return kSkippedExitCode;
  }
#endif
  return result;
}
