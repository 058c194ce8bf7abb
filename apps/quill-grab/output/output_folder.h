// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

namespace quill_apps {

// The folder that frames and the summary are written to. Files under their final names are complete
// however the run ends.
class OutputFolder {
 public:
  // Creates the folder if there is none and writes a trial file. path is UTF-8. Throws ToolError.
  explicit OutputFolder(const std::string& path);

  // Files like frame-0001.png of an earlier run.
  size_t CountFrameFiles() const;

  // Throws ToolError; then an earlier file of this name is as before.
  void Write(const std::string& name, std::span<const uint8_t> bytes) const;

 private:
  std::filesystem::path folder_;
};

// "frame-0001.png" for 1.
std::string FrameFileName(uint64_t number);

}  // namespace quill_apps
