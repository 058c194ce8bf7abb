// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The platform's own interfaces that the projection stands on.
#pragma once

#include <windows.h>
//
#include <activation.h>
#include <eventtoken.h>
#include <inspectable.h>
#include <oaidl.h>
#include <objbase.h>
#include <objidl.h>
#include <oleauto.h>
#include <restrictederrorinfo.h>
#include <roapi.h>
#include <roerrorapi.h>
#include <unknwn.h>
#include <weakreference.h>
#include <winstring.h>

// UTF-16 literals must be L"..." on every platform. Where wchar_t is wider by default, the target
// quill_wgc_winrt narrows it.
static_assert(sizeof(wchar_t) == 2 && sizeof(WCHAR) == 2);
