// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The first session of a process, which initialises COM for all that follow. Each case runs in a
// child process, made while this one has not created a session yet.
#include <cstdlib>
#include <optional>
#include <thread>

#include "native/host.h"

namespace session_test {
namespace {

constexpr int kFailed = 1;
constexpr int kWrongUninitializations = 2;

class FirstSession : public SessionTest {
 protected:
  // uninitializations: of COM, at the very end of the process.
  template <typename Body>
  static void InProcessOfItsOwn(int uninitializations, Body body) {
    static int expected;
    expected = uninitializations;
    const auto run = [&] {
      // Before the library registers hooks of its own, which then run first.
      std::atexit([] {
        if (fake::com_uninitializations != expected) std::_Exit(kWrongUninitializations);
      });
      body();
      std::exit(HasFailure() ? kFailed : 0);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
  }

  // The code of the error that leaves the create function.
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
  InProcessOfItsOwn(1, [] {
    fake::StartRecording();
    Session session;
    // 0 is the multithreaded apartment.
    EXPECT_EQ(fake::TakeRecording(), std::vector<std::string>{"CoInitializeEx(null, 0)"});
    session.Destroy();
    EXPECT_EQ(fake::com_uninitializations, 0);
    // Others leave COM alone.
    Session second(kMonitor);
    std::thread([] { Session on_another_thread; }).join();
    EXPECT_EQ(fake::com_initializations, 1);
  });
}

TEST_F(FirstSession, AcceptsAThreadThatIsInTheApartmentAlready) {
  InProcessOfItsOwn(1, [] {
    fake::settings.co_initialize_result = S_FALSE;
    Session session;
    EXPECT_NE(session.handle(), nullptr);
    Session second;
    EXPECT_EQ(fake::com_initializations, 1);
  });
}

TEST_F(FirstSession, RaisesWhatComAnswersAndTheNextOneTriesAgain) {
  InProcessOfItsOwn(1, [] {
    for (const HRESULT result : {RPC_E_CHANGED_MODE, E_FAIL, E_OUTOFMEMORY}) {
      fake::settings.co_initialize_result = result;
      EXPECT_EQ(ErrorOf([] { wgc_session_create(kWindow); }), result);
      EXPECT_EQ(ErrorOf([] { wgc_session_create2(kMonitor); }), result);
    }
    EXPECT_EQ(TakeLog(), Log());
    fake::settings.co_initialize_result = S_OK;
    Session session;
    EXPECT_TRUE(session.Start());
    EXPECT_EQ(fake::com_initializations, 7);
  });
}

TEST_F(FirstSession, RefusalLeavesNothingToUndoAtExit) {
  InProcessOfItsOwn(0, [] {
    fake::settings.co_initialize_result = E_FAIL;
    EXPECT_EQ(ErrorOf([] { wgc_session_create(kWindow); }), E_FAIL);
  });
}

TEST_F(FirstSession, ComIsNotInitialisedWithoutASession) {
  InProcessOfItsOwn(0, [] {
    wgc_register_logger(nullptr);
    EXPECT_TRUE(is_wgc_session_supported());
    EXPECT_EQ(wgc_session_create2(nullptr), nullptr);
    fake::FailNew(1);
    EXPECT_EQ(wgc_session_create(kWindow), nullptr);
    EXPECT_EQ(fake::com_initializations, 0);
  });
}

}  // namespace
}  // namespace session_test
