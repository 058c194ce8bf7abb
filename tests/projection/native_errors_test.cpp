// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Errors where there is no memory to describe them: they go on without their text, and end nothing.
// And exceptions that no code stands for: they end the process.
#include <gtest/gtest.h>

#include <stdexcept>

#include "native/platform/calls.h"
#include "native/platform/settings.h"
#include "projection/test_objects.h"

namespace {

using winrt::com_ptr;

class NativeErrors : public testing::Test {
 protected:
  void SetUp() override { fake::Reset(); }
  void TearDown() override {
    fake::Reset();
    EXPECT_EQ(objects_alive, 0);
  }

  static void NoStrings() {
    fake::PlanFaults(
        fake::EveryCallOf("WindowsCreateString", {fake::Fault::Kind::kResult, E_OUTOFMEMORY}));
  }
};

TEST_F(NativeErrors, ADescriptionThatCannotBeCopiedIsLeftOut) {
  com_ptr<LegacyErrorInfo<>> const info{new LegacyErrorInfo<>(L"what went wrong"),
                                        winrt::take_ownership_from_abi};
  SetErrorInfo(0, info.get());
  NoStrings();
  EXPECT_EQ(winrt::hresult_error(E_ACCESSDENIED, winrt::take_ownership_from_abi).code(),
            E_ACCESSDENIED);
  EXPECT_EQ(fake::FaultsInjected(), 1u);
}

HRESULT ResultOf(auto exception) {
  try {
    throw exception;
  } catch (...) {
    return winrt::to_hresult();
  }
}

TEST_F(NativeErrors, AnExceptionWhoseTextCannotBeCopiedKeepsItsCode) {
  NoStrings();
  EXPECT_EQ(ResultOf(std::runtime_error("other")), E_FAIL);
  EXPECT_EQ(ResultOf(std::out_of_range("index")), static_cast<HRESULT>(0x8000000B));
  EXPECT_EQ(ResultOf(std::invalid_argument("value")), E_INVALIDARG);
  EXPECT_EQ(fake::FaultsInjected(), 3u);
}

using NativeErrorsDeathTest = NativeErrors;

TEST_F(NativeErrorsDeathTest, AnExceptionOfAnotherKindEndsTheProcess) {
  EXPECT_DEATH(ResultOf(42), "terminate called after throwing an instance of 'int'");
}

TEST_F(NativeErrorsDeathTest, AHandlersExceptionOfAnotherKindEndsTheProcess) {
  using namespace winrt::Windows;
  Foundation::TypedEventHandler<Graphics::Capture::GraphicsCaptureItem,
                                Foundation::IInspectable> const handler([](auto const&,
                                                                           auto const&) {
    throw 42;
  });
  auto* const invoked = static_cast<Item::Handler*>(winrt::get_abi(handler));
  EXPECT_DEATH(invoked->Invoke(nullptr, nullptr),
               "terminate called after throwing an instance of 'int'");
}

}  // namespace
