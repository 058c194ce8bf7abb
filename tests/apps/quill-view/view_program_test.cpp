// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// quill-view.exe as its users see it: what is on the screen.

#include <windows.h>

#include <gtest/gtest.h>
#include <tlhelp32.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <optional>
#include <string>

#include "common/capture_session.h"
#include "common/program.h"
#include "common/tile_comparison.h"
#include "quill-view/tiles.h"
#include "quill-view/view_window.h"
#include "support/desktop.h"
#include "support/own_thread.h"
#include "support/pattern_window.h"
#include "support/platform_setting.h"
#include "support/process.h"
#include "support/reference_diff.h"
#include "support/shown_picture.h"

namespace quill_apps {
namespace {

// Where the view never covers them.
constexpr POINT kTargetPlace{900, 80};

// Until the condition is true; false when it is not within 20 seconds.
bool WaitUntil(const std::function<bool()>& condition) {
  for (int i = 0; i < 1000; ++i) {
    if (condition()) return true;
    Sleep(20);
  }
  return false;
}

Picture ReadScreen(const RECT& area) {
  Picture picture(area.right - area.left, area.bottom - area.top);
  const HDC screen = GetDC(nullptr);
  const HDC memory = CreateCompatibleDC(screen);
  const BITMAPINFO info = InfoOf(picture);
  void* pixels = nullptr;
  const HBITMAP bitmap = CreateDIBSection(memory, &info, DIB_RGB_COLORS, &pixels, nullptr, 0);
  const HGDIOBJ previous = SelectObject(memory, bitmap);
  BitBlt(memory, 0, 0, picture.width, picture.height, screen, area.left, area.top, SRCCOPY);
  GdiFlush();
  picture = Picture(picture.width, picture.height, pixels, size_t{picture.width} * 4);
  SelectObject(memory, previous);
  DeleteObject(bitmap);
  DeleteDC(memory);
  ReleaseDC(nullptr, screen);
  return picture;
}

// What the threads of a process have taken. Wine's GetProcessTimes knows the caller's process only.
int64_t ProcessorMs(DWORD process) {
  const HANDLE list = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 entry{};
  entry.dwSize = sizeof entry;
  int64_t time = 0;
  for (BOOL more = Thread32First(list, &entry); more; more = Thread32Next(list, &entry)) {
    if (entry.th32OwnerProcessID != process) continue;
    const HANDLE thread = OpenThread(THREAD_QUERY_INFORMATION, FALSE, entry.th32ThreadID);
    FILETIME unused, kernel, user;
    EXPECT_TRUE(GetThreadTimes(thread, &unused, &unused, &kernel, &user));
    time += int64_t{kernel.dwLowDateTime} + user.dwLowDateTime;  // less than seven minutes
    CloseHandle(thread);
  }
  CloseHandle(list);
  return time / 10000;
}

// A pattern window, "Quill pattern".
class Target : public PatternWindow {
 public:
  explicit Target(Picture picture)
      : PatternWindow(std::move(picture), {.position = kTargetPlace}) {}
};

// A running quill-view.
class View {
 public:
  // before_window: what has to happen before the view opens its window.
  explicit View(
      const std::wstring& arguments = L"--title \"Quill pattern\"",
      const std::function<void(const Process&)>& before_window = [](const Process&) {})
      : process_("quill-view.exe", arguments) {
    before_window(process_);
    window_ = process_.AwaitWindow();
    EXPECT_NE(window_, nullptr);
  }

  ~View() { PostMessageW(window_, WM_CLOSE, 0, 0); }
  View(const View&) = delete;
  View& operator=(const View&) = delete;

  HWND window() const { return window_; }
  const Process& process() const { return process_; }

  void Type(wchar_t character) const { PostMessageW(window_, WM_CHAR, character, 1); }
  void Press(WPARAM key) const { PostMessageW(window_, WM_KEYDOWN, key, 1); }

  SIZE ClientSize() const {
    RECT client;
    GetClientRect(window_, &client);
    return {client.right, client.bottom};
  }

  void Resize(LONG width, LONG height) const {
    const SIZE now = ClientSize();
    RECT frame;
    GetWindowRect(window_, &frame);
    SetWindowPos(window_, nullptr, 0, 0, frame.right - frame.left + width - now.cx,
                 frame.bottom - frame.top + height - now.cy, SWP_NOMOVE | SWP_NOZORDER);
  }

  // The client area on the screen.
  Picture Read() const {
    RECT client;
    GetClientRect(window_, &client);
    MapWindowPoints(window_, nullptr, reinterpret_cast<POINT*>(&client), 2);
    return ReadScreen(client);
  }

  // Waits until the client area shows this and black around it.
  testing::AssertionResult ShowsSoon(const Picture& picture, uint32_t left = 0,
                                     uint32_t top = 0) const {
    auto result = testing::AssertionFailure();
    WaitUntil([&] {
      const Picture seen = Read();
      result = ShowsAt(seen, left, top, picture);
      if (!result) return false;
      for (uint32_t y = 0; y < seen.height; ++y) {
        for (uint32_t x = 0; x < seen.width; ++x) {
          const bool is_inside =
              x - left < picture.width && y - top < picture.height && x >= left && y >= top;
          if (is_inside || SameColour(seen.At(x, y), 0)) continue;
          result = testing::AssertionFailure() << "(" << x << ", " << y << ") is not black";
          return false;
        }
      }
      return true;
    });
    return result;
  }

  bool HasTitleSoon(const std::wstring& title) const {
    return WaitUntil([&] {
      wchar_t text[200] = L"";
      GetWindowTextW(window_, text, 200);
      return text == title;
    });
  }

  ProcessResult Close() {
    PostMessageW(window_, WM_CLOSE, 0, 0);
    return Wait();
  }
  ProcessResult Wait() { return process_.Wait(); }

 private:
  Process process_;
  HWND window_ = nullptr;
};

TEST(QuillViewTest, ShowsTheWindowsPicturePixelByPixelAndItsChanges) {
  const Picture first = MakePattern(301, 203);
  Target target(first);
  View view;
  EXPECT_TRUE(view.ShowsSoon(first));
  EXPECT_TRUE(view.HasTitleSoon(L"Quill pattern - quill-view"));
  const Picture second = MakePattern(301, 203, 1);
  target.Show(second);
  EXPECT_TRUE(view.ShowsSoon(second));
  const ProcessResult result = view.Close();
  EXPECT_EQ(result.exit_code, 0u);
  EXPECT_EQ(result.err, "");
  EXPECT_NE(result.out.find("Shown: "), std::string::npos) << result.out;
}

TEST(QuillViewTest, PictureIsLetterboxedWhenViewOrTargetChangesItsSize) {
  const Picture picture = MakePattern(300, 200);
  Target target(picture);
  View view;
  ASSERT_TRUE(view.ShowsSoon(picture));
  view.Resize(500, 200);
  EXPECT_TRUE(view.ShowsSoon(picture, 100, 0));
  view.Resize(300, 280);
  EXPECT_TRUE(view.ShowsSoon(picture, 0, 40));

  // Twice as large: a corner's pixel lies alone in the corner, because nothing is beyond it.
  view.Resize(600, 400);
  const auto shows_corners_of = [&](const Picture& expected) {
    const Picture seen = view.Read();
    return seen.width == 600 && seen.height == 400 &&
           SameColour(seen.At(0, 0), expected.At(0, 0)) &&
           SameColour(seen.At(599, 0), expected.At(299, 0)) &&
           SameColour(seen.At(0, 399), expected.At(0, 199)) &&
           SameColour(seen.At(599, 399), expected.At(299, 199));
  };
  EXPECT_TRUE(WaitUntil([&] { return shows_corners_of(picture); }));
  const Picture next = MakePattern(300, 200, 1);
  target.Show(next);
  EXPECT_TRUE(WaitUntil([&] { return shows_corners_of(next); }));

  const Picture smaller = MakePattern(150, 180, 2);
  view.Resize(250, 180);
  target.Show(smaller);
  EXPECT_TRUE(view.ShowsSoon(smaller, 50, 0));
  view.Type(L'1');
  EXPECT_TRUE(WaitUntil([&] { return view.ClientSize().cx == 150; }));
  EXPECT_TRUE(view.ShowsSoon(smaller));
}

TEST(QuillViewTest, KeysShowFiguresAndHelpAndKeepTheViewOnTop) {
  const Picture picture = MakePattern(301, 203);
  const Target target(picture);
  View view;
  ASSERT_TRUE(view.ShowsSoon(picture));
  const auto shows_label = [&] {
    const Picture seen = view.Read();
    // The label's background is black that lets less than a third through.
    return (seen.At(1, 1) & 0xFF) <= (picture.At(1, 1) & 0xFF) / 3 + 1 &&
           !ShowsAt(seen, 0, 0, picture);
  };
  view.Press(VK_F1);
  EXPECT_TRUE(WaitUntil(shows_label));
  view.Press(VK_F1);
  EXPECT_TRUE(view.ShowsSoon(picture));
  view.Type(L'h');
  EXPECT_TRUE(WaitUntil(shows_label));
  view.Type(L'h');
  EXPECT_TRUE(view.ShowsSoon(picture));

  const auto is_on_top = [&] {
    return (GetWindowLongW(view.window(), GWL_EXSTYLE) & WS_EX_TOPMOST) != 0;
  };
  EXPECT_FALSE(is_on_top());
  view.Type(L't');
  EXPECT_TRUE(WaitUntil(is_on_top));
  view.Press(VK_ESCAPE);
  EXPECT_FALSE(view.process().IsRunningAfter(10000));
}

TEST(QuillViewTest, TargetThatIsMinimisedRestoredAndClosedIsSaidSo) {
  const Picture picture = MakePattern(301, 203);
  Target target(picture);
  View view;
  ASSERT_TRUE(view.ShowsSoon(picture));
  target.Minimize();
  // A label over the last picture.
  const auto shows_message = [&] {
    const Picture seen = view.Read();
    return seen.width == 301 && !ShowsAt(seen, 0, 0, picture) &&
           SameColour(seen.At(300, 202), picture.At(300, 202));
  };
  EXPECT_TRUE(WaitUntil(shows_message));
  target.SetState(SW_RESTORE);
  EXPECT_TRUE(view.ShowsSoon(picture));
  target.Destroy();
  EXPECT_TRUE(view.HasTitleSoon(L"Quill pattern was closed - quill-view"));
  EXPECT_TRUE(WaitUntil(shows_message));
  const Target next(picture);  // of which a view without --wait takes no notice
  EXPECT_TRUE(view.process().IsRunningAfter(700));
  EXPECT_TRUE(view.HasTitleSoon(L"Quill pattern was closed - quill-view"));
  const ProcessResult result = view.Close();
  EXPECT_EQ(result.exit_code, 0u);
  EXPECT_EQ(result.out.find("Viewing "), result.out.rfind("Viewing ")) << result.out;
}

TEST(QuillViewTest, WaitsForTheWindowAndForTheNextOneAfterIt) {
  const Picture first = MakePattern(200, 150);
  const Picture second = MakePattern(180, 160, 1);
  std::optional<Target> target;
  View view(L"--title \"Quill pattern\" --wait --on-top", [&](const Process& process) {
    EXPECT_TRUE(process.Prints("Waiting for the window"));
    target.emplace(first);
  });
  EXPECT_TRUE(view.ShowsSoon(first));
  EXPECT_NE(GetWindowLongW(view.window(), GWL_EXSTYLE) & WS_EX_TOPMOST, 0);
  target.reset();
  EXPECT_TRUE(view.HasTitleSoon(L"Quill pattern was closed - quill-view"));
  target.emplace(second);
  EXPECT_TRUE(view.HasTitleSoon(L"Quill pattern - quill-view"));
  EXPECT_TRUE(WaitUntil([&] {
    view.Type(L'1');  // has no effect before the first frame of that size
    return view.ClientSize().cx == 180;
  }));
  EXPECT_TRUE(view.ShowsSoon(second));
  EXPECT_EQ(view.Close().exit_code, 0u);
}

TEST(QuillViewTest, WaitsForTheNextWindowWhenOneClosesBeforeItsCaptureStarts) {
  const Picture second = MakePattern(180, 160, 1);
  std::optional<Target> target(MakePattern(200, 150));
  View view(L"--title \"Quill pattern\" --wait");
  target.reset();
  EXPECT_TRUE(view.HasTitleSoon(L"Quill pattern was closed - quill-view"));
  target.emplace(second);
  EXPECT_TRUE(view.ShowsSoon(second));
  EXPECT_EQ(view.Close().exit_code, 0u);
}

TEST(QuillViewTest, MinimisedViewDoesNotSpinAndThenShowsTheNewestPicture) {
  Target target(MakePattern(301, 203));
  View view;
  ASSERT_TRUE(view.ShowsSoon(MakePattern(301, 203)));
  const DWORD id = view.process().id();
  ShowWindow(view.window(), SW_SHOWMINNOACTIVE);
  Sleep(300);
  const int64_t before = ProcessorMs(id);
  const ULONGLONG begin = GetTickCount64();
  for (uint32_t seed = 1; seed <= 20; ++seed) {
    target.Show(MakePattern(301, 203, seed));
    Sleep(40);
  }
  const int64_t passed = static_cast<int64_t>(GetTickCount64() - begin);
  EXPECT_LT(ProcessorMs(id) - before, passed / 3);
  ShowWindow(view.window(), SW_RESTORE);
  EXPECT_TRUE(view.ShowsSoon(MakePattern(301, 203, 20)));
  view.Close();
}

TEST(QuillViewTest, TilesThatChangedAreLitAndTheChartShowsTheirShare) {
  constexpr uint32_t kColumns = 10;
  constexpr uint32_t kRows = 8;
  const Picture before = MakePattern(kColumns * 32, kRows * 32);
  Target target(before);
  View view(L"--title \"Quill pattern\" --tiles");
  // Nothing to compare with: no tile is lit.
  ASSERT_TRUE(WaitUntil([&] {
    const Picture seen = view.Read();
    return seen.height == before.height + 64 && ShowsAt(seen, 0, 0, before);
  }));

  // 16 of the 80 tiles, one pixel each.
  Picture after = before;
  std::vector<bool> is_changed(size_t{kColumns} * kRows, false);
  for (uint32_t i = 0; i < 16; ++i) {
    const uint32_t column = i * 5 % (kColumns - 1);
    const uint32_t row = i % (kRows - 1);
    after.At(column * 32 + i, row * 32 + 31 - i) ^= 0x808080;
    is_changed[row * kColumns + column] = true;
  }
  ASSERT_EQ(std::count(is_changed.begin(), is_changed.end(), true), 16);
  target.Show(after);

  const auto mixed_with_tint = [](uint32_t colour, int shift) {
    const int tint = static_cast<int>(kChangedTile >> shift & 0xFF);
    const int alpha = static_cast<int>(kChangedTile >> 24);
    return tint + static_cast<int>(colour >> shift & 0xFF) * (255 - alpha) / 255;
  };
  const auto is_lit = [&](uint32_t seen, uint32_t x, uint32_t y) {
    for (const int shift : {0, 8, 16}) {
      const int difference =
          static_cast<int>(seen >> shift & 0xFF) - mixed_with_tint(after.At(x, y), shift);
      if (std::abs(difference) > 2) return false;
    }
    return true;
  };
  std::string wrong;
  WaitUntil([&] {
    wrong.clear();
    const Picture seen = view.Read();
    for (uint32_t y = 0; y < after.height; ++y) {
      for (uint32_t x = 0; x < after.width; ++x) {
        const bool expected = is_changed[y / 32 * kColumns + x / 32];
        const bool is_right =
            expected ? is_lit(seen.At(x, y), x, y) : SameColour(seen.At(x, y), after.At(x, y));
        if (is_right) continue;
        wrong = "(" + std::to_string(x) + ", " + std::to_string(y) + ")";
        return false;
      }
    }
    return true;
  });
  EXPECT_EQ(wrong, "");

  // A fifth of the chart's 64 rows, rounded, and before it the frame that was not compared.
  const Picture seen = view.Read();
  for (uint32_t y = 0; y < 64; ++y) {
    const uint32_t newest = y < 64 - 13 ? StripChart::kBackground : StripChart::kBar;
    EXPECT_TRUE(SameColour(seen.At(319, after.height + y), newest)) << y;
    EXPECT_TRUE(SameColour(seen.At(317, after.height + y), StripChart::kNotCompared)) << y;
    EXPECT_TRUE(SameColour(seen.At(315, after.height + y), StripChart::kBackground)) << y;
  }
  EXPECT_EQ(view.Close().exit_code, 0u);
}

// What quill-view lights, against the library's own measure.
TEST_ON_OWN_THREAD(QuillViewTilesTest, AreaOfTheLitTilesIsTheUpdateRatio) {
  const ComApartment apartment;
  const Library library = LoadSupportedLibrary();
  constexpr FrameSize kSize{333, 260};  // with partial tiles at both edges
  Picture picture = MakePattern(kSize.width, kSize.height);
  Target target(picture);
  CaptureSession session(library, target.handle(), nullptr, {.detect = true});
  TileComparison comparison;
  uint32_t compared = 0;
  WaitUntil([&] {
    const std::optional<CapturedFrame> frame = session.Poll();
    if (!frame || frame->ratio == 0.0f || frame->size != kSize) return false;
    const std::vector<bool>& changed = comparison.Add(session.Read(*frame).view());
    const Bitmap tiles = DrawTiles(changed, kSize);
    const auto lit = std::count(tiles.pixels.begin(), tiles.pixels.end(), kChangedTile);
    if (frame->ratio < 1.0f) {
      ++compared;
      EXPECT_EQ(frame->ratio,
                reference::Ratio(static_cast<uint32_t>(lit) * 32 * 32, kSize.width, kSize.height));
      EXPECT_GT(lit, 0);
    }
    if (compared == 5) return true;
    // Next: more tiles than before, and the edges, which do not count.
    for (uint32_t i = 0; i <= 3 * compared; ++i) {
      picture.At((i * 77 + compared) % kSize.width, (i * 45) % kSize.height) ^= 0x10101;
    }
    picture.At(kSize.width - 1, 3) ^= 0x70707;
    picture.At(3, kSize.height - 1) ^= 0x70707;
    target.Show(picture);
    return false;
  });
  EXPECT_EQ(compared, 5u);
}

TEST(QuillViewTest, ViewThatIsInItsOwnPictureShowsItselfAndCanBeClosed) {
  View view(L"--monitor 0 --on-top");
  view.Resize(320, 200);
  // The figures change with each frame, and each change of the view makes the next frame.
  view.Press(VK_F1);
  Picture last;
  int changes = 0;
  EXPECT_TRUE(WaitUntil([&] {
    Picture seen = view.Read();
    if (seen == last) return false;
    last = std::move(seen);
    return ++changes == 4;
  }));
  EXPECT_EQ(view.Close().exit_code, 0u);
}

TEST(ViewWindowTest, WindowStandsBesideTheRectangleWholeOnItsMonitor) {
  ViewWindow window("Quill view", false, false);
  window.Fit({320, 200});
  MONITORINFO info{};
  info.cbSize = sizeof info;
  GetMonitorInfoW(MonitorFromWindow(window.handle(), MONITOR_DEFAULTTOPRIMARY), &info);
  const RECT work = info.rcWork;
  const auto place_beside = [&](LONG left, LONG right) {
    const RECT rectangle{left, work.top + 10, right, work.top + 110};
    window.MoveBeside(rectangle);
    RECT place;
    GetWindowRect(window.handle(), &place);
    EXPECT_EQ(place.top, rectangle.top);
    return place;
  };
  EXPECT_EQ(place_beside(work.left + 50, work.left + 150).left, work.left + 150);
  EXPECT_EQ(place_beside(work.right - 150, work.right - 50).right, work.right - 150);
  // Off the screen.
  if (GetSystemMetrics(SM_CMONITORS) > 1) return;
  EXPECT_EQ(place_beside(work.left - 150, work.left - 50).left, work.left);
  EXPECT_EQ(place_beside(work.right + 50, work.right + 150).right, work.right);
}

// So low that only the title bar is left.
TEST(ViewWindowTest, ClientAreaWithoutHeightHasNoWidthEither) {
  ViewWindow window("Quill view", false, false);
  window.Fit({320, 200});
  EXPECT_EQ(window.client(), (FrameSize{320, 200}));
  RECT place;
  GetWindowRect(window.handle(), &place);
  SetWindowPos(window.handle(), nullptr, 0, 0, place.right - place.left,
               place.bottom - place.top - 200, SWP_NOMOVE | SWP_NOZORDER);
  RECT client;
  GetClientRect(window.handle(), &client);
  ASSERT_EQ(client.right, 320);
  ASSERT_EQ(client.bottom, 0);
  EXPECT_EQ(window.client(), FrameSize{});
}

TEST(QuillViewTest, EndsByItselfAfterTheGivenTime) {
  const Target target(MakePattern(100, 80));
  const ProcessResult result =
      Process("quill-view.exe", L"--title \"Quill pattern\" --seconds 0.5").Wait();
  EXPECT_EQ(result.exit_code, 0u);
  EXPECT_NE(result.out.find("Shown: "), std::string::npos) << result.out;
}

TEST(QuillViewTest, PlatformWithoutACursorSwitchIsNoticed) {
  if (!IsWine()) GTEST_SKIP() << kNeedsStandin;
  const PlatformSetting setting(L"WithoutCursorProperty", 1);
  const Target target(MakePattern(100, 80));
  const ProcessResult result =
      Process("quill-view.exe", L"--title \"Quill pattern\" --cursor --seconds 0.5").Wait();
  EXPECT_EQ(result.exit_code, 0u);
  EXPECT_NE(result.out.find("Notice: this Windows cannot switch"), std::string::npos) << result.out;
}

TEST(QuillViewTest, WrongCommandLineAndMissingTargetAreOneLineOnStandardError) {
  struct {
    const wchar_t* arguments;
    DWORD exit_code;
    const char* part;
  } const cases[] = {{L"", 1, "no target"},
                     {L"--title \"no window has this title\"", 2, "there is no window"},
                     {L"--monitor 99", 2, "there is no monitor 99"}};
  for (const auto& [arguments, exit_code, part] : cases) {
    const ProcessResult result = Process("quill-view.exe", arguments).Wait();
    EXPECT_EQ(result.exit_code, exit_code);
    EXPECT_TRUE(result.err.starts_with("quill-view: ")) << result.err;
    EXPECT_NE(result.err.find(part), std::string::npos) << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
  }
}

}  // namespace
}  // namespace quill_apps
