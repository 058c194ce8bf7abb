// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// How a delegate marshals: by the platform's free-threaded marshaler, under the delegate's
// identity.
#include <gtest/gtest.h>
#include <winrt/base.h>

#include "native/platform/calls.h"
#include "native/platform/settings.h"
#include "projection/test_objects.h"

namespace {

using winrt::com_ptr;
using Handler = winrt::Windows::Foundation::TypedEventHandler<
    winrt::Windows::Graphics::Capture::GraphicsCaptureItem,
    winrt::Windows::Foundation::IInspectable>;

// Answers each method with a code of its own, and notes the arguments.
struct Marshaler final : TestObject<IMarshal> {
  HRESULT STDMETHODCALLTYPE GetUnmarshalClass(REFIID id, void* object, DWORD destination,
                                              void* reserved, DWORD flags, CLSID* result) override {
    Note(id, object, destination, reserved, flags);
    *result = __uuidof(IMarshal);
    return 1;
  }
  HRESULT STDMETHODCALLTYPE GetMarshalSizeMax(REFIID id, void* object, DWORD destination,
                                              void* reserved, DWORD flags, DWORD* result) override {
    Note(id, object, destination, reserved, flags);
    *result = 77;
    return 2;
  }
  HRESULT STDMETHODCALLTYPE MarshalInterface(IStream* stream, REFIID id, void* object,
                                             DWORD destination, void* reserved,
                                             DWORD flags) override {
    Note(id, object, destination, reserved, flags);
    last_stream = stream;
    return 3;
  }
  HRESULT STDMETHODCALLTYPE UnmarshalInterface(IStream* stream, REFIID id, void** result) override {
    Note(id, nullptr, 0, nullptr, 0);
    last_stream = stream;
    *result = this;
    return 4;
  }
  HRESULT STDMETHODCALLTYPE ReleaseMarshalData(IStream* stream) override {
    last_stream = stream;
    return 5;
  }
  HRESULT STDMETHODCALLTYPE DisconnectObject(DWORD reserved) override {
    last_flags = reserved;
    return 6;
  }

  void Forget() {
    Note({}, nullptr, 0, nullptr, 0);
    last_stream = nullptr;
  }
  void Note(REFIID id, void* object, DWORD destination, void* reserved, DWORD flags) {
    last_id = id;
    last_object = object;
    last_destination = destination;
    last_reserved = reserved;
    last_flags = flags;
  }

  GUID last_id{};
  void* last_object = nullptr;
  DWORD last_destination = 0;
  void* last_reserved = nullptr;
  DWORD last_flags = 0;
  IStream* last_stream = nullptr;
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

  CLSID unmarshaler{};
  EXPECT_EQ(
      marshal->GetUnmarshalClass(__uuidof(IErrorInfo), &object, 3, &reserved, 4, &unmarshaler), 1);
  EXPECT_TRUE(unmarshaler == __uuidof(IMarshal));
  EXPECT_TRUE(platform_->last_id == __uuidof(IErrorInfo));
  EXPECT_EQ(platform_->last_object, &object);
  EXPECT_EQ(platform_->last_destination, 3u);
  EXPECT_EQ(platform_->last_reserved, &reserved);
  EXPECT_EQ(platform_->last_flags, 4u);

  platform_->Forget();
  DWORD size = 0;
  EXPECT_EQ(marshal->GetMarshalSizeMax(__uuidof(IErrorInfo), &object, 5, &reserved, 6, &size), 2);
  EXPECT_EQ(size, 77u);
  EXPECT_TRUE(platform_->last_id == __uuidof(IErrorInfo));
  EXPECT_EQ(platform_->last_object, &object);
  EXPECT_EQ(platform_->last_destination, 5u);
  EXPECT_EQ(platform_->last_reserved, &reserved);
  EXPECT_EQ(platform_->last_flags, 6u);

  platform_->Forget();
  EXPECT_EQ(marshal->MarshalInterface(stream, __uuidof(IErrorInfo), &object, 7, &reserved, 8), 3);
  EXPECT_EQ(platform_->last_stream, stream);
  EXPECT_TRUE(platform_->last_id == __uuidof(IErrorInfo));
  EXPECT_EQ(platform_->last_object, &object);
  EXPECT_EQ(platform_->last_destination, 7u);
  EXPECT_EQ(platform_->last_reserved, &reserved);
  EXPECT_EQ(platform_->last_flags, 8u);

  platform_->Forget();
  void* unmarshaled = nullptr;
  EXPECT_EQ(marshal->UnmarshalInterface(stream, __uuidof(IErrorInfo), &unmarshaled), 4);
  EXPECT_EQ(platform_->last_stream, stream);
  EXPECT_TRUE(platform_->last_id == __uuidof(IErrorInfo));
  EXPECT_EQ(unmarshaled, platform_.get());

  platform_->Forget();
  EXPECT_EQ(marshal->ReleaseMarshalData(stream), 5);
  EXPECT_EQ(platform_->last_stream, stream);
  EXPECT_EQ(marshal->DisconnectObject(9), 6);
  EXPECT_EQ(platform_->last_flags, 9u);
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
