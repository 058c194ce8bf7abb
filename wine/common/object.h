// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <inspectable.h>
#include <weakreference.h>
#include <winstring.h>

#include <algorithm>
#include <atomic>
#include <cwchar>
#include <memory>
#include <vector>

#include "common/ref.h"

namespace standin {

// The strong count of an object. It outlives the object while weak references remain, so that they
// can tell whether there is still something to refer to.
class StrongCount {
 public:
  ULONG Add() { return ++count_; }
  ULONG Remove() { return --count_; }

  // Adds a reference unless the object is already being destroyed.
  bool AddIfAlive() {
    ULONG seen = count_.load();
    while (seen != 0) {
      if (count_.compare_exchange_weak(seen, seen + 1)) return true;
    }
    return false;
  }

 private:
  std::atomic<ULONG> count_{1};
};

// Base of every COM object here: counting, QueryInterface over the listed interfaces, and agility
// (each may be called from any apartment). Made with one reference, which Make() hands on.
template <class Default, class... Others>
class Object : public Default, public Others... {
 public:
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** result) override {
    if (!result) return E_POINTER;
    *result = FindInterface(iid);
    if (!*result) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return count_->Add(); }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = count_->Remove();
    if (left == 0) delete this;
    return left;
  }

 protected:
  Object() = default;
  virtual ~Object() = default;

  virtual void* FindInterface(REFIID iid) {
    if (iid == __uuidof(IUnknown) || iid == __uuidof(IAgileObject)) return Identity();
    void* found = CastIf<Default>(iid);
    ((found = found ? found : CastIf<Others>(iid)), ...);
    return found;
  }

  IUnknown* Identity() { return static_cast<Default*>(this); }
  const std::shared_ptr<StrongCount>& Count() const { return count_; }

 private:
  template <class Interface>
  void* CastIf(REFIID iid) {
    return iid == __uuidof(Interface) ? static_cast<Interface*>(this) : nullptr;
  }

  const std::shared_ptr<StrongCount> count_ = std::make_shared<StrongCount>();
};

template <class T, class... Arguments>
Ref<T> Make(Arguments&&... arguments) {
  return Ref<T>::Attach(new T(std::forward<Arguments>(arguments)...));
}

class WeakReference : public Object<IWeakReference> {
 public:
  WeakReference(std::shared_ptr<StrongCount> count, IUnknown* object)
      : count_(std::move(count)), object_(object) {}

  // Gives S_OK and null when the target is gone.
  HRESULT STDMETHODCALLTYPE Resolve(REFIID iid, IInspectable** result) override {
    if (!result) return E_POINTER;
    *result = nullptr;
    if (!count_->AddIfAlive()) return S_OK;
    const auto alive = Ref<IUnknown>::Attach(object_);
    return alive->QueryInterface(iid, reinterpret_cast<void**>(result));
  }

 private:
  const std::shared_ptr<StrongCount> count_;
  IUnknown* const object_;
};

// An object of a Windows Runtime class. Default is the class's default interface and derives from
// IInspectable.
template <class Default, class... Others>
class RuntimeObject : public Object<Default, Others..., IWeakReferenceSource> {
 public:
  HRESULT STDMETHODCALLTYPE GetIids(ULONG* count, IID** iids) override {
    if (!count || !iids) return E_POINTER;
    std::vector<IID> offered;
    for (const IID& iid : {__uuidof(Default), __uuidof(Others)...}) {
      if (this->FindInterface(iid)) offered.push_back(iid);
    }
    *count = 0;
    *iids = static_cast<IID*>(CoTaskMemAlloc(offered.size() * sizeof(IID)));
    if (!*iids) return E_OUTOFMEMORY;
    std::copy(offered.begin(), offered.end(), *iids);
    *count = static_cast<ULONG>(offered.size());
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetRuntimeClassName(HSTRING* name) override {
    return WindowsCreateString(class_name_, static_cast<UINT32>(std::wcslen(class_name_)), name);
  }
  HRESULT STDMETHODCALLTYPE GetTrustLevel(TrustLevel* level) override {
    if (!level) return E_POINTER;
    *level = BaseTrust;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetWeakReference(IWeakReference** result) override {
    if (!result) return E_POINTER;
    *result = Make<WeakReference>(this->Count(), this->Identity()).Detach();
    return S_OK;
  }

 protected:
  // `class_name` is a literal.
  explicit RuntimeObject(const wchar_t* class_name) : class_name_(class_name) {}

 private:
  const wchar_t* const class_name_;
};

}  // namespace standin
