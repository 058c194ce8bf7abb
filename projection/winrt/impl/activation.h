// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Activation factories of runtime classes, and the process-wide cache of their statics.
#pragma once

#include <atomic>
#include <cstddef>
#include <iterator>
#include <string_view>
#include <vector>

#include "winrt/impl/com.h"
#include "winrt/impl/error.h"
#include "winrt/impl/string.h"

namespace winrt {

namespace impl {

// A runtime class's activation name: a string literal. Specialised beside each class.
template <typename Class>
inline constexpr wchar_t const* class_name = nullptr;

using DllGetActivationFactoryFunction = HRESULT(WINAPI*)(HSTRING name,
                                                         ::IActivationFactory** factory);

// Asks the library `path` for the factory of `name`. The library stays loaded when it has one.
inline bool activate_from_library(wchar_t const* path, HSTRING name, guid const& id,
                                  void** result) noexcept {
  HMODULE const library = LoadLibraryExW(path, nullptr, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
  if (!library) {
    return false;
  }
  auto const entry = reinterpret_cast<DllGetActivationFactoryFunction>(
      reinterpret_cast<void*>(GetProcAddress(library, "DllGetActivationFactory")));
  com_ptr<::IActivationFactory> factory;
  if (entry && entry(name, factory.put()) == S_OK && factory && factory.as(id, result) == S_OK) {
    return true;
  }
  // Before the library that holds its code goes.
  factory = nullptr;
  FreeLibrary(library);
  return false;
}

// Tries the libraries named after the class's namespaces, the innermost first: for A.B.C these are
// A.B.dll and A.dll.
inline bool activate_from_namespaces(std::wstring_view class_path, HSTRING name, guid const& id,
                                     void** result) {
  static constexpr wchar_t extension[] = L".dll";
  for (std::size_t end = class_path.size(); end != 0; --end) {
    if (class_path[end - 1] != L'.') {
      continue;
    }
    std::vector<wchar_t> path(class_path.begin(), class_path.begin() + (end - 1));
    path.insert(path.end(), std::begin(extension), std::end(extension));
    if (activate_from_library(path.data(), name, id, result)) {
      return true;
    }
  }
  return false;
}

inline HRESULT activation_factory(wchar_t const* class_path, guid const& id, void** result) {
  param::hstring const argument(class_path);
  auto const name = static_cast<HSTRING>(get_abi(argument));
  HRESULT code = RoGetActivationFactory(name, id, result);
  if (code == CO_E_NOTINITIALIZED) {
    CO_MTA_USAGE_COOKIE cookie;
    CoIncrementMTAUsage(&cookie);
    code = RoGetActivationFactory(name, id, result);
  }
  if (code == S_OK) {
    return code;
  }
  // The attempts that follow must not replace what the platform had to say.
  com_ptr<IErrorInfo> info;
  GetErrorInfo(0, info.put());
  if (activate_from_namespaces({class_path, length(class_path)}, name, id, result)) {
    return S_OK;
  }
  SetErrorInfo(0, info.get());
  return code;
}

}  // namespace impl

// Activates the class anew on each call.
template <typename Class, typename Interface = Windows::Foundation::IActivationFactory>
impl::com_ref<Interface> get_activation_factory() {
  void* result = nullptr;
  check_hresult(impl::activation_factory(impl::class_name<Class>, guid_of<Interface>(), &result));
  return {result, take_ownership_from_abi};
}

namespace impl {

// The statics of a class, held for the rest of the process: releasing them while the library is
// unloaded would call into other libraries under the loader's lock.
template <typename Class, typename Statics>
inline std::atomic<void*> cached_statics = nullptr;

// Calls `function` with the statics of a class. Only an agile factory may be called from every
// thread, so only such a one is kept.
template <typename Class, typename Statics, typename Function>
auto call_statics(Function function) {
  auto& cache = cached_statics<Class, Statics>;
  if (void* const cached = cache.load(std::memory_order_acquire)) {
    return function(static_cast<Statics*>(cached));
  }
  com_ptr<Statics> statics = get_activation_factory<Class, Statics>();
  if (!statics.template try_as<IAgileObject>()) {
    return function(statics.get());
  }
  void* expected = nullptr;
  if (cache.compare_exchange_strong(expected, statics.get(), std::memory_order_acq_rel)) {
    return function(statics.detach());
  }
  return function(static_cast<Statics*>(expected));
}

}  // namespace impl
}  // namespace winrt
