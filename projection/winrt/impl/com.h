// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Counted references: com_ptr for classic interfaces, and the projected IUnknown that every
// projected interface and class derives from.
#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

#include "winrt/impl/hresult.h"
#include "winrt/impl/platform.h"

namespace winrt {

using guid = ::GUID;

struct take_ownership_from_abi_t {};
inline constexpr take_ownership_from_abi_t take_ownership_from_abi{};

template <typename T>
struct com_ptr;

namespace Windows::Foundation {
struct IUnknown;
struct IInspectable;
struct IActivationFactory;
}  // namespace Windows::Foundation

namespace impl {

struct reference_access;

// The interface that stands behind T on the binary side. A classic interface stands for itself; a
// runtime class stands for its default interface.
template <typename T>
struct abi {
  using type = T;
};
template <>
struct abi<Windows::Foundation::IUnknown> {
  using type = ::IUnknown;
};
template <>
struct abi<Windows::Foundation::IInspectable> {
  using type = ::IInspectable;
};
template <>
struct abi<Windows::Foundation::IActivationFactory> {
  using type = ::IActivationFactory;
};
template <typename T>
using abi_t = typename abi<T>::type;

// A conversion's result: projected types are references themselves, classic interfaces need one.
template <typename T>
using com_ref =
    std::conditional_t<std::is_base_of_v<Windows::Foundation::IUnknown, T>, T, com_ptr<T>>;

}  // namespace impl

template <typename T>
guid const& guid_of() noexcept {
  return __uuidof(impl::abi_t<T>);
}

namespace impl {

// Converting an empty reference gives an empty one.
template <typename To, typename From>
com_ref<To> as(From* from) {
  void* result = nullptr;
  if (from) {
    check_hresult(from->QueryInterface(guid_of<To>(), &result));
  }
  return {result, take_ownership_from_abi};
}

template <typename To, typename From>
com_ref<To> try_as(From* from) noexcept {
  void* result = nullptr;
  // A faulty object may leave something in the result of a failed query.
  if (from && FAILED(from->QueryInterface(guid_of<To>(), &result))) {
    result = nullptr;
  }
  return {result, take_ownership_from_abi};
}

template <typename From, typename To>
concept points_as = std::is_convertible_v<From*, To*>;

template <typename T>
concept projected = std::is_base_of_v<Windows::Foundation::IUnknown, T>;

}  // namespace impl

template <typename T>
struct com_ptr {
  using type = T;

  com_ptr(std::nullptr_t = nullptr) noexcept {}
  com_ptr(void* pointer, take_ownership_from_abi_t) noexcept : pointer_(static_cast<T*>(pointer)) {}
  com_ptr(com_ptr const& other) noexcept : pointer_(other.pointer_) { add_ref(); }
  com_ptr(com_ptr&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}

  template <impl::points_as<T> U>
  com_ptr(com_ptr<U> const& other) noexcept : pointer_(other.get()) {
    add_ref();
  }

  template <impl::points_as<T> U>
  com_ptr(com_ptr<U>&& other) noexcept : pointer_(other.detach()) {}

  ~com_ptr() { release(); }

  com_ptr& operator=(com_ptr const& other) noexcept {
    copy_from(other.pointer_);
    return *this;
  }

  com_ptr& operator=(com_ptr&& other) noexcept {
    if (this != &other) {
      attach(other.detach());
    }
    return *this;
  }

  explicit operator bool() const noexcept { return pointer_ != nullptr; }
  T* operator->() const noexcept { return pointer_; }
  T& operator*() const noexcept { return *pointer_; }
  T* get() const noexcept { return pointer_; }

  // For a call that stores a new reference: what is held is released first.
  T** put() noexcept {
    release();
    return &pointer_;
  }
  void** put_void() noexcept { return reinterpret_cast<void**>(put()); }

  void attach(T* value) noexcept {
    release();
    pointer_ = value;
  }

  T* detach() noexcept { return std::exchange(pointer_, nullptr); }

  void copy_from(T* other) noexcept {
    if (pointer_ != other) {
      if (other) {
        other->AddRef();
      }
      attach(other);
    }
  }

  void copy_to(T** other) const noexcept {
    add_ref();
    *other = pointer_;
  }

  template <typename To>
  impl::com_ref<To> as() const {
    return impl::as<To>(pointer_);
  }

  template <typename To>
  void as(com_ptr<To>& to) const {
    to = as<To>();
  }

  template <impl::projected To>
  void as(To& to) const {
    to = as<To>();
  }

  HRESULT as(guid const& id, void** result) const noexcept {
    return pointer_->QueryInterface(id, result);
  }

  template <typename To>
  impl::com_ref<To> try_as() const noexcept {
    return impl::try_as<To>(pointer_);
  }

  template <typename To>
  bool try_as(com_ptr<To>& to) const noexcept {
    to = try_as<To>();
    return static_cast<bool>(to);
  }

  template <impl::projected To>
  bool try_as(To& to) const noexcept {
    to = try_as<To>();
    return static_cast<bool>(to);
  }

  friend void swap(com_ptr& left, com_ptr& right) noexcept {
    std::swap(left.pointer_, right.pointer_);
  }

  // Compares the interface pointers, not the objects' identities.
  friend bool operator==(com_ptr const& left, com_ptr const& right) noexcept {
    return left.pointer_ == right.pointer_;
  }
  friend bool operator==(com_ptr const& left, std::nullptr_t) noexcept {
    return left.pointer_ == nullptr;
  }

 private:
  void add_ref() const noexcept {
    if (pointer_) {
      pointer_->AddRef();
    }
  }

  // Empty before the release: the object's destruction may come back to this reference.
  void release() noexcept {
    if (T* old = std::exchange(pointer_, nullptr)) {
      old->Release();
    }
  }

  T* pointer_ = nullptr;
};

namespace Windows::Foundation {

struct IUnknown {
  IUnknown() noexcept = default;
  IUnknown(std::nullptr_t) noexcept {}
  IUnknown(void* pointer, take_ownership_from_abi_t) noexcept
      : pointer_(static_cast<::IUnknown*>(pointer), take_ownership_from_abi) {}

  IUnknown& operator=(std::nullptr_t) noexcept {
    pointer_ = nullptr;
    return *this;
  }

  explicit operator bool() const noexcept { return static_cast<bool>(pointer_); }

  template <typename To>
  impl::com_ref<To> as() const {
    return pointer_.as<To>();
  }

  template <typename To>
  void as(To& to) const {
    pointer_.as(to);
  }

  template <typename To>
  impl::com_ref<To> try_as() const noexcept {
    return pointer_.try_as<To>();
  }

  template <typename To>
  bool try_as(To& to) const noexcept {
    return pointer_.try_as(to);
  }

  // Two references are equal when they lead to the same object, through whichever interface.
  friend bool operator==(IUnknown const& left, IUnknown const& right) noexcept {
    if (left.pointer_ == right.pointer_) {
      return true;
    }
    if (!left || !right) {
      return false;
    }
    return left.pointer_.try_as<::IUnknown>() == right.pointer_.try_as<::IUnknown>();
  }

 private:
  friend struct impl::reference_access;
  com_ptr<::IUnknown> pointer_;
};

struct IInspectable : IUnknown {
  using IUnknown::IUnknown;
};

struct IActivationFactory : IInspectable {
  using IInspectable::IInspectable;
};

}  // namespace Windows::Foundation

namespace impl {

// How the functions below reach a projected reference's pointer.
struct reference_access {
  static com_ptr<::IUnknown>& pointer(Windows::Foundation::IUnknown& object) noexcept {
    return object.pointer_;
  }
  static com_ptr<::IUnknown> const& pointer(Windows::Foundation::IUnknown const& object) noexcept {
    return object.pointer_;
  }
};

}  // namespace impl

inline void* get_abi(Windows::Foundation::IUnknown const& object) noexcept {
  return impl::reference_access::pointer(object).get();
}

// For a call that stores a new reference: what is held is released first.
inline void** put_abi(Windows::Foundation::IUnknown& object) noexcept {
  return impl::reference_access::pointer(object).put_void();
}

inline void attach_abi(Windows::Foundation::IUnknown& object, void* value) noexcept {
  impl::reference_access::pointer(object).attach(static_cast<::IUnknown*>(value));
}

inline void* detach_abi(Windows::Foundation::IUnknown& object) noexcept {
  return impl::reference_access::pointer(object).detach();
}

inline void* detach_abi(Windows::Foundation::IUnknown&& object) noexcept {
  return detach_abi(object);
}

inline void copy_from_abi(Windows::Foundation::IUnknown& object, void* value) noexcept {
  impl::reference_access::pointer(object).copy_from(static_cast<::IUnknown*>(value));
}

inline void copy_to_abi(Windows::Foundation::IUnknown const& object, void*& value) noexcept {
  Windows::Foundation::IUnknown copy(object);
  value = detach_abi(copy);
}

template <typename T>
T* get_abi(com_ptr<T> const& object) noexcept {
  return object.get();
}

template <typename T>
void** put_abi(com_ptr<T>& object) noexcept {
  return object.put_void();
}

namespace impl {

// The interface pointer to call, borrowed.
template <typename I>
abi_t<I>* abi_of(I const& object) noexcept {
  return static_cast<abi_t<I>*>(get_abi(object));
}

// A projected reference to an interface pointer that the caller owns, for as long as a call lasts.
template <typename T>
class borrowed {
 public:
  explicit borrowed(void* pointer) noexcept : reference_(pointer, take_ownership_from_abi) {}
  ~borrowed() { detach_abi(reference_); }
  borrowed(borrowed const&) = delete;
  borrowed& operator=(borrowed const&) = delete;
  T const& get() const noexcept { return reference_; }

 private:
  T reference_;
};

}  // namespace impl
}  // namespace winrt
