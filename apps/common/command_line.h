// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What the programs' parsers share. Takes long to compile: only for sources that parse.

#pragma once

#include <CLI/CLI.hpp>

#include <optional>
#include <string>
#include <vector>

#include "common/targets.h"

namespace quill_apps {

// What to print instead of running.
struct ParseStop {
  std::string text;
  bool is_error;
};

// Adds --help and --version, and parses. program: "quill-grab".
std::optional<ParseStop> Parse(CLI::App& app, std::vector<std::string> arguments,
                               const std::string& program, const std::string& help);

// An error with a pointer to --help.
std::string WithHelp(const std::string& error, const std::string& program);

// Lines of --help, with a heading.
extern const char kTargetHelp[];
// The error of a command line with neither a target nor --list.
extern const char kNoTarget[];

void AddTargetOptions(CLI::App& app, TargetOptions& options);
// Makes the option an error where the target is not searched for. Returns it.
CLI::Option* ForSearchOnly(CLI::App& app, CLI::Option* option);
bool HasTarget(const TargetOptions& options);
// What is wrong with a target that the parser accepts, or an empty text.
std::string InvalidTarget(const TargetOptions& options);

}  // namespace quill_apps
