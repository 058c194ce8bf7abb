// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <hstring.h>

#include <string>

namespace fake {

// The text of a Windows Runtime string, in UTF-8.
std::string Narrow(HSTRING text);

}  // namespace fake
