// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The pixels of known windows, byte for byte, in both outputs.
#include <tuple>
#include <utility>

#include "system/e2e/capture.h"

namespace {

constexpr float kOneTileOf96x96 = static_cast<float>(32.0 * 32 / (96 * 96));

TEST_ON_OWN_THREAD(BufferOutput, FollowsAWindowThatRepaintsAndResizes) {
  Capture capture(MakePattern(200, 100));
  uint32_t seed = 0;
  const std::pair<int, int> kSizes[] = {{200, 100}, {1, 1},     {3, 200},  {321, 1},
                                        {127, 65},  {801, 603}, {640, 480}};
  for (const auto& [width, height] : kSizes) {
    for (int i = 0; i < 2; ++i) {
      const Picture picture = MakePattern(width, height, ++seed);
      capture.window.Show(picture);
      ASSERT_TRUE(capture.session.ComesToShow(picture)) << width << " x " << height;
    }
  }
}

TEST_ON_OWN_THREAD(BufferOutput, ShowsTheWindowsOnACapturedMonitor) {
  const Picture picture = MakePattern(160, 120, 7);
  const PatternWindow window(picture, {.position = {300, 200}});
  const HMONITOR monitor = MonitorFromWindow(window.handle(), MONITOR_DEFAULTTOPRIMARY);
  Session session(monitor);
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(session.PollUntil([](const Poll& poll) { return poll.result; }));
  const Picture screen = session.last().Bytes();
  MONITORINFO info{};
  info.cbSize = sizeof(info);
  ASSERT_TRUE(GetMonitorInfoW(monitor, &info));
  EXPECT_EQ(screen.width, static_cast<uint32_t>(info.rcMonitor.right - info.rcMonitor.left));
  EXPECT_EQ(screen.height, static_cast<uint32_t>(info.rcMonitor.bottom - info.rcMonitor.top));
  EXPECT_EQ(Picture(160, 120, &screen.pixels[200 * screen.width + 300], screen.width * 4), picture);
}

TEST_ON_OWN_THREAD(Detection, AnUnchangedFrameIsNotCopiedAndHasRatioZero) {
  const PlatformSetting every_tick(L"SendUnchangedFrames", 1);
  Picture picture = MakePattern(96, 96);
  Capture capture(picture, true);
  EXPECT_EQ(capture.session.Ratio(), 1.0f);  // nothing to compare the first frame with

  constexpr uint32_t kMarker = 0x12345678;
  *static_cast<uint32_t*>(capture.session.PollOnce().frame) = kMarker;
  picture.At(0, 0) = kMarker;
  for (int i = 0; i < 10; ++i) {
    ASSERT_TRUE(AwaitFrame());
    ASSERT_TRUE(SamePixels(capture.session.PollOnce(), picture));
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
  using Points = std::vector<std::pair<uint32_t, uint32_t>>;
  for (const Points& points :
       {Points{{10, 10}}, Points{{40, 40}}, Points{{63, 32}}, Points{{0, 0}, {63, 63}}}) {
    for (const auto& [x, y] : points) picture.At(x, y) ^= 0x800000;
    capture.window.Show(picture);
    float ratio = 0;
    ASSERT_TRUE(capture.session.PollUntil([&](const Poll&) {
      ratio = capture.session.Ratio();
      return ratio != 0;
    }));
    EXPECT_EQ(ratio, static_cast<float>(points.size()) * kOneTileOf96x96) << points[0].first;
    EXPECT_TRUE(SamePixels(capture.session.last(), picture));
  }
}

TEST_ON_OWN_THREAD(TextureOutput, HasTheWindowsPixelsOnTheSessionsDeviceInANewTextureForANewSize) {
  const Picture first = MakePattern(161, 93, 1);
  const Picture second = MakePattern(224, 130, 2);
  PatternWindow window(first);
  Session session(window.handle());
  session.SetTexture(true);
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(session.PollUntil([](const Poll& poll) { return poll.result; }));
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
  EXPECT_EQ(session.ReadTexture(old_poll), first);

  window.Show(second);
  EXPECT_TRUE(session.PollUntil(
      [&](const Poll& poll) { return poll.result && session.ReadTexture(poll) == second; }));
  EXPECT_NE(session.last().frame, texture);
  // The host's texture stays readable. While the window grew, the frame may have been drawn into it
  // once more.
  EXPECT_EQ(session.ReadTexture(old_poll).width, 161u);
}

TEST_ON_OWN_THREAD(Outputs, CanBeSwitchedWhileRunningEvenIfTheWindowGrewInTextureOutput) {
  const PlatformSetting every_tick(L"SendUnchangedFrames", 1);
  const Picture first = MakePattern(64, 48, 1);
  const Picture second = MakePattern(700, 500, 2);
  Capture capture(first);
  const auto comes_as_texture = [&](const Picture& picture) {
    return capture.session.PollUntil([&](const Poll& poll) {
      return poll.result && capture.session.ReadTexture(poll) == picture;
    });
  };
  const void* const buffer = capture.session.PollOnce().frame;
  capture.session.SetTexture(true);
  EXPECT_TRUE(comes_as_texture(first));
  capture.session.SetTexture(false);
  EXPECT_EQ(capture.session.PollOnce().frame, buffer);
  EXPECT_TRUE(SamePixels(capture.session.PollOnce(), first));

  capture.session.SetTexture(true);
  capture.window.Show(second);
  EXPECT_TRUE(comes_as_texture(second));
  capture.session.SetTexture(false);
  EXPECT_TRUE(capture.session.ComesToShow(second));
}

TEST_ON_OWN_THREAD(Cursor, IsDrawnOnlyWhenAskedFor) {
  const PlatformSetting every_tick(L"SendUnchangedFrames", 1);
  const Picture plain(200, 150, 0xFF2040A0);
  Capture capture(plain);
  // Wine knows the cursor of the foreground window, once that window has set it.
  SetForegroundWindow(capture.window.handle());
  POINT cursor = {100, 70};
  ClientToScreen(capture.window.handle(), &cursor);
  SetCursorPos(cursor.x, cursor.y);

  ASSERT_TRUE(Wgc().wgc_enable_cursor(capture.session.get(), true));
  ASSERT_TRUE(capture.session.PollUntil(
      [&](const Poll& poll) { return poll.result && !SamePixels(poll, plain); }));
  EXPECT_TRUE(capture.session.last().cursor);
  // An arrow is small and hangs down and right from where it points.
  Picture shown = capture.session.last().Bytes();
  for (uint32_t y = 70 - 32; y < 70 + 32; ++y) {
    for (uint32_t x = 100 - 32; x < 100 + 32; ++x) shown.At(x, y) = 0xFF2040A0;
  }
  EXPECT_EQ(shown, plain);
  ASSERT_TRUE(Wgc().wgc_enable_cursor(capture.session.get(), false));
  EXPECT_TRUE(capture.session.ComesToShow(plain));
}

}  // namespace
