// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.foundation.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ratio>
#include <type_traits>
#include <utility>

#include "winrt/base.h"

namespace winrt {

namespace Windows::Foundation {
struct IClosable;
template <typename Sender, typename Args>
struct TypedEventHandler;
}  // namespace Windows::Foundation

template <>
struct impl::abi<Windows::Foundation::IClosable> {
  using type = ABI::Windows::Foundation::IClosable;
};

namespace impl {

template <typename Callback, typename... Args>
concept takes = std::is_invocable_v<Callback&, Args...>;

template <typename T>
concept member_function = std::is_member_function_pointer_v<T>;

}  // namespace impl

namespace Windows::Foundation {

using TimeSpan = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;

struct IClosable : IInspectable {
  using IInspectable::IInspectable;

  void Close() const { check_hresult(impl::abi_of(*this)->Close()); }
};

// The interface of each instance is named beside the event's class, by specialising impl::abi.
template <typename Sender, typename Args>
struct TypedEventHandler : IUnknown {
  using IUnknown::IUnknown;

  // A function, or an object that is called like one.
  template <impl::takes<Sender const&, Args const&> Callback>
  TypedEventHandler(Callback callback)
      : IUnknown(static_cast<Interface*>(
                     new impl::delegate<Interface, Sender, Args, Callback>(std::move(callback))),
                 take_ownership_from_abi) {}

  // A member function. The object is not kept alive: revoke the handler before it goes.
  template <typename Object, impl::member_function Method>
  TypedEventHandler(Object* object, Method method)
      : TypedEventHandler([object, method](Sender const& sender, Args const& args) {
          (object->*method)(sender, args);
        }) {}

  void operator()(Sender const& sender, Args const& args) const {
    check_hresult(impl::abi_of(*this)->Invoke(impl::abi_of(sender), impl::abi_of(args)));
  }

 private:
  using Interface = impl::abi_t<TypedEventHandler>;
};

}  // namespace Windows::Foundation
}  // namespace winrt
