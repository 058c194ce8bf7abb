// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "common/command_line.h"

#include <algorithm>
#include <utility>

#include "common/version.h"

namespace quill_apps {

const char kTargetHelp[] = R"(
Target:
  --title TEXT       the window whose title contains TEXT
  --class NAME       the window whose class is NAME
  --window N         the window with this handle, as --list shows it
  --monitor N        the monitor with this number, as --list shows it
)";
const char kNoTarget[] =
    "no target: use --title, --class, --window or --monitor; --list shows them";

std::optional<ParseStop> Parse(CLI::App& app, std::vector<std::string> arguments,
                               const std::string& program, const std::string& help) {
  app.set_help_flag("--help");
  app.set_version_flag("--version", program + " " + Version());
  try {
    std::reverse(arguments.begin(), arguments.end());
    app.parse(std::move(arguments));
  } catch (const CLI::CallForHelp&) {
    return ParseStop{help, false};
  } catch (const CLI::CallForVersion& version) {
    return ParseStop{version.what(), false};
  } catch (const CLI::ExtrasError&) {
    return ParseStop{WithHelp("unknown: " + CLI::detail::join(app.remaining(), " "), program),
                     true};
  } catch (const CLI::ParseError& error) {
    return ParseStop{WithHelp(error.what(), program), true};
  }
  return std::nullopt;
}

std::string WithHelp(const std::string& error, const std::string& program) {
  return error + " (" + program + " --help lists the options)";
}

void AddTargetOptions(CLI::App& app, TargetOptions& options) {
  auto* title = app.add_option("--title", options.title);
  auto* class_name = app.add_option("--class", options.class_name);
  auto* window = app.add_option("--window", options.window);
  auto* monitor = app.add_option("--monitor", options.monitor);
  window->excludes(title)->excludes(class_name)->excludes(monitor);
  monitor->excludes(title)->excludes(class_name);
}

CLI::Option* ForSearchOnly(CLI::App& app, CLI::Option* option) {
  return option->excludes(app.get_option("--window"))->excludes(app.get_option("--monitor"));
}

bool HasTarget(const TargetOptions& options) {
  return options.IsSearch() || options.window || options.monitor;
}

std::string InvalidTarget(const TargetOptions& options) {
  // An empty --title matches every window.
  if (options.title == "") return "--title needs some text";
  if (options.class_name == "") return "--class needs a name";
  return "";
}

}  // namespace quill_apps
