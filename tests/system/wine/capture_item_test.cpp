// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include <atomic>
#include <string>

#include "platform.h"

namespace wine_test {
namespace {

TEST(CaptureItem, AndItsFactoryAreAgile) {
  const auto interop = ActivationFactory<IGraphicsCaptureItemInterop>(kItemClass);
  ASSERT_TRUE(interop);
  EXPECT_TRUE(Query<IAgileObject>(interop.Get()));
  const PatternWindow window(MakePattern(160, 120));
  EXPECT_TRUE(Query<IAgileObject>(MakeItem(window.handle()).Get()));
}

TEST(CaptureItem, IsNotMadeForWhatCannotBeCaptured) {
  const auto interop = ActivationFactory<IGraphicsCaptureItemInterop>(kItemClass);
  const IID& iid = __uuidof(IGraphicsCaptureItem);
  void* result = &result;
  EXPECT_EQ(interop->CreateForWindow(nullptr, iid, &result), E_INVALIDARG);
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(interop->CreateForMonitor(nullptr, iid, &result), E_INVALIDARG);
  EXPECT_EQ(interop->CreateForMonitor(reinterpret_cast<HMONITOR>(0x7777), iid, &result),
            E_INVALIDARG);
  PatternWindow window(MakePattern(160, 120));
  const HWND child = CreateWindowExW(0, L"static", nullptr, WS_CHILD, 0, 0, 10, 10, window.handle(),
                                     nullptr, nullptr, nullptr);
  ASSERT_NE(child, nullptr);
  EXPECT_EQ(interop->CreateForWindow(child, iid, &result), E_INVALIDARG);
  DestroyWindow(child);
  const HWND handle = window.handle();
  EXPECT_EQ(interop->CreateForWindow(handle, iid, nullptr), E_POINTER);
  window.Destroy();
  EXPECT_EQ(interop->CreateForWindow(handle, iid, &result), E_INVALIDARG);
}

TEST(CaptureItem, IsNotMadeByPlainActivation) {
  const auto factory = ActivationFactory<IActivationFactory>(kItemClass);
  ASSERT_TRUE(factory);
  Ref<IInspectable> item;
  EXPECT_EQ(factory->ActivateInstance(item.Put()), E_NOTIMPL);
  EXPECT_FALSE(item);
}

void ExpectSize(const Ref<IGraphicsCaptureItem>& item, int width, int height) {
  EXPECT_EQ(SizeOf(item.Get()).Width, width);
  EXPECT_EQ(SizeOf(item.Get()).Height, height);
}

TEST(CaptureItem, TellsTheSizeOfItsTargetAtTheTimeOfTheCall) {
  PatternWindow window(MakePattern(160, 120));
  const auto item = MakeItem(window.handle());
  ExpectSize(item, 160, 120);
  window.Show(MakePattern(201, 77));
  ExpectSize(item, 201, 77);
  window.Minimize();
  ASSERT_TRUE(IsIconic(window.handle()));
  ExpectSize(item, 201, 77);
  ExpectSize(MakeItem(PrimaryMonitor()), GetSystemMetrics(SM_CXSCREEN),
             GetSystemMetrics(SM_CYSCREEN));
}

std::wstring DisplayName(IGraphicsCaptureItem* item) {
  HSTRING name = nullptr;
  EXPECT_EQ(item->get_DisplayName(&name), S_OK);
  const std::wstring text = WindowsGetStringRawBuffer(name, nullptr);
  WindowsDeleteString(name);
  return text;
}

TEST(CaptureItem, HasTheNameOfTheWindowOrTheMonitorsDevice) {
  const PatternWindow window(MakePattern(160, 120), {.title = L"A painted window"});
  EXPECT_EQ(DisplayName(MakeItem(window.handle()).Get()), L"A painted window");
  MONITORINFOEXW info = {};
  info.cbSize = sizeof(info);
  ASSERT_TRUE(GetMonitorInfoW(PrimaryMonitor(), &info));
  EXPECT_EQ(DisplayName(MakeItem(PrimaryMonitor()).Get()), info.szDevice);
}

TEST(CaptureItem, RaisesClosedOnceFromAnotherThread) {
  PatternWindow window(MakePattern(160, 120));
  const auto item = MakeItem(window.handle());
  std::atomic<int> raised = 0;
  std::atomic<DWORD> thread_id = 0;
  std::atomic<IGraphicsCaptureItem*> sender = nullptr;
  const auto handler = ClosedHandler::Make([&](IGraphicsCaptureItem* from, IInspectable*) {
    thread_id = GetCurrentThreadId();
    sender = from;
    ++raised;
  });
  EventRegistrationToken token;
  ASSERT_EQ(item->add_Closed(handler.Get(), &token), S_OK);
  PumpUntil([] { return false; }, 100);
  EXPECT_EQ(raised, 0);
  window.Destroy();
  ASSERT_TRUE(PumpUntil([&] { return raised == 1; }));
  EXPECT_NE(thread_id, GetCurrentThreadId());
  EXPECT_EQ(sender, item.Get());
  PumpUntil([] { return false; }, 100);
  EXPECT_EQ(raised, 1);
  EXPECT_EQ(item->remove_Closed(token), S_OK);
}

TEST(CaptureItem, DoesNotCallAHandlerThatWasRemoved) {
  PatternWindow window(MakePattern(160, 120));
  const auto item = MakeItem(window.handle());
  std::atomic<int> removed_raised = 0;
  std::atomic<int> kept_raised = 0;
  const auto removed =
      ClosedHandler::Make([&](IGraphicsCaptureItem*, IInspectable*) { ++removed_raised; });
  const auto kept =
      ClosedHandler::Make([&](IGraphicsCaptureItem*, IInspectable*) { ++kept_raised; });
  EventRegistrationToken removed_token;
  EventRegistrationToken kept_token;
  ASSERT_EQ(item->add_Closed(removed.Get(), &removed_token), S_OK);
  ASSERT_EQ(item->add_Closed(kept.Get(), &kept_token), S_OK);
  EXPECT_NE(removed_token.value, 0);
  EXPECT_NE(kept_token.value, 0);
  EXPECT_NE(removed_token.value, kept_token.value);
  // A token that is not known, or no longer, changes nothing.
  for (const auto token : {removed_token, removed_token, EventRegistrationToken{0},
                           EventRegistrationToken{kept_token.value + 1}}) {
    EXPECT_EQ(item->remove_Closed(token), S_OK);
  }
  window.Destroy();
  ASSERT_TRUE(PumpUntil([&] { return kept_raised == 1; }));
  Sleep(100);
  EXPECT_EQ(kept_raised, 1);
  EXPECT_EQ(removed_raised, 0);
}

TEST(CaptureItem, IsWeaklyReferableAndNotKeptByItsWatcher) {
  const PatternWindow window(MakePattern(160, 120));
  auto item = MakeItem(window.handle());
  const auto weak = WeaklyReferTo(item.Get());
  ASSERT_TRUE(weak);
  EXPECT_EQ(Resolve(weak.Get()).Get(), Query<IUnknown>(item.Get()).Get());
  const auto handler = ClosedHandler::Make([](IGraphicsCaptureItem*, IInspectable*) {});
  EventRegistrationToken token;
  ASSERT_EQ(item->add_Closed(handler.Get(), &token), S_OK);
  item = {};
  // The watcher holds the item for a moment only while it raises the event.
  EXPECT_FALSE(Resolve(weak.Get()));
}

TEST(CallTrace, IsCutToItsBufferAndEndsInANul) {
  const HMODULE module = GetModuleHandleW(L"quill-capture-standin.dll");
  const auto start = reinterpret_cast<void (*)()>(
      reinterpret_cast<void*>(GetProcAddress(module, "StandinStartTrace")));
  const auto stop = reinterpret_cast<void (*)(char*, size_t)>(
      reinterpret_cast<void*>(GetProcAddress(module, "StandinStopTrace")));
  ASSERT_TRUE(start && stop);
  const auto item = MakeItem(PrimaryMonitor());
  start();
  SizeOf(item.Get());
  char text[6] = {'x', 'x', 'x', 'x', 'x', 'x'};
  stop(text, 5);
  EXPECT_EQ(std::string(text, sizeof(text)), std::string("get_\0x", 6));
}

}  // namespace
}  // namespace wine_test
