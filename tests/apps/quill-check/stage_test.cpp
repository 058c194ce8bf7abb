// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <thread>

#include "quill-check/scene/pattern.h"
#include "quill-check/scene/stage.h"
#include "support/desktop.h"
#include "support/pattern_window.h"

namespace {

using namespace quill_apps;

// What the window shows, with its frame.
Picture Seen(HWND window) {
  RECT bounds{};
  GetWindowRect(window, &bounds);
  Picture picture(static_cast<uint32_t>(bounds.right - bounds.left),
                  static_cast<uint32_t>(bounds.bottom - bounds.top));
  BITMAPINFO info = InfoOf(picture);
  const HDC source = GetWindowDC(window);
  const HDC memory = CreateCompatibleDC(nullptr);
  void* pixels = nullptr;
  const HBITMAP bitmap = CreateDIBSection(memory, &info, DIB_RGB_COLORS, &pixels, nullptr, 0);
  const HGDIOBJ previous = SelectObject(memory, bitmap);
  BitBlt(memory, 0, 0, static_cast<int>(picture.width), static_cast<int>(picture.height), source, 0,
         0, SRCCOPY);
  GdiFlush();
  picture = Picture(picture.width, picture.height, pixels, picture.width * size_t{4});
  SelectObject(memory, previous);
  DeleteObject(bitmap);
  DeleteDC(memory);
  ReleaseDC(window, source);
  return picture;
}

PatternReading ReadWindow(const StageWindow& window, FrameSize client) {
  const Picture seen = Seen(window.handle());
  return ReadPattern({reinterpret_cast<const uint8_t*>(seen.pixels.data()), seen.width, seen.height,
                      seen.width * kPixelBytes},
                     client);
}

// Waits for the window to show the whole pattern with that counter, where its client area is.
testing::AssertionResult Shows(const StageWindow& window, uint32_t counter,
                               FrameSize client = kStageSize) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  PatternReading reading;
  while (std::chrono::steady_clock::now() < deadline) {
    reading = ReadWindow(window, client);
    const RECT bounds = window.Bounds();
    const RECT area = window.Client();
    if (reading.IsCompared() && reading.counter == counter && reading.deviating_blocks == 0 &&
        reading.area.left == area.left - bounds.left && reading.area.top == area.top - bounds.top &&
        reading.area.right == area.right - bounds.left &&
        reading.area.bottom == area.bottom - bounds.top) {
      return testing::AssertionSuccess();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return testing::AssertionFailure()
         << "found: " << reading.found << ", compared: " << reading.IsCompared()
         << ", counter: " << reading.counter << ", wrong blocks: " << reading.deviating_blocks
         << ", at " << reading.area.left << ", " << reading.area.top;
}

// The tests read what a window shows from its device context.
constexpr char kOnlyUnderWine[] = "on Windows GDI does not see what a flip-model swap chain shows";

class StageTest : public testing::TestWithParam<Drawing> {
 protected:
  void SetUp() override {
    if (GetParam() == Drawing::kDirect3D && !IsWine()) GTEST_SKIP() << kOnlyUnderWine;
  }

  StageWindowOptions Options(WindowKind kind = WindowKind::kPlain) const {
    StageWindowOptions options;
    options.kind = kind;
    options.drawing = GetParam();
    options.position = SlotPosition(PrimaryMonitor(), 0);
    return options;
  }
};

TEST_P(StageTest, ShowsThePatternFromTheBeginning) {
  const StageWindow window(Options());
  EXPECT_TRUE(Shows(window, 1));
  EXPECT_TRUE(window.IsInFront());
}

TEST_P(StageTest, ShowsThePatternInsideOfAFrame) {
  const StageWindow window(Options(WindowKind::kFramed));
  const RECT bounds = window.Bounds();
  const RECT client = window.Client();
  EXPECT_GT(client.top, bounds.top);  // the title bar
  EXPECT_EQ(client.right - client.left, 640);
  EXPECT_EQ(client.bottom - client.top, 360);
  EXPECT_TRUE(Shows(window, 1));
}

TEST_P(StageTest, ShowsEachCounterThatIsPresented) {
  StageWindow window(Options());
  const int64_t before = Ticks();
  const int64_t presented = window.Present(0x123456);
  EXPECT_GE(presented, before);
  EXPECT_LE(presented, Ticks());
  EXPECT_TRUE(Shows(window, 0x123456));
  window.Present(7);
  EXPECT_TRUE(Shows(window, 7));
}

TEST_P(StageTest, ShowsThePatternAtTheNewSize) {
  for (const WindowKind kind : {WindowKind::kPlain, WindowKind::kFramed}) {
    StageWindow window(Options(kind));
    window.Resize({800, 501});
    EXPECT_TRUE(Shows(window, 1, {800, 501}));
    window.Resize({333, 222});
    window.Present(2);
    EXPECT_TRUE(Shows(window, 2, {333, 222}));
  }
}

TEST_P(StageTest, ShowsThePatternAgainAfterItWasHiddenMinimisedOrMoved) {
  StageWindow window(Options());
  window.Hide();
  EXPECT_FALSE(IsWindowVisible(window.handle()));
  window.Present(2);
  window.Show();
  EXPECT_TRUE(IsWindowVisible(window.handle()));
  EXPECT_TRUE(Shows(window, 2));

  window.Minimise();
  EXPECT_TRUE(IsIconic(window.handle()));
  window.Restore();
  EXPECT_FALSE(IsIconic(window.handle()));
  EXPECT_TRUE(Shows(window, 2));

  window.MoveTo({300, 200});
  EXPECT_EQ(window.Bounds().left, 300);
  EXPECT_EQ(window.Bounds().top, 200);
  EXPECT_TRUE(Shows(window, 2));
}

TEST_P(StageTest, IsNeitherActivatedNorForegroundWindow) {
  const HWND before = GetForegroundWindow();
  const StageWindow window(Options());
  EXPECT_NE(GetForegroundWindow(), window.handle());
  EXPECT_EQ(GetForegroundWindow(), before);
}

TEST_P(StageTest, IsNotInFrontWhileAnotherWindowCoversAPart) {
  StageWindow window(Options());
  {
    StageWindowOptions options = Options(WindowKind::kCover);
    options.position.x += 400;
    options.client = {300, 400};
    const StageWindow cover(options);
    EXPECT_FALSE(window.IsInFront());
    window.Raise();
    EXPECT_TRUE(window.IsInFront());
  }
  EXPECT_TRUE(window.IsInFront());
  window.MoveTo({-320, 0});
  EXPECT_FALSE(window.IsInFront());
}

TEST_P(StageTest, DoesNothingOnceItIsClosed) {
  StageWindow window(Options());
  window.Close();
  EXPECT_FALSE(IsWindow(window.handle()));
  EXPECT_EQ(window.Present(2), 0);
  window.Resize({200, 200});
  window.Close();
}

TEST(Stage, PresentsOneCounterAfterTheOtherAtEveryRefresh) {
  if (!IsWine()) GTEST_SKIP() << kOnlyUnderWine;
  StageWindowOptions options;
  options.position = SlotPosition(PrimaryMonitor(), 0);
  StageWindow window(options);
  window.StartAnimation(100);
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
  uint32_t last = 0;
  while (std::chrono::steady_clock::now() < end) {
    const PatternReading reading = ReadWindow(window, kStageSize);
    if (!reading.found || reading.torn || reading.counter < 100) continue;
    EXPECT_GE(reading.counter, last);
    last = reading.counter;
  }
  const Animation animation = window.StopAnimation();
  EXPECT_EQ(animation.first_counter, 100u);
  EXPECT_GT(last, 100u);
  EXPECT_LT(last, 100 + animation.count);
  const double seconds = MillisecondsBetween(animation.begin, animation.end) / 1000.0;
  const double rate = RefreshRate(PrimaryMonitor());
  // Two pictures are at least half a refresh apart, as after one that took long to draw.
  EXPECT_LE(animation.count, seconds * rate * 2 + 2);
  EXPECT_GE(animation.count, seconds * rate * 0.5);  // the machine may be busy
  EXPECT_TRUE(Shows(window, 100 + animation.count - 1));
}

TEST(Stage, WindowsInDifferentSlotsDoNotOverlap) {
  if (!SlotsFit(PrimaryMonitor(), kLargestWindow)) GTEST_SKIP() << "the screen has no room for two";
  for (const int large_slot : {0, 1}) {
    StageWindowOptions options;
    options.kind = WindowKind::kFramed;
    options.drawing = Drawing::kGdi;
    options.position = SlotPosition(PrimaryMonitor(), 1 - large_slot);
    const StageWindow usual(options);
    options.client = kLargestWindow;
    options.position = SlotPosition(PrimaryMonitor(), large_slot, kLargestWindow);
    const StageWindow large(options);
    EXPECT_TRUE(usual.IsInFront());
    EXPECT_TRUE(large.IsInFront());
  }
}

INSTANTIATE_TEST_SUITE_P(Drawn, StageTest, testing::Values(Drawing::kDirect3D, Drawing::kGdi),
                         [](const testing::TestParamInfo<Drawing>& info) {
                           return info.param == Drawing::kGdi ? "ByGdi" : "ByDirect3D";
                         });

}  // namespace
