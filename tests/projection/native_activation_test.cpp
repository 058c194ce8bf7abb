// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The rules of activation that need a platform which can be told what to answer.
#include <gtest/gtest.h>
#include <winrt/Windows.Foundation.Metadata.h>

#include "native/platform/calls.h"
#include "native/platform/settings.h"
#include "projection/test_objects.h"

namespace {

struct SomeClass;
struct AgileClass;
struct UnknownClass;

}  // namespace

template <>
inline constexpr wchar_t const* winrt::impl::class_name<SomeClass> = L"a.namespace.SomeClass";
template <>
inline constexpr wchar_t const* winrt::impl::class_name<AgileClass> = L"a.namespace.AgileClass";
template <>
inline constexpr wchar_t const* winrt::impl::class_name<UnknownClass> = L"unknown";

namespace {

struct Factory : TestObject<IActivationFactory> {
  HRESULT STDMETHODCALLTYPE ActivateInstance(::IInspectable**) override { return E_NOTIMPL; }
};

struct AgileFactory : TestObject<IActivationFactory, IAgileObject> {
  HRESULT STDMETHODCALLTYPE ActivateInstance(::IInspectable**) override { return E_NOTIMPL; }
};

// What a library's DllGetActivationFactory answers.
IActivationFactory* library_factory = nullptr;
HRESULT library_result = S_OK;

HRESULT WINAPI GetLibraryFactory(HSTRING, IActivationFactory** factory) {
  *factory = library_factory;
  if (library_factory) {
    library_factory->AddRef();
  }
  return library_result;
}

// Another library's, whose factory is its own.
IActivationFactory* inner_factory = nullptr;

HRESULT WINAPI GetInnerFactory(HSTRING, IActivationFactory** factory) {
  *factory = inner_factory;
  inner_factory->AddRef();
  return S_OK;
}

class NativeActivation : public testing::Test {
 protected:
  void SetUp() override {
    fake::Reset();
    fake::settings.apartment_needed = true;
    fake::settings.foreign_factory = factory.get();
    library_factory = factory.get();
    library_result = S_OK;
  }
  void TearDown() override { fake::Reset(); }

  winrt::com_ptr<Factory> const factory{new Factory, winrt::take_ownership_from_abi};
};

TEST_F(NativeActivation, JoinsTheMultithreadedApartmentWhenThereIsNone) {
  EXPECT_TRUE(winrt::get_activation_factory<SomeClass>());
  EXPECT_EQ(fake::mta_usages, 1);
  EXPECT_TRUE(winrt::get_activation_factory<SomeClass>());
  EXPECT_EQ(fake::mta_usages, 1);
  EXPECT_EQ(factory->references(), 1u);
}

TEST_F(NativeActivation, AClassNobodyKnowsIsNotRegistered) {
  fake::settings.foreign_factory = nullptr;
  EXPECT_THROW(winrt::get_activation_factory<SomeClass>(), winrt::hresult_class_not_registered);
}

TEST_F(NativeActivation, AFactoryThatLacksTheInterfaceThrows) {
  EXPECT_THROW((winrt::get_activation_factory<SomeClass, IErrorInfo>()),
               winrt::hresult_no_interface);
}

TEST_F(NativeActivation, AgileStaticsAreActivatedOnce) {
  winrt::com_ptr<AgileFactory> const agile{new AgileFactory, winrt::take_ownership_from_abi};
  fake::settings.foreign_factory = agile.get();
  auto const statics = [] {
    return winrt::impl::call_statics<AgileClass, IActivationFactory>(
        [](IActivationFactory* held) { return held; });
  };
  EXPECT_EQ(statics(), agile.get());
  EXPECT_EQ(agile->references(), 2u);
  // Without the cache, the second call would find another factory.
  fake::settings.foreign_factory = factory.get();
  EXPECT_EQ(statics(), agile.get());
  EXPECT_EQ(agile->references(), 2u);
  // What the cache holds for good is given back here, for the next test.
  winrt::impl::cached_statics<AgileClass, IActivationFactory> = nullptr;
  agile->Release();
}

TEST_F(NativeActivation, StaticsThatAreNotAgileAreAskedForAgain) {
  winrt::com_ptr<Factory> const other{new Factory, winrt::take_ownership_from_abi};
  for (Factory* const asked : {factory.get(), other.get()}) {
    fake::settings.foreign_factory = asked;
    EXPECT_EQ((winrt::impl::call_statics<SomeClass, IActivationFactory>(
                  [](IActivationFactory* held) { return held; })),
              asked);
    EXPECT_EQ(asked->references(), 1u);
  }
}

TEST_F(NativeActivation, ALostRaceKeepsTheWinnersStatics) {
  winrt::com_ptr<AgileFactory> const winner{new AgileFactory, winrt::take_ownership_from_abi};

  // While this factory is asked whether it is agile, another thread gets there first.
  struct SlowFactory final : AgileFactory {
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** result) override {
      if (id == __uuidof(IAgileObject)) {
        winrt::impl::cached_statics<AgileClass, IActivationFactory> = first;
      }
      return AgileFactory::QueryInterface(id, result);
    }
    IActivationFactory* first = nullptr;
  };
  winrt::com_ptr<SlowFactory> const loser{new SlowFactory, winrt::take_ownership_from_abi};
  loser->first = winner.get();
  fake::settings.foreign_factory = loser.get();
  EXPECT_EQ((winrt::impl::call_statics<AgileClass, IActivationFactory>(
                [](IActivationFactory* held) { return held; })),
            winner.get());
  EXPECT_EQ(loser->references(), 1u);
  winrt::impl::cached_statics<AgileClass, IActivationFactory> = nullptr;
}

TEST_F(NativeActivation, LooksInTheLibrariesOfTheNamespacesTheInnermostFirst) {
  fake::settings.foreign_factory = nullptr;
  fake::settings.libraries = {{"a.dll", GetLibraryFactory}};
  EXPECT_TRUE(winrt::get_activation_factory<SomeClass>());
  EXPECT_EQ(fake::libraries_loaded, 1);
  EXPECT_EQ(factory->references(), 1u);

  winrt::com_ptr<Factory> const inner{new Factory, winrt::take_ownership_from_abi};
  inner_factory = inner.get();
  fake::settings.libraries.push_back({"a.namespace.dll", GetInnerFactory});
  EXPECT_EQ(winrt::get_activation_factory<SomeClass>().as<IActivationFactory>().get(), inner.get());
}

// Each of these libraries is loaded, asked, and given back.
TEST_F(NativeActivation, ALibraryWithoutTheFactoryIsFreed) {
  fake::settings.foreign_factory = nullptr;
  auto const fails = [] {
    EXPECT_THROW(winrt::get_activation_factory<SomeClass>(), winrt::hresult_class_not_registered);
    EXPECT_EQ(fake::libraries_loaded, 0);
  };
  fake::settings.libraries = {{"a.dll", nullptr}};
  fails();
  fake::settings.libraries = {{"a.dll", GetLibraryFactory}};
  library_result = CLASS_E_CLASSNOTAVAILABLE;
  library_factory = nullptr;
  fails();
  library_result = S_OK;
  fails();
  library_factory = factory.get();
  EXPECT_THROW((winrt::get_activation_factory<SomeClass, IErrorInfo>()),
               winrt::hresult_class_not_registered);
  EXPECT_EQ(fake::libraries_loaded, 0);
  EXPECT_EQ(factory->references(), 1u);
}

// A factory whose code is its library's.
struct LibraryFactory final : Factory {
  ~LibraryFactory() override { libraries_at_end = fake::libraries_loaded; }
  static inline int libraries_at_end = 0;
};

HRESULT WINAPI GetNewFactory(HSTRING, IActivationFactory** factory) {
  *factory = new LibraryFactory;
  return S_OK;
}

TEST_F(NativeActivation, ALibraryIsFreedAfterItsFactory) {
  fake::settings.foreign_factory = nullptr;
  fake::settings.libraries = {{"a.dll", GetNewFactory}};
  EXPECT_THROW((winrt::get_activation_factory<SomeClass, IErrorInfo>()),
               winrt::hresult_class_not_registered);
  EXPECT_EQ(LibraryFactory::libraries_at_end, 1);
  EXPECT_EQ(fake::libraries_loaded, 0);
}

void LeaveOnThread(wchar_t const* text) {
  winrt::com_ptr<ErrorInfo> const info{new ErrorInfo(REGDB_E_CLASSNOTREG, text, nullptr),
                                       winrt::take_ownership_from_abi};
  SetErrorInfo(0, info.get());
}

HRESULT WINAPI FailWithATextOfItsOwn(HSTRING, IActivationFactory** factory) {
  LeaveOnThread(L"the library's");
  *factory = nullptr;
  return CLASS_E_CLASSNOTAVAILABLE;
}

TEST_F(NativeActivation, AFailureIsDescribedByThePlatformAndNotByALibrary) {
  fake::settings.foreign_factory = nullptr;
  fake::settings.libraries = {{"a.dll", FailWithATextOfItsOwn}};
  LeaveOnThread(L"the platform's");
  try {
    winrt::get_activation_factory<SomeClass>();
    ADD_FAILURE() << "nothing thrown";
  } catch (winrt::hresult_class_not_registered const& error) {
    EXPECT_EQ(winrt::to_string(error.message()), "the platform's");
  }
}

TEST_F(NativeActivation, ApiInformationTellsOfPropertiesAndContracts) {
  using winrt::Windows::Foundation::Metadata::ApiInformation;
  constexpr wchar_t session[] = L"Windows.Graphics.Capture.GraphicsCaptureSession";
  EXPECT_TRUE(ApiInformation::IsPropertyPresent(session, L"IsBorderRequired"));
  EXPECT_FALSE(ApiInformation::IsPropertyPresent(session, L"NoSuchProperty"));
  constexpr wchar_t contract[] = L"Windows.Foundation.UniversalApiContract";
  EXPECT_TRUE(ApiInformation::IsApiContractPresent(contract, 8));
  EXPECT_FALSE(ApiInformation::IsApiContractPresent(contract, 9));
  fake::PlanFaults(
      fake::EveryCallOf("IsPropertyPresent", {fake::Fault::Kind::kResult, E_ACCESSDENIED}));
  EXPECT_THROW(ApiInformation::IsPropertyPresent(session, L"IsBorderRequired"),
               winrt::hresult_access_denied);
}

TEST_F(NativeActivation, ANameWithoutNamespaceHasNoLibrary) {
  fake::settings.foreign_factory = nullptr;
  fake::settings.libraries = {{".dll", GetLibraryFactory}, {"unknown.dll", GetLibraryFactory}};
  EXPECT_THROW(winrt::get_activation_factory<UnknownClass>(), winrt::hresult_class_not_registered);
}

}  // namespace
