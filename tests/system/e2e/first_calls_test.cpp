// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What only a process of its own can show, and only in this order: the support probe before
// anything initialised COM and before the platform's metadata was obtained, as it is kept from then
// on; then the first session; last, what FreeLibrary does after such calls.
#include "system/e2e/capture.h"

namespace {

TEST(SupportProbe, WithoutTheMetadataClassAnswersFalseInsteadOfRaising) {
  if (!IsWine()) GTEST_SKIP() << "needs a platform whose classes can be taken away";
  LogRecorder log;
  {
    const MissingClass missing(L"Windows.Foundation.Metadata.ApiInformation");
    EXPECT_FALSE(Wgc().is_wgc_session_supported());
    EXPECT_FALSE(Wgc().is_wgc_session_supported());
  }
  // A failure is not remembered.
  EXPECT_TRUE(Wgc().is_wgc_session_supported());
  EXPECT_TRUE(log.lines().empty());
}

TEST(SupportProbe, AnswersByTheUniversalApiContract) {
  if (!IsWine()) GTEST_SKIP() << kNeedsStandin;
  for (const DWORD version : {7u, 8u}) {
    const PlatformSetting contract(L"UniversalApiContract", version);
    EXPECT_EQ(Wgc().is_wgc_session_supported(), version == 8);
  }
}

TEST(FirstSession, OnASingleThreadedApartmentRaisesAndTheNextOneTriesAgain) {
  OnOwnThread([] {
    ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    void* session = nullptr;
    bool raised = false;
    try {
      session = Wgc().wgc_session_create(nullptr);
    } catch (...) {
      raised = true;
    }
    EXPECT_TRUE(raised);
    EXPECT_EQ(session, nullptr);
    CoUninitialize();
  });

  OnOwnThread([] {
    Session session(Wgc().wgc_session_create(nullptr));
    EXPECT_NE(session.get(), nullptr);
    // The thread is in the multithreaded apartment now.
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), RPC_E_CHANGED_MODE);
  });
}

// A copy of the DLL under a name of its own, which Windows loads and frees separately.
class LibraryCopy {
 public:
  explicit LibraryCopy(const std::wstring& name) {
    wchar_t folder[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, folder);
    path_ = folder + name;
    wchar_t original[MAX_PATH] = {};
    GetModuleFileNameW(Wgc().module, original, MAX_PATH);
    EXPECT_TRUE(CopyFileW(original, path_.c_str(), FALSE)) << GetLastError();
    module_ = LoadLibraryW(path_.c_str());
    EXPECT_NE(module_, nullptr) << GetLastError();
  }

  template <typename Function>
  Function* Get(Function* /*type*/, const char* name) const {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module_, name)));
  }

  bool IsLoadedAfterFree() const {
    EXPECT_TRUE(FreeLibrary(module_));
    return GetModuleHandleW(path_.c_str()) != nullptr;
  }

 private:
  std::wstring path_;
  HMODULE module_ = nullptr;
};

#define GET(library, name) (library).Get(Wgc().name, #name)

TEST(FreedLibrary, IsUnloadedBeforeItHasCalledThePlatform) {
  const LibraryCopy untouched(L"quill-wgc-untouched.dll");
  EXPECT_FALSE(untouched.IsLoadedAfterFree());

  const LibraryCopy logging(L"quill-wgc-logging.dll");
  GET(logging, wgc_register_logger)(nullptr);
  EXPECT_EQ(GET(logging, wgc_session_create2)(nullptr), nullptr);
  EXPECT_FALSE(logging.IsLoadedAfterFree());
}

TEST(FreedLibrary, StaysLoadedAfterTheSupportProbe) {
  const LibraryCopy library(L"quill-wgc-probe.dll");
  EXPECT_TRUE(GET(library, is_wgc_session_supported)());
  ASSERT_TRUE(library.IsLoadedAfterFree());
  EXPECT_TRUE(GET(library, is_wgc_session_supported)());
}

TEST_ON_OWN_THREAD(FreedLibrary, StaysLoadedAfterASessionWasCreated) {
  const LibraryCopy library(L"quill-wgc-create.dll");
  void* const session = GET(library, wgc_session_create)(nullptr);
  GET(library, wgc_session_destroy)(session);
  EXPECT_TRUE(library.IsLoadedAfterFree());

  const LibraryCopy library2(L"quill-wgc-create2.dll");
  const POINT origin = {};
  void* const session2 =
      GET(library2, wgc_session_create2)(MonitorFromPoint(origin, MONITOR_DEFAULTTOPRIMARY));
  GET(library2, wgc_session_destroy)(session2);
  EXPECT_TRUE(library2.IsLoadedAfterFree());
}

TEST_ON_OWN_THREAD(FreedLibrary, CapturesAfterItsLastReferenceWasFreed) {
  // The only reference of this process; Wgc() keeps the addresses.
  ASSERT_TRUE(FreeLibrary(Wgc().module));
  ASSERT_EQ(GetModuleHandleW(L"libquill-wgc.dll"), Wgc().module);
  const Capture capture(MakePattern(64, 48));
}

}  // namespace
