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

// The C declarations spell each method table out.
#define METHOD(NAME, TABLE, MEMBER) \
  NAME, #MEMBER, (int)(offsetof(struct TABLE, MEMBER) / sizeof(void*))

const struct SecondSourceInterface second_source_interfaces[] = {
    {"IClosable", &IID___x_ABI_CWindows_CFoundation_CIClosable},
    {"IInspectable", &IID_IInspectable},
    {"IActivationFactory", &IID_IActivationFactory},
#ifdef _WIN32
    {"IDispatcherQueueController", &IID___x_ABI_CWindows_CSystem_CIDispatcherQueueController},
#else
    {"IApiInformationStatics", &IID___x_ABI_CWindows_CFoundation_CMetadata_CIApiInformationStatics},
    {"IWeakReference", &IID_IWeakReference},
    {"IWeakReferenceSource", &IID_IWeakReferenceSource},
    {"IRestrictedErrorInfo", &IID_IRestrictedErrorInfo},
#endif
    {NULL, NULL},
};

#define API_INFORMATION_TABLE __x_ABI_CWindows_CFoundation_CMetadata_CIApiInformationStaticsVtbl

const struct SecondSourceMethod second_source_methods[] = {
    {METHOD("IClosable", __x_ABI_CWindows_CFoundation_CIClosableVtbl, Close)},
#ifndef _WIN32
    {METHOD("IApiInformationStatics", API_INFORMATION_TABLE, IsTypePresent)},
    {METHOD("IApiInformationStatics", API_INFORMATION_TABLE, IsMethodPresent)},
    {METHOD("IApiInformationStatics", API_INFORMATION_TABLE, IsMethodPresentWithArity)},
    {METHOD("IApiInformationStatics", API_INFORMATION_TABLE, IsEventPresent)},
    {METHOD("IApiInformationStatics", API_INFORMATION_TABLE, IsPropertyPresent)},
    {METHOD("IApiInformationStatics", API_INFORMATION_TABLE, IsReadOnlyPropertyPresent)},
    {METHOD("IApiInformationStatics", API_INFORMATION_TABLE, IsWriteablePropertyPresent)},
    {METHOD("IApiInformationStatics", API_INFORMATION_TABLE, IsEnumNamedValuePresent)},
    {METHOD("IApiInformationStatics", API_INFORMATION_TABLE, IsApiContractPresentByMajor)},
    {METHOD("IApiInformationStatics", API_INFORMATION_TABLE, IsApiContractPresentByMajorAndMinor)},
    {METHOD("IWeakReference", IWeakReferenceVtbl, Resolve)},
    {METHOD("IWeakReferenceSource", IWeakReferenceSourceVtbl, GetWeakReference)},
    {METHOD("IRestrictedErrorInfo", IRestrictedErrorInfoVtbl, GetErrorDetails)},
    {METHOD("IRestrictedErrorInfo", IRestrictedErrorInfoVtbl, GetReference)},
#endif
    {NULL, NULL, 0},
};
