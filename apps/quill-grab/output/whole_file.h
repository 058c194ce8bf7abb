// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

namespace quill_grab {

// Writes a file that gets its name only when all of it is on disk, in place of one that had the
// name before. Throws GrabError; then nothing is left that was not there before. remedy ends the
// error's text: "choose another file with --screenshot".
void WriteWholeFile(const std::filesystem::path& path, std::span<const uint8_t> bytes,
                    const std::string& remedy);

// Throws the error that WriteWholeFile would, as far as a file of one byte shows it.
void CheckWritable(const std::filesystem::path& path, const std::string& remedy);

// For every output: "cannot write PATH: WHY: REMEDY".
[[noreturn]] void FailToWrite(const std::string& name, unsigned long error,
                              const std::string& remedy);

}  // namespace quill_grab
