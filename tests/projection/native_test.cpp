// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What needs a platform that can be told what to answer: activation, the marshaling of delegates,
// and errors where there is no memory to describe them.
#include <winrt/Windows.Foundation.Metadata.h>

#include <stdexcept>
#include <tuple>

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

class NativeTest : public ObjectsTest {
 protected:
  void SetUp() override { fake::Reset(); }
  void TearDown() override {
    fake::Reset();
    ObjectsTest::TearDown();
  }
};

template <typename... Interfaces>
struct FactoryWith : TestObject<IActivationFactory, Interfaces...> {
  HRESULT STDMETHODCALLTYPE ActivateInstance(::IInspectable**) override { return E_NOTIMPL; }
};
using Factory = FactoryWith<>;

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

// A factory whose code is its library's.
struct LibraryFactory final : Factory {
  ~LibraryFactory() override { libraries_at_end = fake::libraries_loaded; }
  static inline int libraries_at_end = 0;
};

HRESULT WINAPI GetNewFactory(HSTRING, IActivationFactory** factory) {
  *factory = new LibraryFactory;
  return S_OK;
}

class NativeActivation : public NativeTest {
 protected:
  void SetUp() override {
    NativeTest::SetUp();
    fake::settings.apartment_needed = true;
    fake::settings.foreign_factory = factory.get();
    library_factory = factory.get();
    library_result = S_OK;
  }
  void TearDown() override {
    factory = nullptr;
    NativeTest::TearDown();
  }

  com_ptr<Factory> factory = Make<Factory>();
};

// The statics of a class, as a call of one of its functions finds them.
template <typename Class>
IActivationFactory* StaticsOf() {
  return winrt::impl::call_statics<Class, IActivationFactory>(
      [](IActivationFactory* statics) { return statics; });
}

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
  auto const agile = Make<FactoryWith<IAgileObject>>();
  fake::settings.foreign_factory = agile.get();
  EXPECT_EQ(StaticsOf<AgileClass>(), agile.get());
  EXPECT_EQ(agile->references(), 2u);
  // Without the cache, the second call would find another factory.
  fake::settings.foreign_factory = factory.get();
  EXPECT_EQ(StaticsOf<AgileClass>(), agile.get());
  EXPECT_EQ(agile->references(), 2u);
  // What the cache holds for good is given back here, for the next test.
  winrt::impl::cached_statics<AgileClass, IActivationFactory> = nullptr;
  agile->Release();
}

TEST_F(NativeActivation, StaticsThatAreNotAgileAreAskedForAgain) {
  auto const other = Make<Factory>();
  for (Factory* const asked : {factory.get(), other.get()}) {
    fake::settings.foreign_factory = asked;
    EXPECT_EQ(StaticsOf<SomeClass>(), asked);
    EXPECT_EQ(asked->references(), 1u);
  }
}

TEST_F(NativeActivation, ALostRaceKeepsTheWinnersStatics) {
  auto const winner = Make<FactoryWith<IAgileObject>>();
  // While this factory is asked whether it is agile, another thread gets there first.
  struct SlowFactory final : FactoryWith<IAgileObject> {
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** result) override {
      if (id == __uuidof(IAgileObject)) {
        winrt::impl::cached_statics<AgileClass, IActivationFactory> = first;
      }
      return FactoryWith::QueryInterface(id, result);
    }
    IActivationFactory* first = nullptr;
  };
  auto const loser = Make<SlowFactory>();
  loser->first = winner.get();
  fake::settings.foreign_factory = loser.get();
  EXPECT_EQ(StaticsOf<AgileClass>(), winner.get());
  EXPECT_EQ(loser->references(), 1u);
  winrt::impl::cached_statics<AgileClass, IActivationFactory> = nullptr;
}

TEST_F(NativeActivation, LooksInTheLibrariesOfTheNamespacesTheInnermostFirst) {
  fake::settings.foreign_factory = nullptr;
  fake::settings.libraries = {{"a.dll", GetLibraryFactory}};
  EXPECT_TRUE(winrt::get_activation_factory<SomeClass>());
  EXPECT_EQ(fake::libraries_loaded, 1);
  EXPECT_EQ(factory->references(), 1u);

  fake::settings.libraries.push_back({"a.namespace.dll", GetNewFactory});
  auto const inner = winrt::get_activation_factory<SomeClass>().as<IActivationFactory>();
  EXPECT_TRUE(inner && inner.get() != factory.get());
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

TEST_F(NativeActivation, ALibraryIsFreedAfterItsFactory) {
  fake::settings.foreign_factory = nullptr;
  fake::settings.libraries = {{"a.dll", GetNewFactory}};
  EXPECT_THROW((winrt::get_activation_factory<SomeClass, IErrorInfo>()),
               winrt::hresult_class_not_registered);
  EXPECT_EQ(LibraryFactory::libraries_at_end, 1);
  EXPECT_EQ(fake::libraries_loaded, 0);
}

HRESULT WINAPI FailWithATextOfItsOwn(HSTRING, IActivationFactory** factory) {
  LeaveOnThread(REGDB_E_CLASSNOTREG, L"the library's", nullptr);
  *factory = nullptr;
  return CLASS_E_CLASSNOTAVAILABLE;
}

TEST_F(NativeActivation, AFailureIsDescribedByThePlatformAndNotByALibrary) {
  fake::settings.foreign_factory = nullptr;
  fake::settings.libraries = {{"a.dll", FailWithATextOfItsOwn}};
  LeaveOnThread(REGDB_E_CLASSNOTREG, L"the platform's", nullptr);
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

// id, object, destination, reserved, flags, stream
using Arguments = std::tuple<IID, void*, DWORD, void*, DWORD, IStream*>;

// Answers each method with a code of its own, and notes the arguments.
struct Marshaler final : TestObject<IMarshal> {
  HRESULT STDMETHODCALLTYPE GetUnmarshalClass(REFIID id, void* object, DWORD destination,
                                              void* reserved, DWORD flags, CLSID* result) override {
    last = {id, object, destination, reserved, flags, nullptr};
    *result = __uuidof(IMarshal);
    return 1;
  }
  HRESULT STDMETHODCALLTYPE GetMarshalSizeMax(REFIID id, void* object, DWORD destination,
                                              void* reserved, DWORD flags, DWORD* result) override {
    last = {id, object, destination, reserved, flags, nullptr};
    *result = 77;
    return 2;
  }
  HRESULT STDMETHODCALLTYPE MarshalInterface(IStream* stream, REFIID id, void* object,
                                             DWORD destination, void* reserved,
                                             DWORD flags) override {
    last = {id, object, destination, reserved, flags, stream};
    return 3;
  }
  HRESULT STDMETHODCALLTYPE UnmarshalInterface(IStream* stream, REFIID id, void** result) override {
    last = {id, nullptr, 0, nullptr, 0, stream};
    *result = this;
    return 4;
  }
  HRESULT STDMETHODCALLTYPE ReleaseMarshalData(IStream* stream) override {
    last = {{}, nullptr, 0, nullptr, 0, stream};
    return 5;
  }
  HRESULT STDMETHODCALLTYPE DisconnectObject(DWORD reserved) override {
    last = {{}, nullptr, 0, nullptr, reserved, nullptr};
    return 6;
  }

  Arguments last;
};

class NativeMarshaling : public NativeTest {
 protected:
  void SetUp() override {
    NativeTest::SetUp();
    fake::settings.marshaler = platform_.get();
  }
  void TearDown() override {
    platform_ = nullptr;
    NativeTest::TearDown();
  }

  com_ptr<Marshaler> platform_ = Make<Marshaler>();
};

com_ptr<::IUnknown> NewDelegate() {
  return Handler([](auto const&, auto const&) {}).as<::IUnknown>();
}

TEST_F(NativeMarshaling, IsThePlatformsUnderTheDelegatesIdentity) {
  ULONG const before = platform_->references();
  {
    auto const identity = NewDelegate();
    auto const marshal = identity.as<IMarshal>();
    EXPECT_EQ(marshal.as<::IUnknown>().get(), identity.get());
    EXPECT_EQ(marshal.as<IMarshal>().get(), marshal.get());
    EXPECT_GT(platform_->references(), before);
  }
  EXPECT_EQ(platform_->references(), before);
}

TEST_F(NativeMarshaling, PassesEveryMethodOn) {
  auto const marshal = NewDelegate().as<IMarshal>();
  int object = 0, reserved = 0, somewhere = 0;
  auto* const stream = reinterpret_cast<IStream*>(&somewhere);
  IID const id = __uuidof(IErrorInfo);

  CLSID unmarshaler{};
  EXPECT_EQ(marshal->GetUnmarshalClass(id, &object, 3, &reserved, 4, &unmarshaler), 1);
  EXPECT_TRUE(unmarshaler == __uuidof(IMarshal));
  EXPECT_TRUE(platform_->last == Arguments(id, &object, 3, &reserved, 4, nullptr));

  DWORD size = 0;
  EXPECT_EQ(marshal->GetMarshalSizeMax(id, &object, 5, &reserved, 6, &size), 2);
  EXPECT_EQ(size, 77u);
  EXPECT_TRUE(platform_->last == Arguments(id, &object, 5, &reserved, 6, nullptr));

  EXPECT_EQ(marshal->MarshalInterface(stream, id, &object, 7, &reserved, 8), 3);
  EXPECT_TRUE(platform_->last == Arguments(id, &object, 7, &reserved, 8, stream));

  void* unmarshaled = nullptr;
  EXPECT_EQ(marshal->UnmarshalInterface(stream, id, &unmarshaled), 4);
  EXPECT_TRUE(platform_->last == Arguments(id, nullptr, 0, nullptr, 0, stream));
  EXPECT_EQ(unmarshaled, platform_.get());

  EXPECT_EQ(marshal->ReleaseMarshalData(stream), 5);
  EXPECT_TRUE(platform_->last == Arguments({}, nullptr, 0, nullptr, 0, stream));
  EXPECT_EQ(marshal->DisconnectObject(9), 6);
  EXPECT_TRUE(platform_->last == Arguments({}, nullptr, 0, nullptr, 9, nullptr));
}

TEST_F(NativeMarshaling, FailsWithThePlatforms) {
  fake::settings.marshaler = nullptr;
  EXPECT_FALSE(NewDelegate().try_as<IMarshal>());
}

TEST_F(NativeMarshaling, FailsWithoutMemory) {
  auto const identity = NewDelegate();
  void* result = &result;
  fake::FailNew(1);
  EXPECT_EQ(identity->QueryInterface(__uuidof(IMarshal), &result), E_OUTOFMEMORY);
  fake::FailNew(0);
  EXPECT_EQ(result, nullptr);
}

using NativeErrors = NativeTest;

void FailToCreateStrings() {
  fake::PlanFaults(
      fake::EveryCallOf("WindowsCreateString", {fake::Fault::Kind::kResult, E_OUTOFMEMORY}));
}

TEST_F(NativeErrors, ADescriptionThatCannotBeCopiedIsLeftOut) {
  SetErrorInfo(0, Make<LegacyErrorInfo<>>(L"what went wrong").get());
  FailToCreateStrings();
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
  FailToCreateStrings();
  EXPECT_EQ(ResultOf(std::runtime_error("other")), E_FAIL);
  EXPECT_EQ(ResultOf(std::out_of_range("index")), static_cast<HRESULT>(0x8000000B));
  EXPECT_EQ(ResultOf(std::invalid_argument("value")), E_INVALIDARG);
  EXPECT_EQ(fake::FaultsInjected(), 3u);
}

using NativeErrorsDeathTest = NativeTest;

TEST_F(NativeErrorsDeathTest, ExceptionOfAnotherTypeEndsTheProcess) {
  char const* const message = "terminate called after throwing an instance of 'int'";
  EXPECT_DEATH(ResultOf(42), message);
  Handler const handler([](auto const&, auto const&) { throw 42; });
  auto* const invoked = static_cast<Item::Handler*>(winrt::get_abi(handler));
  EXPECT_DEATH(invoked->Invoke(nullptr, nullptr), message);
}

}  // namespace
