// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The first session of a process, which only a process of its own can show.
#include <thread>

#include "system/e2e/capture.h"

namespace {

TEST(FirstSession, OnASingleThreadedApartmentRaisesAndTheNextOneTriesAgain) {
  Wgc();
  std::thread([] {
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
  }).join();

  std::thread([] {
    Session session(Wgc().wgc_session_create(nullptr));
    EXPECT_NE(session.get(), nullptr);
    // The thread is in the multithreaded apartment now.
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), RPC_E_CHANGED_MODE);
  }).join();
}

}  // namespace
