// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// COM objects of the native tests' platform: named, counted, and with two kinds of references. The
// library's are those that AddRef and Release count; what the platform holds itself (a view its
// texture, a context what is bound) keeps an object alive but is nobody's business.
#pragma once

#include <windows.h>

#include <inspectable.h>
#include <unknwn.h>

#include <atomic>
#include <string>

#include "native/platform/calls.h"

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
  // The last reference has gone; the platform may still hold the object.
  virtual void OnUnreferenced() {}

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

// The interface that a base class implements, when it is not the interface itself.
template <typename Base>
struct InterfaceOf {
  using type = Base;
};

// An object that answers QueryInterface for IUnknown and the interfaces that Answer knows.
template <typename First, typename... Rest>
class Implements : public Object, public First, public Rest... {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** result) override {
    const OutsideLibrary outside;
    Call call(Name(), "QueryInterface", InterfaceName(id));
    *result = nullptr;
    if (call.Fails() || call.FailsAfterWork()) return call.Result();
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
    if (id == __uuidof(::IUnknown)) result = static_cast<First*>(this);
    Offer<First>(id, &result);
    (Offer<Rest>(id, &result), ...);
    return result;
  }

 protected:
  using Object::Object;

  template <typename I>
  void Offer(REFIID id, void** result) {
    if (id == __uuidof(typename InterfaceOf<I>::type)) *result = static_cast<I*>(this);
  }
};

// The same for objects of the Windows Runtime, whose first interface derives from IInspectable.
template <typename First, typename... Rest>
class ImplementsRuntime : public Implements<First, Rest...> {
 public:
  HRESULT STDMETHODCALLTYPE GetIids(ULONG*, IID**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetRuntimeClassName(HSTRING*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTrustLevel(TrustLevel*) override { return E_NOTIMPL; }

  void* Answer(REFIID id) override {
    if (id == __uuidof(::IInspectable)) return static_cast<First*>(this);
    return Implements<First, Rest...>::Answer(id);
  }

 protected:
  using Implements<First, Rest...>::Implements;
};

// How an object reads as an argument.
template <typename Interface>
std::string NameOf(Interface* object) {
  if (object == nullptr) return "null";
  const auto* const known = dynamic_cast<Object*>(object);
  return known ? known->Name() : "a stranger";
}

}  // namespace fake
