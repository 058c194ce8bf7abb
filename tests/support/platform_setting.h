// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What a test changes in the registry of the platform, for the life of an object. Nothing else in
// the sources writes to a registry.
#pragma once

#include <windows.h>

#include <string>
#include <utility>

// A value of a key. The previous value is restored at the end. Elsewhere than under Wine it fails
// the test and writes nothing.
class RegistryValue {
 public:
  RegistryValue(HKEY root, std::wstring key, const wchar_t* name, DWORD type, const void* data,
                DWORD bytes);
  ~RegistryValue();
  RegistryValue(const RegistryValue&) = delete;
  RegistryValue& operator=(const RegistryValue&) = delete;

 private:
  const HKEY root_;
  const std::wstring key_;
  const wchar_t* const name_;
  const bool is_written_;
  bool existed_ = false;
  DWORD type_ = 0;
  wchar_t before_[MAX_PATH] = {};
  DWORD before_bytes_ = sizeof(before_);
};

// Why a test of what a setting does is skipped on Windows.
inline constexpr char kNeedsStandin[] = "needs a setting of the stand-in for the capture service";

// A setting of the stand-in for the capture platform; wine/README.md lists them.
class PlatformSetting : RegistryValue {
 public:
  PlatformSetting(const wchar_t* name, DWORD value);

  // For a program that ends at once: settings outlive a program that does not destroy them.
  static void RemoveAll();
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
