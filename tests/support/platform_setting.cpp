// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "support/platform_setting.h"

#include <gtest/gtest.h>

#include <utility>

RegistryValue::RegistryValue(HKEY root, std::wstring key, const wchar_t* name, DWORD type,
                             const void* data, DWORD bytes)
    : root_(root), key_(std::move(key)), name_(name) {
  existed_ = RegGetValueW(root_, key_.c_str(), name_, RRF_RT_ANY, &type_, before_,
                          &before_bytes_) == ERROR_SUCCESS;
  EXPECT_EQ(RegSetKeyValueW(root_, key_.c_str(), name_, type, data, bytes), ERROR_SUCCESS);
}

RegistryValue::~RegistryValue() {
  if (existed_) {
    RegSetKeyValueW(root_, key_.c_str(), name_, type_, before_, before_bytes_);
  } else {
    RegDeleteKeyValueW(root_, key_.c_str(), name_);
  }
}

PlatformSetting::PlatformSetting(const wchar_t* name, DWORD value)
    : RegistryValue(HKEY_CURRENT_USER, L"Software\\libquill-wgc\\Capture", name, REG_DWORD, &value,
                    sizeof(value)) {}

constexpr wchar_t kNoSuchDll[] = L"C:\\windows\\system32\\no-such.dll";

MissingClass::MissingClass(const std::wstring& class_name)
    : RegistryValue(HKEY_LOCAL_MACHINE,
                    L"Software\\Microsoft\\WindowsRuntime\\ActivatableClassId\\" + class_name,
                    L"DllPath", REG_SZ, kNoSuchDll, sizeof(kNoSuchDll)) {}
