// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/capture_session.h"
#include "common/parsed.h"
#include "common/targets.h"
#include "quill-grab/output/video/stream_format.h"

namespace quill_apps {

// What a stream does with frames of another size than its own.
enum class OnResize {
  kLetterbox,  // puts them in the middle of black, shrunk to fit where they are larger
  kCrop,       // puts them at the top left corner of black and cuts the rest off
  kStop,       // ends
};

// A stream of the command line.
struct StreamRequest {
  const StreamFormat* format;
  std::string file;
};

// The command line. Texts are UTF-8.
struct Options : TargetOptions {
  bool list = false;

  std::optional<std::string> out;  // filled in by ParseOptions when there is no other output
  std::optional<std::string> screenshot;
  std::vector<StreamRequest> streams;
  std::optional<std::string> json;
  std::optional<std::string> report;
  bool watch = false;
  std::optional<FrameSize> size;  // of the streams
  OnResize on_resize = OnResize::kLetterbox;

  uint64_t frames = 0;   // 0: no limit
  double seconds = 0.0;  // filled in by ParseOptions when not given; infinite: no limit
  double fps = 30.0;     // rounded to three decimals
  bool all = false;

  bool cursor = false;
  bool border = false;
  bool detect = false;
  bool texture = false;
  bool verbose = false;

  bool HasStream() const { return !streams.empty(); }
  // Whether standard output carries a stream or JSON lines.
  bool UsesStandardOutput() const;
};

Switches SwitchesOf(const Options& options);

using ParseResult = Parsed<Options>;

// arguments: without the program's name.
ParseResult ParseOptions(std::vector<std::string> arguments);

}  // namespace quill_apps
