// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

namespace quill_grab {

// The folder that frames and the summary are written to. A file gets its final name only when all
// of it is on disk, so whatever ends the run, no file under a final name is incomplete.
class OutputFolder {
 public:
  // Creates the folder where needed and writes a trial file; throws GrabError. path is UTF-8.
  explicit OutputFolder(const std::string& path);

  // Files like frame-0001.png of an earlier run.
  size_t CountFrameFiles() const;

  // Throws GrabError; then nothing is left under this name that was not there before.
  void Write(const std::string& name, std::span<const uint8_t> bytes) const;

 private:
  std::filesystem::path folder_;
};

// "frame-0001.png" for 1.
std::string FrameFileName(uint64_t number);

}  // namespace quill_grab
