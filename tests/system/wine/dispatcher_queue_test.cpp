// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#ifdef __MINGW32__
#include "common/dispatcher_queue_abi.h"
#else
#include <windows.system.h>
#endif

#include <future>
#include <memory>
#include <thread>
#include <vector>

#include "platform.h"

namespace wine_test {
namespace {

using Work = Delegate<IDispatcherQueueHandler>;

// Whether the queue took the work.
bool Enqueue(const Ref<IDispatcherQueue>& queue, Work::Function work) {
  boolean queued = false;
  EXPECT_EQ(queue->TryEnqueue(Work::Make(std::move(work)).Get(), &queued), S_OK);
  return queued;
}

HRESULT CreateController(DWORD size, int thread_type, int apartment_type,
                         IDispatcherQueueController** controller) {
  return CreateDispatcherQueueController(
      {size, static_cast<DISPATCHERQUEUE_THREAD_TYPE>(thread_type),
       static_cast<DISPATCHERQUEUE_THREAD_APARTMENTTYPE>(apartment_type)},
      controller);
}

// The Windows SDK declares that the controller gives an IDispatcherQueue, mingw-w64 an
// IInspectable.
template <class Queue>
Ref<IDispatcherQueue> QueueBy(HRESULT (STDMETHODCALLTYPE IDispatcherQueueController::*get)(Queue**),
                              IDispatcherQueueController* controller) {
  Ref<Queue> queue;
  if (controller) (controller->*get)(queue.Put());
  return Query<IDispatcherQueue>(queue.Get());
}

Ref<IDispatcherQueue> QueueOf(IDispatcherQueueController* controller) {
  return QueueBy(&IDispatcherQueueController::get_DispatcherQueue, controller);
}

// The stand-in's window of this thread's queue; null when there is none.
HWND QueueWindow() {
  HWND window = nullptr;
  do {
    window = FindWindowExW(HWND_MESSAGE, window, L"libquill-wgc.DispatcherQueue", nullptr);
  } while (window && GetWindowThreadProcessId(window, nullptr) != GetCurrentThreadId());
  return window;
}

TEST(DispatcherQueue, TakesEveryApartmentTypeOfTheCurrentThreadAndRefusesOtherOptions) {
  Ref<IDispatcherQueueController> controller;
  EXPECT_EQ(CreateController(0, 2, 2, controller.Put()), E_INVALIDARG);
  EXPECT_EQ(CreateController(16, 2, 2, controller.Put()), E_INVALIDARG);
  EXPECT_EQ(CreateController(12, 0, 2, controller.Put()), E_INVALIDARG);
  EXPECT_EQ(CreateController(12, 3, 2, controller.Put()), E_INVALIDARG);
  EXPECT_EQ(CreateController(12, 2, 3, controller.Put()), E_INVALIDARG);
  EXPECT_EQ(CreateController(12, 2, 2, nullptr), E_POINTER);
  EXPECT_EQ(CreateController(12, 1, 2, controller.Put()), E_NOTIMPL);
  EXPECT_FALSE(controller);
  for (const int apartment_type : {0, 1, 2}) {
    OnOwnThread(
        [&] { EXPECT_EQ(CreateController(12, 2, apartment_type, controller.Put()), S_OK); });
  }
}

Ref<IDispatcherQueue> QueueOfThisThread() {
  static const auto& statics =
      *new auto(ActivationFactory<IDispatcherQueueStatics>(L"Windows.System.DispatcherQueue"));
  Ref<IDispatcherQueue> queue;
  EXPECT_EQ(statics->GetForCurrentThread(queue.Put()), S_OK);
  return queue;
}

TEST(DispatcherQueue, IsOneAThreadAndFoundFromThatThreadOnly) {
  OnOwnThread([] {
    EXPECT_FALSE(QueueOfThisThread());
    const auto first = MakeDispatcherQueue();
    ASSERT_TRUE(first);
    EXPECT_EQ(QueueOfThisThread().Get(), QueueOf(first.Get()).Get());
    Ref<IDispatcherQueueController> second;
    EXPECT_EQ(CreateController(12, 2, 2, second.Put()), RPC_E_WRONG_THREAD);
    OnOwnThread([] {
      EXPECT_FALSE(QueueOfThisThread());
      EXPECT_TRUE(MakeDispatcherQueue());
    });
  });
}

TEST(DispatcherQueue, RunsWorkInOrderOnePieceAMessageWhileItsThreadDispatchesMessages) {
  OnOwnThread([] {
    const auto controller = MakeDispatcherQueue();
    const auto queue = QueueOf(controller.Get());
    const DWORD own_thread = GetCurrentThreadId();
    std::vector<int> order;
    OnOwnThread([&] {
      for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(Enqueue(queue, [&, i] {
          order.push_back(i);
          EXPECT_EQ(GetCurrentThreadId(), own_thread);
        }));
      }
    });
    EXPECT_TRUE(order.empty());
    // Other messages may come first.
    MSG message;
    while (order.empty() && PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
      DispatchMessageW(&message);
    }
    EXPECT_EQ(order, (std::vector<int>{0}));
    DrainMessages();
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4}));
  });
}

// The system gives the ids of ended threads out again.
TEST(DispatcherQueue, OfAnEndedThreadRefusesWorkAndIsNotThatOfALaterThreadWithItsId) {
  DWORD id = 0;
  Ref<IDispatcherQueue> old_queue;
  OnOwnThread([&] {
    id = GetCurrentThreadId();
    old_queue = QueueOf(MakeDispatcherQueue().Get());
  });
  bool ran = false;
  EXPECT_FALSE(Enqueue(old_queue, [&] { ran = true; }));
  EXPECT_FALSE(ran);
  bool id_came_again = false;
  for (int i = 0; i < 10000 && !id_came_again; ++i) {
    OnOwnThread([&] {
      if (GetCurrentThreadId() != id) return;
      id_came_again = true;
      EXPECT_FALSE(QueueOfThisThread());
      const auto controller = MakeDispatcherQueue();
      EXPECT_TRUE(controller);
      old_queue = {};
      EXPECT_TRUE(QueueOfThisThread());
    });
  }
  EXPECT_TRUE(id_came_again);
}

TEST(DispatcherQueue, StaysWithItsThreadWhenControllerAndPoolsAreReleased) {
  OnOwnThread([] {
    auto controller = MakeDispatcherQueue();
    const auto queue = WeaklyReferTo(QueueOf(controller.Get()).Get());
    auto pool = MakePool({64, 64});
    EXPECT_TRUE(pool);
    pool = {};
    controller = {};
    EXPECT_EQ(CreateController(12, 2, 2, controller.Put()), RPC_E_WRONG_THREAD);
    EXPECT_FALSE(controller);

    const auto kept = Query<IDispatcherQueue>(Resolve(queue.Get()).Get());
    ASSERT_TRUE(kept);
    int runs = 0;
    EXPECT_TRUE(Enqueue(kept, [&] { ++runs; }));
    DrainMessages();
    EXPECT_EQ(runs, 1);
    EXPECT_TRUE(MakePool({64, 64}));
  });
}

TEST(DispatcherQueue, EndsWithItsThreadAndLeavesNeitherWindowNorWork) {
  Ref<IWeakReference> queue;
  HWND window = nullptr;
  auto of_work = std::make_shared<int>();
  const std::weak_ptr<int> work_alive = of_work;
  OnOwnThread([&] {
    const auto own_queue = QueueOf(MakeDispatcherQueue().Get());
    queue = WeaklyReferTo(own_queue.Get());
    window = QueueWindow();
    EXPECT_EQ(IsWindow(window) != FALSE, IsWine());
    EXPECT_TRUE(Enqueue(own_queue, [of_work = std::move(of_work)] {}));
  });
  EXPECT_FALSE(Resolve(queue.Get()));
  EXPECT_FALSE(IsWindow(window));
  EXPECT_TRUE(work_alive.expired());
}

// As a capture's thread does that goes on sending.
TEST(DispatcherQueue, EndsWhileAnotherThreadEnqueues) {
  for (int i = 0; i < 50; ++i) {
    auto of_work = std::make_shared<int>();
    const std::weak_ptr<int> work_alive = of_work;
    std::promise<Ref<IDispatcherQueue>> made;
    std::thread other([&] {
      const auto queue = made.get_future().get();
      const auto work = Work::Make([of_work = std::move(of_work)] {});
      const ULONGLONG deadline = GetTickCount64() + 5000;
      for (boolean queued = true; queued && GetTickCount64() < deadline;) {
        queue->TryEnqueue(work.Get(), &queued);
      }
    });
    OnOwnThread([&] { made.set_value(QueueOf(MakeDispatcherQueue().Get())); });
    other.join();
    ASSERT_TRUE(work_alive.expired());
  }
}

TEST(DispatcherQueue, EndsWithControllerAndPoolsWhereTheRegistrySaysSo) {
  if (!IsWine()) GTEST_SKIP() << kNeedsStandin;
  const PlatformSetting setting(L"QueueEndsWithController", 1);
  OnOwnThread([] {
    auto controller = MakeDispatcherQueue();
    auto pool = MakePool({64, 64});
    EXPECT_TRUE(pool);
    controller = {};
    EXPECT_EQ(CreateController(12, 2, 2, controller.Put()), RPC_E_WRONG_THREAD);
    EXPECT_TRUE(QueueWindow());
    pool = {};
    EXPECT_FALSE(QueueWindow());
    EXPECT_EQ(CreateController(12, 2, 2, controller.Put()), S_OK);
    EXPECT_TRUE(QueueWindow());
    // Elsewhere the window's own thread is asked to destroy it.
    OnOwnThread([&] { controller = {}; });
    DrainMessages();
    EXPECT_FALSE(QueueWindow());
  });
}

}  // namespace
}  // namespace wine_test
