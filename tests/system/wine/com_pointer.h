// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <unknwn.h>

#include <atomic>
#include <functional>
#include <utility>

namespace wine_test {

// A counted reference.
template <class T>
class ComPointer {
 public:
  ComPointer() = default;
  ComPointer(const ComPointer& other) : object_(other.object_) {
    if (object_) object_->AddRef();
  }
  ComPointer(ComPointer&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  ComPointer& operator=(ComPointer other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~ComPointer() { Reset(); }

  void Reset() {
    if (T* const object = std::exchange(object_, nullptr)) object->Release();
  }
  T** Put() {
    Reset();
    return &object_;
  }
  T* Get() const { return object_; }
  T* operator->() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }

  template <class Interface>
  ComPointer<Interface> As() const {
    ComPointer<Interface> result;
    if (object_) {
      object_->QueryInterface(__uuidof(Interface), reinterpret_cast<void**>(result.Put()));
    }
    return result;
  }

 private:
  T* object_ = nullptr;
};

// An event handler, or any delegate with one Invoke, that calls a function. Agile, as a handler
// must be whose event comes on another thread.
template <class Interface, class... Arguments>
class Delegate : public Interface {
 public:
  using Function = std::function<void(Arguments...)>;

  static ComPointer<Interface> Make(Function function) {
    ComPointer<Interface> result;
    *result.Put() = new Delegate(std::move(function));
    return result;
  }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** result) override {
    *result = nullptr;
    if (iid != __uuidof(IUnknown) && iid != __uuidof(IAgileObject) && iid != __uuidof(Interface)) {
      return E_NOINTERFACE;
    }
    *result = static_cast<Interface*>(this);
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++count_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --count_;
    if (left == 0) delete this;
    return left;
  }
  HRESULT STDMETHODCALLTYPE Invoke(Arguments... arguments) override {
    function_(arguments...);
    return S_OK;
  }

 private:
  explicit Delegate(Function function) : function_(std::move(function)) {}
  virtual ~Delegate() = default;

  std::atomic<ULONG> count_{1};
  const Function function_;
};

}  // namespace wine_test
