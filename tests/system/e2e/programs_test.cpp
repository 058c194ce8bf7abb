// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// A program that nobody here wrote: the mine-sweeper that comes with Wine, in a process of its own.
#include <algorithm>
#include <set>

#include "system/e2e/capture.h"

namespace {

class Winemine {
 public:
  Winemine() {
    wchar_t command[] = L"winemine.exe";
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    if (!CreateProcessW(nullptr, command, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &process_)) {
      return;
    }
    // Wine sometimes needs 20 seconds before a program's first window: it waits twice for its
    // desktop.
    WaitForInputIdle(process_.hProcess, 30000);
    for (int i = 0; i < 3000 && window_ == nullptr; ++i) {
      window_ = FindWindowW(nullptr, L"WineMine");
      Sleep(10);
    }
  }

  ~Winemine() {
    if (process_.hProcess == nullptr) return;
    TerminateProcess(process_.hProcess, 0);
    WaitForSingleObject(process_.hProcess, 10000);
    CloseHandle(process_.hThread);
    CloseHandle(process_.hProcess);
  }

  HWND window() const { return window_; }

 private:
  PROCESS_INFORMATION process_{};
  HWND window_ = nullptr;
};

// The screen's pixels at a window's place, by the desktop's own means.
Picture ScreenAt(const RECT& place) {
  Picture picture{place.right - place.left, place.bottom - place.top, {}};
  picture.pixels.resize(static_cast<size_t>(picture.width) * picture.height);
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof(info.bmiHeader);
  info.bmiHeader.biWidth = picture.width;
  info.bmiHeader.biHeight = -picture.height;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
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
  Winemine game;
  ASSERT_NE(game.window(), nullptr);
  SetCursorPos(1900, 1190);
  Session session(Wgc().wgc_session_create(game.window()));
  ASSERT_TRUE(session.Start());

  RECT place;
  ASSERT_TRUE(GetWindowRect(game.window(), &place));
  // The game paints itself some moments after its window exists.
  Poll poll;
  Picture screen;
  EXPECT_TRUE(PollUntil(session.get(), &poll, [&](const Poll& p) {
    screen = ScreenAt(place);
    return Shows(p, screen) &&
           std::set<uint32_t>(screen.pixels.begin(), screen.pixels.end()).size() > 8;
  })) << SamePixels(poll, screen).message();
}

TEST_ON_OWN_THREAD(Winemine, ClosingTheGameEndsTheCapture) {
  Winemine game;
  ASSERT_NE(game.window(), nullptr);
  LogRecorder log;
  Session session(Wgc().wgc_session_create(game.window()));
  ASSERT_TRUE(session.Start());
  PostMessageW(game.window(), WM_CLOSE, 0, 0);
  Poll poll;
  EXPECT_TRUE(PollUntil(session.get(), &poll,
                        [&](const Poll&) { return !Wgc().wgc_get_status(session.get()); }));
  EXPECT_TRUE(log.Has(Info("Wgc on_closed")));
}

}  // namespace
