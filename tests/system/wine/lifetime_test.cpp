// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// That captures leave nothing behind, whether the host closes them or just lets go.

#include <gtest/gtest.h>

#include <functional>

#include "platform.h"
#include "support/process_figures.h"

namespace wine_test {
namespace {

int CountHandles() {
  return MeasureProcess().handles;
}

int CountThreads() {
  return MeasureProcess().threads;
}

ULONG DeviceReferences() {
  ID3D11Device* const device = Device().d3d.Get();
  device->AddRef();
  return device->Release();
}

// Bitmaps of this process. Wine keeps no count of them, but tells the type of every handle by its
// index.
int CountBitmaps() {
  int count = 0;
  for (ULONG_PTR index = 1; index < 0x10000; ++index) {
    count += GetObjectType(reinterpret_cast<HGDIOBJ>(index)) == OBJ_BITMAP;
  }
  return count;
}

// That 200 more rounds leave neither handles nor threads, after some that make what is kept for
// the life of the process.
void ExpectNothingLeftBehind(const std::function<void()>& round) {
  for (int i = 0; i < 5; ++i) round();
  PumpUntil([] { return false; }, 300);
  const int handles = CountHandles();
  const int threads = CountThreads();
  const ULONG references = DeviceReferences();
  for (int i = 0; i < 200; ++i) {
    SCOPED_TRACE(i);
    round();
    ASSERT_FALSE(testing::Test::HasFailure());
  }
  // Wine makes a few of its own now and then; rounds that leave one each would leave 200. Threads
  // of ended captures may need a moment.
  constexpr int kOfWine = 10;
  PumpUntil([&] { return CountThreads() <= threads && CountHandles() <= handles; }, 1000);
  EXPECT_LE(CountThreads(), threads + kOfWine);
  EXPECT_LE(CountHandles(), handles + kOfWine);
  EXPECT_EQ(DeviceReferences(), references);
}

enum class Ending { kClose, kRelease };

void RunOneCapture(HWND window, Ending ending) {
  const auto item = MakeItem(window);
  const auto closed = ClosedHandler::Make([](IGraphicsCaptureItem*, IInspectable*) {});
  const auto arrived = ArrivedHandler::Make([](IDirect3D11CaptureFramePool*, IInspectable*) {});
  EventRegistrationToken closed_token;
  EventRegistrationToken arrived_token;
  ASSERT_EQ(item->add_Closed(closed.Get(), &closed_token), S_OK);
  Recording recording(item);
  ASSERT_EQ(recording.Pool()->add_FrameArrived(arrived.Get(), &arrived_token), S_OK);
  ASSERT_TRUE(recording.NextFrame());
  if (ending == Ending::kRelease) return;
  EXPECT_EQ(recording.Pool()->remove_FrameArrived(arrived_token), S_OK);
  EXPECT_EQ(item->remove_Closed(closed_token), S_OK);
  EXPECT_EQ(Close(recording.Pool()), S_OK);
  EXPECT_EQ(Close(recording.Session()), S_OK);
}

// The counts below prove something only if they count.
TEST(Lifetime, HandlesThreadsAndBitmapsAreCounted) {
  {
    // The first window makes threads of Wine's own.
    const PatternWindow window(MakePattern(160, 120));
  }
  const int handles = CountHandles();
  const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  EXPECT_EQ(CountHandles(), handles + 1);
  CloseHandle(event);
  const int threads = CountThreads();
  const PatternWindow window(MakePattern(160, 120));
  EXPECT_EQ(CountThreads(), threads + 1);
  const int bitmaps = CountBitmaps();
  const HBITMAP bitmap = CreateBitmap(8, 8, 1, 32, nullptr);
  EXPECT_EQ(CountBitmaps(), bitmaps + 1);
  DeleteObject(bitmap);
}

TEST(Lifetime, OfACapturesThreadEndsWithThePool) {
  const PatternWindow window(MakePattern(160, 120));
  Recording recording(window);
  ASSERT_TRUE(recording.NextFrame());
  const int threads = CountThreads();
  EXPECT_EQ(Close(recording.Pool()), S_OK);
  EXPECT_TRUE(PumpUntil([&] { return CountThreads() == threads - 1; }));
}

TEST(Lifetime, OfPicturesOfAnySizeLeavesNoBitmapsBehind) {
  PatternWindow window(MakePattern(160, 120));
  ASSERT_TRUE(PutCursor(window, LoadCursor(nullptr, IDC_ARROW), {20, 20}));
  Recording recording(MakeItem(window.handle()), {0, 0}, true);
  ASSERT_TRUE(recording.NextFrame());
  const int bitmaps = CountBitmaps();
  for (int i = 1; i <= 30; ++i) {
    window.Show(MakePattern(100 + i, 100));
    ASSERT_TRUE(recording.NextFrame()) << i;
  }
  recording.TakeAllFrames();
  EXPECT_LT(CountBitmaps(), bitmaps + 30);
}

class CaptureLifetime : public testing::TestWithParam<Ending> {};

TEST_P(CaptureLifetime, LeavesNothingBehindIn200Rounds) {
  const PatternWindow window(MakePattern(160, 120));
  ExpectNothingLeftBehind([&] { RunOneCapture(window.handle(), GetParam()); });
}

// A thread's end takes its queue, which nothing else ends.
TEST_P(CaptureLifetime, LeavesNothingBehindIn200ThreadsThatEnd) {
  const PatternWindow window(MakePattern(160, 120));
  ExpectNothingLeftBehind(
      [&] { OnOwnThread([&] { RunOneCapture(window.handle(), GetParam()); }); });
}

INSTANTIATE_TEST_SUITE_P(, CaptureLifetime, testing::Values(Ending::kClose, Ending::kRelease),
                         [](const testing::TestParamInfo<Ending>& info) {
                           return info.param == Ending::kClose ? "Closed" : "Released";
                         });

}  // namespace
}  // namespace wine_test
