// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// A session from creation to destruction: its states, what each answers, and that it can be
// destroyed in all of them.
#include <sstream>
#include <thread>

#include "native/frames.h"
#include "native/session_state.h"

namespace session_test {
namespace {

using fake::Fault;
using Log = std::vector<LogLine>;

struct State {
  bool running;
  bool exit_requested;
  friend bool operator==(const State&, const State&) = default;
  friend std::ostream& operator<<(std::ostream& out, const State& state) {
    return out << (state.running ? "running" : "not running")
               << (state.exit_requested ? ", exit requested" : ", no exit requested");
  }
};

constexpr State kConstructed{false, false};
constexpr State kRunning{true, false};
constexpr State kClosed{false, true};

State StateOf(void* handle) {
  return {wgc_get_status(handle), IsExitRequested(handle)};
}

// The state at the moment of each line, for what cannot be looked at from outside.
void* watched = nullptr;
std::vector<std::pair<std::string, State>> seen;

void Watch(int, const char* text, size_t) {
  const fake::OutsideLibrary outside;
  seen.emplace_back(text, StateOf(watched));
}

class Lifecycle : public SessionTest {
 protected:
  static void StartWatching(const Session& session) {
    seen.clear();
    watched = session.handle();
    wgc_register_logger(Watch);
  }
};

TEST_F(Lifecycle, ANewSessionHasNothing) {
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
}

TEST_F(Lifecycle, CreationLogsNothingAndTouchesNoTarget) {
  fake::StartRecording();
  void* const session = wgc_session_create(kWindow);
  void* const session2 = wgc_session_create2(kMonitor);
  // Only the first session of a process has COM to initialise.
  std::vector<std::string> recording = fake::TakeRecording();
  std::erase(recording, "CoInitializeEx(null, 0)");
  EXPECT_EQ(recording, std::vector<std::string>());
  EXPECT_EQ(TakeLog(), Log());
  wgc_session_destroy(session);
  wgc_session_destroy(session2);
}

TEST_F(Lifecycle, ANullMonitorGivesNoSession) {
  fake::FailNew(0);
  EXPECT_EQ(wgc_session_create2(nullptr), nullptr);
  EXPECT_EQ(fake::NewCalls(), 0u);
  EXPECT_EQ(TakeLog(), Log());
}

TEST_F(Lifecycle, ANullWindowGivesASessionThatCannotStart) {
  Session session{HWND{nullptr}};
  ASSERT_NE(session.handle(), nullptr);
  fake::StartRecording();
  EXPECT_FALSE(session.Start());
  const std::vector<std::string> recording = fake::TakeRecording();
  EXPECT_EQ(LinesWith("CreateFor", recording), std::vector<std::string>());
  EXPECT_EQ(LinesWith("pool_statics", recording), std::vector<std::string>());
  EXPECT_EQ(StateOf(session.handle()), kConstructed);
  EXPECT_EQ(TakeLog().back().level, 3);
}

TEST_F(Lifecycle, WithoutMemoryThereIsNoSession) {
  fake::FailNew(1);
  EXPECT_EQ(wgc_session_create(kWindow), nullptr);
  fake::FailNew(1);
  EXPECT_EQ(wgc_session_create2(kMonitor), nullptr);
  EXPECT_EQ(fake::NewCalls(), 1u);
  fake::FailNew(0);
  EXPECT_EQ(TakeLog(), Log());
}

TEST_F(Lifecycle, AWindowIsCapturedAsAWindowAndAMonitorAsAMonitor) {
  Session window(kWindow);
  ASSERT_TRUE(window.Start());
  EXPECT_EQ(fake::LastItem()->window, kWindow);
  EXPECT_EQ(fake::LastItem()->monitor, nullptr);
  ContinueOnNewThread();
  Session monitor(kMonitor);
  ASSERT_TRUE(monitor.Start());
  EXPECT_EQ(fake::LastItem()->window, nullptr);
  EXPECT_EQ(fake::LastItem()->monitor, kMonitor);
}

TEST_F(Lifecycle, StatesFollowTheCapture) {
  Session session;
  StartWatching(session);
  EXPECT_EQ(StateOf(session.handle()), kConstructed);
  ASSERT_TRUE(session.Start());
  EXPECT_EQ(StateOf(session.handle()), kRunning);
  // The line of a successful start is the last of it.
  EXPECT_EQ(seen.front(), std::pair(std::string("WgcCaptureSession::Start"), kConstructed));
  EXPECT_EQ(seen.back(), std::pair(std::string("Wgc session started."), kRunning));
  fake::LastItem()->RaiseClosed();
  EXPECT_EQ(StateOf(session.handle()), kClosed);
  // The line of a close is the first of it.
  EXPECT_EQ(seen.back(), std::pair(std::string("Wgc on_closed"), kRunning));
}

TEST_F(Lifecycle, StoppingRequestsTheExitAndLeavesTheStatus) {
  for (const bool closed : {false, true}) {
    Session session;
    ASSERT_TRUE(session.Start());
    if (closed) fake::LastItem()->RaiseClosed();
    StartWatching(session);
    session.Destroy();
    const State stopped{!closed, true};
    EXPECT_EQ(seen, (std::vector<std::pair<std::string, State>>{{"Try to exit wgc thread", stopped},
                                                                {"Wgc exit.", stopped}}));
    wgc_register_logger(nullptr);
  }
}

TEST_F(Lifecycle, StoppingANewSessionRequestsTheExitToo) {
  Session session;
  StartWatching(session);
  session.Destroy();
  EXPECT_EQ(seen, (std::vector<std::pair<std::string, State>>{{"Try to exit wgc thread", kClosed},
                                                              {"Wgc exit.", kClosed}}));
}

TEST_F(Lifecycle, StoppingANewSessionTouchesNothing) {
  Session session;
  fake::StartRecording();
  session.Destroy();
  EXPECT_EQ(fake::TakeRecording(), (std::vector<std::string>{"log(1, \"Try to exit wgc thread\")",
                                                             "log(1, \"Wgc exit.\")"}));
}

TEST_F(Lifecycle, AFailedStartLeavesTheState) {
  Session session;
  fake::PlanFaults(fake::EveryCallOf("StartCapture", {Fault::Kind::kResult, E_FAIL}));
  EXPECT_FALSE(session.Start());
  EXPECT_EQ(StateOf(session.handle()), kConstructed);
  fake::PlanNoFaults();
  ContinueOnNewThread();
  ASSERT_TRUE(session.Start());
  fake::PlanFaults(fake::EveryCallOf("CreateDXGIFactory1", {Fault::Kind::kResult, E_FAIL}));
  EXPECT_FALSE(session.Start());
  EXPECT_EQ(StateOf(session.handle()), kRunning);
}

TEST_F(Lifecycle, AnItemMayCloseOnAnotherThread) {
  Session session;
  ASSERT_TRUE(session.Start());
  fake::CaptureItem* const item = fake::LastItem();
  HRESULT answer = E_FAIL;
  std::thread([&] { answer = item->RaiseClosed(); }).join();
  EXPECT_EQ(answer, S_OK);
  EXPECT_EQ(StateOf(session.handle()), kClosed);
}

TEST_F(Lifecycle, AClosedItemStopsNothingElse) {
  Session session;
  ASSERT_TRUE(session.Start());
  ID3D11Device* const device = wgc_get_device(session.handle());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
  fake::StartRecording();
  fake::LastItem()->RaiseClosed();
  EXPECT_EQ(fake::TakeRecording(), std::vector<std::string>{"log(1, \"Wgc on_closed\")"});
  EXPECT_FALSE(fake::LastPool()->IsClosed());
  EXPECT_EQ(wgc_get_device(session.handle()), device);
  EXPECT_TRUE(session.GetFrame().available);
  EXPECT_EQ(StateOf(session.handle()), kClosed);
}

TEST_F(Lifecycle, AClosedSessionCanBeStartedAgain) {
  Session session;
  ASSERT_TRUE(session.Start());
  fake::LastItem()->RaiseClosed();
  ContinueOnNewThread();
  ASSERT_TRUE(session.Start());
  EXPECT_EQ(StateOf(session.handle()), kRunning);
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
  EXPECT_TRUE(session.GetFrame().available);
}

TEST_F(Lifecycle, TheDeviceIsBorrowedAndTheSameOnEveryCall) {
  Session session;
  EXPECT_EQ(wgc_get_device(session.handle()), nullptr);
  ASSERT_TRUE(session.Start());
  fake::StartRecording(true);
  ID3D11Device* const device = wgc_get_device(session.handle());
  EXPECT_EQ(wgc_get_device(session.handle()), device);
  EXPECT_EQ(fake::TakeRecording(), std::vector<std::string>());
  EXPECT_EQ(device, fake::LastPool()->Direct3DDevice());
}

TEST_F(Lifecycle, TheDeviceStaysAfterASetUpThatFailed) {
  Session session;
  fake::PlanFaults(fake::EveryCallOf("StartCapture", {Fault::Kind::kResult, E_FAIL}));
  EXPECT_FALSE(session.Start());
  EXPECT_NE(wgc_get_device(session.handle()), nullptr);
}

TEST_F(Lifecycle, ADeviceOfTheLowestFeatureLevelIsAccepted) {
  fake::settings.feature_level = D3D_FEATURE_LEVEL_10_0;
  // Such a device does not take the programs.
  fake::PlanFaults(fake::EveryCallOf("CreateComputeShader", {Fault::Kind::kResult, E_INVALIDARG}));
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
  EXPECT_TRUE(session.GetFrame().available);
}

TEST_F(Lifecycle, ASecondStartMakesEverythingAnew) {
  Session session;
  ASSERT_TRUE(session.Start());
  ID3D11Device* const device = wgc_get_device(session.handle());
  device->AddRef();  // so that the address is not given again
  ContinueOnNewThread();
  fake::StartRecording();
  ASSERT_TRUE(session.Start());
  const std::vector<std::string> recording = fake::TakeRecording();
  EXPECT_NE(wgc_get_device(session.handle()), device);
  device->Release();
  for (const char* const made : {"= factory2", "= device2, context2", "= controller2", "= item2",
                                 "= winrt_device2", "= pool2", "= session2"}) {
    EXPECT_EQ(LinesWith(made, recording).size(), 1u) << made;
  }
  // The first adapter is still the fallback; nothing of the first capture is left.
  EXPECT_EQ(LinesWith("D3D11CreateDevice(adapter1, ", recording).size(), 1u);
  for (const char* const gone : {"~factory1", "~controller1", "~item1", "~pool1", "~session1"}) {
    EXPECT_EQ(LinesWith(gone, recording).size(), 1u) << gone;
  }
  EXPECT_EQ(StateOf(session.handle()), kRunning);
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
  const Poll poll = session.GetFrame();
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48).pixels);
}

// Direct3D does not let resources of two devices meet.
TEST_F(Lifecycle, ASecondStartUsesNothingOfTheDeviceBefore) {
  Session session;
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  const winrt::com_ptr<ID3D11Device> before = [&] {
    winrt::com_ptr<ID3D11Device> device;
    device.copy_from(wgc_get_device(session.handle()));
    return device;
  }();
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
    ASSERT_TRUE(session.GetFrame().available);
  }
  session.ToTexture(true);
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
  TexturePixels(session.GetFrame());
  ContinueOnNewThread();
  fake::StartRecording();
  ASSERT_TRUE(session.Start());
  ASSERT_NE(wgc_get_device(session.handle()), before.get());
  // The engine of the device before has let go of what was bound to its context.
  const std::vector<std::string> start = fake::TakeRecording();
  EXPECT_EQ(LinesWith("context1.ClearState()", start).size(), 1u);
  EXPECT_EQ(LinesWith("context1.Flush()", start).size(), 1u);

  // No texture until the new device has made one.
  EXPECT_FALSE(session.GetFrame().available);
  fake::StartRecording();
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2)));
  EXPECT_EQ(TexturePixels(session.GetFrame()).pixels, Pattern(64, 48, 2).pixels);
  session.ToTexture(false);
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 3)));
  EXPECT_EQ(Pixels(session.GetFrame()).pixels, Pattern(64, 48, 3).pixels);
  const std::vector<std::string> recording = fake::TakeRecording();
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

  // made: what the running capture is made of.
  static void Refuse(Session& session, const std::vector<std::string>& made, const char* function,
                     uint64_t number) {
    // Nothing fails but that the thread has its dispatcher queue, or something else and not that.
    if (*function != 0) {
      ContinueOnNewThread();
      fake::PlanFaults(fake::NthCallOf(function, number, {Fault::Kind::kResult, E_FAIL}));
    }
    TakeLog();
    fake::StartRecording();
    EXPECT_FALSE(session.Start());
    const Balance balance = BalanceOf(fake::TakeRecording());
    EXPECT_EQ(balance.left, std::vector<std::string>());
    for (const std::string& lost : balance.lost)
      EXPECT_EQ(std::count(made.begin(), made.end(), lost), 0) << lost;
    if (*function == 0) {
      EXPECT_EQ(TakeLog(),
                (Log{{1, "WgcCaptureSession::Start"}, {3, "Winrt exception:-2147417842"}}));
    } else {
      EXPECT_EQ(fake::FaultsInjected(), 1u);
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
    fake::StartRecording();
    ASSERT_TRUE(session.Start());
    const std::vector<std::string> start = fake::TakeRecording();
    // "pool_statics1.Create(winrt_device1, 87, 2, 64x48) = pool1"
    const std::string created = LinesWith(".Create(", start).at(0);
    const size_t begin = created.find('(') + 1;
    const std::string winrt_device = created.substr(begin, created.find(',') - begin);
    ID3D11Device* const device = wgc_get_device(session.handle());
    fake::FramePool* const pool = fake::LastPool();
    fake::CaptureItem* const item = fake::LastItem();
    session.ToTexture(true);
    ASSERT_TRUE(pool->Deliver(Pattern(64, 48, 9)));
    TexturePixels(session.GetFrame());
    session.ToTexture(false);
    ASSERT_TRUE(pool->Deliver(Pattern(64, 48)));
    ASSERT_TRUE(session.GetFrame().available);

    // The content of the item that is made in vain has another size.
    fake::settings.item_width = 96;
    Refuse(session, BalanceOf(start).left, function, number);
    fake::settings.item_width = 64;
    EXPECT_EQ(wgc_get_device(session.handle()), device);
    EXPECT_EQ(StateOf(session.handle()), kRunning);
    // The texture it had; unchanged, changed, and of another size, with the engine, the textures
    // and the pool it had.
    session.ToTexture(true);
    EXPECT_EQ(TexturePixels(session.GetFrame()).pixels, Pattern(64, 48, 9).pixels);
    session.ToTexture(false);
    fake::StartRecording();
    for (const auto& picture : {Pattern(64, 48), Pattern(64, 48, 2)}) {
      ASSERT_TRUE(pool->Deliver(picture));
      EXPECT_EQ(Pixels(session.GetFrame()).pixels, picture.pixels);
    }
    const std::vector<std::string> recording = fake::TakeRecording();
    EXPECT_TRUE(LinesWith("CreateTexture2D", recording).empty());
    EXPECT_TRUE(LinesWith(".Recreate(", recording).empty());
    fake::StartRecording();
    ASSERT_TRUE(pool->Deliver(Pattern(64, 48, 3), {80, 60}));
    EXPECT_EQ(Pixels(session.GetFrame()).pixels, Pattern(64, 48, 3).pixels);
    EXPECT_EQ(LinesWith(".Recreate(" + winrt_device + ", ", fake::TakeRecording()).size(), 1u);
    ASSERT_TRUE(pool->Deliver(Pattern(80, 60, 4)));
    EXPECT_EQ(Pixels(session.GetFrame()).pixels, Pattern(80, 60, 4).pixels);
    // And the platform still finds whom to tell that the window is gone.
    EXPECT_EQ(item->RaiseClosed(), S_OK);
    EXPECT_EQ(StateOf(session.handle()), kClosed);
  }
}

TEST_F(RefusedSecondStart, LeavesACaptureThatClosedWithItsDevice) {
  Session session;
  fake::StartRecording();
  ASSERT_TRUE(session.Start());
  const std::vector<std::string> start = fake::TakeRecording();
  ID3D11Device* const device = wgc_get_device(session.handle());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
  fake::LastItem()->RaiseClosed();
  Refuse(session, BalanceOf(start).left, "", 1);
  EXPECT_EQ(wgc_get_device(session.handle()), device);
  EXPECT_EQ(StateOf(session.handle()), kClosed);
  EXPECT_EQ(Pixels(session.GetFrame()).pixels, Pattern(64, 48).pixels);
}

// A start that failed has nothing to protect: the next one writes over what it made.
TEST_F(Lifecycle, AStartAfterAFailedOneWritesOverWhatThatMade) {
  Session session;
  fake::PlanFaults(fake::EveryCallOf("StartCapture", {Fault::Kind::kResult, E_FAIL}));
  EXPECT_FALSE(session.Start());
  ID3D11Device* const device = wgc_get_device(session.handle());
  device->AddRef();  // so that the address is not given again
  fake::PlanFaults(
      fake::EveryCallOf("CreateDispatcherQueueController", {Fault::Kind::kResult, E_FAIL}));
  EXPECT_FALSE(session.Start());
  fake::PlanNoFaults();
  EXPECT_NE(wgc_get_device(session.handle()), nullptr);
  EXPECT_NE(wgc_get_device(session.handle()), device);
  device->Release();
}

// A start that fails with its last step has frames coming all the same; none of their textures may
// meet the next device.
TEST_F(Lifecycle, AStartThatFailedLastLeavesNoFramesToTheNext) {
  for (const bool next_fails : {false, true}) {
    Session session;
    session.DirtyRect(true);
    fake::PlanFaults(fake::EveryCallOf("add_Closed", {Fault::Kind::kResult, E_FAIL}));
    EXPECT_FALSE(session.Start());
    fake::PlanNoFaults();
    fake::FramePool* pool = fake::LastPool();
    for (int i = 0; i < 2; ++i) {
      ASSERT_TRUE(pool->Deliver(Pattern(64, 48)));
      EXPECT_TRUE(session.GetFrame().available);
    }
    if (!next_fails) ContinueOnNewThread();
    fake::StartRecording();
    EXPECT_EQ(session.Start(), !next_fails);
    EXPECT_EQ(LinesWith(".Flush()", fake::TakeRecording()).size(), 1u);
    EXPECT_EQ(fake::LastPool() == pool, next_fails);
    EXPECT_EQ(fake::LastPool()->HasHandler(), !next_fails);
    pool = fake::LastPool();
    for (const uint32_t seed : {2u, 3u}) {
      ASSERT_TRUE(pool->Deliver(Pattern(64, 48, seed)));
      EXPECT_EQ(Pixels(session.GetFrame()).pixels, Pattern(64, 48, next_fails ? 1 : seed).pixels);
      if (next_fails) break;
    }
  }
}

// A thread keeps its dispatcher queue when its session is destroyed.
TEST_F(Lifecycle, AThreadStartsOneSessionInItsLife) {
  const auto start = [](bool expected) {
    void* const session = wgc_session_create(kWindow);
    TakeLog();
    EXPECT_EQ(wgc_session_start(session), expected);
    if (!expected) {
      EXPECT_EQ(TakeLog(),
                (Log{{1, "WgcCaptureSession::Start"}, {3, "Winrt exception:-2147417842"}}));
    }
    wgc_session_destroy(session);
  };
  start(true);
  start(false);
  std::thread(start, true).join();
  start(false);
}

// Nobody could remove a handler whose registration was lost, and it would outlive the session.
TEST_F(Lifecycle, ARegistrationThatCannotBeRevokedLaterIsRemovedAtOnce) {
  for (uint64_t number = 1; number <= 2; ++number) {
    Session session;
    fake::PlanFaults(
        fake::NthCallOf("GetWeakReference", number, {fake::Fault::Kind::kResult, E_OUTOFMEMORY}));
    EXPECT_FALSE(session.Start());
    EXPECT_EQ(fake::FaultsInjected(), 1u);
    fake::PlanNoFaults();
    EXPECT_FALSE(fake::LastItem()->HasHandler());
    EXPECT_EQ(fake::LastPool()->HasHandler(), number == 2);
  }
}

TEST_F(Lifecycle, AFailedStartCanBeRepeated) {
  Session session;
  for (const char* const function :
       {"CreateDXGIFactory1", "D3D11CreateDevice", "CreateDispatcherQueueController",
        "CreateForWindow", "get_Size", "Create", "CreateCaptureSession", "add_FrameArrived",
        "StartCapture", "add_Closed"}) {
    SCOPED_TRACE(function);
    ContinueOnNewThread();
    fake::PlanFaults(fake::EveryCallOf(function, {Fault::Kind::kResult, E_FAIL}));
    EXPECT_FALSE(session.Start());
    EXPECT_GT(fake::FaultsInjected(), 0u);
    EXPECT_FALSE(session.Running());
  }
  fake::PlanNoFaults();
  ContinueOnNewThread();
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
  EXPECT_TRUE(session.GetFrame().available);
}

// Destruction. That nothing is left behind is looked at after each test.

TEST_F(Lifecycle, DestructionRevokesAndClosesWhatTheStartMade) {
  Session session;
  ASSERT_TRUE(session.Start());
  fake::StartRecording();
  session.Destroy();
  std::vector<std::string> steps;
  for (const std::string& line : fake::TakeRecording()) {
    for (const char* const part : {"log(", "remove_", "Close()"}) {
      if (line.find(part) != std::string::npos) steps.push_back(line);
    }
  }
  EXPECT_EQ(steps, (std::vector<std::string>{"log(1, \"Try to exit wgc thread\")",
                                             "pool1.remove_FrameArrived(1)",
                                             "item1.remove_Closed(1)", "pool1.Close()",
                                             "session1.Close()", "log(1, \"Wgc exit.\")"}));
}

TEST_F(Lifecycle, DestructionIsPossibleInEveryState) {
  const auto start = [](Session& session) { ASSERT_TRUE(session.Start()); };
  const auto deliver = [] { ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48))); };
  {
    // Never started.
    Session fresh;
  }
  {
    Session without_target{HWND{nullptr}};
    without_target.Start();
  }
  {
    Session started;
    start(started);
  }
  {
    Session with_frame;
    start(with_frame);
    deliver();
    with_frame.GetFrame();
  }
  {
    Session detecting;
    detecting.DirtyRect(true);
    start(detecting);
    deliver();
    detecting.GetFrame();
    deliver();
    detecting.GetFrame();
  }
  {
    Session with_texture;
    with_texture.ToTexture(true);
    start(with_texture);
    deliver();
    const Poll poll = with_texture.GetFrame();
    with_texture.Destroy();
    TexturePixels(poll);
  }
  {
    Session closed;
    start(closed);
    fake::LastItem()->RaiseClosed();
  }
  {
    Session restarted;
    start(restarted);
    ContinueOnNewThread();
    start(restarted);
  }
}

TEST_F(Lifecycle, DestructionWithFramesOnTheirWayDropsThem) {
  Session session;
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 1)));
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2)));
  session.Destroy();
  PumpAsTheHost();
}

TEST_F(Lifecycle, ACloseThatFailsEndsTheClosingAndNotTheDestruction) {
  Session session;
  ASSERT_TRUE(session.Start());
  fake::PlanFaults(fake::NthCallOf("Close", 1, {Fault::Kind::kResult, E_ACCESSDENIED}));
  fake::StartRecording();
  session.Destroy();
  const std::vector<std::string> recording = fake::TakeRecording();
  EXPECT_EQ(LinesWith("Close()", recording), std::vector<std::string>{"pool1.Close()"});
  EXPECT_EQ(LinesWith("~session1", recording).size(), 1u);
  EXPECT_EQ(LinesWith("~pool1", recording).size(), 1u);
}

TEST_F(Lifecycle, ARevocationThatFailsIsIgnored) {
  Session session;
  ASSERT_TRUE(session.Start());
  TakeLog();
  fake::PlanFaults(
      fake::EveryCallOf("remove_FrameArrived", {Fault::Kind::kResult, E_ACCESSDENIED}));
  fake::StartRecording();
  session.Destroy();
  EXPECT_EQ(LinesWith("Close()", fake::TakeRecording()),
            (std::vector<std::string>{"pool1.Close()", "session1.Close()"}));
  EXPECT_EQ(TakeLog(), (Log{{1, "Try to exit wgc thread"}, {1, "Wgc exit."}}));
}

TEST_F(Lifecycle, DestructionOfOneSessionLeavesTheOther) {
  fake::settings.several_queues_a_thread = true;
  Session first;
  ASSERT_TRUE(first.Start());
  fake::FramePool* const first_pool = fake::LastPool();
  {
    Session second(kMonitor);
    ASSERT_TRUE(second.Start());
    ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 9)));
  }
  ASSERT_TRUE(first_pool->Deliver(Pattern(64, 48)));
  EXPECT_TRUE(first.GetFrame().available);
  EXPECT_TRUE(first.Running());
}

using LifecycleDeathTest = Lifecycle;

TEST_F(LifecycleDeathTest, DestroyingNullIsAMistakeThatShows) {
  wgc_register_logger(nullptr);
  EXPECT_DEATH(wgc_session_destroy(nullptr), "");
}

TEST_F(Lifecycle, SessionsOnTwoThreadsDoNotMeet) {
  const auto capture = [](uint32_t seed) {
    return [seed] {
      Session session;
      ASSERT_TRUE(session.Start());
      for (uint32_t i = 0; i < 20; ++i) {
        ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, seed + i)));
        const Poll poll = session.GetFrame();
        ASSERT_TRUE(poll.available);
        EXPECT_EQ(Pixels(poll).pixels, Pattern(64, 48, seed + i).pixels);
      }
    };
  };
  std::thread first(capture(1));
  std::thread second(capture(1000));
  first.join();
  second.join();
}

// The counter ticks of 60 milliseconds, which a session keeps.

struct Frequency {
  int64_t hertz;
  int32_t ticks;
};

class TicksPer60Milliseconds : public SessionTest, public testing::WithParamInterface<Frequency> {};

TEST_P(TicksPer60Milliseconds, AreComputedAtCreationTruncatedAndStoredIn32Bits) {
  fake::settings.performance_frequency = GetParam().hertz;
  Session window;
  Session monitor(kMonitor);
  fake::settings.performance_frequency = 1;
  EXPECT_EQ(TicksPer60MillisecondsOf(window.handle()), GetParam().ticks);
  EXPECT_EQ(TicksPer60MillisecondsOf(monitor.handle()), GetParam().ticks);
}

INSTANTIATE_TEST_SUITE_P(Frequencies, TicksPer60Milliseconds,
                         testing::Values(Frequency{10'000'000, 600'000},
                                         Frequency{24'000'000, 1'440'000}, Frequency{1'000, 60},
                                         Frequency{3'579'545, 214'772},  // of 214,772.7
                                         Frequency{16, 0},               // of 0.96
                                         Frequency{0, 0},
                                         // The product needs 64 bits, the ticks do not.
                                         Frequency{3'000'000'000, 180'000'000},
                                         // The largest number of ticks that fits, and the next.
                                         Frequency{35'791'394'133, 2'147'483'647},
                                         Frequency{35'791'394'134, -2'147'483'648},
                                         // 60,000,000,000 ticks, of which the low 32 bits are kept.
                                         Frequency{1'000'000'000'000, -129'542'144}),
                         [](const auto& info) {
                           return std::to_string(info.param.hertz) + "Hertz";
                         });

}  // namespace
}  // namespace session_test
