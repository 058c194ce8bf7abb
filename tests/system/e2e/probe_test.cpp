// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The support probe on a platform whose metadata cannot be had. A process of its own: once
// obtained, the metadata is kept for the life of the process.
#include <string>

#include "system/e2e/capture.h"

namespace {

constexpr wchar_t kMetadataClass[] =
    L"Software\\Microsoft\\WindowsRuntime\\ActivatableClassId\\"
    L"Windows.Foundation.Metadata.ApiInformation";

// Points the class at a DLL that does not exist, for the life of this object.
class MissingMetadata {
 public:
  MissingMetadata() {
    DWORD bytes = sizeof(path_);
    RegGetValueW(HKEY_LOCAL_MACHINE, kMetadataClass, L"DllPath", RRF_RT_REG_SZ, nullptr, path_,
                 &bytes);
    Set(L"C:\\windows\\system32\\no-such.dll");
  }
  ~MissingMetadata() { Set(path_); }

 private:
  static void Set(const std::wstring& path) {
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, kMetadataClass, L"DllPath", REG_SZ, path.c_str(),
                    static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t)));
  }

  wchar_t path_[MAX_PATH] = {};
};

TEST(SupportProbe, WithoutTheMetadataClassAnswersFalseInsteadOfRaising) {
  LogRecorder log;
  {
    MissingMetadata missing;
    EXPECT_FALSE(Wgc().is_wgc_session_supported());
    EXPECT_FALSE(Wgc().is_wgc_session_supported());
  }
  // A failure is not remembered.
  EXPECT_TRUE(Wgc().is_wgc_session_supported());
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
