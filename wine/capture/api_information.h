// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.foundation.metadata.h>

#include "common/factory.h"

namespace standin {

// Answers for the classes of this DLL, from the settings as they are at each call.
class ApiInformation : public Factory<ABI::Windows::Foundation::Metadata::IApiInformationStatics> {
 public:
  ApiInformation() : Factory(L"Windows.Foundation.Metadata.ApiInformation") {}

  HRESULT STDMETHODCALLTYPE IsTypePresent(HSTRING type, boolean* value) override;
  HRESULT STDMETHODCALLTYPE IsPropertyPresent(HSTRING type, HSTRING property,
                                              boolean* value) override;
  HRESULT STDMETHODCALLTYPE IsReadOnlyPropertyPresent(HSTRING type, HSTRING property,
                                                      boolean* value) override;
  HRESULT STDMETHODCALLTYPE IsWriteablePropertyPresent(HSTRING type, HSTRING property,
                                                       boolean* value) override;
  HRESULT STDMETHODCALLTYPE IsApiContractPresentByMajor(HSTRING contract, UINT16 major,
                                                        boolean* value) override;
  HRESULT STDMETHODCALLTYPE IsApiContractPresentByMajorAndMinor(HSTRING contract, UINT16 major,
                                                                UINT16 minor,
                                                                boolean* value) override;

  // Not offered: E_NOTIMPL.
  HRESULT STDMETHODCALLTYPE IsMethodPresent(HSTRING type, HSTRING method, boolean* value) override;
  HRESULT STDMETHODCALLTYPE IsMethodPresentWithArity(HSTRING type, HSTRING method,
                                                     UINT32 parameters, boolean* value) override;
  HRESULT STDMETHODCALLTYPE IsEventPresent(HSTRING type, HSTRING event, boolean* value) override;
  HRESULT STDMETHODCALLTYPE IsEnumNamedValuePresent(HSTRING type, HSTRING name,
                                                    boolean* value) override;
};

}  // namespace standin
