// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <atomic>
#include <string>

#include "platform.h"

namespace wine_test {
namespace {

TEST(CaptureItem, IsNotMadeForWhatCannotBeCaptured) {
  const auto interop = ActivationFactory<IGraphicsCaptureItemInterop>(kItemClass);
  ASSERT_TRUE(interop);
  const IID& iid = __uuidof(IGraphicsCaptureItem);
  void* result = &result;
  EXPECT_EQ(interop->CreateForWindow(nullptr, iid, &result), E_INVALIDARG);
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(interop->CreateForMonitor(nullptr, iid, &result), E_INVALIDARG);
  EXPECT_EQ(interop->CreateForMonitor(reinterpret_cast<HMONITOR>(0x7777), iid, &result),
            E_INVALIDARG);
  PatternWindow window(kFirst);
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

TEST(CaptureItem, AndItsFactoryAreAgileAndPlainActivationMakesNone) {
  const auto factory = ActivationFactory<IActivationFactory>(kItemClass);
  ASSERT_TRUE(factory);
  EXPECT_TRUE(Query<IAgileObject>(factory.Get()));
  EXPECT_TRUE(Query<IAgileObject>(MakeItem(PrimaryMonitor()).Get()));
  Ref<IInspectable> item;
  EXPECT_EQ(factory->ActivateInstance(item.Put()), E_NOTIMPL);
  EXPECT_FALSE(item);
}

void ExpectSize(const Ref<IGraphicsCaptureItem>& item, int width, int height) {
  EXPECT_EQ(SizeOf(item.Get()).Width, width);
  EXPECT_EQ(SizeOf(item.Get()).Height, height);
}

TEST(CaptureItem, TellsTheSizeOfItsTargetAtTheTimeOfTheCall) {
  PatternWindow window(kFirst);
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

std::wstring DisplayName(const Ref<IGraphicsCaptureItem>& item) {
  HSTRING name = nullptr;
  EXPECT_EQ(item->get_DisplayName(&name), S_OK);
  const std::wstring text = WindowsGetStringRawBuffer(name, nullptr);
  WindowsDeleteString(name);
  return text;
}

TEST(CaptureItem, HasTheNameOfTheWindowOrTheMonitorsDevice) {
  const PatternWindow window(kFirst, {.title = L"A painted window"});
  EXPECT_EQ(DisplayName(MakeItem(window.handle())), L"A painted window");
  MONITORINFOEXW info = {};
  info.cbSize = sizeof(info);
  ASSERT_TRUE(GetMonitorInfoW(PrimaryMonitor(), &info));
  EXPECT_EQ(DisplayName(MakeItem(PrimaryMonitor())), info.szDevice);
}

TEST(CaptureItem, RaisesClosedOnceFromAnotherThread) {
  PatternWindow window(kFirst);
  const auto item = MakeItem(window.handle());
  std::atomic<int> raised = 0;
  std::atomic<DWORD> thread_id = 0;
  std::atomic<IGraphicsCaptureItem*> sender = nullptr;
  const auto token = AddHandler(item, [&](IGraphicsCaptureItem* from, IInspectable*) {
    thread_id = GetCurrentThreadId();
    sender = from;
    ++raised;
  });
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
  PatternWindow window(kFirst);
  const auto item = MakeItem(window.handle());
  std::atomic<int> removed_raised = 0;
  std::atomic<int> kept_raised = 0;
  const auto removed_token =
      AddHandler(item, [&](IGraphicsCaptureItem*, IInspectable*) { ++removed_raised; });
  const auto kept_token =
      AddHandler(item, [&](IGraphicsCaptureItem*, IInspectable*) { ++kept_raised; });
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
  const PatternWindow window(kFirst);
  auto item = MakeItem(window.handle());
  const auto weak = WeaklyReferTo(item.Get());
  ASSERT_TRUE(weak);
  EXPECT_EQ(Resolve(weak.Get()).Get(), Query<IUnknown>(item.Get()).Get());
  AddHandler(item, [](IGraphicsCaptureItem*, IInspectable*) {});
  item = {};
  // The watcher holds the item for a moment only while it raises the event.
  EXPECT_FALSE(Resolve(weak.Get()));
}

TEST(CallTrace, IsCutToItsBufferAndEndsInANul) {
  if (!IsWine()) GTEST_SKIP() << kNeedsStandin;
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
