// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/console/options.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <map>
#include <span>
#include <sstream>
#include <utility>

#include "common/command_line.h"
#include "common/text.h"
#include "quill-grab/output/byte_sink.h"

namespace quill_apps {

namespace {

constexpr char kProgram[] = "quill-grab";

// --help before and after the lines of the target and of the streams.
constexpr char kHelpBegin[] = R"(Usage: quill-grab --list
       quill-grab TARGET [OUTPUT...] [OPTION...]

)";
constexpr char kHelpOutput[] = R"(  --wait T           wait up to T seconds for the window to appear

Output:
  --out FOLDER       new frames as PNG files, and summary.txt (default)
  --screenshot FILE  the first frame as a PNG file; then end
)";
constexpr char kHelpEnd[] = R"(  --json FILE        a line with a JSON object for each new frame
  --report FILE      a page about the run, for a browser
  --watch            only a status line
  FILE is a path. For a video stream or --json it can also be a pipe,
  \\.\pipe\NAME, or standard output, -.

Video stream:
  --size WxH         its size (default: that of the first frame)
  --on-resize RULE   what to do with frames of another size:
                     letterbox (default), crop or stop

Run:
  --frames N         end after N written frames
  --seconds T        end after T seconds
  --fps RATE         poll for a frame RATE times a second (default: 30)
  --all              write repeated frames to PNG files and JSON, too

Capture:
  --cursor           show the mouse cursor
  --border           show the border that Windows draws around the target
  --detect           find out what share of the picture changed
  --texture          take the frames as textures

Other:
  --list             list the windows and monitors
  --verbose          print the library's log lines
  --version          print the version
  --help             print this help

Exit codes: 0 done, 1 usage, 2 no such target, 3 unsupported or no library,
  4 capture failed, 5 output not writable, 6 target closed early, 7 no frame,
  8 stream stopped by a change of size, 9 reader of the stream gone)";

std::string Help() {
  std::string help = kHelpBegin;
  help.append(kTargetHelp).append(kHelpOutput);
  for (const StreamFormat& format : StreamFormats()) {
    help += Format("  %-19s%s\n", (std::string(format.option) + " FILE").c_str(), format.help);
  }
  return help + kHelpEnd;
}

// "--raw, --y4m or --nv12"
std::string StreamOptionNames() {
  std::string names;
  const std::span<const StreamFormat> formats = StreamFormats();
  for (const StreamFormat& format : formats) {
    if (!names.empty()) names += &format == &formats.back() ? " or " : ", ";
    names += format.option;
  }
  return names;
}

void AddTargets(CLI::App& app, Options& options) {
  app.add_flag("--list", options.list);
  AddTargetOptions(app, options);
  ForSearchOnly(app, app.add_option("--wait", options.wait_seconds))
      ->check(CLI::Range(0.1, 86400.0));
}

// "640x480"
FrameSize ParseSize(const std::string& text) {
  constexpr long kMost = 16384;
  std::istringstream stream(text);
  long width = 0;
  long height = 0;
  char separator = 0;
  stream >> width >> separator >> height;
  const bool is_size = stream && stream.peek() == EOF && separator == 'x' &&
                       std::min(width, height) >= 1 && std::max(width, height) <= kMost;
  if (!is_size) {
    throw CLI::ValidationError("--size", "needs WIDTHxHEIGHT such as 1280x720, at most 16384");
  }
  return {static_cast<uint32_t>(width), static_cast<uint32_t>(height)};
}

OnResize ParseOnResize(const std::string& text) {
  const std::map<std::string, OnResize> rules = {
      {"letterbox", OnResize::kLetterbox}, {"crop", OnResize::kCrop}, {"stop", OnResize::kStop}};
  const auto rule = rules.find(text);
  if (rule == rules.end()) {
    throw CLI::ValidationError("--on-resize", "needs letterbox, crop or stop");
  }
  return rule->second;
}

void AddOutputOptions(CLI::App& app, Options& options) {
  app.add_option("--out", options.out);
  app.add_option("--screenshot", options.screenshot);
  for (const StreamFormat& format : StreamFormats()) {
    app.add_option_function<std::string>(format.option, [&](const std::string& file) {
      options.streams.push_back({&format, file});
    });
  }
  app.add_option("--json", options.json);
  app.add_option("--report", options.report);
  app.add_flag("--watch", options.watch);
  app.add_option_function<std::string>(
      "--size", [&](const std::string& text) { options.size = ParseSize(text); });
  app.add_option_function<std::string>(
      "--on-resize", [&](const std::string& text) { options.on_resize = ParseOnResize(text); });
}

void AddRunOptions(CLI::App& app, Options& options) {
  app.add_option("--frames", options.frames)->check(CLI::Range(uint64_t{1}, uint64_t{1} << 40));
  app.add_option("--seconds", options.seconds)->check(CLI::Range(0.1, 1e7));
  app.add_option("--fps", options.fps)->check(CLI::Range(0.1, 240.0));
  app.add_flag("--all", options.all);
}

void AddSwitches(CLI::App& app, Options& options) {
  app.add_flag("--cursor", options.cursor);
  app.add_flag("--border", options.border);
  app.add_flag("--detect", options.detect);
  app.add_flag("--texture", options.texture);
  app.add_flag("--verbose", options.verbose);
}

// Every FILE of the command line, with its option.
std::vector<std::pair<std::string, std::string>> Files(const Options& options) {
  std::vector<std::pair<std::string, std::string>> files;
  const auto add = [&](const char* name, const std::optional<std::string>& file) {
    if (file) files.emplace_back(name, *file);
  };
  add("--screenshot", options.screenshot);
  for (const StreamRequest& stream : options.streams) {
    files.emplace_back(stream.format->option, stream.file);
  }
  add("--json", options.json);
  add("--report", options.report);
  return files;
}

std::string InvalidFile(const Options& options) {
  std::map<std::string, std::string> users;
  for (const auto& [option, file] : Files(options)) {
    if (file.empty() || file.starts_with("--")) return option + " needs a file";
    const auto [user, is_first] = users.emplace(file, option);
    if (is_first) continue;
    return user->second + " and " + option + " both write to " +
           (file == kStandardOutput ? "standard output: give one of them a file"
                                    : file + ": give each a file of its own");
  }
  if (options.screenshot == kStandardOutput) return "--screenshot needs a file, not -";
  if (options.report == kStandardOutput) return "--report needs a file, not -";
  return "";
}

// Values that the parser accepts but that make no sense: an empty --title matches every window, and
// NaN is in every range.
std::string InvalidValue(const Options& options) {
  if (std::string invalid = InvalidTarget(options); !invalid.empty()) return invalid;
  if (options.out == "") return "--out needs a folder";
  if (std::isnan(options.fps)) return "--fps needs a number";
  if (std::isnan(options.seconds)) return "--seconds needs a number";
  if (std::isnan(options.wait_seconds)) return "--wait needs a number";
  return InvalidFile(options);
}

std::string InvalidCombination(const Options& options, const CLI::App& app) {
  if (!options.list && !HasTarget(options)) return kNoTarget;
  const auto is_given = [&](const char* name) { return app.count(name) > 0; };
  if (options.screenshot) {
    std::vector<const char*> others = {"--out", "--report", "--watch", "--frames", "--all"};
    for (const StreamRequest& stream : options.streams) others.push_back(stream.format->option);
    for (const char* other : others) {
      if (is_given(other)) {
        return std::string("--screenshot writes one frame and ends: leave out ") + other;
      }
    }
  }
  if (!options.HasStream()) {
    for (const char* other : {"--size", "--on-resize"}) {
      if (is_given(other)) {
        return std::string(other) + " is for streams: use it with " + StreamOptionNames();
      }
    }
  }
  if (options.all && !options.out && !options.json) {
    return "--all is for PNG files and --json: use it with --out or --json";
  }
  return "";
}

bool HasOutput(const Options& options) {
  return !Files(options).empty() || options.watch;
}

// Enough for the frames at the given rate, and ten seconds for the target to start changing. What
// another program reads or somebody watches has no time limit.
double DefaultSeconds(const Options& options) {
  constexpr double kSeconds = 10.0;
  const bool is_endless = options.frames == 0 && (options.json || options.watch);
  if (options.HasStream() || (is_endless && !options.screenshot)) {
    return std::numeric_limits<double>::infinity();
  }
  return kSeconds + static_cast<double>(options.frames) / options.fps;
}

}  // namespace

bool Options::UsesStandardOutput() const {
  const auto files = Files(*this);
  return std::any_of(files.begin(), files.end(),
                     [](const auto& file) { return file.second == kStandardOutput; });
}

Switches SwitchesOf(const Options& options) {
  return {options.cursor, options.border, options.detect, options.texture};
}

ParseResult ParseOptions(std::vector<std::string> arguments) {
  Options options;
  CLI::App app;
  AddTargets(app, options);
  AddOutputOptions(app, options);
  AddRunOptions(app, options);
  AddSwitches(app, options);
  if (const std::optional<ParseStop> stop = Parse(app, std::move(arguments), kProgram, Help())) {
    return {std::nullopt, stop->text, stop->is_error};
  }
  if (!HasOutput(options) && !options.out) options.out = "quill-grab-frames";
  for (const std::string& invalid : {InvalidValue(options), InvalidCombination(options, app)}) {
    if (!invalid.empty()) return {std::nullopt, WithHelp(invalid, kProgram), true};
  }
  options.fps = std::round(options.fps * 1000.0) / 1000.0;
  if (options.seconds == 0.0) options.seconds = DefaultSeconds(options);
  return {options, "", false};
}

}  // namespace quill_apps
