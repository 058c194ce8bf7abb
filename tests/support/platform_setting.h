// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What a test changes in the registry of the platform, for the life of an object.
#pragma once

#include <windows.h>

#include <string>

// A value of a key. What was there before comes back.
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
  bool existed_ = false;
  DWORD type_ = 0;
  wchar_t before_[MAX_PATH] = {};
  DWORD before_bytes_ = sizeof(before_);
};

// A setting of the stand-in for the capture platform; wine/README.md lists them.
class PlatformSetting : RegistryValue {
 public:
  PlatformSetting(const wchar_t* name, DWORD value);
};

// Makes the activation of a class fail: its DLL does not exist.
class MissingClass : RegistryValue {
 public:
  explicit MissingClass(const std::wstring& class_name);
};
