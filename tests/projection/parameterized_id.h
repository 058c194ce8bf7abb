// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The rule that gives an instance of a generic interface its identifier.
#pragma once

#include <guiddef.h>

#include <string_view>

// The name-based identifier (SHA-1) of a type signature such as
// "pinterface({9de1c534-6ae1-11e0-84e1-18a905bcc53f};cinterface(IInspectable);string)".
GUID ParameterizedId(std::string_view signature);
