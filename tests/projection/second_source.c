// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#define INITGUID
#include <windows.h>
//
#include <roapi.h>
#include <stddef.h>
#include <windows.foundation.h>
#include <windows.system.h>
#ifndef _WIN32
#include <restrictederrorinfo.h>
#include <weakreference.h>
#include <windows.foundation.metadata.h>
#endif

#include "projection/second_source.h"

#define IDENTIFIER(TYPE, ID) &ID,
const GUID* const second_source_identifiers[] = {SECOND_SOURCE_IDENTIFIERS(IDENTIFIER)};

// The C declarations spell each method table out.
#define SLOT(TYPE, TABLE, METHOD) (int)(offsetof(struct TABLE, METHOD) / sizeof(void*)),
const int second_source_slots[] = {SECOND_SOURCE_METHODS(SLOT)};
