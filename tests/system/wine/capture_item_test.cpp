// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include <atomic>
#include <string>

#include "painted_window.h"
#include "platform.h"

namespace wine_test {
namespace {

using ClosedHandler = Delegate<
    __FITypedEventHandler_2_Windows__CGraphics__CCapture__CGraphicsCaptureItem_IInspectable,
    IGraphicsCaptureItem*, IInspectable*>;

HMONITOR PrimaryMonitor() {
  return MonitorFromPoint({0, 0}, MONITOR_DEFAULTTOPRIMARY);
}

// Whether `flag` comes true in time; nothing is dispatched meanwhile.
bool WaitFor(const std::function<bool()>& flag, DWORD limit_ms = 3000) {
  const ULONGLONG end = GetTickCount64() + limit_ms;
  while (!flag()) {
    if (GetTickCount64() >= end) return false;
    Sleep(5);
  }
  return true;
}

TEST(CaptureItem, AndItsFactoryAreAgile) {
  const auto interop = ActivationFactory<IGraphicsCaptureItemInterop>(kItemClass);
  ASSERT_TRUE(interop);
  EXPECT_TRUE(interop.As<IAgileObject>());
  const PaintedWindow window;
  EXPECT_TRUE(MakeItem(window.Handle()).As<IAgileObject>());
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
  PaintedWindow window;
  const HWND child = CreateWindowExW(0, L"static", nullptr, WS_CHILD, 0, 0, 10, 10, window.Handle(),
                                     nullptr, nullptr, nullptr);
  ASSERT_NE(child, nullptr);
  EXPECT_EQ(interop->CreateForWindow(child, iid, &result), E_INVALIDARG);
  DestroyWindow(child);
  const HWND handle = window.Handle();
  EXPECT_EQ(interop->CreateForWindow(handle, iid, nullptr), E_POINTER);
  window.Destroy();
  EXPECT_EQ(interop->CreateForWindow(handle, iid, &result), E_INVALIDARG);
}

TEST(CaptureItem, IsNotMadeByPlainActivation) {
  const auto factory = ActivationFactory<IActivationFactory>(kItemClass);
  ASSERT_TRUE(factory);
  ComPointer<IInspectable> item;
  EXPECT_EQ(factory->ActivateInstance(item.Put()), E_NOTIMPL);
  EXPECT_FALSE(item);
}

TEST(CaptureItem, TellsTheWindowsSizeAtTheTimeOfTheCall) {
  PaintedWindow window;
  const auto item = MakeItem(window.Handle());
  SizeInt32 size = {};
  EXPECT_EQ(item->get_Size(&size), S_OK);
  EXPECT_EQ(size.Width, 160);
  EXPECT_EQ(size.Height, 120);
  window.Resize({201, 77});
  EXPECT_EQ(item->get_Size(&size), S_OK);
  EXPECT_EQ(size.Width, 201);
  EXPECT_EQ(size.Height, 77);
  window.SetState(SW_MINIMIZE);
  ASSERT_TRUE(IsIconic(window.Handle()));
  EXPECT_EQ(item->get_Size(&size), S_OK);
  EXPECT_EQ(size.Width, 201);
  EXPECT_EQ(size.Height, 77);
}

TEST(CaptureItem, TellsTheMonitorsSize) {
  const auto item = MakeItem(PrimaryMonitor());
  ASSERT_TRUE(item);
  SizeInt32 size = {};
  EXPECT_EQ(item->get_Size(&size), S_OK);
  EXPECT_EQ(size.Width, GetSystemMetrics(SM_CXSCREEN));
  EXPECT_EQ(size.Height, GetSystemMetrics(SM_CYSCREEN));
}

std::wstring DisplayName(IGraphicsCaptureItem* item) {
  HSTRING name = nullptr;
  EXPECT_EQ(item->get_DisplayName(&name), S_OK);
  const std::wstring text = WindowsGetStringRawBuffer(name, nullptr);
  WindowsDeleteString(name);
  return text;
}

TEST(CaptureItem, IsCalledAfterTheWindow) {
  WindowOptions options;
  options.title = L"A painted window";
  const PaintedWindow window(options);
  EXPECT_EQ(DisplayName(MakeItem(window.Handle()).Get()), L"A painted window");
}

TEST(CaptureItem, IsCalledAfterTheMonitorsDevice) {
  MONITORINFOEXW info = {};
  info.cbSize = sizeof(info);
  ASSERT_TRUE(GetMonitorInfoW(PrimaryMonitor(), &info));
  EXPECT_EQ(DisplayName(MakeItem(PrimaryMonitor()).Get()), info.szDevice);
}

TEST(CaptureItem, RaisesClosedOnceFromAnotherThread) {
  PaintedWindow window;
  const auto item = MakeItem(window.Handle());
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
  PumpFor(100);
  EXPECT_EQ(raised, 0);
  window.Destroy();
  ASSERT_TRUE(WaitFor([&] { return raised == 1; }));
  EXPECT_NE(thread_id, GetCurrentThreadId());
  EXPECT_EQ(sender, item.Get());
  PumpFor(100);
  EXPECT_EQ(raised, 1);
  EXPECT_EQ(item->remove_Closed(token), S_OK);
}

TEST(CaptureItem, DoesNotCallAHandlerThatWasRemoved) {
  PaintedWindow window;
  const auto item = MakeItem(window.Handle());
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
  ASSERT_TRUE(WaitFor([&] { return kept_raised == 1; }));
  Sleep(100);
  EXPECT_EQ(kept_raised, 1);
  EXPECT_EQ(removed_raised, 0);
}

TEST(CaptureItem, IsWeaklyReferableAndNotKeptByItsWatcher) {
  const PaintedWindow window;
  auto item = MakeItem(window.Handle());
  const auto weak = WeaklyReferTo(item.Get());
  ASSERT_TRUE(weak);
  ComPointer<IInspectable> resolved;
  EXPECT_EQ(weak->Resolve(__uuidof(IGraphicsCaptureItem), resolved.Put()), S_OK);
  EXPECT_EQ(static_cast<IUnknown*>(resolved.Get()), static_cast<IUnknown*>(item.Get()));
  resolved.Reset();
  const auto handler = ClosedHandler::Make([](IGraphicsCaptureItem*, IInspectable*) {});
  EventRegistrationToken token;
  ASSERT_EQ(item->add_Closed(handler.Get(), &token), S_OK);
  item.Reset();
  // The watcher holds the item for a moment only while it raises the event.
  EXPECT_EQ(weak->Resolve(__uuidof(IGraphicsCaptureItem), resolved.Put()), S_OK);
  EXPECT_FALSE(resolved);
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
  SizeInt32 size = {};
  EXPECT_EQ(item->get_Size(&size), S_OK);
  char text[6] = {'x', 'x', 'x', 'x', 'x', 'x'};
  stop(text, 5);
  EXPECT_EQ(std::string(text, sizeof(text)), std::string("get_\0x", 6));
}

}  // namespace
}  // namespace wine_test
