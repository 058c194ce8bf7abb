// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/options.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>

namespace quill_grab {

namespace {

constexpr char kUsage[] = "Usage: quill-grab --list | TARGET [OPTION...]\n";
constexpr char kFooter[] =
    "TARGET: one of --title and/or --class, --window, --monitor\n"
    "Exit codes: 0 done, 1 usage, 2 target not found, 3 unsupported or no library,\n"
    "  4 capture failed, 5 output not writable, 6 target closed early, 7 no frame";

// One line an option; the library's own layout would need two screens.
std::string HelpText(const CLI::App* app, std::string, CLI::AppFormatMode) {
  constexpr size_t kColumn = 20;
  std::string text = kUsage;
  for (const CLI::Option* option : app->get_options()) {
    std::string line = "  " + option->get_name(false, true);
    if (option->get_items_expected_max() > 0) line += " " + option->get_type_name();
    line.resize(std::max(line.size() + 1, kColumn), ' ');
    text += line + option->get_description() + "\n";
  }
  return text + kFooter;
}

// The same check without its text in the help.
CLI::Validator Quiet(CLI::Validator validator) {
  validator.description("");
  return validator;
}

void AddTargetOptions(CLI::App& app, Options& options) {
  app.add_flag("--list", options.list, "list the windows and monitors and end");
  auto* title =
      app.add_option("--title", options.title, "capture the window whose title contains TEXT")
          ->type_name("TEXT");
  auto* class_name =
      app.add_option("--class", options.class_name, "... whose class is NAME")->type_name("NAME");
  auto* window =
      app.add_option("--window", options.window, "... with the handle N, as --list shows")
          ->type_name("N");
  auto* monitor =
      app.add_option("--monitor", options.monitor, "capture a monitor, as numbered by --list")
          ->type_name("N");
  window->excludes(title)->excludes(class_name)->excludes(monitor);
  monitor->excludes(title)->excludes(class_name);
}

void AddOutputOptions(CLI::App& app, Options& options) {
  app.add_option("--frames", options.frames, "end after N written frames (default: by time only)")
      ->type_name("N")
      ->check(Quiet(CLI::Range(uint64_t{1}, uint64_t{1000000})));
  app.add_option("--seconds", options.seconds,
                 "end after T seconds (default 10, more if N frames need it)")
      ->type_name("T")
      ->check(Quiet(CLI::Range(0.1, 86400.0)));
  app.add_option("--fps", options.fps, "ask for a frame RATE times a second (default 30)")
      ->type_name("RATE")
      ->check(Quiet(CLI::Range(0.1, 240.0)));
  app.add_option("--out", options.out, "folder for the PNG files and summary.txt")
      ->type_name("FOLDER");
  app.add_flag("--all", options.all, "write every frame asked for, not only new ones");
}

void AddSwitches(CLI::App& app, Options& options) {
  app.add_flag("--cursor", options.cursor, "draw the mouse cursor into the frames");
  app.add_flag("--border", options.border, "show Windows' border around the target");
  app.add_flag("--detect", options.detect, "detect changes; skip frames that changed nothing");
  app.add_flag("--texture", options.texture, "take frames as textures and read them back here");
  app.add_flag("--verbose", options.verbose, "print the library's log lines");
}

// Long enough for the frames at the given rate, and ten seconds for the target to start changing.
double DefaultSeconds(const Options& options) {
  constexpr double kSeconds = 10.0;
  return kSeconds + static_cast<double>(options.frames) / options.fps;
}

// What the parser lets through: an empty --title would match every window, and NaN is in any range.
std::string InvalidOption(const Options& options) {
  if (options.title == "") return "--title needs a text";
  if (options.class_name == "") return "--class needs a name";
  if (options.out.empty()) return "--out needs a folder";
  if (std::isnan(options.fps)) return "--fps needs a number";
  if (std::isnan(options.seconds)) return "--seconds needs a number";
  return "";
}

ParseResult Failure(const std::string& text) {
  return {std::nullopt, text + " (quill-grab --help lists the options)", true};
}

}  // namespace

ParseResult ParseOptions(std::vector<std::string> arguments) {
  Options options;
  CLI::App app;
  app.formatter_fn(HelpText);
  app.set_help_flag("--help", "show this text");
  AddTargetOptions(app, options);
  AddOutputOptions(app, options);
  AddSwitches(app, options);
  try {
    std::reverse(arguments.begin(), arguments.end());
    app.parse(std::move(arguments));
  } catch (const CLI::CallForHelp&) {
    return {std::nullopt, app.help(), false};
  } catch (const CLI::ParseError& error) {
    return Failure(error.what());
  }
  const std::string invalid = InvalidOption(options);
  if (!invalid.empty()) return Failure(invalid);
  if (options.seconds == 0.0) options.seconds = DefaultSeconds(options);
  const bool has_target = options.title || options.class_name || options.window || options.monitor;
  if (!options.list && !has_target) {
    return Failure("no target: use --title, --class, --window or --monitor; --list shows them");
  }
  return {options, "", false};
}

}  // namespace quill_grab
