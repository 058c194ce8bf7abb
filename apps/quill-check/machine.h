// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <dxgi.h>

#include <nlohmann/json.hpp>
#include <string>

#include "quill-check/check.h"

namespace quill_apps {

// Windows' build number: 19045. The true one, whatever a manifest says.
unsigned WindowsBuild();

// The highest version of Windows' universal API contract that is present, 0 when Windows does not
// answer. The calling process must have initialised COM.
int UniversalContract();

// Vendor, device and driver of an adapter, and its LUID, which tells two of one kind apart.
nlohmann::ordered_json DescribeAdapter(IDXGIAdapter* adapter);

// Why nothing can be captured at the moment, whatever the library does: no desktop, a locked one,
// no monitor. Empty when it can.
std::string WhyNoDesktop();

// Check 0: Windows, the session, the adapters with what detection needs, and the monitors.
void DescribeMachine(CheckContext& context);

}  // namespace quill_apps
