// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Wine's header, with IUnknown's identifier for C++, which Wine 8's header has and Wine 10's lacks.
// Only Wine 8's headers define DECLSPEC_HIDDEN.
#pragma once

#include_next <unknwn.h>

#if defined(__cplusplus) && !defined(DECLSPEC_HIDDEN)
__CRT_UUID_DECL(IUnknown, 0x00000000, 0x0000, 0x0000, 0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                0x46)
#endif
