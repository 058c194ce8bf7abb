// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <thread>
#include <vector>

#include "common/text.h"
#include "quill-check/checks/checks.h"
#include "quill-check/checks/pattern_capture.h"

namespace quill_apps {

namespace {

// A copy of a frame's pixels, without padding.
std::vector<uint32_t> PixelsOf(const PixelView& view) {
  std::vector<uint32_t> pixels(size_t{view.width} * view.height);
  for (uint32_t y = 0; y < view.height; ++y) {
    std::memcpy(&pixels[size_t{y} * view.width], view.pixels + y * view.row_pitch,
                view.width * kPixelBytes);
  }
  return pixels;
}

// The smallest rectangle with all pixels in which a frame differs from the picture; empty when it
// does not differ.
RECT Difference(const PixelView& view, const std::vector<uint32_t>& picture) {
  RECT area{};
  const std::vector<uint32_t> pixels = PixelsOf(view);
  if (pixels.size() != picture.size()) return kWholeFrame;
  for (size_t i = 0; i < pixels.size(); ++i) {
    if (pixels[i] == picture[i]) continue;
    const LONG x = static_cast<LONG>(i % view.width);
    const LONG y = static_cast<LONG>(i / view.width);
    const RECT pixel{x, y, x + 1, y + 1};
    UnionRect(&area, &area, &pixel);
  }
  return area;
}

// Puts the pointer on a place, and at the end back to where it was.
class Pointer {
 public:
  explicit Pointer(POINT place) : place_(place) {
    GetCursorPos(&before_);
    SetCursorPos(place.x, place.y);
  }
  ~Pointer() {
    if (!WasMoved()) SetCursorPos(before_.x, before_.y);
  }
  Pointer(const Pointer&) = delete;
  Pointer& operator=(const Pointer&) = delete;

  bool WasMoved() const {
    POINT now{};
    GetCursorPos(&now);
    return now.x != place_.x || now.y != place_.y;
  }

 private:
  POINT before_{};
  POINT place_;
};

// How large Windows draws pointers for those who want them larger than what they are made of.
LONG ChosenPointerSize() {
  DWORD size = 0;
  DWORD bytes = sizeof size;
  RegGetValueW(HKEY_CURRENT_USER, L"Control Panel\\Cursors", L"CursorBaseSize", RRF_RT_REG_DWORD,
               nullptr, &size, &bytes);
  return static_cast<LONG>(size);
}

// Where the pointer is drawn when it points to a place, with room for scaling and its shadow;
// nothing when none is shown.
std::optional<RECT> PointerArea(POINT place, HWND window) {
  CURSORINFO info{};
  info.cbSize = sizeof info;
  if (!GetCursorInfo(&info) || (info.flags & CURSOR_SHOWING) == 0) return std::nullopt;
  const LONG nominal = GetSystemMetricsForDpi(SM_CXCURSOR, GetDpiForWindow(window));
  const LONG chosen = ChosenPointerSize() * static_cast<LONG>(GetDpiForWindow(window)) / 96;
  constexpr LONG kShadow = 8;
  const LONG size = std::max(nominal, chosen) + kShadow;
  return RECT{place.x - size, place.y - size, place.x + size, place.y + size};
}

// Presents the same picture again and again until a frame differs from the one given, or is equal
// to it. False when none comes in time.
bool AwaitDifference(StageWindow& window, PatternCapture& capture, uint32_t counter,
                     const std::vector<uint32_t>& picture, bool different) {
  constexpr int kPollsBetween = 50;  // of a millisecond
  int polls = 0;
  return Await(kAwaitSeconds, [&] {
    if (polls++ % kPollsBetween == 0) window.Present(counter);
    if (!capture.Poll()) return false;
    const RECT area = Difference(capture.view(), picture);
    return (IsRectEmpty(&area) == 0) == different;
  });
}

Note JudgePointer(CheckContext& context, StageWindow& window, PatternCapture& capture,
                  uint32_t counter) {
  if (!capture.AwaitPresented(window, counter)) {
    return {Verdict::kFail, "the window's picture does not come"};
  }
  const std::vector<uint32_t> without = PixelsOf(capture.view());
  const RECT client = window.Client();
  const POINT in_frame{(client.right - client.left) / 2, (client.bottom - client.top) / 2};
  const Pointer pointer({client.left + in_frame.x, client.top + in_frame.y});
  void* const session = capture.session().handle();
  if (!context.library.wgc_enable_cursor(session, true)) {
    return {Verdict::kSkip, "this Windows cannot switch the pointer"};
  }
  const bool is_seen = AwaitDifference(window, capture, counter, without, true);
  const RECT difference = Difference(capture.view(), without);
  const std::optional<RECT> allowed = PointerArea(in_frame, window.handle());
  context.library.wgc_enable_cursor(session, false);
  const bool is_gone = AwaitDifference(window, capture, counter, without, false);
  if (pointer.WasMoved()) return {Verdict::kSkip, "the mouse was moved"};
  if (!allowed) return {Verdict::kSkip, "no pointer is shown, as without a mouse"};

  context.finding.Figure("difference",
                         {difference.left, difference.top, difference.right, difference.bottom});
  context.finding.Figure("allowed", {allowed->left, allowed->top, allowed->right, allowed->bottom});
  RECT both;
  UnionRect(&both, &difference, &*allowed);
  if (!EqualRect(&both, &*allowed)) {
    return {Verdict::kFail, "with the pointer at " + Format("%ld, %ld", in_frame.x, in_frame.y) +
                                " the frame differs at " + AreaText(difference)};
  }
  if (!is_gone) return {Verdict::kFail, "the pointer stays in the frames after it is turned off"};
  if (!is_seen) return {Verdict::kWarn, "the pointer is not seen in the frames"};
  return {Verdict::kPass, "with the pointer at " + Format("%ld, %ld", in_frame.x, in_frame.y) +
                              " the frame differs only at " + AreaText(difference)};
}

// Captures the monitor on a thread of its own and watches a ring around a window, where only
// another window of this program is.
class RingWatch {
 public:
  // inner and outer: on the screen.
  RingWatch(const Library& library, HMONITOR monitor, const RECT& inner, const RECT& outer)
      : thread_([this, &library, monitor, inner, outer] {
          try {
            Watch(library, monitor, inner, outer);
          } catch (...) {
            has_failed_ = true;
          }
        }) {}
  ~RingWatch() {
    is_over_ = true;
    thread_.join();
  }
  RingWatch(const RingWatch&) = delete;
  RingWatch& operator=(const RingWatch&) = delete;

  bool has_failed() const { return has_failed_; }
  // Pixels that are not of the cover's colour in the last frame; nothing before the first.
  std::optional<int> others() const {
    const int count = others_;
    return count < 0 ? std::nullopt : std::optional<int>(count);
  }
  uint32_t colour() const { return colour_; }  // of one of them

 private:
  void Watch(const Library& library, HMONITOR monitor, const RECT& inner, const RECT& outer) {
    MONITORINFO info{};
    info.cbSize = sizeof info;
    GetMonitorInfoW(monitor, &info);
    PatternCapture capture(library, monitor);
    RECT part = outer;
    OffsetRect(&part, -info.rcMonitor.left, -info.rcMonitor.top);
    capture.LookAt(part);
    while (!is_over_) {
      if (capture.Poll()) Count(capture.view(), inner, outer);
      Sleep(1);
    }
  }

  void Count(const PixelView& view, const RECT& inner, const RECT& outer) {
    int count = 0;
    for (uint32_t y = 0; y < view.height; ++y) {
      for (uint32_t x = 0; x < view.width; ++x) {
        const POINT place{outer.left + static_cast<LONG>(x), outer.top + static_cast<LONG>(y)};
        if (PtInRect(&inner, place)) continue;
        uint32_t pixel;
        std::memcpy(&pixel, view.pixels + y * view.row_pitch + x * kPixelBytes, kPixelBytes);
        if (IsCover(pixel)) continue;
        ++count;
        colour_ = pixel & 0xFFFFFF;
      }
    }
    others_ = count;
  }

  // Leaves a display some freedom.
  static bool IsCover(uint32_t pixel) {
    constexpr int kLevels = 16;
    for (int shift = 0; shift < 24; shift += 8) {
      const auto seen = static_cast<int>(pixel >> shift & 0xFF);
      const auto expected = static_cast<int>(kCoverColour >> shift & 0xFF);
      if (std::abs(seen - expected) > kLevels) return false;
    }
    return true;
  }

  std::atomic<bool> is_over_{false};
  std::atomic<bool> has_failed_{false};
  std::atomic<int> others_{-1};
  std::atomic<uint32_t> colour_{0};
  std::thread thread_;
};

RECT Inflated(RECT area, LONG by) {
  InflateRect(&area, by, by);
  return area;
}

constexpr LONG kRing = 16;

// Turns the border on and off while the monitor is captured, too: what is seen on the screen.
class BorderOnScreen {
 public:
  BorderOnScreen(const CheckContext& context, const StageWindow& window, HMONITOR monitor)
      : ring_(context.library, monitor, window.Bounds(), Inflated(window.Bounds(), kRing)) {
    ComesTo(false);
  }

  // False when that is not seen within 1 s.
  bool ComesTo(bool is_there) const {
    return Await(1.0, [&] {
      const std::optional<int> others = ring_.others();
      return ring_.has_failed() || (others && (*others > 0) == is_there);
    });
  }
  bool has_failed() const { return ring_.has_failed(); }
  uint32_t colour() const { return ring_.colour(); }

 private:
  RingWatch ring_;
};

// Whether the frames of the window are the same with the border as without.
void CheckFramesWithBorder(CheckContext& context, StageWindow& window, PatternCapture& capture,
                           const std::vector<uint32_t>& without, uint32_t counter) {
  TryPart(context.finding, window, [&]() -> Note {
    // An unchanged window may send no frame.
    capture.AwaitPresented(window, counter + 1);
    if (AwaitDifference(window, capture, counter, without, false)) {
      return {Verdict::kPass, "the window's frames are the same with the border and without"};
    }
    return {Verdict::kFail, "with the border, the window's frame differs at " +
                                AreaText(Difference(capture.view(), without))};
  });
}

}  // namespace

void CheckCursor(CheckContext& context) {
  StageWindowOptions options;
  options.position = SlotPosition(PrimaryMonitor(), context.slot);
  StageWindow window(options);
  // Wine knows the pointer of the foreground window only.
  if (IsWine()) SetForegroundWindow(window.handle());
  PatternCapture capture(context.library, window.handle());
  uint32_t counter = 1;
  TryPart(context.finding, window,
          [&] { return JudgePointer(context, window, capture, ++counter); });
}

void CheckBorder(CheckContext& context) {
  Finding& finding = context.finding;
  StageWindowOptions options;
  options.position = SlotPosition(PrimaryMonitor(), context.slot);
  options.position.x += kRing;
  options.position.y += kRing;
  StageWindowOptions background;
  background.kind = WindowKind::kCover;
  background.position = {options.position.x - kRing, options.position.y - kRing};
  background.client = {kStageSize.width + 2 * kRing, kStageSize.height + 2 * kRing};
  const StageWindow cover(background);
  StageWindow window(options);
  PatternCapture capture(context.library, window.handle());
  constexpr uint32_t kCounter = 2;
  if (!AwaitFirstPicture(context.finding, window, capture, kCounter)) return;
  const std::vector<uint32_t> without = PixelsOf(capture.view());
  std::optional<BorderOnScreen> screen;
  if (!IsWine()) screen.emplace(context, window, capture.monitor());
  void* const session = capture.session().handle();
  context.library.wgc_show_border(session, true);
  const bool is_seen = screen && screen->ComesTo(true);
  const uint32_t colour = screen ? screen->colour() : 0;
  CheckFramesWithBorder(context, window, capture, without, kCounter);
  const bool can_hide = context.library.wgc_show_border(session, false);
  const bool is_hidden = screen && screen->ComesTo(false);
  finding.Figure("canHide", can_hide);
  if (screen) finding.Figure("onScreen", {{"seen", is_seen}, {"hidden", is_hidden}});
  if (!screen) {
    finding.Skip("the border on the screen: the stand-in draws none");
  } else if (screen->has_failed()) {
    finding.Skip("the border on the screen: the monitor could not be captured beside the window");
  } else if (!is_seen) {
    finding.Info("no border is seen on the screen around the window when it is turned on");
  } else {
    finding.Info(Format("the border is seen on the screen in #%06X; turned off, it %s", colour,
                        is_hidden  ? "goes"
                        : can_hide ? "stays"
                                   : "stays, as this Windows cannot hide it"));
  }
}

}  // namespace quill_apps
