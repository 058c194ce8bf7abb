// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Wine's header, and IUnknown's identifier for C++, which Wine 10's header lacks. Wine 8's has it;
// its headers are told by DECLSPEC_HIDDEN, which later ones no longer define.
#pragma once

#include_next <unknwn.h>

#if defined(__cplusplus) && !defined(DECLSPEC_HIDDEN)
__CRT_UUID_DECL(IUnknown, 0x00000000, 0x0000, 0x0000, 0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                0x46)
#endif
