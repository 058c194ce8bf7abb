// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What a test changes in the registry of the platform, for the life of an object.
#pragma once

#include <gtest/gtest.h>

#include <windows.h>

#include <string>
#include <utility>

// A value of a key. The previous value is restored at the end.
class RegistryValue {
 public:
  RegistryValue(HKEY root, std::wstring key, const wchar_t* name, DWORD type, const void* data,
                DWORD bytes)
      : root_(root), key_(std::move(key)), name_(name) {
    existed_ = RegGetValueW(root_, key_.c_str(), name_, RRF_RT_ANY, &type_, before_,
                            &before_bytes_) == ERROR_SUCCESS;
    EXPECT_EQ(RegSetKeyValueW(root_, key_.c_str(), name_, type, data, bytes), ERROR_SUCCESS);
  }
  ~RegistryValue() {
    if (existed_) {
      RegSetKeyValueW(root_, key_.c_str(), name_, type_, before_, before_bytes_);
    } else {
      RegDeleteKeyValueW(root_, key_.c_str(), name_);
    }
  }
  RegistryValue(const RegistryValue&) = delete;
  RegistryValue& operator=(const RegistryValue&) = delete;

 private:
  const HKEY root_;
  const std::wstring key_;
  const wchar_t* const name_;
  bool existed_ = false;
  DWORD type_ = 0;
  wchar_t before_[MAX_PATH] = {};
  DWORD before_bytes_ = sizeof(before_);
};

// A setting of the stand-in for the capture platform; wine/README.md lists them.
class PlatformSetting : RegistryValue {
 public:
  PlatformSetting(const wchar_t* name, DWORD value)
      : RegistryValue(HKEY_CURRENT_USER, L"Software\\libquill-wgc\\Capture", name, REG_DWORD,
                      &value, sizeof(value)) {}
};

// Makes the activation of a class fail: its DLL does not exist.
class MissingClass : RegistryValue {
 public:
  explicit MissingClass(const std::wstring& class_name)
      : RegistryValue(HKEY_LOCAL_MACHINE,
                      L"Software\\Microsoft\\WindowsRuntime\\ActivatableClassId\\" + class_name,
                      L"DllPath", REG_SZ, kNoSuchDll, sizeof(kNoSuchDll)) {}

 private:
  static constexpr wchar_t kNoSuchDll[] = L"C:\\windows\\system32\\no-such.dll";
};
