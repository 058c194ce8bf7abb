// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <optional>
#include <string>

namespace quill_apps {

// The options of a command line, or what to print instead of running: the help or the version, or
// an error.
template <typename Options>
struct Parsed {
  std::optional<Options> options;
  std::string text;
  bool is_error = false;
};

}  // namespace quill_apps
