// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The platform's flat functions where there is no Windows: enough of their documented behaviour for
// the projection's own tests.
#pragma once

#include <activation.h>

namespace native_platform {

// What RoGetActivationFactory finds under any name once the process has an apartment; the caller
// keeps it alive. Null: the class is not registered.
inline IActivationFactory* registered_factory = nullptr;

// How often CoIncrementMTAUsage was called. Without a call, activation answers
// CO_E_NOTINITIALIZED.
inline int mta_usages = 0;

}  // namespace native_platform
