// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <memory>
#include <new>
#include <optional>
#include <stdexcept>

#include "projection/test_objects.h"

namespace {

class Events : public ObjectsTest {
 protected:
  void TearDown() override {
    item = nullptr;
    ObjectsTest::TearDown();
  }

  capture::GraphicsCaptureItem projected() const { return item.as<capture::GraphicsCaptureItem>(); }

  // What the platform does when the event is raised.
  HRESULT Raise() { return item->closed->Invoke(item.get(), item.get()); }

  com_ptr<Item> item = Make<Item>();
};

// Does nothing.
constexpr auto ignore = [](auto const&, auto const&) {};

// What Invoke answers when the handler throws `exception`.
template <typename Exception>
HRESULT AnswerTo(Exception const& exception) {
  Handler const handler([&](auto const&, auto const&) { throw exception; });
  return static_cast<Item::Handler*>(winrt::get_abi(handler))->Invoke(nullptr, nullptr);
}

TEST_F(Events, ALambdaReceivesTheBorrowedArguments) {
  int calls = 0;
  ULONG references = 0;
  void *sender = nullptr, *args = nullptr;
  projected().Closed([&](capture::GraphicsCaptureItem const& the_sender,
                         foundation::IInspectable const& the_args) {
    ++calls;
    references = item->references();
    sender = winrt::get_abi(the_sender);
    args = winrt::get_abi(the_args);
  });
  ULONG const before = item->references();
  EXPECT_EQ(Raise(), S_OK);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(sender, item.get());
  EXPECT_EQ(args, item.get());
  EXPECT_EQ(references, before);
  EXPECT_EQ(item->references(), before);
}

int function_calls = 0;
void OnClosed(capture::GraphicsCaptureItem const&, foundation::IInspectable const&) {
  ++function_calls;
}

struct Listener {
  void OnClosed(capture::GraphicsCaptureItem const& sender, foundation::IInspectable const& args) {
    ++calls;
    EXPECT_TRUE(sender);
    EXPECT_FALSE(args);
  }
  int calls = 0;
};

TEST_F(Events, AFunctionIsCalledAndAMemberFunctionOnItsObject) {
  function_calls = 0;
  projected().Closed(&OnClosed);
  EXPECT_EQ(Raise(), S_OK);
  EXPECT_EQ(function_calls, 1);
  Listener listener;
  projected().Closed({&listener, &Listener::OnClosed});
  EXPECT_EQ(item->closed->Invoke(item.get(), nullptr), S_OK);
  EXPECT_EQ(listener.calls, 1);
}

TEST_F(Events, AHandlerIsCalledLikeAFunction) {
  int calls = 0;
  Handler const handler([&](auto const&, auto const&) { ++calls; });
  handler(projected(), nullptr);
  EXPECT_EQ(calls, 1);
  Handler const failing([](auto const&, auto const&) { throw winrt::hresult_error(E_NOTIMPL); });
  EXPECT_THROW(failing(projected(), nullptr), winrt::hresult_not_implemented);
}

TEST_F(Events, AHandlerFreesWhatItHoldsWithItsLastReference) {
  auto const held = std::make_shared<int>();
  {
    Handler const handler([held](auto const&, auto const&) {});
    Handler const copy = handler;
    EXPECT_EQ(held.use_count(), 2);
  }
  EXPECT_EQ(held.use_count(), 1);
}

TEST_F(Events, ADelegateAnswersItsOwnInterfaceAndThatItIsAgile) {
  Handler const handler(ignore);
  auto* const own = static_cast<Item::Handler*>(winrt::get_abi(handler));
  for (GUID const& id : {winrt::guid_of<Handler>(), __uuidof(::IUnknown), __uuidof(IAgileObject)}) {
    void* answer = nullptr;
    ASSERT_EQ(own->QueryInterface(id, &answer), S_OK);
    EXPECT_EQ(answer, own);
    own->Release();
  }
  void* answer = own;
  EXPECT_EQ(own->QueryInterface(__uuidof(::IInspectable), &answer), E_NOINTERFACE);
  EXPECT_EQ(answer, nullptr);
  own->AddRef();
  EXPECT_EQ(own->Release(), 1u);
}

#ifdef _WIN32
TEST_F(Events, ADelegateNeedsNoProxyWithinTheProcess) {
  Handler const handler(ignore);
  auto* const own = static_cast<Item::Handler*>(winrt::get_abi(handler));
  com_ptr<IMarshal> const marshal = com_ptr<::IUnknown>(handler.as<::IUnknown>()).as<IMarshal>();
  EXPECT_EQ(marshal.as<::IUnknown>().get(), own);
  // CLSID_InProcFreeMarshaler
  GUID const free_threaded{
      0x0000033a, 0x0000, 0x0000, {0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
  CLSID unmarshaler{};
  ASSERT_EQ(marshal->GetUnmarshalClass(winrt::guid_of<Handler>(), own, MSHCTX_INPROC, nullptr,
                                       MSHLFLAGS_NORMAL, &unmarshaler),
            S_OK);
  EXPECT_TRUE(unmarshaler == free_threaded);
}
#endif

TEST_F(Events, AnExceptionBecomesTheAnswerOfInvoke) {
  EXPECT_EQ(AnswerTo(winrt::hresult_error(E_ACCESSDENIED)), E_ACCESSDENIED);
  EXPECT_EQ(AnswerTo(winrt::hresult_error(static_cast<HRESULT>(0x887A0005))),
            static_cast<HRESULT>(0x887A0005));
  EXPECT_EQ(AnswerTo(winrt::hresult_no_interface()), E_NOINTERFACE);
  EXPECT_EQ(AnswerTo(std::bad_alloc()), E_OUTOFMEMORY);
  EXPECT_EQ(AnswerTo(std::out_of_range("index")), static_cast<HRESULT>(0x8000000B));
  EXPECT_EQ(AnswerTo(std::invalid_argument("value")), E_INVALIDARG);
  EXPECT_EQ(AnswerTo(std::runtime_error("other")), E_FAIL);
}

TEST_F(Events, ATokenRemovesItsRegistration) {
  winrt::event_token const token = projected().Closed(ignore);
  EXPECT_EQ(token.value, 0x123456789);
  EXPECT_TRUE(item->closed);
  projected().Closed(token);
  EXPECT_EQ(item->removed, std::vector<std::int64_t>{0x123456789});
}

TEST_F(Events, ARevokerRemovesItsRegistrationOnceAtTheLatestWhenItGoes) {
  auto revoker = projected().Closed(winrt::auto_revoke, ignore);
  EXPECT_TRUE(revoker);
  EXPECT_TRUE(item->removed.empty());
  revoker.revoke();
  EXPECT_FALSE(revoker);
  revoker.revoke();
  EXPECT_EQ(item->removed, std::vector<std::int64_t>{0x123456789});
  {
    auto const other = projected().Closed(winrt::auto_revoke, ignore);
    EXPECT_EQ(item->removed.size(), 1u);
  }
  EXPECT_EQ(item->removed, (std::vector<std::int64_t>{0x123456789, 0x12345678a}));
  capture::GraphicsCaptureItem::Closed_revoker empty;
  EXPECT_FALSE(empty);
  empty.revoke();
}

TEST_F(Events, AMovedRevokerIsEmpty) {
  auto first = projected().Closed(winrt::auto_revoke, ignore);
  capture::GraphicsCaptureItem::Closed_revoker second = std::move(first);
  EXPECT_FALSE(first);
  EXPECT_TRUE(second);
  first.revoke();
  EXPECT_TRUE(item->removed.empty());
  static_assert(!std::is_copy_constructible_v<decltype(second)>);
  static_assert(!std::is_copy_assignable_v<decltype(second)>);
}

TEST_F(Events, AssigningToARevokerRevokesWhatItHeld) {
  auto revoker = projected().Closed(winrt::auto_revoke, ignore);
  revoker = projected().Closed(winrt::auto_revoke, ignore);
  EXPECT_EQ(item->removed, std::vector<std::int64_t>{0x123456789});
  revoker = {};
  EXPECT_EQ(item->removed, (std::vector<std::int64_t>{0x123456789, 0x12345678a}));
}

TEST_F(Events, ARevokerDoesNotKeepItsSourceAlive) {
  Listener listener;
  auto revoker = projected().Closed(winrt::auto_revoke, {&listener, &Listener::OnClosed});
  EXPECT_EQ(item->references(), 1u);
  item = nullptr;
  // The weak reference is all that is left.
  EXPECT_EQ(objects_alive, 1);
  EXPECT_TRUE(revoker);
  revoker.revoke();
  EXPECT_FALSE(revoker);
  EXPECT_EQ(objects_alive, 0);
}

TEST_F(Events, ARefusedRemovalIsIgnored) {
  auto revoker = projected().Closed(winrt::auto_revoke, ignore);
  item->remove_result = E_FAIL;
  EXPECT_NO_THROW(revoker.revoke());
  EXPECT_EQ(item->removed.size(), 1u);
}

// An item that nothing can refer to weakly.
struct StrongItem final : Item {
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** result) override {
    if (id == __uuidof(IWeakReferenceSource)) {
      *result = nullptr;
      return E_NOINTERFACE;
    }
    return Item::QueryInterface(id, result);
  }
};

TEST_F(Events, AutomaticRevocationNeedsWeakReferences) {
  item.attach(new StrongItem);
  EXPECT_THROW(static_cast<void>(projected().Closed(winrt::auto_revoke, ignore)),
               winrt::hresult_no_interface);
  EXPECT_EQ(item->removed, std::vector<std::int64_t>{0x123456789});
}

}  // namespace
