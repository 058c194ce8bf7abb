// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// COM objects for the tests: they count their references, and how many of them are alive.
#pragma once

#include <gtest/gtest.h>
#include <winrt/Windows.Graphics.Capture.h>

#include <cstdint>
#include <type_traits>
#include <utility>
#include <vector>

namespace capture = winrt::Windows::Graphics::Capture;
namespace capture_abi = ABI::Windows::Graphics::Capture;
namespace direct3d = winrt::Windows::Graphics::DirectX::Direct3D11;
namespace foundation = winrt::Windows::Foundation;
using winrt::com_ptr;

using Handler =
    foundation::TypedEventHandler<capture::GraphicsCaptureItem, foundation::IInspectable>;

inline int objects_alive = 0;

// Fails when a case leaves an object alive.
class ObjectsTest : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(objects_alive, 0); }
};

// Answers IUnknown, the interfaces named, IInspectable when the first derives from it, and
// IWeakReferenceSource when that is asked for. Starts with one reference, for the test.
template <typename First, typename... Rest>
class TestObject : public First, public Rest... {
 public:
  TestObject() { ++objects_alive; }
  TestObject(TestObject const&) = delete;
  TestObject& operator=(TestObject const&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** result) {
    *result = nullptr;
    if (id == __uuidof(::IUnknown) ||
        (std::is_base_of_v<::IInspectable, First> && id == __uuidof(::IInspectable))) {
      *result = static_cast<First*>(this);
    }
    Offer<First>(id, result);
    (Offer<Rest>(id, result), ...);
    if (*result == nullptr) {
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }

  ULONG STDMETHODCALLTYPE AddRef() { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() {
    ULONG const left = --references_;
    if (left == 0) {
      delete this;
    }
    return left;
  }

  HRESULT STDMETHODCALLTYPE GetIids(ULONG*, IID**) { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetRuntimeClassName(HSTRING*) { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTrustLevel(TrustLevel*) { return E_NOTIMPL; }

  ULONG references() const { return references_; }

 protected:
  virtual ~TestObject() { --objects_alive; }

 private:
  template <typename I>
  void Offer(REFIID id, void** result) {
    if (id == __uuidof(I)) {
      *result = static_cast<I*>(this);
    }
  }

  ULONG references_ = 1;
};

// A weak reference that its object empties when it goes.
class WeakReference final : public TestObject<IWeakReference> {
 public:
  explicit WeakReference(::IInspectable* object) : object_(object) {}

  HRESULT STDMETHODCALLTYPE Resolve(REFIID id, ::IInspectable** result) override {
    *result = nullptr;
    return object_ ? object_->QueryInterface(id, reinterpret_cast<void**>(result)) : S_OK;
  }

  void Forget() { object_ = nullptr; }

 private:
  ::IInspectable* object_;
};

class Item : public TestObject<capture_abi::IGraphicsCaptureItem, IWeakReferenceSource> {
 public:
  using Handler =
      __FITypedEventHandler_2_Windows__CGraphics__CCapture__CGraphicsCaptureItem_IInspectable;

  ~Item() override {
    if (weak_) {
      weak_->Forget();
      weak_->Release();
    }
  }

  HRESULT STDMETHODCALLTYPE GetWeakReference(IWeakReference** result) override {
    if (!weak_) {
      weak_ = new WeakReference(this);
    }
    weak_->AddRef();
    *result = weak_;
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE get_DisplayName(HSTRING* value) override {
    return WindowsCreateString(L"a window", 8, value);
  }
  HRESULT STDMETHODCALLTYPE get_Size(ABI::Windows::Graphics::SizeInt32* value) override {
    *value = {640, -480};
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE add_Closed(Handler* handler, EventRegistrationToken* token) override {
    closed.copy_from(handler);
    token->value = next_token++;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE remove_Closed(EventRegistrationToken token) override {
    removed.push_back(token.value);
    closed = nullptr;
    return remove_result;
  }

  com_ptr<Handler> closed;
  std::int64_t next_token = 0x123456789;
  std::vector<std::int64_t> removed;
  HRESULT remove_result = S_OK;

 private:
  WeakReference* weak_ = nullptr;
};

// What a failing call leaves on the thread. Only IErrorInfo describes it, unless there are more
// interfaces.
template <typename... Interfaces>
struct LegacyErrorInfo : TestObject<IErrorInfo, Interfaces...> {
  explicit LegacyErrorInfo(wchar_t const* the_description) : description(the_description) {}

  HRESULT STDMETHODCALLTYPE GetGUID(GUID*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetSource(BSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetDescription(BSTR* the_description) override {
    ++asked;
    *the_description = SysAllocString(description);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD*) override { return E_NOTIMPL; }

  wchar_t const* description;
  int asked = 0;
};

struct ErrorInfo : LegacyErrorInfo<IRestrictedErrorInfo> {
  ErrorInfo(HRESULT the_code, wchar_t const* the_description, wchar_t const* the_restricted)
      : LegacyErrorInfo(the_description), code(the_code), restricted(the_restricted) {}

  HRESULT STDMETHODCALLTYPE GetErrorDetails(BSTR* the_description, HRESULT* the_code,
                                            BSTR* the_restricted, BSTR* capability) override {
    *the_description = SysAllocString(description);
    *the_code = code;
    *the_restricted = SysAllocString(restricted);
    *capability = nullptr;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetReference(BSTR*) override { return E_NOTIMPL; }

  HRESULT code;
  wchar_t const* restricted;
};

// The only reference to a new object.
template <typename Object, typename... Arguments>
com_ptr<Object> Make(Arguments... arguments) {
  return {new Object(arguments...), winrt::take_ownership_from_abi};
}

// Leaves the description of a failed call on the thread.
inline void LeaveOnThread(HRESULT code, wchar_t const* description, wchar_t const* restricted) {
  SetErrorInfo(0, Make<ErrorInfo>(code, description, restricted).get());
}
