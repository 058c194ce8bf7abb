// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <gtest/gtest.h>

#include <future>

#if !GTEST_IS_THREADSAFE
#error "Failures on another thread than the main one would be lost."
#endif

// Runs the function on a thread of its own, to the thread's end. What it throws is thrown here.
template <typename Function>
void OnOwnThread(Function function) {
  std::async(std::launch::async, function).get();
}

// TEST for a case that starts a session. A start gives its thread a dispatcher queue that stays as
// long as the thread, so that no later session can start there.
#define TEST_ON_OWN_THREAD(suite, name) \
  static void suite##_##name##_Body();  \
  TEST(suite, name) {                   \
    OnOwnThread(suite##_##name##_Body); \
  }                                     \
  static void suite##_##name##_Body()
