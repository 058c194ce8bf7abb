// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Wine's header, and IUnknown's identifier for C++, which that of Wine 10 leaves out. That of Wine
// 8, which has it, comes with a DECLSPEC_HIDDEN, which later ones have dropped.
#pragma once

#include_next <unknwn.h>

#if defined(__cplusplus) && !defined(DECLSPEC_HIDDEN)
__CRT_UUID_DECL(IUnknown, 0x00000000, 0x0000, 0x0000, 0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                0x46)
#endif
