// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The pixels of known windows, all of them, in both outputs.
#include <algorithm>
#include <tuple>
#include <utility>

#include "support/reference_diff.h"
#include "system/e2e/capture.h"

namespace {

TEST_ON_OWN_THREAD(BufferOutput, FollowsAWindowThatRepaintsAndResizes) {
  Capture capture(MakePattern(200, 100));
  uint32_t seed = 0;
  const SIZE sizes[] = {{200, 100}, {1, 1}, {3, 200}, {321, 1}, {127, 65}, {801, 603}, {640, 480}};
  for (const SIZE& size : sizes) {
    for (int i = 0; i < 2; ++i) {
      const Picture picture = MakePattern(size.cx, size.cy, ++seed);
      capture.window.Show(picture);
      ASSERT_TRUE(capture.session.ComesToShow(picture)) << size.cx << " x " << size.cy;
    }
  }
}

TEST_ON_OWN_THREAD(BufferOutput, HasTheFrameOfAWindowAroundItsClientArea) {
  const Picture picture = MakePattern(300, 150);
  const PatternWindow window(picture, {.style = WS_OVERLAPPEDWINDOW});
  Session session(window.handle());
  ASSERT_TRUE(session.Start());
  EXPECT_TRUE(session.ComesToShow(picture));
  EXPECT_GT(session.last().height, picture.height);
}

TEST_ON_OWN_THREAD(BufferOutput, ShowsTheWindowsOnACapturedMonitor) {
  const Picture picture = MakePattern(160, 120, 7);
  const PatternWindow window(picture, {.position = {300, 200}});
  const HMONITOR monitor = MonitorFromWindow(window.handle(), MONITOR_DEFAULTTOPRIMARY);
  Session session(monitor);
  ASSERT_TRUE(session.Start());
  MONITORINFO info{};
  info.cbSize = sizeof(info);
  ASSERT_TRUE(GetMonitorInfoW(monitor, &info));
  POINT place = {0, 0};
  ClientToScreen(window.handle(), &place);
  testing::AssertionResult shown = testing::AssertionFailure() << "there is no frame";
  EXPECT_TRUE(session.PollUntil([&](const Poll& poll) {
    if (poll.result) {
      shown = ShowsAt(poll.Bytes(), place.x - info.rcMonitor.left, place.y - info.rcMonitor.top,
                      picture);
    }
    return shown;
  })) << shown.message();
  EXPECT_EQ(session.last().width,
            static_cast<uint32_t>(info.rcMonitor.right - info.rcMonitor.left));
  EXPECT_EQ(session.last().height,
            static_cast<uint32_t>(info.rcMonitor.bottom - info.rcMonitor.top));
}

TEST_ON_OWN_THREAD(Detection, AnUnchangedFrameIsNotCopiedAndHasRatioZero) {
  if (!IsWine()) GTEST_SKIP() << kNeedsStandin;
  const PlatformSetting every_tick(L"SendUnchangedFrames", 1);
  Picture picture = MakePattern(96, 96);
  Capture capture(picture, true);
  EXPECT_EQ(capture.session.Ratio(), 1.0f);  // nothing to compare the first frame with

  constexpr uint32_t kMarker = 0x12345678;
  *static_cast<uint32_t*>(capture.session.PollOnce().frame) = kMarker;
  picture.At(0, 0) = kMarker;
  for (int i = 0; i < 10; ++i) {
    ASSERT_TRUE(AwaitFrame());
    ASSERT_TRUE(capture.session.Shows(capture.session.PollOnce(), picture));
    ASSERT_EQ(capture.session.Ratio(), 0.0f);
  }
  // A change is copied whole, the overwritten pixel with it.
  Picture changed = MakePattern(96, 96);
  changed.At(40, 20) ^= 0x010000;
  capture.window.Show(changed);
  EXPECT_TRUE(capture.session.ComesToShow(changed));
}

// Compares each frame with the one before, and not with the first.
TEST_ON_OWN_THREAD(Detection, TheRatioIsTheShareOfTheTilesChangedSinceTheFrameBefore) {
  Picture picture = MakePattern(96, 96);
  Capture capture(picture, true);
  capture.session.Ratio();
  struct Change {
    uint32_t points[2][2];
    uint32_t tiles;  // in a frame that is nothing but the picture
  };
  const Change changes[] = {{{{10, 10}, {11, 10}}, 1},
                            {{{40, 40}, {41, 40}}, 1},
                            {{{63, 32}, {63, 33}}, 1},
                            {{{0, 0}, {63, 63}}, 2}};
  for (const auto& [points, tiles] : changes) {
    const Picture before = capture.session.PollOnce().Bytes();
    for (const auto& [x, y] : points) picture.At(x, y) ^= 0x800000;
    capture.window.Show(picture);
    float ratio = 0;
    ASSERT_TRUE(capture.session.PollUntil([&](const Poll&) {
      ratio = capture.session.Ratio();
      return ratio != 0;
    }));
    EXPECT_TRUE(capture.session.Shows(capture.session.last(), picture));
    const Picture after = capture.session.last().Bytes();
    const uint32_t area = reference::DiffOf(before, after).area;
    if (after.width == picture.width && after.height == picture.height) {
      EXPECT_EQ(area, tiles * 32 * 32);
    }
    EXPECT_EQ(ratio, reference::Ratio(area, after.width, after.height));
  }
}

TEST_ON_OWN_THREAD(TextureOutput, HasTheWindowsPixelsOnTheSessionsDeviceInANewTextureForANewSize) {
  const Picture first = MakePattern(161, 93, 1);
  const Picture second = MakePattern(224, 130, 2);
  PatternWindow window(first);
  Session session(window.handle());
  session.SetTexture(true);
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(session.ComesToShowAsTexture(first));
  const Poll old_poll = session.last();
  auto* const texture = static_cast<ID3D11Texture2D*>(old_poll.frame);
  Ref<ID3D11Device> device;
  texture->GetDevice(device.Put());
  EXPECT_EQ(device.Get(), session.Device());
  D3D11_TEXTURE2D_DESC desc;
  texture->GetDesc(&desc);
  EXPECT_EQ(std::tuple(desc.Format, desc.MipLevels, desc.ArraySize, desc.Usage, desc.BindFlags),
            std::tuple(DXGI_FORMAT_B8G8R8A8_UNORM, 1u, 1u, D3D11_USAGE_DEFAULT,
                       UINT{D3D11_BIND_RENDER_TARGET}));
  texture->AddRef();
  const uint32_t width = desc.Width;

  window.Show(second);
  EXPECT_TRUE(session.ComesToShowAsTexture(second));
  EXPECT_NE(session.last().frame, texture);
  // The host's texture stays readable. While the window grew, the frame may have been drawn into it
  // once more.
  EXPECT_EQ(session.ReadTexture(old_poll).width, width);
}

// A frame comes for each new picture, and none is due when the output has been switched.
TEST_ON_OWN_THREAD(Outputs, CanBeSwitchedWhileRunningEvenIfTheWindowGrewInTextureOutput) {
  Capture capture(MakePattern(64, 48, 1));
  const void* const buffer = capture.session.PollOnce().frame;
  const auto comes_as_texture = [&](const Picture& picture) {
    capture.session.SetTexture(true);
    capture.window.Show(picture);
    EXPECT_TRUE(capture.session.ComesToShowAsTexture(picture));
  };
  // Until a frame has come, the size may be of a larger one than the bytes.
  const auto comes_as_bytes = [&](const Picture& picture) {
    capture.session.SetTexture(false);
    capture.session.Ratio();
    capture.window.Show(picture);
    EXPECT_TRUE(
        capture.session.PollUntil([&](const Poll&) { return capture.session.Ratio() == 1; }));
    EXPECT_TRUE(capture.session.ComesToShow(picture));
  };
  comes_as_texture(MakePattern(64, 48, 2));
  comes_as_bytes(MakePattern(64, 48, 3));
  EXPECT_EQ(capture.session.last().frame, buffer);
  comes_as_texture(MakePattern(700, 500, 4));
  comes_as_bytes(MakePattern(700, 500, 5));
}

// Puts the cursor back at the end.
class CursorAt {
 public:
  explicit CursorAt(POINT place) {
    GetCursorPos(&before_);
    SetCursorPos(place.x, place.y);
  }
  ~CursorAt() { SetCursorPos(before_.x, before_.y); }
  CursorAt(const CursorAt&) = delete;
  CursorAt& operator=(const CursorAt&) = delete;

 private:
  POINT before_{};
};

TEST_ON_OWN_THREAD(Cursor, IsDrawnOnlyWhenAskedFor) {
  constexpr uint32_t kColour = 0xFF2040A0;
  constexpr POINT kPlace = {100, 70};
  const Picture plain(200, 150, kColour);
  Capture capture(plain);
  // Wine knows the cursor of the foreground window only, once that window has set it.
  if (IsWine()) SetForegroundWindow(capture.window.handle());
  POINT place = kPlace;
  ClientToScreen(capture.window.handle(), &place);
  const CursorAt cursor(place);
  CURSORINFO info{};
  info.cbSize = sizeof(info);
  if (!GetCursorInfo(&info) || (info.flags & CURSOR_SHOWING) == 0) {
    GTEST_SKIP() << "this desktop shows no cursor";
  }

  ASSERT_TRUE(Wgc().wgc_enable_cursor(capture.session.get(), true));
  // Another colour brings a frame, also where a cursor alone brings none.
  Picture other(200, 150, kColour ^ 0xFF);
  capture.window.Show(other);
  // An arrow hangs down and right from where it points.
  const auto blank_cursor = [&](Picture frame) {
    const int reach = GetSystemMetrics(SM_CXCURSOR);
    for (int y = -reach; y < reach; ++y) {
      for (int x = -reach; x < reach; ++x) {
        const LONG left = std::clamp<LONG>(kPlace.x + x, 0, frame.width - 1);
        const LONG top = std::clamp<LONG>(kPlace.y + y, 0, frame.height - 1);
        frame.At(left, top) = other.At(0, 0);
      }
    }
    return frame;
  };
  ASSERT_TRUE(capture.session.PollUntil([&](const Poll& poll) {
    return poll.result && !capture.session.Shows(poll, other) &&
           capture.session.Shows(blank_cursor(poll.Bytes()), other);
  }));
  EXPECT_TRUE(capture.session.last().cursor);
  ASSERT_TRUE(Wgc().wgc_enable_cursor(capture.session.get(), false));
  capture.window.Show(plain);
  EXPECT_TRUE(capture.session.ComesToShow(plain));
}

}  // namespace
