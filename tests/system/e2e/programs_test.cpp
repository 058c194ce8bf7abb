// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// A program that nobody here wrote: the mine-sweeper that comes with Wine, in a process of its own.
// Windows has none.
#include <algorithm>
#include <set>

#include "system/e2e/capture.h"

namespace {

class Winemine {
 public:
  ~Winemine() { process_.Terminate(); }
  HWND window() const { return window_; }

 private:
  Process process_{"winemine.exe"};
  const HWND window_ = process_.AwaitWindow();
};

// The screen's pixels at a window's place, by the desktop's own means.
Picture ScreenAt(const RECT& place) {
  Picture picture(place.right - place.left, place.bottom - place.top);
  const BITMAPINFO info = InfoOf(picture);
  HDC screen = GetDC(nullptr);
  HDC memory = CreateCompatibleDC(screen);
  void* bits = nullptr;
  HBITMAP bitmap = CreateDIBSection(memory, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
  HGDIOBJ old = SelectObject(memory, bitmap);
  BitBlt(memory, 0, 0, picture.width, picture.height, screen, place.left, place.top, SRCCOPY);
  GdiFlush();
  std::copy_n(static_cast<const uint32_t*>(bits), picture.pixels.size(), picture.pixels.begin());
  for (uint32_t& pixel : picture.pixels) pixel |= 0xFF000000;
  SelectObject(memory, old);
  DeleteObject(bitmap);
  DeleteDC(memory);
  ReleaseDC(nullptr, screen);
  return picture;
}

TEST_ON_OWN_THREAD(Winemine, IsCapturedAsItStandsOnTheScreen) {
  if (!IsWine()) GTEST_SKIP() << "needs a program of Wine";
  Winemine game;
  ASSERT_NE(game.window(), nullptr);
  SetCursorPos(1900, 1190);
  Session session(game.window());
  ASSERT_TRUE(session.Start());

  RECT place;
  ASSERT_TRUE(GetWindowRect(game.window(), &place));
  // The game paints itself some moments after its window exists.
  Picture screen;
  EXPECT_TRUE(session.PollUntil([&](const Poll& poll) {
    screen = ScreenAt(place);
    return session.Shows(poll, screen) &&
           std::set<uint32_t>(screen.pixels.begin(), screen.pixels.end()).size() > 8;
  })) << session.Shows(session.last(), screen).message();
}

TEST_ON_OWN_THREAD(Winemine, ClosingTheGameEndsTheCapture) {
  if (!IsWine()) GTEST_SKIP() << "needs a program of Wine";
  Winemine game;
  ASSERT_NE(game.window(), nullptr);
  LogRecorder log;
  Session session(game.window());
  ASSERT_TRUE(session.Start());
  PostMessageW(game.window(), WM_CLOSE, 0, 0);
  EXPECT_TRUE(session.PollUntil([&](const Poll&) { return !session.IsRunning(); }));
  EXPECT_TRUE(log.Has(Info("Wgc on_closed")));
}

}  // namespace
