// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include "quill-check/check.h"

namespace quill_apps {

// The functions behind AllChecks, each in the file that its comment names.

void CheckProbe(CheckContext& context);        // load.cpp
void CheckFirstFrame(CheckContext& context);   // first_frame.cpp
void CheckPixels(CheckContext& context);       // pixels.cpp
void CheckWindowFrame(CheckContext& context);  // places.cpp
void CheckMonitors(CheckContext& context);     // places.cpp

}  // namespace quill_apps
