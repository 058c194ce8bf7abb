// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The part of C++/WinRT's base.h that the library uses: same names, same behaviour.
#pragma once

#include "winrt/impl/activation.h"
#include "winrt/impl/com.h"
#include "winrt/impl/error.h"
#include "winrt/impl/event.h"
#include "winrt/impl/hresult.h"
#include "winrt/impl/string.h"
