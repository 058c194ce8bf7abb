// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <string>

#include "quill-view/bitmap.h"

namespace quill_apps {

// White lines of text on half-transparent black. UTF-8. Lines break between words where they would
// make the label wider than most_width, and are cut off if they still do.
Bitmap DrawLabel(const std::string& text, UINT dpi, uint32_t most_width);

}  // namespace quill_apps
