// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "support/platform_setting.h"

#include <gtest/gtest.h>

#include "support/desktop.h"

namespace {

constexpr wchar_t kSettings[] = L"Software\\libquill-wgc\\Capture";

}  // namespace

RegistryValue::RegistryValue(HKEY root, std::wstring key, const wchar_t* name, DWORD type,
                             const void* data, DWORD bytes)
    : root_(root), key_(std::move(key)), name_(name), is_written_(IsWine()) {
  if (!is_written_) {
    ADD_FAILURE() << "only a test under Wine may write to the registry";
    return;
  }
  existed_ = RegGetValueW(root_, key_.c_str(), name_, RRF_RT_ANY, &type_, before_,
                          &before_bytes_) == ERROR_SUCCESS;
  EXPECT_EQ(RegSetKeyValueW(root_, key_.c_str(), name_, type, data, bytes), ERROR_SUCCESS);
}

RegistryValue::~RegistryValue() {
  if (!is_written_) return;
  if (existed_) {
    RegSetKeyValueW(root_, key_.c_str(), name_, type_, before_, before_bytes_);
  } else {
    RegDeleteKeyValueW(root_, key_.c_str(), name_);
  }
}

PlatformSetting::PlatformSetting(const wchar_t* name, DWORD value)
    : RegistryValue(HKEY_CURRENT_USER, kSettings, name, REG_DWORD, &value, sizeof(value)) {}

void PlatformSetting::RemoveAll() {
  if (IsWine()) RegDeleteTreeW(HKEY_CURRENT_USER, kSettings);
}
