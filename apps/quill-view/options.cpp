// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-view/options.h"

#include <cmath>
#include <utility>

#include "common/command_line.h"

namespace quill_apps {

namespace {

constexpr char kProgram[] = "quill-view";

// --help before and after the lines of the target.
constexpr char kHelpBegin[] = R"(Usage: quill-view --list
       quill-view TARGET [OPTION...]

Shows a window or a monitor live in a window of its own.
)";
constexpr char kHelpEnd[] =
    R"(  --wait             wait for the window to appear, and for the next such window
                     when it is closed

View:
  --tiles            show which tiles changed with each frame, and what share of
                     the picture
  --on-top           keep the view above other windows
  --seconds T        close the view after T seconds

Capture:
  --cursor           show the mouse cursor
  --border           show the border that Windows draws around the target

Other:
  --list             list the windows and monitors
  --verbose          print the library's log lines
  --version          print the version
  --help             print this help

Keys:
)";
constexpr char kHelpCodes[] = R"(

Exit codes: 0 closed by the user or after --seconds, 1 usage, 2 no such target,
  3 unsupported or no library, 4 capture or drawing failed)";

std::string Help() {
  std::string help = kHelpBegin;
  help.append(kTargetHelp).append(kHelpEnd);
  for (const char* c = kKeyHelp; *c != '\0'; ++c) {
    if (c == kKeyHelp || c[-1] == '\n') help += "  ";
    help += *c;
  }
  return help + kHelpCodes;
}

std::string InvalidOptions(const ViewOptions& options) {
  if (std::string invalid = InvalidTarget(options); !invalid.empty()) return invalid;
  if (std::isnan(options.seconds)) return "--seconds needs a number";  // it is in every range
  if (!options.list && !HasTarget(options)) return kNoTarget;
  return "";
}

}  // namespace

const char kKeyHelp[] =
    "F1   figures: rate, latency, time a frame\n"
    "H    this help\n"
    "1    the picture's own size\n"
    "T    above other windows, or not\n"
    "Esc  close";

Switches SwitchesOf(const ViewOptions& options) {
  return {options.cursor, options.border, options.tiles, !options.tiles};
}

ViewParseResult ParseViewOptions(std::vector<std::string> arguments) {
  ViewOptions options;
  CLI::App app;
  app.add_flag("--list", options.list);
  AddTargetOptions(app, options);
  ForSearchOnly(app, app.add_flag("--wait", options.wait));
  app.add_flag("--tiles", options.tiles);
  app.add_flag("--on-top", options.on_top);
  app.add_option("--seconds", options.seconds)->check(CLI::Range(0.1, 1e6));
  app.add_flag("--cursor", options.cursor);
  app.add_flag("--border", options.border);
  app.add_flag("--verbose", options.verbose);
  if (const std::optional<ParseStop> stop = Parse(app, std::move(arguments), kProgram, Help())) {
    return {std::nullopt, stop->text, stop->is_error};
  }
  if (const std::string invalid = InvalidOptions(options); !invalid.empty()) {
    return {std::nullopt, WithHelp(invalid, kProgram), true};
  }
  return {options, "", false};
}

}  // namespace quill_apps
