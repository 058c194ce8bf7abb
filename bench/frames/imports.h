// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

namespace bench {

// Makes a loaded module call `replacement` instead of the function that it imports as `name`, from
// whatever library. Returns what it called until then, null when it imports no such name.
//
// This is how the DLL under measurement, unchanged, is given the bench's frames, and how its calls
// are counted: only its own calls go through its import table.
void* ReplaceImport(HMODULE module, const char* name, void* replacement);

}  // namespace bench
