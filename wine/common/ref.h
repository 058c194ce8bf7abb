// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <unknwn.h>

#include <utility>

namespace standin {

// A counted reference to a COM object.
template <class T>
class Ref {
 public:
  Ref() = default;
  explicit Ref(T* object) : object_(object) {
    if (object_) object_->AddRef();
  }
  Ref(const Ref& other) : Ref(other.object_) {}
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Ref& operator=(Ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Ref() {
    if (object_) object_->Release();
  }

  // Takes over the reference that `object` already carries.
  static Ref Attach(T* object) {
    Ref ref;
    ref.object_ = object;
    return ref;
  }
  T* Detach() { return std::exchange(object_, nullptr); }

  // For a call that returns a reference through a pointer.
  T** Put() {
    *this = Ref();
    return &object_;
  }

  T* Get() const { return object_; }
  T* operator->() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }

 private:
  T* object_ = nullptr;
};

// The reference to `object`'s interface Interface; empty when it has none, or when there is no
// object.
template <class Interface>
Ref<Interface> Query(IUnknown* object) {
  Ref<Interface> result;
  if (object) object->QueryInterface(__uuidof(Interface), reinterpret_cast<void**>(result.Put()));
  return result;
}

}  // namespace standin
