// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#ifdef _WIN32
#include <windows.h>

#include <cstdio>

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
#endif
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
