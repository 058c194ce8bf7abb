// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// COM objects of the native tests' platform: named, counted, and with two kinds of references. The
// library's are those that AddRef and Release count. References that the platform holds itself (a
// view its texture, a context what is bound) keep an object alive but are not counted.
#pragma once

#include <windows.h>

#include <atomic>
#include <string>
#include <utility>

#include "native/platform/calls.h"

namespace fake {

// An interface with all its methods defined; unused_methods.h, which unused_methods.py makes, has
// one for each.
template <typename Interface>
struct InterfaceBase;

}  // namespace fake

#include "unused_methods.h"

namespace fake {

class Object {
 public:
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  const std::string& Name() const { return name_; }
  // The library's and the test's references.
  ULONG References() const { return references_.load(std::memory_order_relaxed); }

  // The platform's own references.
  void Retain() { alive_.fetch_add(1, std::memory_order_relaxed); }
  void Drop();

 protected:
  // Starts with one reference, for the caller.
  explicit Object(const char* kind);
  virtual ~Object();

  ULONG AddReference();
  ULONG ReleaseReference();
  // The last reference has gone; the platform may still hold the object, and hand it out again.
  virtual void OnUnreferenced() {}
  virtual void OnReferencedAgain() {}

 private:
  const std::string name_;
  std::atomic<ULONG> references_ = 1;
  std::atomic<ULONG> alive_ = 1;  // the platform's references, and one for all of the library's
};

// A reference of the platform's own.
template <typename T>
class Ref {
 public:
  Ref() = default;
  explicit Ref(T* object) : object_(object) {
    if (object_) object_->Retain();
  }
  Ref(const Ref& other) : Ref(other.object_) {}
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  ~Ref() {
    if (object_) object_->Drop();
  }
  Ref& operator=(Ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }

 private:
  T* object_ = nullptr;
};

// An object that answers QueryInterface for IUnknown and the interfaces that Answer knows.
template <typename First, typename... Rest>
class Implements : public Object,
                   public InterfaceBase<First>::type,
                   public InterfaceBase<Rest>::type... {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** result) override {
    Call call(Name(), "QueryInterface", id);
    if (call.Fails(result) || call.FailsAfterWork()) return call.Result();
    *result = Answer(id);
    if (*result == nullptr) return E_NOINTERFACE;
    AddReference();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return AddReference(); }
  ULONG STDMETHODCALLTYPE Release() override { return ReleaseReference(); }

  // Without a reference, and without being written down.
  virtual void* Answer(REFIID id) {
    void* result = nullptr;
    Offer<::IUnknown, First>(id, &result);
    if constexpr (std::is_base_of_v<::IInspectable, First>)
      Offer<::IInspectable, First>(id, &result);
    Offer<First, First>(id, &result);
    (Offer<Rest, Rest>(id, &result), ...);
    return result;
  }

 protected:
  using Object::Object;

  // Interface: what is asked for; From: the one of this object's that it is a part of.
  template <typename Interface, typename From>
  void Offer(REFIID id, void** result) {
    if (id == __uuidof(Interface)) *result = static_cast<Interface*>(static_cast<From*>(this));
  }
};

}  // namespace fake
