// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The part of the Windows SDK's roerrorapi.h that raising errors needs. mingw-w64 ships no such
// header, and Wine's gives the functions C++ linkage.
#pragma once

#include <hstring.h>
#include <restrictederrorinfo.h>

// FALSE when the error was not recorded.
STDAPI_(BOOL)
RoOriginateLanguageException(HRESULT error, HSTRING message, IUnknown* languageException);
