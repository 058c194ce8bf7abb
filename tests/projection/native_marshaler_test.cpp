// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// How a delegate marshals: by the platform's free-threaded marshaler, under the delegate's
// identity.
#include <gtest/gtest.h>
#include <winrt/base.h>

#include <tuple>

#include "native/platform/calls.h"
#include "native/platform/settings.h"
#include "projection/test_objects.h"

namespace {

using winrt::com_ptr;
using Handler = winrt::Windows::Foundation::TypedEventHandler<
    winrt::Windows::Graphics::Capture::GraphicsCaptureItem,
    winrt::Windows::Foundation::IInspectable>;

// id, object, destination, reserved, flags, stream
using Arguments = std::tuple<IID, void*, DWORD, void*, DWORD, IStream*>;

// Answers each method with a code of its own, and notes the arguments.
struct Marshaler final : TestObject<IMarshal> {
  HRESULT STDMETHODCALLTYPE GetUnmarshalClass(REFIID id, void* object, DWORD destination,
                                              void* reserved, DWORD flags, CLSID* result) override {
    last = {id, object, destination, reserved, flags, nullptr};
    *result = __uuidof(IMarshal);
    return 1;
  }
  HRESULT STDMETHODCALLTYPE GetMarshalSizeMax(REFIID id, void* object, DWORD destination,
                                              void* reserved, DWORD flags, DWORD* result) override {
    last = {id, object, destination, reserved, flags, nullptr};
    *result = 77;
    return 2;
  }
  HRESULT STDMETHODCALLTYPE MarshalInterface(IStream* stream, REFIID id, void* object,
                                             DWORD destination, void* reserved,
                                             DWORD flags) override {
    last = {id, object, destination, reserved, flags, stream};
    return 3;
  }
  HRESULT STDMETHODCALLTYPE UnmarshalInterface(IStream* stream, REFIID id, void** result) override {
    last = {id, nullptr, 0, nullptr, 0, stream};
    *result = this;
    return 4;
  }
  HRESULT STDMETHODCALLTYPE ReleaseMarshalData(IStream* stream) override {
    last = {{}, nullptr, 0, nullptr, 0, stream};
    return 5;
  }
  HRESULT STDMETHODCALLTYPE DisconnectObject(DWORD reserved) override {
    last = {{}, nullptr, 0, nullptr, reserved, nullptr};
    return 6;
  }

  Arguments last;
};

class NativeMarshaling : public testing::Test {
 protected:
  void SetUp() override {
    fake::Reset();
    fake::settings.marshaler = platform_.get();
  }
  void TearDown() override { fake::Reset(); }

  com_ptr<Marshaler> const platform_{new Marshaler, winrt::take_ownership_from_abi};
};

TEST_F(NativeMarshaling, IsThePlatformsUnderTheDelegatesIdentity) {
  ULONG const before = platform_->references();
  {
    Handler const handler([](auto const&, auto const&) {});
    auto const identity = com_ptr<::IUnknown>(handler.as<::IUnknown>());
    auto const marshal = identity.as<IMarshal>();
    EXPECT_EQ(marshal.as<::IUnknown>().get(), identity.get());
    EXPECT_EQ(marshal.as<IMarshal>().get(), marshal.get());
    EXPECT_GT(platform_->references(), before);
  }
  EXPECT_EQ(platform_->references(), before);
}

TEST_F(NativeMarshaling, PassesEveryMethodOn) {
  Handler const handler([](auto const&, auto const&) {});
  auto const marshal = com_ptr<::IUnknown>(handler.as<::IUnknown>()).as<IMarshal>();
  int object = 0, reserved = 0, somewhere = 0;
  auto* const stream = reinterpret_cast<IStream*>(&somewhere);

  IID const id = __uuidof(IErrorInfo);

  CLSID unmarshaler{};
  EXPECT_EQ(marshal->GetUnmarshalClass(id, &object, 3, &reserved, 4, &unmarshaler), 1);
  EXPECT_TRUE(unmarshaler == __uuidof(IMarshal));
  EXPECT_TRUE(platform_->last == Arguments(id, &object, 3, &reserved, 4, nullptr));

  DWORD size = 0;
  EXPECT_EQ(marshal->GetMarshalSizeMax(id, &object, 5, &reserved, 6, &size), 2);
  EXPECT_EQ(size, 77u);
  EXPECT_TRUE(platform_->last == Arguments(id, &object, 5, &reserved, 6, nullptr));

  EXPECT_EQ(marshal->MarshalInterface(stream, id, &object, 7, &reserved, 8), 3);
  EXPECT_TRUE(platform_->last == Arguments(id, &object, 7, &reserved, 8, stream));

  void* unmarshaled = nullptr;
  EXPECT_EQ(marshal->UnmarshalInterface(stream, id, &unmarshaled), 4);
  EXPECT_TRUE(platform_->last == Arguments(id, nullptr, 0, nullptr, 0, stream));
  EXPECT_EQ(unmarshaled, platform_.get());

  EXPECT_EQ(marshal->ReleaseMarshalData(stream), 5);
  EXPECT_TRUE(platform_->last == Arguments({}, nullptr, 0, nullptr, 0, stream));
  EXPECT_EQ(marshal->DisconnectObject(9), 6);
  EXPECT_TRUE(platform_->last == Arguments({}, nullptr, 0, nullptr, 9, nullptr));
}

TEST_F(NativeMarshaling, FailsWithThePlatforms) {
  fake::settings.marshaler = nullptr;
  Handler const handler([](auto const&, auto const&) {});
  EXPECT_FALSE(com_ptr<::IUnknown>(handler.as<::IUnknown>()).try_as<IMarshal>());
}

TEST_F(NativeMarshaling, FailsWithoutMemory) {
  Handler const handler([](auto const&, auto const&) {});
  auto const identity = com_ptr<::IUnknown>(handler.as<::IUnknown>());
  void* result = &result;
  fake::FailNew(1);
  EXPECT_EQ(identity->QueryInterface(__uuidof(IMarshal), &result), E_OUTOFMEMORY);
  fake::FailNew(0);
  EXPECT_EQ(result, nullptr);
}

}  // namespace
