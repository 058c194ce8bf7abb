// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Frames of a running capture: what they show and when they come.

#include <algorithm>
#include <iterator>

#include "platform.h"

namespace wine_test {
namespace {

INT64 PerformanceTime() {
  LARGE_INTEGER frequency;
  LARGE_INTEGER counter;
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&counter);
  return static_cast<INT64>(static_cast<double>(counter.QuadPart) * 1e7 /
                            static_cast<double>(frequency.QuadPart));
}

INT64 TimeOf(IDirect3D11CaptureFrame* frame) {
  TimeSpan time = {};
  EXPECT_EQ(frame->get_SystemRelativeTime(&time), S_OK);
  return time.Duration;
}

TEST(Capture, IncludesTheWindowsFrame) {
  const PatternWindow window(kFirst, {.style = WS_OVERLAPPEDWINDOW});
  RECT outer;
  GetWindowRect(window.handle(), &outer);
  POINT client = {0, 0};
  ClientToScreen(window.handle(), &client);
  ASSERT_GT(client.y, outer.top);
  Recording recording(window);
  const auto frame = recording.NextFrame();
  ASSERT_TRUE(frame);
  const Picture pixels = ReadPixels(frame.Get());
  EXPECT_EQ(pixels.width, static_cast<uint32_t>(outer.right - outer.left));
  EXPECT_EQ(pixels.height, static_cast<uint32_t>(outer.bottom - outer.top));
  EXPECT_EQ(Crop(pixels, {client.x - outer.left, client.y - outer.top}, {160, 120}), kFirst);
}

TEST_F(RunningCapture, IsOpaque) {
  const auto frame = recording_.NextFrame();
  ASSERT_TRUE(frame);
  const Picture pixels = ReadTexture(TextureOf(frame.Get()).Get());
  EXPECT_TRUE(std::all_of(pixels.pixels.begin(), pixels.pixels.end(),
                          [](uint32_t pixel) { return pixel >> 24 == 0xFF; }));
}

TEST_F(RunningCapture, SendsAFrameWhenTheWindowChangesAndNoneOtherwise) {
  EXPECT_TRUE(recording_.ComesToShow(kFirst));
  recording_.TakeAllFrames();
  for (uint32_t seed = 2; seed <= 5; ++seed) {
    EXPECT_FALSE(recording_.NextFrame(100));
    window_.Show(MakePattern(160, 120, seed));
    EXPECT_TRUE(recording_.ComesToShow(MakePattern(160, 120, seed)));
    recording_.TakeAllFrames();
  }
}

TEST_F(EveryTickCapture, SendsAFrameEveryTickWhenTheRegistrySaysSo) {
  ASSERT_TRUE(recording_.NextFrame());
  const ULONGLONG begin = GetTickCount64();
  INT64 previous_time = 0;
  for (int i = 0; i < 30; ++i) {
    const auto frame = recording_.NextFrame();
    ASSERT_TRUE(frame);
    EXPECT_EQ(ReadPixels(frame.Get()), kFirst);
    EXPECT_GT(TimeOf(frame.Get()), previous_time);
    previous_time = TimeOf(frame.Get());
  }
  // 30 frames at 60 a second take half a second; the tick count is 16 ms coarse.
  EXPECT_GE(GetTickCount64() - begin, 450u);
}

TEST_F(RunningCapture, CountsTimeByThePerformanceCounter) {
  recording_.TakeAllFrames();
  const INT64 before = PerformanceTime();
  window_.Show(kSecond);
  const auto frame = recording_.NextFrame();
  const INT64 after = PerformanceTime();
  ASSERT_TRUE(frame);
  EXPECT_GE(TimeOf(frame.Get()), before - 10);  // 1 us, for the rounding of the double.
  EXPECT_LE(TimeOf(frame.Get()), after + 10);
}

TEST_F(RunningCapture, KeepsThePoolsSizeForContentOfAnotherSize) {
  recording_.TakeAllFrames();
  // What exceeds the pool's size is cut off; smaller content lies at the top left.
  const SizeInt32 sizes[] = {{300, 200}, {100, 70}, {100, 110}};
  for (const SizeInt32 size : sizes) {
    const Picture shown = MakePattern(size.Width, size.Height, size.Height);
    window_.Show(shown);
    const SIZE visible = {std::min<LONG>(size.Width, 160), std::min<LONG>(size.Height, 120)};
    const auto frame = recording_.FrameWhere([&](IDirect3D11CaptureFrame* f) {
      return ContentSize(f).Width == size.Width && ContentSize(f).Height == size.Height &&
             Crop(ReadPixels(f), {0, 0}, visible) == Crop(shown, {0, 0}, visible);
    });
    ASSERT_TRUE(frame) << size.Height;
    const Picture pixels = ReadPixels(frame.Get());
    EXPECT_EQ(pixels.width, 160u);
    EXPECT_EQ(pixels.height, 120u);
    if (size.Width > 160) continue;
    // Beside smaller content lies what an earlier frame left in the buffer, if there was one.
    const uint32_t beside = pixels.At(150, 10);
    EXPECT_TRUE(beside == 0xFF000000 || beside == kFirst.At(150, 10) ||
                beside == PatternPixel(150, 10, 200))
        << std::hex << beside;
  }
}

TEST_F(EveryTickCapture, PausesWhileTheWindowIsMinimised) {
  ASSERT_TRUE(recording_.NextFrame());
  window_.Minimize();
  ASSERT_TRUE(IsIconic(window_.handle()));
  recording_.TakeAllFrames();
  EXPECT_FALSE(recording_.NextFrame(400));
  window_.SetState(SW_RESTORE);
  EXPECT_TRUE(recording_.ComesToShow(kFirst));
}

TEST_F(EveryTickCapture, WaitsUntilAWindowThatIsShownAgainIsPainted) {
  const int states[][2] = {{SW_MINIMIZE, SW_RESTORE}, {SW_HIDE, SW_SHOWNA}};
  for (const auto& [gone, shown] : states) {
    window_.SetState(gone);
    recording_.TakeAllFrames();
    window_.SetState(shown, 150);
    for (int i = 0; i < 5; ++i) {
      const auto frame = recording_.NextFrame();
      ASSERT_TRUE(frame);
      EXPECT_EQ(ReadPixels(frame.Get()), kFirst) << shown << ", frame " << i;
    }
  }
}

TEST(Capture, ShowsTheMonitor) {
  const PatternWindow window(kFirst, {.position = {333, 222}});
  Recording recording(MakeItem(PrimaryMonitor()));
  EXPECT_TRUE(recording.FrameWhere([](IDirect3D11CaptureFrame* frame) {
    return ContentSize(frame).Width == GetSystemMetrics(SM_CXSCREEN) &&
           ContentSize(frame).Height == GetSystemMetrics(SM_CYSCREEN) &&
           Crop(ReadPixels(frame), {333, 222}, {160, 120}) == kFirst;
  }));
}

TEST(Capture, ShowsAWindowOfAnotherProcess) {
  PatternProcess other({500, 300}, {200, 150});
  ASSERT_NE(other.window(), nullptr);
  Recording recording(MakeItem(other.window()));
  for (uint32_t seed = 1; seed <= 10; ++seed) {
    other.Show({200, 150}, seed);
    EXPECT_TRUE(recording.ComesToShow(MakePattern(200, 150, seed))) << seed;
  }
}

// A cursor of 32 x 32 pixels that is transparent but for a white one at its hotspot.
HCURSOR MakeSpotCursor(POINT hotspot) {
  BYTE transparent[32 * 4];
  BYTE white[32 * 4] = {};
  std::fill(std::begin(transparent), std::end(transparent), static_cast<BYTE>(0xFF));
  const int byte = hotspot.y * 4 + hotspot.x / 8;
  const BYTE bit = static_cast<BYTE>(0x80 >> hotspot.x % 8);
  transparent[byte] = static_cast<BYTE>(~bit);
  white[byte] = bit;
  return CreateCursor(nullptr, hotspot.x, hotspot.y, 32, 32, transparent, white);
}

TEST(Capture, DrawsTheCursorWithItsHotspotWhereItPointsOnlyWhenAsked) {
  const HCURSOR cursor = MakeSpotCursor({19, 6});
  ASSERT_NE(cursor, nullptr);
  {
    PatternWindow window(kFirst, {.cursor = cursor});
    ASSERT_TRUE(PutCursor(window, cursor, {60, 50}));
    Recording recording(MakeItem(window.handle()), {0, 0}, true);
    Picture expected = kFirst;
    expected.At(60, 50) = 0xFFFFFFFF;
    EXPECT_TRUE(recording.ComesToShow(expected));
    const auto session = Query<IGraphicsCaptureSession2>(recording.Session());
    EXPECT_EQ(session->put_IsCursorCaptureEnabled(false), S_OK);
    EXPECT_TRUE(recording.ComesToShow(kFirst));
  }
  DestroyCursor(cursor);
}

// Counts the events of a recording's pool and handles them.
class Listener {
 public:
  Listener(Recording& recording, std::function<void(Listener&)> handle)
      : pool_(recording.Pool()), handle_(std::move(handle)) {
    token_ = AddHandler(pool_, [this](IDirect3D11CaptureFramePool* pool, IInspectable*) {
      EXPECT_EQ(GetCurrentThreadId(), thread_);
      EXPECT_EQ(pool, pool_);
      ++raised;
      handle_(*this);
    });
  }
  ~Listener() { Stop(); }
  void Stop() { EXPECT_EQ(pool_->remove_FrameArrived(token_), S_OK); }

  Ref<IDirect3D11CaptureFrame> TakeFrame() { return TryGetNextFrame(pool_); }

  int raised = 0;

 private:
  IDirect3D11CaptureFramePool* const pool_;
  const std::function<void(Listener&)> handle_;
  const DWORD thread_ = GetCurrentThreadId();
  EventRegistrationToken token_;
};

TEST_F(RunningCapture, RaisesFrameArrivedOnceAFrameOnTheQueuesThreadWhileItPumps) {
  recording_.TakeAllFrames();
  Listener listener(recording_, [](Listener& self) { EXPECT_TRUE(self.TakeFrame()); });
  window_.Show(kSecond);
  Sleep(150);
  window_.Show(kFirst);
  Sleep(150);
  EXPECT_EQ(listener.raised, 0);
  DrainMessages();
  EXPECT_EQ(listener.raised, 2);
  listener.Stop();
  window_.Show(kSecond);
  EXPECT_TRUE(recording_.ComesToShow(kSecond));
  EXPECT_EQ(listener.raised, 2);
}

// The handler takes longer than a tick, so that a new picture could be due whenever it returns.
TEST_F(EveryTickCapture, LetsAHostWithASlowHandlerEmptyItsMessageQueue) {
  Listener listener(recording_, [](Listener& self) {
    self.TakeFrame();
    Sleep(40);
    if (self.raised == 100) self.Stop();
  });
  for (int i = 0; i < 5; ++i) {
    listener.raised = 0;
    Sleep(100);
    DrainMessages();
    EXPECT_GE(listener.raised, 1);
    // Two buffers, and one more picture may be due before the first event is begun.
    EXPECT_LE(listener.raised, 3);
  }
}

TEST(Capture, GoesOnSendingToASlowHandlerWhereTheRegistrySaysSo) {
  if (!IsWine()) GTEST_SKIP() << kNeedsStandin;
  const PlatformSetting every_tick(L"SendUnchangedFrames", 1);
  const PlatformSetting during_events(L"SendDuringEvents", 1);
  constexpr int kMoreThanBuffers = 6;
  const PatternWindow window(kFirst);
  Recording recording(window);
  Listener listener(recording, [](Listener& self) {
    self.TakeFrame();
    Sleep(100);
    // Frames that nobody takes fill the buffers, and the queue is empty soon.
    if (self.raised == kMoreThanBuffers) self.Stop();
  });
  Sleep(100);
  DrainMessages();
  EXPECT_EQ(listener.raised, kMoreThanBuffers);
}

TEST_F(EveryTickCapture, TakesNoPictureUntilTheEventsOfEarlierOnesAreWorkedOff) {
  Listener listener(recording_, [](Listener&) {});
  Sleep(300);  // Time for both buffers to be filled; nothing is dispatched.
  MSG message;
  while (listener.raised == 0 && PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    DispatchMessageW(&message);
  }
  ASSERT_EQ(listener.raised, 1);
  EXPECT_TRUE(TryGetNextFrame(recording_.Pool()));
  EXPECT_TRUE(TryGetNextFrame(recording_.Pool()));
  Sleep(100);
  EXPECT_FALSE(TryGetNextFrame(recording_.Pool()));
  EXPECT_TRUE(recording_.NextFrame());
}

TEST_F(RunningCapture, SessionRefusesCallsOnceClosedAndASecondStart) {
  IGraphicsCaptureSession* const session = recording_.Session();
  EXPECT_EQ(session->StartCapture(), static_cast<HRESULT>(0x8000000E));  // E_ILLEGAL_METHOD_CALL
  const auto cursor = Query<IGraphicsCaptureSession2>(session);
  const auto border = Query<IGraphicsCaptureSession3>(session);
  boolean value = true;
  EXPECT_EQ(cursor->get_IsCursorCaptureEnabled(&value), S_OK);
  EXPECT_FALSE(value);
  EXPECT_EQ(border->put_IsBorderRequired(false), S_OK);
  EXPECT_EQ(border->get_IsBorderRequired(&value), S_OK);
  EXPECT_FALSE(value);
  EXPECT_EQ(Close(session), S_OK);
  EXPECT_EQ(Close(session), S_OK);
  EXPECT_EQ(session->StartCapture(), kClosed);
  EXPECT_EQ(cursor->put_IsCursorCaptureEnabled(true), kClosed);
  EXPECT_EQ(border->put_IsBorderRequired(true), kClosed);
}

TEST(Session, IsNotStartedOnceItsPoolIsClosedOrGone) {
  EnsureDispatcherQueue();
  const PatternWindow window(kFirst);
  for (const bool closed : {true, false}) {
    auto pool = MakePool({160, 120});
    Ref<IGraphicsCaptureSession> session;
    ASSERT_EQ(pool->CreateCaptureSession(MakeItem(window.handle()).Get(), session.Put()), S_OK);
    if (closed) {
      EXPECT_EQ(Close(pool.Get()), S_OK);
    } else {
      pool = {};
    }
    EXPECT_EQ(session->StartCapture(), kClosed) << closed;
  }
}

TEST(Session, StopsSendingWhenItIsClosedOrItsWindowIsGone) {
  if (!IsWine()) GTEST_SKIP() << kNeedsStandin;
  const PlatformSetting setting(L"SendUnchangedFrames", 1);
  for (const bool closed : {true, false}) {
    PatternWindow window(kFirst);
    Recording recording(window);
    ASSERT_TRUE(recording.NextFrame());
    if (closed) {
      EXPECT_EQ(Close(recording.Session()), S_OK);
    } else {
      window.Destroy();
    }
    recording.TakeAllFrames();
    EXPECT_FALSE(recording.NextFrame(300)) << closed;
  }
}

TEST(Session, HasNoInterfaceOfAPropertyThatThePlatformLacks) {
  if (!IsWine()) GTEST_SKIP() << kNeedsStandin;
  EnsureDispatcherQueue();
  const PatternWindow window(kFirst);
  const auto pool = MakePool({160, 120});
  const auto query = [&](const IID& iid) {
    Ref<IGraphicsCaptureSession> session;
    EXPECT_EQ(pool->CreateCaptureSession(MakeItem(window.handle()).Get(), session.Put()), S_OK);
    ULONG count = 0;
    IID* told = nullptr;
    EXPECT_EQ(session->GetIids(&count, &told), S_OK);
    Ref<IUnknown> found;
    session->QueryInterface(iid, reinterpret_cast<void**>(found.Put()));
    EXPECT_EQ(std::find(told, told + count, iid) != told + count, static_cast<bool>(found));
    CoTaskMemFree(told);
    return static_cast<bool>(found);
  };
  const IID& cursor = __uuidof(IGraphicsCaptureSession2);
  const IID& border = __uuidof(IGraphicsCaptureSession3);
  EXPECT_TRUE(query(cursor));
  EXPECT_TRUE(query(border));
  const PlatformSetting no_cursor(L"WithoutCursorProperty", 1);
  EXPECT_FALSE(query(cursor));
  EXPECT_TRUE(query(border));
  const PlatformSetting no_border(L"WithoutBorderProperty", 1);
  EXPECT_FALSE(query(border));
}

}  // namespace
}  // namespace wine_test
