// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

namespace quill_apps {

// Writes a file under a temporary name and renames it when it is complete. Replaces an earlier file
// of that name. Throws ToolError; then it leaves nothing behind. remedy ends the error's text:
// "choose another file with --screenshot".
void WriteWholeFile(const std::filesystem::path& path, std::span<const uint8_t> bytes,
                    const std::string& remedy);

// Throws the error that WriteWholeFile would throw, as far as writing one byte shows it.
void CheckWritable(const std::filesystem::path& path, const std::string& remedy);

// The error of every output: "cannot write PATH: WHY: REMEDY".
[[noreturn]] void FailToWrite(const std::string& name, unsigned long error,
                              const std::string& remedy);

}  // namespace quill_apps
