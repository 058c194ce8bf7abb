// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <libquill_wgc.h>
#include <quill_wgc_exports.h>

#include <filesystem>
#include <string>

namespace quill_apps {

// The functions of libquill-wgc.dll, each under its name.
struct Library {
// NOLINTNEXTLINE(bugprone-macro-parentheses): a declaration takes no parentheses around its name.
#define QUILL_APPS_FUNCTION(name) decltype(&::name) name;
  QUILL_WGC_EXPORTS(QUILL_APPS_FUNCTION)
#undef QUILL_APPS_FUNCTION
};

// The file of this program.
std::filesystem::path ProgramPath();

// Loads the DLL file_name and finds its functions. The DLL stays loaded until the process ends.
// Throws ToolError.
Library LoadLibraryFunctions(const std::wstring& file_name);

}  // namespace quill_apps
