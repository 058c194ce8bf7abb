// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-check/options.h"

#include <algorithm>
#include <utility>

#include "common/command_line.h"
#include "common/text.h"
#include "quill-check/check.h"

namespace quill_apps {

namespace {

constexpr char kProgram[] = "quill-check";

constexpr char kHelp[] = R"(Usage: quill-check [OPTION...]

Tells in less than a minute whether capture works on this machine. Put it beside
libquill-wgc.dll. It opens windows of its own, moves the pointer once, and writes
quill-check.html and quill-check.json.

  --out FOLDER   the folder of the two files (default: the current one)
  --only N,N     only the checks with these numbers
  --list         the checks and what each of them holds the library to
  --tdr          also lose the graphics device: asks first, and every program's
                 picture stops for some seconds
  --version      the version
  --help         this text

Exit codes: 0 capture works here, 1 it does not, 2 it could not be decided,
3 nothing was checked, or the report could not be written.)";

std::string ListText() {
  std::string text;
  for (const Check& check : AllChecks()) {
    text +=
        Format("%s%2d  %s: %s", text.empty() ? "" : "\n", check.number, check.name, check.promise);
  }
  return text;
}

CheckParseResult Failure(const std::string& text) {
  return {std::nullopt, WithHelp(text, kProgram), true};
}

bool IsCheck(int number) {
  const auto checks = AllChecks();
  return std::any_of(checks.begin(), checks.end(),
                     [&](const Check& check) { return check.number == number; });
}

}  // namespace

CheckParseResult ParseCheckOptions(std::vector<std::string> arguments) {
  CheckOptions options;
  CLI::App app;
  app.add_option("--out", options.out);
  app.add_option("--only", options.only)->delimiter(',');
  const CLI::Option* list = app.add_flag("--list");
  app.add_flag("--tdr", options.lose_device);
  app.add_option("--worker", options.worker)->delimiter(',');
  app.add_option("--slot", options.slot);
  app.add_option("--exit-task", options.exit_task);
  if (const std::optional<ParseStop> stop = Parse(app, std::move(arguments), kProgram, kHelp)) {
    return {std::nullopt, stop->text, stop->is_error};
  }
  if (list->count() > 0) return {std::nullopt, ListText(), false};
  if (options.out.empty()) return Failure("--out needs a folder");
  for (const int number : options.only) {
    if (!IsCheck(number)) return Failure(Format("--only: there is no check %d", number));
  }
  return {std::move(options), "", false};
}

}  // namespace quill_apps
