// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// A session from creation to destruction: its states, what each answers, and that it can be
// destroyed in all of them.
#include <sstream>
#include <thread>

#include "native/host.h"
#include "native/session_state.h"

namespace session_test {
namespace {

// Whether it runs, and whether its exit was requested.
using State = std::pair<bool, bool>;
constexpr State kConstructed{false, false};
constexpr State kRunning{true, false};
constexpr State kClosed{false, true};

State StateOf(void* handle) {
  return {wgc_get_status(handle), IsExitRequested(handle)};
}

// The state at the moment of each line, for what cannot be looked at from outside.
void* watched = nullptr;
std::vector<std::pair<std::string, State>> seen;

void StartWatching(const Session& session) {
  seen.clear();
  watched = session.handle();
  wgc_register_logger([](int, const char* text, size_t) {
    const fake::OutsideLibrary outside;
    seen.emplace_back(text, StateOf(watched));
  });
}

// The log of a start on a thread that has its dispatcher queue.
const Log kRefusedStart = {{1, "WgcCaptureSession::Start"}, {3, "Winrt exception:-2147417842"}};

class Lifecycle : public SessionTest {};

TEST_F(Lifecycle, NewSessionHasNothing) {
  Session window(kWindow);
  Session monitor(kMonitor);
  for (Session* const session : {&window, &monitor}) {
    ASSERT_NE(session->handle(), nullptr);
    EXPECT_EQ(StateOf(session->handle()), kConstructed);
    EXPECT_EQ(wgc_get_device(session->handle()), nullptr);
    EXPECT_EQ(session->Ratio(), 0.0f);
    EXPECT_FALSE(session->GetFrame().available);
    EXPECT_EQ(CopyModeOf(session->handle()), 2u);
    EXPECT_EQ(BufferCapacityOf(session->handle()), 0u);
  }
  EXPECT_EQ(TakeLog(), Log());
}

TEST_F(Lifecycle, NullMonitorGivesNoSession) {
  fake::FailNew(0);
  EXPECT_EQ(wgc_session_create2(nullptr), nullptr);
  EXPECT_EQ(fake::NewCalls(), 0u);
}

TEST_F(Lifecycle, NullWindowGivesASessionThatCannotStart) {
  Session session{HWND{nullptr}};
  ASSERT_NE(session.handle(), nullptr);
  const auto recording = Recorded([&] { EXPECT_FALSE(session.Start()); });
  EXPECT_TRUE(LinesWith("CreateFor", recording).empty());
  EXPECT_TRUE(LinesWith("pool_statics", recording).empty());
  EXPECT_EQ(StateOf(session.handle()), kConstructed);
}

TEST_F(Lifecycle, NoSessionIsMadeWithoutMemory) {
  fake::FailNew(1);
  EXPECT_EQ(wgc_session_create(kWindow), nullptr);
  fake::FailNew(1);
  EXPECT_EQ(wgc_session_create2(kMonitor), nullptr);
  EXPECT_EQ(fake::NewCalls(), 1u);
  fake::FailNew(0);
}

TEST_F(Lifecycle, StatesFollowTheCapture) {
  Session session;
  StartWatching(session);
  ASSERT_TRUE(session.Start());
  EXPECT_EQ(StateOf(session.handle()), kRunning);
  // The line of a successful start is its last step.
  EXPECT_EQ(seen.front(), std::pair(std::string("WgcCaptureSession::Start"), kConstructed));
  EXPECT_EQ(seen.back(), std::pair(std::string("Wgc session started."), kRunning));
  fake::LastItem()->RaiseClosed();
  EXPECT_EQ(StateOf(session.handle()), kClosed);
  // The line of a close is its first.
  EXPECT_EQ(seen.back(), std::pair(std::string("Wgc on_closed"), kRunning));
}

TEST_F(Lifecycle, StoppingRequestsTheExitAndLeavesTheStatus) {
  enum { kNew, kCapturing, kItemClosed };
  for (const auto state : {kNew, kCapturing, kItemClosed}) {
    Session session;
    if (state != kNew) {
      ASSERT_TRUE(session.Start());
    }
    if (state == kItemClosed) fake::LastItem()->RaiseClosed();
    StartWatching(session);
    session.Destroy();
    wgc_register_logger(nullptr);
    const State stopped{state == kCapturing, true};
    EXPECT_EQ(seen, (std::vector<std::pair<std::string, State>>{{"Try to exit wgc thread", stopped},
                                                                {"Wgc exit.", stopped}}));
  }
}

TEST_F(Lifecycle, ClosedItemStopsNothingElse) {
  Capture session;
  ID3D11Device* const device = wgc_get_device(session.handle());
  DeliverAnySize(Pattern(64, 48));
  fake::CaptureItem* const item = fake::LastItem();
  // The platform may tell it on any thread.
  std::thread([&] {
    EXPECT_EQ(Recorded([&] { EXPECT_EQ(item->RaiseClosed(), S_OK); }),
              std::vector<std::string>{"log(1, \"Wgc on_closed\")"});
  }).join();
  EXPECT_EQ(StateOf(session.handle()), kClosed);
  EXPECT_FALSE(fake::LastPool()->IsClosed());
  EXPECT_EQ(wgc_get_device(session.handle()), device);
  EXPECT_EQ(Pixels(session.GetFrame()), Pattern(64, 48));
  EXPECT_EQ(StateOf(session.handle()), kClosed);

  ContinueOnNewThread();
  ASSERT_TRUE(session.Start());
  EXPECT_EQ(StateOf(session.handle()), kRunning);
  EXPECT_TRUE(session.Show(Pattern(64, 48, 2)).available);
}

TEST_F(Lifecycle, DeviceIsBorrowedAndTheSameOnEveryCall) {
  Capture session;
  fake::StartRecording(true);
  ID3D11Device* const device = wgc_get_device(session.handle());
  EXPECT_EQ(wgc_get_device(session.handle()), device);
  EXPECT_EQ(fake::TakeRecording(), std::vector<std::string>());
  EXPECT_EQ(device, fake::LastPool()->Direct3DDevice());
}

// A second start.

// Direct3D does not let resources of two devices meet.
TEST_F(Lifecycle, SecondStartUsesNothingOfTheDeviceBefore) {
  Capture session({.detect = true});
  winrt::com_ptr<ID3D11Device> before;
  before.copy_from(wgc_get_device(session.handle()));
  session.Show(Pattern(64, 48));
  session.Show(Pattern(64, 48));
  session.ToTexture(true);
  Pixels(session.Show(Pattern(64, 48)));
  ContinueOnNewThread();
  ASSERT_TRUE(session.Start());
  ASSERT_NE(wgc_get_device(session.handle()), before.get());

  // No texture until the new device has made one.
  EXPECT_FALSE(session.GetFrame().available);
  const auto recording = Recorded([&] {
    ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2)));
    EXPECT_EQ(Pixels(session.GetFrame()), Pattern(64, 48, 2));
    session.ToTexture(false);
    ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 3)));
    EXPECT_EQ(Pixels(session.GetFrame()), Pattern(64, 48, 3));
  });
  EXPECT_TRUE(LinesWith("device1.", recording).empty());
  EXPECT_TRUE(LinesWith("context1.", recording).empty());
  // The staging texture, the output texture, and the nine textures of an engine.
  EXPECT_EQ(LinesWith("device2.CreateTexture2D(", recording).size(), 2u + 9u);
  // Nothing but the test's own reference is left of the first device.
  EXPECT_EQ((before->AddRef(), before->Release()), 1u);
}

// What a refused second start leaves, and how it is refused.
class RefusedSecondStart : public Lifecycle {
 protected:
  // The objects that a recording has made but not destroyed, and those it destroyed without having
  // made them.
  struct Balance {
    std::vector<std::string> left;
    std::vector<std::string> lost;
  };
  static Balance BalanceOf(const std::vector<std::string>& recording) {
    Balance balance;
    for (const std::string& line : recording) {
      if (line.starts_with('~')) {
        if (std::erase(balance.left, line.substr(1)) == 0) balance.lost.push_back(line.substr(1));
      } else if (const size_t made = line.rfind(") = "); made != std::string::npos) {
        std::istringstream names(line.substr(made + 4));
        for (std::string name; std::getline(names >> std::ws, name, ',');) {
          if (!name.starts_with("context")) balance.left.push_back(name);  // the device's own
        }
      }
    }
    return balance;
  }

  // made: what the running capture is made of. The n-th call of a function fails; with an empty
  // name nothing does but that the thread has its dispatcher queue.
  static void Refuse(Session& session, const std::vector<std::string>& made,
                     const std::string& function, uint64_t number) {
    if (!function.empty()) {
      ContinueOnNewThread();
      FailCalls(function, {number});
    }
    TakeLog();
    const Balance balance = BalanceOf(Recorded([&] { EXPECT_FALSE(session.Start()); }));
    EXPECT_EQ(balance.left, std::vector<std::string>());
    for (const std::string& lost : balance.lost) {
      EXPECT_EQ(std::count(made.begin(), made.end(), lost), 0) << lost;
    }
    EXPECT_EQ(fake::FaultsInjected(), function.empty() ? 0u : 1u);
    if (function.empty()) {
      EXPECT_EQ(TakeLog(), kRefusedStart);
    }
    fake::PlanNoFaults();
  }
};

TEST_F(RefusedSecondStart, LeavesTheRunningCaptureWhole) {
  constexpr struct {
    const char* function;
    uint64_t number = 1;
  } kSteps[] = {{"CreateDXGIFactory1"},
                {"D3D11CreateDevice"},
                {""},
                {"QueryInterface"},
                {"CreateDirect3D11DeviceFromDXGIDevice"},
                {"CreateForWindow"},
                {"get_Size"},
                {"Create"},
                {"CreateCaptureSession"},
                {"put_IsCursorCaptureEnabled"},
                {"put_IsBorderRequired"},
                {"add_FrameArrived"},
                {"GetWeakReference", 1},
                {"StartCapture"},
                {"add_Closed"},
                {"GetWeakReference", 2}};
  for (const auto& [function, number] : kSteps) {
    SCOPED_TRACE(function);
    Session session;
    session.DirtyRect(true);
    const auto start = Recorded([&] { ASSERT_TRUE(session.Start()); });
    // "pool_statics1.Create(winrt_device1, 87, 2, 64x48) = pool1"
    const std::string created = LinesWith(".Create(", start).at(0);
    const size_t begin = created.find('(') + 1;
    const std::string winrt_device = created.substr(begin, created.find(',') - begin);
    ID3D11Device* const device = wgc_get_device(session.handle());
    fake::FramePool* const pool = fake::LastPool();
    fake::CaptureItem* const item = fake::LastItem();
    const auto expect_shown = [&](const Picture& picture) {
      ASSERT_TRUE(pool->Deliver(picture));
      EXPECT_EQ(Pixels(session.GetFrame()), picture);
    };
    session.ToTexture(true);
    expect_shown(Pattern(64, 48, 9));
    session.ToTexture(false);
    expect_shown(Pattern(64, 48));

    // The content of the item that is made in vain has another size.
    fake::settings.item_width = 96;
    Refuse(session, BalanceOf(start).left, function, number);
    fake::settings.item_width = 64;
    EXPECT_EQ(wgc_get_device(session.handle()), device);
    EXPECT_EQ(StateOf(session.handle()), kRunning);
    // The texture it had; unchanged, changed, and of another size, with the engine, the textures
    // and the pool it had.
    session.ToTexture(true);
    EXPECT_EQ(Pixels(session.GetFrame()), Pattern(64, 48, 9));
    session.ToTexture(false);
    const auto recording = Recorded([&] {
      expect_shown(Pattern(64, 48));
      expect_shown(Pattern(64, 48, 2));
    });
    EXPECT_TRUE(LinesWith("CreateTexture2D", recording).empty());
    EXPECT_TRUE(LinesWith(".Recreate(", recording).empty());
    ASSERT_TRUE(pool->Deliver(Pattern(64, 48, 3), {80, 60}));
    const auto resize =
        Recorded([&] { EXPECT_EQ(Pixels(session.GetFrame()), Pattern(64, 48, 3)); });
    EXPECT_EQ(LinesWith(".Recreate(" + winrt_device + ", ", resize).size(), 1u);
    expect_shown(Pattern(80, 60, 4));
    // And the platform still finds the handler to tell that the window is gone.
    EXPECT_EQ(item->RaiseClosed(), S_OK);
    EXPECT_EQ(StateOf(session.handle()), kClosed);
  }
}

TEST_F(RefusedSecondStart, LeavesACaptureThatClosedWithItsDevice) {
  Session session;
  const auto start = Recorded([&] { ASSERT_TRUE(session.Start()); });
  ID3D11Device* const device = wgc_get_device(session.handle());
  DeliverAnySize(Pattern(64, 48));
  fake::LastItem()->RaiseClosed();
  Refuse(session, BalanceOf(start).left, "", 1);
  EXPECT_EQ(wgc_get_device(session.handle()), device);
  EXPECT_EQ(StateOf(session.handle()), kClosed);
  EXPECT_EQ(Pixels(session.GetFrame()), Pattern(64, 48));
}

// A start that failed has nothing to protect: the next one replaces what it made.
TEST_F(Lifecycle, StartAfterAFailedOneReplacesTheDevice) {
  Session session;
  FailEveryCall("StartCapture");
  EXPECT_FALSE(session.Start());
  winrt::com_ptr<ID3D11Device> device;  // so that the address is not given again
  device.copy_from(wgc_get_device(session.handle()));
  FailEveryCall("CreateDispatcherQueueController");
  EXPECT_FALSE(session.Start());
  fake::PlanNoFaults();
  EXPECT_NE(wgc_get_device(session.handle()), nullptr);
  EXPECT_NE(wgc_get_device(session.handle()), device.get());
}

// A start that fails with its last step has frames coming all the same; none of their textures may
// meet the next device.
TEST_F(Lifecycle, StartThatFailedLastLeavesNoFramesToTheNext) {
  for (const bool next_fails : {false, true}) {
    Session session;
    session.DirtyRect(true);
    FailEveryCall("add_Closed");
    EXPECT_FALSE(session.Start());
    fake::PlanNoFaults();
    fake::FramePool* pool = fake::LastPool();
    for (int i = 0; i < 2; ++i) EXPECT_EQ(Pixels(session.Show(Pattern(64, 48))), Pattern(64, 48));
    if (!next_fails) ContinueOnNewThread();
    const auto recording = Recorded([&] { EXPECT_EQ(session.Start(), !next_fails); });
    EXPECT_EQ(LinesWith(".Flush()", recording).size(), 1u);
    EXPECT_EQ(fake::LastPool() == pool, next_fails);
    EXPECT_EQ(fake::LastPool()->HasHandler(), !next_fails);
    pool = fake::LastPool();
    for (const uint32_t seed : {2u, 3u}) {
      ASSERT_TRUE(pool->Deliver(Pattern(64, 48, seed)));
      EXPECT_EQ(Pixels(session.GetFrame()), Pattern(64, 48, next_fails ? 1 : seed));
      if (next_fails) break;
    }
  }
}

// A thread keeps its dispatcher queue when its session is destroyed.
TEST_F(Lifecycle, ThreadStartsOneSessionInItsLife) {
  const auto start = [](bool expected) {
    void* const session = wgc_session_create(kWindow);
    TakeLog();
    EXPECT_EQ(wgc_session_start(session), expected);
    if (!expected) {
      EXPECT_EQ(TakeLog(), kRefusedStart);
    }
    wgc_session_destroy(session);
  };
  start(true);
  start(false);
  std::thread(start, true).join();
  start(false);
}

// Nobody could remove a handler whose registration was lost, and it would outlive the session.
TEST_F(Lifecycle, RegistrationThatCannotBeRevokedLaterIsRemovedAtOnce) {
  for (const uint64_t number : {1u, 2u}) {
    Session session;
    FailCalls("GetWeakReference", {number});
    EXPECT_FALSE(session.Start());
    EXPECT_EQ(fake::FaultsInjected(), 1u);
    fake::PlanNoFaults();
    EXPECT_FALSE(fake::LastItem()->HasHandler());
    EXPECT_EQ(fake::LastPool()->HasHandler(), number == 2);
  }
}

// Destruction. That nothing is left behind is checked after each test.

TEST_F(Lifecycle, DestructionDropsFramesOnTheirWay) {
  Capture session({.detect = true});
  session.Show(Pattern(64, 48, 1));
  DeliverAnySize(Pattern(64, 48, 2));
  DeliverAnySize(Pattern(64, 48, 3));
  session.Destroy();
  PumpAsTheHost();
}

using LifecycleDeathTest = Lifecycle;

TEST_F(LifecycleDeathTest, DestroyingNullIsAFault) {
  wgc_register_logger(nullptr);
  EXPECT_DEATH(wgc_session_destroy(nullptr), "");
}

// The counter ticks of 60 milliseconds, which a session keeps.
TEST_F(Lifecycle, TicksPer60MillisecondsAreTruncatedAndStoredIn32Bits) {
  const struct {
    int64_t hertz;
    int32_t ticks;
  } kFrequencies[] = {
      {10'000'000, 600'000},
      {3'579'545, 214'772},  // of 214,772.7
      {16, 0},               // of 0.96
      {0, 0},
      // The product needs 64 bits, the ticks do not.
      {3'000'000'000, 180'000'000},
      // The largest number of ticks that fits, and the next.
      {35'791'394'133, 2'147'483'647},
      {35'791'394'134, -2'147'483'648},
      // 60,000,000,000 ticks, of which the low 32 bits are kept.
      {1'000'000'000'000, -129'542'144},
  };
  for (const auto& [hertz, ticks] : kFrequencies) {
    fake::settings.performance_frequency = hertz;
    Session session;
    fake::settings.performance_frequency = 1;
    EXPECT_EQ(TicksPer60MillisecondsOf(session.handle()), ticks) << hertz;
  }
}

// The end-to-end tests show what comes of it.
TEST(LibraryModule, IsPinnedByTheSupportProbeAndByBothCreateFunctions) {
  fake::Reset();
  is_wgc_session_supported();
  EXPECT_EQ(fake::module_pins, 1);
  Session window(kWindow);
  EXPECT_EQ(fake::module_pins, 2);
  Session monitor(kMonitor);
  EXPECT_EQ(fake::module_pins, 3);
}

TEST(LibraryModule, IsNotPinnedByCallsThatReachNoPlatform) {
  fake::Reset();
  wgc_register_logger(nullptr);
  EXPECT_EQ(wgc_session_create2(nullptr), nullptr);
  EXPECT_EQ(fake::module_pins, 0);
}

}  // namespace
}  // namespace session_test
