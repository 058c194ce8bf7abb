// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

#include "common/capture_session.h"
#include "common/parsed.h"
#include "common/targets.h"

namespace quill_apps {

// The command line. Texts are UTF-8.
struct ViewOptions : TargetOptions {
  bool list = false;
  bool wait = false;
  bool tiles = false;
  bool on_top = false;
  double seconds = 0.0;  // 0: until the user closes the view
  bool cursor = false;
  bool border = false;
  bool verbose = false;
};

// Tiles need bytes with change detection; the plain view takes textures.
Switches SwitchesOf(const ViewOptions& options);

// What the keys do, as lines of a label.
extern const char kKeyHelp[];

using ViewParseResult = Parsed<ViewOptions>;

// arguments: without the program's name.
ViewParseResult ParseViewOptions(std::vector<std::string> arguments);

}  // namespace quill_apps
