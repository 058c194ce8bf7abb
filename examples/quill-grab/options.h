// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quill_grab {

// The command line. Texts are UTF-8.
struct Options {
  bool list = false;
  std::optional<std::string> title;
  std::optional<std::string> class_name;
  std::optional<uint64_t> window;
  std::optional<unsigned> monitor;

  uint64_t frames = 0;   // 0: no limit
  double seconds = 0.0;  // filled in by ParseOptions when not given
  double fps = 30.0;
  std::string out = "quill-grab-frames";
  bool all = false;

  bool cursor = false;
  bool border = false;
  bool detect = false;
  bool texture = false;
  bool verbose = false;
};

// The options, or else what to print instead of running: the help (no error) or an error.
struct ParseResult {
  std::optional<Options> options;
  std::string text;
  bool is_error = false;
};

// arguments: without the program's name.
ParseResult ParseOptions(std::vector<std::string> arguments);

}  // namespace quill_grab
