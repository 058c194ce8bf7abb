// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include "quill-check/check.h"

namespace quill_apps {

// The functions behind AllChecks. Each says in its finding what it has seen.
void CheckProbe(CheckContext& context);
void CheckFirstFrame(CheckContext& context);
void CheckPixels(CheckContext& context);
void CheckWindowFrame(CheckContext& context);
void CheckMonitors(CheckContext& context);
void CheckLatency(CheckContext& context);
void CheckRate(CheckContext& context);
void CheckStillWindow(CheckContext& context);
void CheckCost(CheckContext& context);
void CheckDetection(CheckContext& context);
void CheckResize(CheckContext& context);
void CheckHiddenWindow(CheckContext& context);
void CheckClosedTarget(CheckContext& context);
void CheckCursor(CheckContext& context);
void CheckBorder(CheckContext& context);
void CheckTexture(CheckContext& context);
void CheckNextSession(CheckContext& context);
void CheckThreads(CheckContext& context);
void CheckLeaks(CheckContext& context);
void CheckDeviceLoss(CheckContext& context);
void CheckRefusals(CheckContext& context);
void CheckExits(CheckContext& context);
void CheckProtectedWindow(CheckContext& context);

}  // namespace quill_apps
