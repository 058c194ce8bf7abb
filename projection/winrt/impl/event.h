// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Event handlers and registrations.
#pragma once

#include <atomic>
#include <cstdint>
#include <new>
#include <utility>

#include "winrt/impl/com.h"
#include "winrt/impl/error.h"

namespace winrt {

struct event_token {
  std::int64_t value = 0;
  explicit operator bool() const noexcept { return value != 0; }
  friend bool operator==(event_token const&, event_token const&) = default;
};

// Asks an event for a revoker in place of a token.
struct auto_revoke_t {};
inline constexpr auto_revoke_t auto_revoke{};

namespace impl {

// Lets an agile object say that it needs no proxy within its process. Its identity is the object's.
class free_threaded_marshaler final : public IMarshal {
 public:
  free_threaded_marshaler(::IUnknown* object, com_ptr<IMarshal> marshaler) noexcept
      : marshaler_(std::move(marshaler)) {
    object_.copy_from(object);
  }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** result) noexcept override {
    if (id == __uuidof(IMarshal)) {
      *result = static_cast<IMarshal*>(this);
      AddRef();
      return S_OK;
    }
    return object_->QueryInterface(id, result);
  }
  ULONG STDMETHODCALLTYPE AddRef() noexcept override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() noexcept override {
    ULONG const left = --references_;
    if (left == 0) {
      delete this;
    }
    return left;
  }

  HRESULT STDMETHODCALLTYPE GetUnmarshalClass(REFIID id, void* object, DWORD destination,
                                              void* reserved, DWORD flags,
                                              CLSID* result) noexcept override {
    return marshaler_->GetUnmarshalClass(id, object, destination, reserved, flags, result);
  }
  HRESULT STDMETHODCALLTYPE GetMarshalSizeMax(REFIID id, void* object, DWORD destination,
                                              void* reserved, DWORD flags,
                                              DWORD* result) noexcept override {
    return marshaler_->GetMarshalSizeMax(id, object, destination, reserved, flags, result);
  }
  HRESULT STDMETHODCALLTYPE MarshalInterface(IStream* stream, REFIID id, void* object,
                                             DWORD destination, void* reserved,
                                             DWORD flags) noexcept override {
    return marshaler_->MarshalInterface(stream, id, object, destination, reserved, flags);
  }
  HRESULT STDMETHODCALLTYPE UnmarshalInterface(IStream* stream, REFIID id,
                                               void** result) noexcept override {
    return marshaler_->UnmarshalInterface(stream, id, result);
  }
  HRESULT STDMETHODCALLTYPE ReleaseMarshalData(IStream* stream) noexcept override {
    return marshaler_->ReleaseMarshalData(stream);
  }
  HRESULT STDMETHODCALLTYPE DisconnectObject(DWORD reserved) noexcept override {
    return marshaler_->DisconnectObject(reserved);
  }

 private:
  com_ptr<::IUnknown> object_;
  com_ptr<IMarshal> marshaler_;
  std::atomic<ULONG> references_ = 1;
};

inline HRESULT make_marshaler(::IUnknown* object, void** result) noexcept {
  *result = nullptr;
  com_ptr<::IUnknown> marshaler;
  HRESULT const code = CoCreateFreeThreadedMarshaler(nullptr, marshaler.put());
  if (FAILED(code)) {
    return code;
  }
  *result = new (std::nothrow) free_threaded_marshaler(object, marshaler.try_as<IMarshal>());
  return *result ? S_OK : E_OUTOFMEMORY;
}

// The object behind an event handler: calls `callback` with projected arguments, from any thread.
template <typename Interface, typename Sender, typename Args, typename Callback>
class delegate final : public Interface {
 public:
  explicit delegate(Callback callback) : callback_(std::move(callback)) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** result) noexcept override {
    if (id == __uuidof(Interface) || id == __uuidof(::IUnknown) || id == __uuidof(IAgileObject)) {
      *result = static_cast<Interface*>(this);
      AddRef();
      return S_OK;
    }
    if (id == __uuidof(IMarshal)) {
      return make_marshaler(this, result);
    }
    *result = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() noexcept override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() noexcept override {
    ULONG const left = --references_;
    if (left == 0) {
      delete this;
    }
    return left;
  }

  HRESULT STDMETHODCALLTYPE Invoke(abi_t<Sender>* sender, abi_t<Args>* args) noexcept override {
    try {
      callback_(borrowed<Sender>(sender).get(), borrowed<Args>(args).get());
      return S_OK;
    } catch (...) {
      return to_hresult();
    }
  }

 private:
  Callback callback_;
  std::atomic<ULONG> references_ = 1;
};

// One registration at an event of I, revoked at the latest on destruction. The source is held
// weakly: a revoker does not keep it alive.
template <typename I, auto Remove>
class event_revoker {
 public:
  event_revoker() noexcept = default;

  // Takes over a registration; when it cannot, the registration is removed before the error leaves.
  event_revoker(I const& source, event_token token) : token_(token) {
    try {
      check_hresult(source.template as<IWeakReferenceSource>()->GetWeakReference(source_.put()));
    } catch (...) {
      (abi_of(source)->*Remove)({token_.value});
      throw;
    }
  }

  event_revoker(event_revoker&& other) noexcept = default;

  event_revoker& operator=(event_revoker&& other) noexcept {
    if (this != &other) {
      revoke();
      source_ = std::move(other.source_);
      token_ = other.token_;
    }
    return *this;
  }

  ~event_revoker() { revoke(); }

  explicit operator bool() const noexcept { return static_cast<bool>(source_); }

  // Does nothing when the source is gone. A source that refuses has no one to tell.
  void revoke() noexcept {
    if (com_ptr<IWeakReference> const source = std::move(source_)) {
      com_ptr<::IInspectable> object;
      source->Resolve(guid_of<I>(), object.put());
      if (object) {
        auto* const events = static_cast<abi_t<I>*>(object.get());
        (events->*Remove)({token_.value});
      }
    }
  }

 private:
  com_ptr<IWeakReference> source_;
  event_token token_;
};

}  // namespace impl
}  // namespace winrt
