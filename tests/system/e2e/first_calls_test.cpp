// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What only a process of its own can show, and only in this order: the support probe before
// anything initialised COM and before the platform's metadata was obtained, as it is kept from then
// on; then the first session.
#include "system/e2e/capture.h"

namespace {

TEST(SupportProbe, WithoutTheMetadataClassAnswersFalseInsteadOfRaising) {
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

}  // namespace
