// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <gtest/gtest.h>

#include <functional>

#include "common/error.h"

// The error that ends the call. A call without one fails the test.
inline quill_apps::ToolError ErrorOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const quill_apps::ToolError& error) {
    return error;
  }
  ADD_FAILURE() << "no error";
  return {quill_apps::ExitCode::kOk, ""};
}
