// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The rules of activation that need a platform which can be told what to answer.
#include <gtest/gtest.h>
#include <winrt/base.h>

#include "winrt/native_platform.h"
#include "winrt/test_objects.h"

namespace {

struct SomeClass;

}  // namespace

template <>
inline constexpr wchar_t const* winrt::impl::class_name<SomeClass> = L"a.namespace.SomeClass";

namespace {

struct Factory : TestObject<IActivationFactory> {
  HRESULT STDMETHODCALLTYPE ActivateInstance(::IInspectable**) override { return E_NOTIMPL; }
};

class NativeActivation : public testing::Test {
 protected:
  void SetUp() override {
    native_platform::mta_usages = 0;
    native_platform::registered_factory = factory.get();
  }
  void TearDown() override { native_platform::registered_factory = nullptr; }

  winrt::com_ptr<Factory> const factory{new Factory, winrt::take_ownership_from_abi};
};

TEST_F(NativeActivation, JoinsTheMultithreadedApartmentWhenThereIsNone) {
  EXPECT_TRUE(winrt::get_activation_factory<SomeClass>());
  EXPECT_EQ(native_platform::mta_usages, 1);
  EXPECT_TRUE(winrt::get_activation_factory<SomeClass>());
  EXPECT_EQ(native_platform::mta_usages, 1);
  EXPECT_EQ(factory->references(), 1u);
}

TEST_F(NativeActivation, AClassNobodyKnowsIsNotRegistered) {
  native_platform::registered_factory = nullptr;
  EXPECT_THROW(winrt::get_activation_factory<SomeClass>(), winrt::hresult_class_not_registered);
}

TEST_F(NativeActivation, AFactoryThatLacksTheInterfaceThrows) {
  EXPECT_THROW((winrt::get_activation_factory<SomeClass, IErrorInfo>()),
               winrt::hresult_no_interface);
}

}  // namespace
