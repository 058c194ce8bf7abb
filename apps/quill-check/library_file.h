// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

namespace quill_apps {

// libquill-wgc.dll beside this program.
std::filesystem::path LibraryPath();

// "1.0.0" from the version resource of the file; empty without one.
std::string FileVersion(const std::filesystem::path& path);

// Version, size in bytes and SHA-256 of the DLL, without its folder, which names the user.
nlohmann::ordered_json DescribeLibraryFile();

}  // namespace quill_apps
