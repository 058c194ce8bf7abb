// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The Windows SDK's windows.foundation.metadata.h, as far as the library asks the platform what it
// offers. mingw-w64 ships no such header.
#pragma once

#include <inspectable.h>

namespace ABI::Windows::Foundation::Metadata {

struct IApiInformationStatics : ::IInspectable {
  virtual HRESULT STDMETHODCALLTYPE IsTypePresent(HSTRING typeName, boolean* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE IsMethodPresent(HSTRING typeName, HSTRING methodName,
                                                    boolean* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE IsMethodPresentWithArity(HSTRING typeName, HSTRING methodName,
                                                             UINT32 inputParameterCount,
                                                             boolean* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE IsEventPresent(HSTRING typeName, HSTRING eventName,
                                                   boolean* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE IsPropertyPresent(HSTRING typeName, HSTRING propertyName,
                                                      boolean* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE IsReadOnlyPropertyPresent(HSTRING typeName,
                                                              HSTRING propertyName,
                                                              boolean* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE IsWriteablePropertyPresent(HSTRING typeName,
                                                               HSTRING propertyName,
                                                               boolean* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE IsEnumNamedValuePresent(HSTRING enumTypeName, HSTRING valueName,
                                                            boolean* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE IsApiContractPresentByMajor(HSTRING contractName,
                                                                UINT16 majorVersion,
                                                                boolean* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE IsApiContractPresentByMajorAndMinor(HSTRING contractName,
                                                                        UINT16 majorVersion,
                                                                        UINT16 minorVersion,
                                                                        boolean* value) = 0;
};

}  // namespace ABI::Windows::Foundation::Metadata

__CRT_UUID_DECL(ABI::Windows::Foundation::Metadata::IApiInformationStatics, 0x997439fe, 0xf681,
                0x4a11, 0xb4, 0x16, 0xc1, 0x3a, 0x47, 0xe8, 0xba, 0x36)
