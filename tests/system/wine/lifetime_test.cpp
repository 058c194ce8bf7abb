// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// That captures leave nothing behind, whether the host closes them or just lets go.
#include <functional>

#include "platform.h"
#include "support/process.h"

namespace wine_test {
namespace {

ULONG DeviceReferences() {
  ID3D11Device* const device = Device().d3d.Get();
  device->AddRef();
  return device->Release();
}

// Bitmaps of this process, on Windows with all other objects of GDI. Wine keeps no count of them,
// but tells the type of every handle by its index.
int CountBitmaps() {
  if (!IsWine()) return static_cast<int>(GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS));
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
  const ProcessFigures before = MeasureProcess();
  const ULONG references = DeviceReferences();
  for (int i = 0; i < 200; ++i) {
    SCOPED_TRACE(i);
    round();
    ASSERT_FALSE(testing::Test::HasFailure());
  }
  // Wine makes a few of its own now and then; rounds that leave one each would leave 200. Threads
  // of ended captures may need a moment.
  constexpr int kOfWine = 10;
  ProcessFigures after;
  PumpUntil(
      [&] {
        after = MeasureProcess();
        return after.threads <= before.threads && after.handles <= before.handles;
      },
      1000);
  EXPECT_LE(after.threads, before.threads + kOfWine);
  EXPECT_LE(after.handles, before.handles + kOfWine);
  EXPECT_EQ(DeviceReferences(), references);
}

enum class Ending { kClose, kRelease };

void RunOneCapture(HWND window, Ending ending) {
  const auto item = MakeItem(window);
  const auto closed = AddHandler(item, [](IGraphicsCaptureItem*, IInspectable*) {});
  Recording recording(item);
  const auto arrived =
      AddHandler(recording.Pool(), [](IDirect3D11CaptureFramePool*, IInspectable*) {});
  ASSERT_TRUE(recording.NextFrame());
  if (ending == Ending::kRelease) return;
  EXPECT_EQ(recording.Pool()->remove_FrameArrived(arrived), S_OK);
  EXPECT_EQ(item->remove_Closed(closed), S_OK);
  EXPECT_EQ(Close(recording.Pool()), S_OK);
  EXPECT_EQ(Close(recording.Session()), S_OK);
}

// The counts below prove something only if they count.
TEST(Lifetime, HandlesThreadsAndBitmapsAreCounted) {
  {
    // The first window makes threads of Wine's own.
    const PatternWindow window(kFirst);
  }
  const int handles = MeasureProcess().handles;
  const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  EXPECT_EQ(MeasureProcess().handles, handles + 1);
  CloseHandle(event);
  const int threads = MeasureProcess().threads;
  const PatternWindow window(kFirst);
  EXPECT_EQ(MeasureProcess().threads, threads + 1);
  const int bitmaps = CountBitmaps();
  const HBITMAP bitmap = CreateBitmap(8, 8, 1, 32, nullptr);
  EXPECT_EQ(CountBitmaps(), bitmaps + 1);
  DeleteObject(bitmap);
}

TEST_F(RunningCapture, ThreadOfTheCaptureEndsWithThePool) {
  ASSERT_TRUE(recording_.NextFrame());
  const int threads = MeasureProcess().threads;
  EXPECT_EQ(Close(recording_.Pool()), S_OK);
  EXPECT_TRUE(PumpUntil([&] { return MeasureProcess().threads == threads - 1; }));
}

TEST(Lifetime, PicturesOfAnySizeLeaveNoBitmapsBehind) {
  PatternWindow window(kFirst);
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

TEST(Lifetime, CapturesLeaveNothingBehindIn200Rounds) {
  const PatternWindow window(kFirst);
  for (const Ending ending : {Ending::kClose, Ending::kRelease}) {
    ExpectNothingLeftBehind([&] { RunOneCapture(window.handle(), ending); });
  }
}

// A thread's end takes its queue, which nothing else ends.
TEST(Lifetime, CapturesLeaveNothingBehindIn200ThreadsThatEnd) {
  const PatternWindow window(kFirst);
  for (const Ending ending : {Ending::kClose, Ending::kRelease}) {
    ExpectNothingLeftBehind([&] { OnOwnThread([&] { RunOneCapture(window.handle(), ending); }); });
  }
}

}  // namespace
}  // namespace wine_test
