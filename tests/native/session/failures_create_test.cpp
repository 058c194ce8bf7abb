// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The first creation of a process, which initialises COM, with each of its calls made to fail. One
// case only: once it has succeeded, it never comes again.
#include <winrt/base.h>

#include <optional>
#include <string>
#include <vector>

#include "native/host.h"

namespace session_test {
namespace {

class CreateFailures : public SessionTest {};

void* Create(bool monitor) {
  return monitor ? wgc_session_create2(kMonitor) : wgc_session_create(kWindow);
}

// The error that comes out of a creation, for every code of the same type; nothing when it returns.
std::optional<HRESULT> Raised(bool monitor) {
  try {
    if (void* const session = Create(monitor)) wgc_session_destroy(session);
  } catch (const winrt::hresult_error& error) {
    return error.code();
  }
  return std::nullopt;
}

TEST_F(CreateFailures, UntilComIsInitialised) {
  using Kind = fake::Fault::Kind;
  for (const bool monitor : {false, true}) {
    // Without memory for the session there is nothing to initialise for.
    fake::StartRecording();
    fake::FailNew(1);
    void* const session = Create(monitor);
    fake::FailNew(0);
    EXPECT_EQ(session, nullptr);
    EXPECT_EQ(fake::TakeRecording(), std::vector<std::string>());

    // Each attempt asks anew, and the host learns of each failure.
    for (const Kind kind : {Kind::kResult, Kind::kResultAfterWork}) {
      for (const HRESULT result : {RPC_E_CHANGED_MODE, E_FAIL, E_OUTOFMEMORY}) {
        fake::PlanFaults(fake::NthCall(1, {kind, result}));
        EXPECT_EQ(Raised(monitor), result);
        EXPECT_EQ(fake::FailableCalls(), 1u);
        EXPECT_EQ(fake::FaultsInjected(), 1u);
      }
    }
  }
  fake::PlanNoFaults();
  EXPECT_EQ(fake::com_uninitializations, 0);

  // Somebody else has done it before; that is success, too.
  fake::settings.co_initialize_result = S_FALSE;
  fake::StartRecording();
  EXPECT_EQ(Raised(false), std::nullopt);
  const auto recording = fake::TakeRecording();
  ASSERT_FALSE(recording.empty());
  // COINIT_MULTITHREADED
  EXPECT_EQ(recording.front(), "CoInitializeEx(null, 0)");

  for (const bool monitor : {false, true}) {
    fake::PlanNoFaults();
    fake::FailNew(1);
    EXPECT_EQ(Create(monitor), nullptr);
    fake::FailNew(2);
    void* const session = Create(monitor);
    EXPECT_EQ(fake::NewCalls(), 1u);
    fake::FailNew(0);
    EXPECT_NE(session, nullptr);
    EXPECT_EQ(fake::FailableCalls(), 0u);
    wgc_session_destroy(session);
  }
}

}  // namespace
}  // namespace session_test
