// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "projection/test_factories.h"

#include <winstring.h>

#include <atomic>
#include <string_view>

namespace {

std::atomic<LONG> activations;

class Factory final : public IActivationFactory, public ITestStatics {
 public:
  explicit Factory(bool agile) : agile_(agile) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** result) override {
    *result = nullptr;
    if (id == __uuidof(IUnknown) || id == __uuidof(IInspectable) ||
        id == __uuidof(IActivationFactory) || (agile_ && id == __uuidof(IAgileObject))) {
      *result = static_cast<IActivationFactory*>(this);
    } else if (id == __uuidof(ITestStatics)) {
      *result = static_cast<ITestStatics*>(this);
    } else {
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    ULONG const left = --references_;
    if (left == 0) {
      delete this;
    }
    return left;
  }

  HRESULT STDMETHODCALLTYPE GetIids(ULONG*, IID**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetRuntimeClassName(HSTRING*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTrustLevel(TrustLevel*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE ActivateInstance(IInspectable**) override { return E_NOTIMPL; }

  HRESULT STDMETHODCALLTYPE CountReferences(ULONG* count) override {
    *count = references_;
    return S_OK;
  }

 private:
  bool const agile_;
  std::atomic<ULONG> references_ = 1;
};

}  // namespace

// A class whose name ends in "Apartment" has a factory that is not agile; "Missing" is no class.
extern "C" HRESULT WINAPI DllGetActivationFactory(HSTRING name, IActivationFactory** factory) {
  UINT32 length = 0;
  wchar_t const* const text = WindowsGetStringRawBuffer(name, &length);
  std::wstring_view const class_name(text, length);
  *factory = nullptr;
  if (class_name.ends_with(L".Missing")) {
    return CLASS_E_CLASSNOTAVAILABLE;
  }
  ++activations;
  *factory = new Factory(!class_name.ends_with(L"Apartment"));
  return S_OK;
}

extern "C" LONG WINAPI CountActivations() {
  return activations;
}
