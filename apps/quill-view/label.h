// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <string>

#include "quill-view/bitmap.h"

namespace quill_apps {

// White lines of text on half-transparent black. UTF-8.
Bitmap DrawLabel(const std::string& text, UINT dpi);

}  // namespace quill_apps
