// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The first session of a process, which initialises COM for all that follow. Each case runs in a
// child process, made while this one has not created a session yet.
#include <winrt/base.h>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <thread>

#include "native/frames.h"

namespace session_test {
namespace {

constexpr int kPassed = 0;
constexpr int kFailed = 1;
constexpr int kNotUninitializedOnce = 2;
constexpr int kUninitialized = 3;

// What a process finds at its very end; to be called before the library registers hooks of its own.
void ExpectUninitializationsAtExit(int expected) {
  static int wanted;
  wanted = expected;
  std::atexit([] {
    if (fake::com_uninitializations != wanted) {
      std::_Exit(wanted == 0 ? kUninitialized : kNotUninitializedOnce);
    }
  });
}

class FirstSession : public SessionTest {
 protected:
  template <typename Body>
  static void InProcessOfItsOwn(Body body) {
    EXPECT_EXIT(
        {
          body();
          std::exit(HasFailure() ? kFailed : kPassed);
        },
        testing::ExitedWithCode(kPassed), "");
  }

  // The code of the error that leaves a create function.
  template <typename Create>
  static std::optional<HRESULT> ErrorOf(Create create) {
    try {
      create();
    } catch (const winrt::hresult_error& error) {
      return error.code();
    }
    return std::nullopt;
  }
};

TEST_F(FirstSession, JoinsTheMultithreadedApartmentAndLeavesItAtExit) {
  InProcessOfItsOwn([] {
    ExpectUninitializationsAtExit(1);
    fake::StartRecording();
    Session session;
    // 0 is the multithreaded apartment.
    EXPECT_EQ(fake::TakeRecording(), std::vector<std::string>{"CoInitializeEx(null, 0)"});
    EXPECT_EQ(fake::com_initializations, 1);
    session.Destroy();
    EXPECT_EQ(fake::com_uninitializations, 0);
  });
}

TEST_F(FirstSession, IsFollowedByOthersThatLeaveComAlone) {
  InProcessOfItsOwn([] {
    ExpectUninitializationsAtExit(1);
    Session first;
    Session second(kMonitor);
    first.Destroy();
    Session third;
    std::thread([] { Session on_another_thread(kMonitor); }).join();
    EXPECT_EQ(fake::com_initializations, 1);
  });
}

TEST_F(FirstSession, OfAMonitorInitialisesComToo) {
  InProcessOfItsOwn([] {
    ExpectUninitializationsAtExit(1);
    Session session(kMonitor);
    EXPECT_EQ(fake::com_initializations, 1);
    Session second;
    EXPECT_EQ(fake::com_initializations, 1);
  });
}

TEST_F(FirstSession, MayFindTheThreadInTheApartmentAlready) {
  InProcessOfItsOwn([] {
    ExpectUninitializationsAtExit(1);
    fake::settings.co_initialize_result = S_FALSE;
    Session session;
    EXPECT_NE(session.handle(), nullptr);
    Session second;
    EXPECT_EQ(fake::com_initializations, 1);
  });
}

TEST_F(FirstSession, OnASingleThreadedApartmentRaisesAndTheNextOneTriesAgain) {
  InProcessOfItsOwn([] {
    ExpectUninitializationsAtExit(1);
    fake::settings.co_initialize_result = RPC_E_CHANGED_MODE;
    EXPECT_EQ(ErrorOf([] { wgc_session_create(kWindow); }), RPC_E_CHANGED_MODE);
    EXPECT_EQ(ErrorOf([] { wgc_session_create2(kMonitor); }), RPC_E_CHANGED_MODE);
    EXPECT_EQ(fake::com_initializations, 2);
    EXPECT_EQ(TakeLog(), std::vector<LogLine>());
    fake::settings.co_initialize_result = S_OK;
    Session session;
    EXPECT_NE(session.handle(), nullptr);
    EXPECT_TRUE(session.Start());
    EXPECT_EQ(fake::com_initializations, 3);
  });
}

TEST_F(FirstSession, ThatIsRefusedLeavesNothingToUndoAtExit) {
  InProcessOfItsOwn([] {
    ExpectUninitializationsAtExit(0);
    fake::settings.co_initialize_result = E_FAIL;
    EXPECT_EQ(ErrorOf([] { wgc_session_create(kWindow); }), E_FAIL);
  });
}

TEST_F(FirstSession, OfANullMonitorDoesNotExistAndInitialisesNothing) {
  InProcessOfItsOwn([] {
    ExpectUninitializationsAtExit(0);
    EXPECT_EQ(wgc_session_create2(nullptr), nullptr);
    EXPECT_EQ(fake::com_initializations, 0);
  });
}

TEST_F(FirstSession, WithoutMemoryInitialisesNothing) {
  InProcessOfItsOwn([] {
    ExpectUninitializationsAtExit(0);
    fake::FailNew(1);
    EXPECT_EQ(wgc_session_create(kWindow), nullptr);
    EXPECT_EQ(fake::com_initializations, 0);
  });
}

TEST_F(FirstSession, OfTwoThreadsAtOnceInitialisesComOnce) {
  InProcessOfItsOwn([] {
    ExpectUninitializationsAtExit(1);
    std::thread first([] { Session session; });
    std::thread second([] { Session session(kMonitor); });
    first.join();
    second.join();
    EXPECT_EQ(fake::com_initializations, 1);
  });
}

TEST_F(FirstSession, IsNotNeededByTheProbeOrTheLogger) {
  InProcessOfItsOwn([] {
    ExpectUninitializationsAtExit(0);
    wgc_register_logger(nullptr);
    EXPECT_TRUE(is_wgc_session_supported());
    EXPECT_EQ(fake::com_initializations, 0);
  });
}

}  // namespace
}  // namespace session_test
