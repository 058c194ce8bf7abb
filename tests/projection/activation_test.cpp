// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Activation through the running platform. The classes live in quill.winrt.test.dll beside this
// program; one of them is also registered with the platform for as long as the tests run.
#include <gtest/gtest.h>
#include <winrt/base.h>

#include <atomic>
#include <cwchar>
#include <thread>
#include <vector>

#include "projection/test_factories.h"

namespace {

struct RegisteredClass;
struct FallbackClass;
struct UncachedClass;
struct ApartmentClass;
struct RacedClass;
struct MissingClass;
struct UnknownClass;

}  // namespace

template <>
inline constexpr wchar_t const* winrt::impl::class_name<RegisteredClass> = L"quill.test.Registered";
template <>
inline constexpr wchar_t const* winrt::impl::class_name<FallbackClass> =
    L"quill.winrt.test.inner.Fallback";
template <>
inline constexpr wchar_t const* winrt::impl::class_name<UncachedClass> =
    L"quill.winrt.test.Uncached";
template <>
inline constexpr wchar_t const* winrt::impl::class_name<ApartmentClass> =
    L"quill.winrt.test.InApartment";
template <>
inline constexpr wchar_t const* winrt::impl::class_name<RacedClass> = L"quill.winrt.test.Raced";
template <>
inline constexpr wchar_t const* winrt::impl::class_name<MissingClass> = L"quill.winrt.test.Missing";
template <>
inline constexpr wchar_t const* winrt::impl::class_name<UnknownClass> = L"elsewhere.Unknown";

namespace {

constexpr wchar_t library_name[] = L"quill.winrt.test.dll";
constexpr wchar_t registration[] =
    L"Software\\Microsoft\\WindowsRuntime\\ActivatableClassId\\quill.test.Registered";

LONG Activations() {
  // Stays loaded: the count must outlive each factory.
  static HMODULE const library = LoadLibraryW(library_name);
  static auto const count = reinterpret_cast<CountActivationsFunction>(
      reinterpret_cast<void*>(GetProcAddress(library, "CountActivations")));
  return count();
}

template <typename Class>
ITestStatics* Statics() {
  return winrt::impl::call_statics<Class, ITestStatics>(
      [](ITestStatics* statics) { return statics; });
}

ULONG References(ITestStatics* statics) {
  ULONG count = 0;
  EXPECT_EQ(statics->CountReferences(&count), S_OK);
  return count;
}

class Activation : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    wchar_t path[MAX_PATH];
    DWORD const length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    ASSERT_NE(length, 0u);
    wchar_t* const name = std::wcsrchr(path, L'\\') + 1;
    ASSERT_LT(name + std::size(library_name), path + MAX_PATH);
    std::wcscpy(name, library_name);
    Write(L"DllPath", REG_SZ, path, (std::wcslen(path) + 1) * sizeof(wchar_t));
    DWORD const zero = 0;
    Write(L"ActivationType", REG_DWORD, &zero, sizeof(zero));
    Write(L"Threading", REG_DWORD, &zero, sizeof(zero));
  }
  static void TearDownTestSuite() { RegDeleteKeyW(HKEY_LOCAL_MACHINE, registration); }

 private:
  static void Write(wchar_t const* name, DWORD type, void const* data, std::size_t size) {
    ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, registration, name, type, data,
                              static_cast<DWORD>(size)),
              ERROR_SUCCESS);
  }
};

// Nothing in this program initialises COM.
TEST_F(Activation, WorksOnAThreadThatNeverInitialisedCom) {
  std::thread([] { EXPECT_TRUE(winrt::get_activation_factory<RegisteredClass>()); }).join();
}

TEST_F(Activation, AFactoryIsNotKept) {
  LONG const before = Activations();
  {
    auto const first = winrt::get_activation_factory<UncachedClass>();
    auto const second = winrt::get_activation_factory<UncachedClass, ITestStatics>();
    EXPECT_EQ(Activations(), before + 2);
    EXPECT_EQ(References(second.get()), 1u);
    EXPECT_EQ(References(first.as<ITestStatics>().get()), 2u);
  }
}

TEST_F(Activation, AgileStaticsAreKept) {
  LONG const before = Activations();
  ITestStatics* const statics = Statics<RegisteredClass>();
  EXPECT_EQ(Statics<RegisteredClass>(), statics);
  EXPECT_EQ(Activations(), before + 1);
  EXPECT_EQ(References(statics), 1u);
}

TEST_F(Activation, StaticsThatAreNotAgileAreAskedForAgain) {
  LONG const before = Activations();
  for (LONG call = 1; call <= 2; ++call) {
    ULONG const references = winrt::impl::call_statics<ApartmentClass, ITestStatics>(References);
    EXPECT_EQ(references, 1u);
    EXPECT_EQ(Activations(), before + call);
  }
}

TEST_F(Activation, ThreadsThatRaceShareOneFactory) {
  constexpr int count = 8;
  std::atomic<int> waiting = count;
  std::vector<ITestStatics*> seen(count);
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&, i] {
      for (--waiting; waiting != 0;) {
        std::this_thread::yield();
      }
      seen[i] = Statics<RacedClass>();
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(seen, std::vector<ITestStatics*>(count, Statics<RacedClass>()));
  EXPECT_EQ(References(seen[0]), 1u);
}

// quill.winrt.test.inner.dll does not exist, quill.winrt.test.dll does.
TEST_F(Activation, AnUnregisteredClassIsLookedForInTheLibrariesOfItsNamespaces) {
  EXPECT_TRUE(winrt::get_activation_factory<FallbackClass>());
}

TEST_F(Activation, AFactoryThatLacksTheInterfaceIsNoFactory) {
  EXPECT_THROW((winrt::get_activation_factory<FallbackClass, IErrorInfo>()),
               winrt::hresult_class_not_registered);
}

TEST_F(Activation, FailureKeepsThePlatformsAnswer) {
  EXPECT_THROW(winrt::get_activation_factory<UnknownClass>(), winrt::hresult_class_not_registered);
  EXPECT_THROW(winrt::get_activation_factory<MissingClass>(), winrt::hresult_class_not_registered);
}

}  // namespace
