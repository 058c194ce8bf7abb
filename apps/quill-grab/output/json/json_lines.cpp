// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/json/json_lines.h"

#include <cmath>
#include <nlohmann/json.hpp>
#include <utility>

namespace quill_apps {

std::string JsonLine(const FrameRecord& record, uint64_t missed) {
  nlohmann::ordered_json line = {
      {"time", std::round(record.seconds * 1e6) / 1e6},
      {"width", record.size.width},
      {"height", record.size.height},
      {"ratio", std::round(double{record.ratio} * 1e7) / 1e7},
      {"new", record.is_new},
      {"missed", missed},
  };
  if (!record.file.empty()) line["file"] = record.file;
  constexpr bool kAscii = true;  // readable in any code page that a shell reads a pipe with
  return line.dump(-1, ' ', kAscii) + "\n";
}

JsonLines::JsonLines(bool all, std::unique_ptr<ByteSink> sink)
    : all_(all), sink_(std::move(sink)) {}

void JsonLines::Take(FrameRecord& record, const PixelView*) {
  missed_ += record.missed;
  if (!record.is_new && !all_) return;
  const std::string line = JsonLine(record, missed_);
  sink_->Write({reinterpret_cast<const uint8_t*>(line.data()), line.size()});
  missed_ = 0;
}

}  // namespace quill_apps
