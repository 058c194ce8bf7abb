// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What the tool chain's own headers say of interfaces that projection/sdk also declares. Read in C,
// where none of their names can meet those of projection/sdk.
#pragma once

#include <guiddef.h>

#ifdef __cplusplus
extern "C" {
#endif

// The interfaces: the type in C++, the identifier in C.
#define COMMON_IDENTIFIERS(X)                                           \
  X(foundation::IClosable, IID___x_ABI_CWindows_CFoundation_CIClosable) \
  X(foundation::IInspectable, IID_IInspectable)                         \
  X(foundation::IActivationFactory, IID_IActivationFactory)

// The methods: the interface in C++, its method table in C, the method's name in both.
#define CLOSABLE_METHODS(X) X(IClosable, __x_ABI_CWindows_CFoundation_CIClosableVtbl, Close)

#ifdef _WIN32
#define SECOND_SOURCE_IDENTIFIERS(X)                   \
  COMMON_IDENTIFIERS(X)                                \
  X(winrt::Windows::System::DispatcherQueueController, \
    IID___x_ABI_CWindows_CSystem_CIDispatcherQueueController)
#define SECOND_SOURCE_METHODS CLOSABLE_METHODS
#else
#define SECOND_SOURCE_IDENTIFIERS(X)                                                            \
  COMMON_IDENTIFIERS(X)                                                                         \
  X(IApiInformationStatics, IID___x_ABI_CWindows_CFoundation_CMetadata_CIApiInformationStatics) \
  X(IWeakReference, IID_IWeakReference)                                                         \
  X(IWeakReferenceSource, IID_IWeakReferenceSource)                                             \
  X(IRestrictedErrorInfo, IID_IRestrictedErrorInfo)
#define API_INFORMATION_TABLE __x_ABI_CWindows_CFoundation_CMetadata_CIApiInformationStaticsVtbl
#define SECOND_SOURCE_METHODS(X)                                                        \
  CLOSABLE_METHODS(X)                                                                   \
  X(IApiInformationStatics, API_INFORMATION_TABLE, IsTypePresent)                       \
  X(IApiInformationStatics, API_INFORMATION_TABLE, IsMethodPresent)                     \
  X(IApiInformationStatics, API_INFORMATION_TABLE, IsMethodPresentWithArity)            \
  X(IApiInformationStatics, API_INFORMATION_TABLE, IsEventPresent)                      \
  X(IApiInformationStatics, API_INFORMATION_TABLE, IsPropertyPresent)                   \
  X(IApiInformationStatics, API_INFORMATION_TABLE, IsReadOnlyPropertyPresent)           \
  X(IApiInformationStatics, API_INFORMATION_TABLE, IsWriteablePropertyPresent)          \
  X(IApiInformationStatics, API_INFORMATION_TABLE, IsEnumNamedValuePresent)             \
  X(IApiInformationStatics, API_INFORMATION_TABLE, IsApiContractPresentByMajor)         \
  X(IApiInformationStatics, API_INFORMATION_TABLE, IsApiContractPresentByMajorAndMinor) \
  X(IWeakReference, IWeakReferenceVtbl, Resolve)                                        \
  X(IWeakReferenceSource, IWeakReferenceSourceVtbl, GetWeakReference)                   \
  X(IRestrictedErrorInfo, IRestrictedErrorInfoVtbl, GetErrorDetails)                    \
  X(IRestrictedErrorInfo, IRestrictedErrorInfoVtbl, GetReference)
#endif

// In the order of the lists.
extern const GUID* const second_source_identifiers[];
extern const int second_source_slots[];

#ifdef __cplusplus
}
#endif
