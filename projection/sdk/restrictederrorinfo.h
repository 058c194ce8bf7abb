// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The Windows SDK's restrictederrorinfo.h; mingw-w64 ships no such header.
#pragma once

#include <unknwn.h>

struct IRestrictedErrorInfo : ::IUnknown {
  virtual HRESULT STDMETHODCALLTYPE GetErrorDetails(BSTR* description, HRESULT* error,
                                                    BSTR* restrictedDescription,
                                                    BSTR* capabilitySid) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetReference(BSTR* reference) = 0;
};
__CRT_UUID_DECL(IRestrictedErrorInfo, 0x82ba7092, 0x4c88, 0x427d, 0xa7, 0xbc, 0x16, 0xdd, 0x93,
                0xfe, 0xb6, 0x7e)
