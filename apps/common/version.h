// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

namespace quill_apps {

// "1.0.0"
const char* Version();

}  // namespace quill_apps
