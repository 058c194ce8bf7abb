// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The first creation of a process, which initialises COM, with each of its calls made to fail. One
// case only: once it has succeeded, it never comes again.
#include <winrt/base.h>

#include "native/host.h"

namespace session_test {
namespace {

using CreateFailures = SessionTest;

TEST_F(CreateFailures, UntilComIsInitialised) {
  using Kind = fake::Fault::Kind;
  for (const bool monitor : {false, true}) {
    const auto create = [=] {
      return monitor ? wgc_session_create2(kMonitor) : wgc_session_create(kWindow);
    };
    // Each attempt asks anew, and the host learns of each failure, by the same type.
    for (const Kind kind : {Kind::kResult, Kind::kResultAfterWork}) {
      for (const HRESULT result : {RPC_E_CHANGED_MODE, E_FAIL, E_OUTOFMEMORY}) {
        fake::PlanFaults(fake::NthCall(1, {kind, result}));
        HRESULT raised = S_OK;
        try {
          create();
        } catch (const winrt::hresult_error& error) {
          raised = error.code();
        }
        EXPECT_EQ(raised, result);
        EXPECT_EQ(fake::FaultsInjected(), 1u);
      }
    }
  }
  fake::PlanNoFaults();
  EXPECT_EQ(fake::com_uninitializations, 0);

  const Session session;
  ASSERT_NE(session.handle(), nullptr);
  // From here on the session itself is all that can fail.
  for (const bool monitor : {false, true}) {
    fake::FailNew(1);
    EXPECT_EQ(monitor ? wgc_session_create2(kMonitor) : wgc_session_create(kWindow), nullptr);
  }
}

}  // namespace
}  // namespace session_test
