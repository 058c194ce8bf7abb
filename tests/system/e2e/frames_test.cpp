// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The pixels of known windows, byte for byte, in both outputs.
#include <d3d11.h>

#include <algorithm>
#include <utility>

#include "system/e2e/capture.h"
#include "system/e2e/read_texture.h"

namespace {

constexpr uint32_t kMarker = 0x12345678;

uint32_t& FirstPixel(const Poll& poll) {
  return *static_cast<uint32_t*>(poll.frame);
}

class Frames : public testing::TestWithParam<std::pair<int, int>> {};

TEST_P(Frames, OfAWindowHaveItsPixels) {
  OnOwnThread([] {
    const auto [width, height] = GetParam();
    const Picture picture = MakePattern(width, height);
    PatternWindow window(picture);
    Session session(Wgc().wgc_session_create(window.handle()));
    ASSERT_TRUE(session.Start());
    EXPECT_TRUE(ComesToShow(session.get(), picture));
  });
}

INSTANTIATE_TEST_SUITE_P(Sizes, Frames,
                         testing::Values(std::pair{1, 1}, std::pair{3, 200}, std::pair{321, 1},
                                         std::pair{127, 65}, std::pair{640, 480},
                                         std::pair{801, 603}));

TEST_ON_OWN_THREAD(BufferOutput, FollowsAWindowThatChanges) {
  PatternWindow window(MakePattern(200, 100, 1));
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(ComesToShow(session.get(), MakePattern(200, 100, 1)));
  const void* buffer = PollOnce(session.get()).frame;
  for (uint32_t seed = 2; seed < 6; ++seed) {
    window.Show(MakePattern(200, 100, seed));
    ASSERT_TRUE(ComesToShow(session.get(), MakePattern(200, 100, seed))) << "picture " << seed;
  }
  EXPECT_EQ(PollOnce(session.get()).frame, buffer);
}

TEST_ON_OWN_THREAD(BufferOutput, FollowsAWindowThatGrowsAndShrinks) {
  const std::pair<int, int> sizes[] = {{200, 100}, {310, 170}, {150, 90}, {620, 400}, {64, 300}};
  PatternWindow window(MakePattern(200, 100));
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  for (const auto& [width, height] : sizes) {
    window.Show(MakePattern(width, height, 3));
    ASSERT_TRUE(ComesToShow(session.get(), MakePattern(width, height, 3)))
        << width << " x " << height;
  }
}

TEST_ON_OWN_THREAD(BufferOutput, AShrunkWindowFirstKeepsThePoolsSizeWithThePictureTopLeft) {
  const Picture large = MakePattern(240, 180, 1);
  // The large picture's corner, so that a frame taken before the window has painted looks the same.
  Picture small{200, 150, {}};
  for (int y = 0; y < small.height; ++y) {
    for (int x = 0; x < small.width; ++x) small.pixels.push_back(large.at(x, y));
  }
  PatternWindow window(large);
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(ComesToShow(session.get(), large));
  Wgc().wgc_get_update_ratio(session.get());
  window.Show(small);
  // Without detection each new frame has ratio 1.
  Poll poll;
  ASSERT_TRUE(PollUntil(session.get(), &poll, [&](const Poll&) {
    return Wgc().wgc_get_update_ratio(session.get()) == 1.0f;
  }));
  EXPECT_EQ(poll.width, 240u);
  EXPECT_EQ(poll.height, 180u);
  const auto* pixels = static_cast<const uint32_t*>(poll.frame);
  for (int y = 0; y < small.height; ++y) {
    for (int x = 0; x < small.width; ++x) {
      ASSERT_EQ(pixels[y * 240 + x], small.at(x, y)) << "pixel (" << x << ", " << y << ")";
    }
  }
  // The pool was made anew for the content, and the next frame has its size.
  window.Show(MakePattern(200, 150, 3));
  EXPECT_TRUE(ComesToShow(session.get(), MakePattern(200, 150, 3)));
}

TEST_ON_OWN_THREAD(BufferOutput, OfTwoFramesInOnePollTheFirstIsKeptAndTheSecondTakenAndDropped) {
  const Picture first = MakePattern(200, 100, 2);
  const Picture third = MakePattern(200, 100, 4);
  PatternWindow window(MakePattern(200, 100, 1));
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(ComesToShow(session.get(), MakePattern(200, 100, 1)));

  ShowAndWait(window, first);
  ShowAndWait(window, MakePattern(200, 100, 3));
  EXPECT_TRUE(SamePixels(PollOnce(session.get()), first));
  // The second left the pool with that poll, so that the third is the next to come out of it.
  EXPECT_TRUE(SamePixels(PollOnce(session.get()), first));
  ShowAndWait(window, third);
  EXPECT_TRUE(SamePixels(PollOnce(session.get()), third));
}

TEST_ON_OWN_THREAD(BufferOutput, ADroppedFramesSizeDoesNotReachThePool) {
  PatternWindow window(MakePattern(200, 100, 1));
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(ComesToShow(session.get(), MakePattern(200, 100, 1)));

  ShowAndWait(window, MakePattern(200, 100, 2));
  ShowAndWait(window, MakePattern(150, 80, 3));  // dropped by the next poll
  EXPECT_TRUE(SamePixels(PollOnce(session.get()), MakePattern(200, 100, 2)));

  ShowAndWait(window, MakePattern(150, 80, 4));
  const Poll poll = PollOnce(session.get());
  EXPECT_EQ(static_cast<uint32_t*>(poll.frame)[0], MakePattern(150, 80, 4).at(0, 0));
  EXPECT_EQ(poll.width, 200u);
  EXPECT_EQ(poll.height, 100u);
}

TEST_ON_OWN_THREAD(BufferOutput, TheHostsOwnPumpKeepsItsFirstFrameAndTheNextPollTakesNewOnesAgain) {
  PatternWindow window(MakePattern(200, 100, 1));
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(ComesToShow(session.get(), MakePattern(200, 100, 1)));
  const Poll held = PollOnce(session.get());

  ShowAndWait(window, MakePattern(200, 100, 2));
  PumpMessages();
  EXPECT_TRUE(SamePixels(held, MakePattern(200, 100, 2)));
  ShowAndWait(window, MakePattern(200, 100, 3));
  PumpMessages();
  EXPECT_TRUE(SamePixels(held, MakePattern(200, 100, 2)));

  ShowAndWait(window, MakePattern(200, 100, 4));
  EXPECT_TRUE(SamePixels(PollOnce(session.get()), MakePattern(200, 100, 4)));
}

TEST_ON_OWN_THREAD(BufferOutput, OfTheMonitorShowsTheWindowsOnIt) {
  const Picture picture = MakePattern(160, 120, 7);
  PatternWindow window(picture, 300, 200);
  const HMONITOR monitor = MonitorFromWindow(window.handle(), MONITOR_DEFAULTTOPRIMARY);
  MONITORINFO info{};
  info.cbSize = sizeof(info);
  ASSERT_TRUE(GetMonitorInfoW(monitor, &info));
  Session session(Wgc().wgc_session_create2(monitor));
  ASSERT_TRUE(session.Start());
  Poll poll;
  ASSERT_TRUE(PollUntil(session.get(), &poll, [](const Poll& p) { return p.result; }));
  EXPECT_EQ(poll.width, static_cast<uint32_t>(info.rcMonitor.right - info.rcMonitor.left));
  EXPECT_EQ(poll.height, static_cast<uint32_t>(info.rcMonitor.bottom - info.rcMonitor.top));
  const auto* pixels = static_cast<const uint32_t*>(poll.frame);
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      const size_t at = static_cast<size_t>(200 + y) * poll.width + 300 + x;
      ASSERT_EQ(pixels[at], picture.at(x, y)) << "pixel (" << x << ", " << y << ")";
    }
  }
}

TEST_ON_OWN_THREAD(BufferOutput, AMinimisedWindowSendsNoFramesAndKeepsTheLastOne) {
  const Picture picture = MakePattern(160, 120);
  PatternWindow window(picture);
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(ComesToShow(session.get(), picture));
  window.Minimize();
  // Six times as long as the platform lets pass between two pictures.
  for (int i = 0; i < 10; ++i) {
    ASSERT_TRUE(SamePixels(PollOnce(session.get()), picture));
    Sleep(10);
  }
  window.Restore();
  window.Show(MakePattern(160, 120, 9));
  EXPECT_TRUE(ComesToShow(session.get(), MakePattern(160, 120, 9)));
}

TEST_ON_OWN_THREAD(BufferOutput, AClosedWindowKeepsTheLastFrame) {
  const Picture picture = MakePattern(160, 120);
  PatternWindow window(picture);
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(ComesToShow(session.get(), picture));
  window.Destroy();
  Poll poll;
  ASSERT_TRUE(PollUntil(session.get(), &poll,
                        [&](const Poll&) { return !Wgc().wgc_get_status(session.get()); }));
  EXPECT_TRUE(SamePixels(PollOnce(session.get()), picture));
}

TEST_ON_OWN_THREAD(BufferOutput, WithoutDetectionAnUnchangedFrameIsCopiedAgain) {
  PlatformSetting every_tick(L"SendUnchangedFrames", 1);
  const Picture picture = MakePattern(96, 96);
  PatternWindow window(picture);
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(ComesToShow(session.get(), picture));
  FirstPixel(PollOnce(session.get())) = kMarker;
  EXPECT_TRUE(ComesToShow(session.get(), picture));
}

TEST_ON_OWN_THREAD(Detection, AnUnchangedFrameIsNotWrittenAgainAndHasRatioZero) {
  PlatformSetting every_tick(L"SendUnchangedFrames", 1);
  const Picture picture = MakePattern(96, 96);
  PatternWindow window(picture);
  Session session(Wgc().wgc_session_create(window.handle()));
  Wgc().wgc_set_dirty_rect(session.get(), true);
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(ComesToShow(session.get(), picture));
  // The first frame built the engine.
  EXPECT_EQ(Wgc().wgc_get_update_ratio(session.get()), 1.0f);

  FirstPixel(PollOnce(session.get())) = kMarker;
  for (int i = 0; i < 10; ++i) {
    ASSERT_TRUE(AwaitFrame());
    const Poll poll = PollOnce(session.get());
    ASSERT_TRUE(poll.result);
    ASSERT_EQ(FirstPixel(poll), kMarker);
    ASSERT_EQ(Wgc().wgc_get_update_ratio(session.get()), 0.0f);
  }
  // A change is copied whole, the overwritten pixel with it.
  Picture changed = picture;
  changed.at(40, 20) ^= 0x010000;
  window.Show(changed);
  EXPECT_TRUE(ComesToShow(session.get(), changed));
}

TEST_ON_OWN_THREAD(Detection, TheRatioIsTheShareOfTheChangedTiles) {
  PlatformSetting every_tick(L"SendUnchangedFrames", 1);
  Picture picture = MakePattern(320, 200);
  PatternWindow window(picture);
  Session session(Wgc().wgc_session_create(window.handle()));
  Wgc().wgc_set_dirty_rect(session.get(), true);
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(ComesToShow(session.get(), picture));
  Wgc().wgc_get_update_ratio(session.get());

  // Two tiles, (1, 0) and (5, 3), each 32 x 32 of 320 x 200 pixels.
  picture.at(40, 20) ^= 1;
  picture.at(160, 127) ^= 0x80;
  window.Show(picture);
  Poll poll;
  float ratio = 0.0f;
  ASSERT_TRUE(PollUntil(session.get(), &poll, [&](const Poll&) {
    ratio = Wgc().wgc_get_update_ratio(session.get());
    return ratio != 0.0f;
  }));
  EXPECT_EQ(ratio, static_cast<float>(2.0 * 32 * 32 / (320 * 200)));
  EXPECT_TRUE(SamePixels(poll, picture));
}

TEST_ON_OWN_THREAD(Detection, ComparesEachFrameWithTheOneBefore) {
  const Picture first = MakePattern(96, 96, 1);
  Picture second = first;
  second.at(10, 10) ^= 1;  // tile (0, 0)
  Picture third = second;
  third.at(40, 40) ^= 1;  // tile (1, 1)
  PatternWindow window(first);
  Session session(Wgc().wgc_session_create(window.handle()));
  Wgc().wgc_set_dirty_rect(session.get(), true);
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(ComesToShow(session.get(), first));
  Wgc().wgc_get_update_ratio(session.get());

  // Were the first frame kept for comparison, the third would differ from it in two tiles.
  const float one_tile = static_cast<float>(32.0 * 32 / (96 * 96));
  for (const Picture* picture :
       std::initializer_list<const Picture*>{&second, &third, &second, &first}) {
    ShowAndWait(window, *picture);
    EXPECT_TRUE(SamePixels(PollOnce(session.get()), *picture));
    EXPECT_EQ(Wgc().wgc_get_update_ratio(session.get()), one_tile);
  }
}

TEST_ON_OWN_THREAD(Detection, TurnedOnLaterTheNextFrameIsCopiedWholeWithRatioOne) {
  PlatformSetting every_tick(L"SendUnchangedFrames", 1);
  const Picture picture = MakePattern(96, 96);
  PatternWindow window(picture);
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(ComesToShow(session.get(), picture));
  Poll poll = PollOnce(session.get());
  Wgc().wgc_get_update_ratio(session.get());
  Wgc().wgc_set_dirty_rect(session.get(), true);
  FirstPixel(poll) = kMarker;
  ASSERT_TRUE(PollUntil(session.get(), &poll, [&](const Poll&) {
    return Wgc().wgc_get_update_ratio(session.get()) == 1.0f;
  }));
  EXPECT_TRUE(SamePixels(poll, picture));
  // Without detection these frames would have ratio 1.
  for (int i = 0; i < 10; ++i) {
    ASSERT_TRUE(AwaitFrame());
    ASSERT_TRUE(PollOnce(session.get()).result);
    EXPECT_EQ(Wgc().wgc_get_update_ratio(session.get()), 0.0f);
  }
}

TEST_ON_OWN_THREAD(TextureOutput, HasTheWindowsPixelsOnTheSessionsDevice) {
  const Picture picture = MakePattern(161, 93);
  PatternWindow window(picture);
  Session session(Wgc().wgc_session_create(window.handle()));
  Wgc().wgc_set_capture_to_texture(session.get(), true);
  ASSERT_TRUE(session.Start());
  Poll poll;
  ASSERT_TRUE(PollUntil(session.get(), &poll, [](const Poll& p) { return p.result; }));
  EXPECT_EQ(poll.width, 161u);
  EXPECT_EQ(poll.height, 93u);

  auto* texture = static_cast<ID3D11Texture2D*>(poll.frame);
  ID3D11Device* device = nullptr;
  texture->GetDevice(&device);
  EXPECT_EQ(device, Wgc().wgc_get_device(session.get()));
  device->Release();
  D3D11_TEXTURE2D_DESC desc;
  texture->GetDesc(&desc);
  EXPECT_EQ(desc.Format, DXGI_FORMAT_B8G8R8A8_UNORM);
  EXPECT_EQ(desc.MipLevels, 1u);
  EXPECT_EQ(desc.ArraySize, 1u);
  EXPECT_EQ(desc.Usage, D3D11_USAGE_DEFAULT);
  EXPECT_EQ(desc.BindFlags, static_cast<UINT>(D3D11_BIND_RENDER_TARGET));
  EXPECT_EQ(desc.CPUAccessFlags, 0u);
  EXPECT_EQ(desc.MiscFlags, 0u);
  EXPECT_EQ(ReadTexture(session.get(), poll).pixels, picture.pixels);
  EXPECT_EQ(Wgc().wgc_get_update_ratio(session.get()), 1.0f);
}

TEST_ON_OWN_THREAD(TextureOutput, ASizeChangeReplacesTheTextureAndTheOldOneStaysValid) {
  const Picture first = MakePattern(160, 100, 1);
  const Picture second = MakePattern(224, 130, 2);
  PatternWindow window(first);
  Session session(Wgc().wgc_session_create(window.handle()));
  Wgc().wgc_set_capture_to_texture(session.get(), true);
  ASSERT_TRUE(session.Start());
  Poll old_poll;
  ASSERT_TRUE(PollUntil(session.get(), &old_poll, [](const Poll& p) { return p.result; }));

  window.Show(second);
  Poll poll;
  Picture seen;
  ASSERT_TRUE(PollUntil(session.get(), &poll, [&](const Poll& p) {
    if (!p.result) return false;
    seen = ReadTexture(session.get(), p);
    return seen.pixels == second.pixels;
  }));
  EXPECT_NE(poll.frame, old_poll.frame);
  EXPECT_EQ(poll.width, 224u);
  // Still readable. While the window grew its top left corner may have been drawn into it once
  // more.
  const Picture kept = ReadTexture(session.get(), old_poll);
  EXPECT_EQ(kept.width, 160);
  EXPECT_EQ(kept.height, 100);
}

TEST_ON_OWN_THREAD(TextureOutput,
                   DetectionsFirstFrameReportsZeroAndLaterOnesCompareWithABlankFrame) {
  PlatformSetting every_tick(L"SendUnchangedFrames", 1);
  // Black but for one pixel in tile (1, 1) of 96 x 96.
  Picture picture{96, 96, std::vector<uint32_t>(96 * 96, 0xFF000000)};
  picture.at(50, 40) = 0xFFFFFFFF;
  PatternWindow window(picture);
  Session session(Wgc().wgc_session_create(window.handle()));
  Wgc().wgc_set_capture_to_texture(session.get(), true);
  Wgc().wgc_set_dirty_rect(session.get(), true);
  ASSERT_TRUE(session.Start());
  std::vector<float> ratios;
  Poll poll;
  ASSERT_TRUE(PollUntil(session.get(), &poll, [&](const Poll& p) {
    if (!p.result) return false;
    static_cast<ID3D11Texture2D*>(p.frame)->Release();
    ratios.push_back(Wgc().wgc_get_update_ratio(session.get()));
    return ratios.size() == 20;
  }));
  EXPECT_EQ(ratios.front(), 0.0f);
  // Nothing changes any more, and yet each frame differs from the blank one by that tile; a poll
  // without a frame reads 0.
  const float one_tile = static_cast<float>(32.0 * 32 / (96 * 96));
  EXPECT_GE(std::count(ratios.begin(), ratios.end(), one_tile), 3);
  for (const float ratio : ratios) EXPECT_TRUE(ratio == 0.0f || ratio == one_tile) << ratio;
}

TEST_ON_OWN_THREAD(Outputs, SwitchingWhileRunningChangesWhatTheNextPollReports) {
  PlatformSetting every_tick(L"SendUnchangedFrames", 1);
  const Picture picture = MakePattern(96, 80);
  PatternWindow window(picture);
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(ComesToShow(session.get(), picture));
  const void* buffer = PollOnce(session.get()).frame;

  Wgc().wgc_set_capture_to_texture(session.get(), true);
  Poll poll;
  ASSERT_TRUE(PollUntil(session.get(), &poll, [](const Poll& p) { return p.result; }));
  EXPECT_NE(poll.frame, buffer);
  EXPECT_EQ(ReadTexture(session.get(), poll).pixels, picture.pixels);

  Wgc().wgc_set_capture_to_texture(session.get(), false);
  const Poll again = PollOnce(session.get());
  EXPECT_EQ(again.frame, buffer);
  EXPECT_TRUE(SamePixels(again, picture));
}

TEST_ON_OWN_THREAD(Outputs, BackToBytesAfterTheWindowGrewInTextureOutputTheBufferIsLargeEnough) {
  const Picture small = MakePattern(64, 48, 1);
  const Picture large = MakePattern(700, 500, 2);
  PatternWindow window(small);
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(ComesToShow(session.get(), small));

  Wgc().wgc_set_capture_to_texture(session.get(), true);
  window.Show(large);
  Poll poll;
  ASSERT_TRUE(PollUntil(session.get(), &poll, [](const Poll& p) {
    if (p.result) static_cast<ID3D11Texture2D*>(p.frame)->Release();
    return p.width == 700 && p.height == 500;
  }));
  Wgc().wgc_set_capture_to_texture(session.get(), false);
  window.Show(MakePattern(700, 500, 3));
  EXPECT_TRUE(ComesToShow(session.get(), MakePattern(700, 500, 3)));
}

TEST_ON_OWN_THREAD(Cursor, IsDrawnOnlyWhenAskedFor) {
  PlatformSetting every_tick(L"SendUnchangedFrames", 1);
  const Picture plain{200, 150, std::vector<uint32_t>(200 * 150, 0xFF2040A0)};
  PatternWindow window(plain, 100, 100);
  // Wine knows the cursor of the foreground window, once that window has set it.
  SetForegroundWindow(window.handle());
  SetCursorPos(200, 170);
  Session session(Wgc().wgc_session_create(window.handle()));
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(ComesToShow(session.get(), plain));

  ASSERT_TRUE(Wgc().wgc_enable_cursor(session.get(), true));
  Poll poll;
  ASSERT_TRUE(PollUntil(session.get(), &poll, [&](const Poll& p) { return !Shows(p, plain); }));
  EXPECT_TRUE(poll.cursor);
  // An arrow is small and hangs down and right from where it points.
  const auto* pixels = static_cast<const uint32_t*>(poll.frame);
  for (int y = 0; y < 150; ++y) {
    for (int x = 0; x < 200; ++x) {
      const bool near_cursor = x >= 100 - 32 && x < 100 + 32 && y >= 70 - 32 && y < 70 + 32;
      if (!near_cursor) {
        ASSERT_EQ(pixels[y * 200 + x], 0xFF2040A0) << x << ", " << y;
      }
    }
  }
  ASSERT_TRUE(Wgc().wgc_enable_cursor(session.get(), false));
  EXPECT_TRUE(ComesToShow(session.get(), plain));
}

}  // namespace
