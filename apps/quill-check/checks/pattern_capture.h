// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "common/capture_session.h"
#include "quill-check/check.h"
#include "quill-check/scene/pattern.h"
#include "quill-check/scene/stage.h"

namespace quill_apps {

// How long a picture may take before a part of a check is tried again.
constexpr double kAwaitSeconds = 0.5;
// The same where it is not tried again.
constexpr double kPatientSeconds = 2.0;

// A capture as bytes whose frames are searched for the pattern. For a thread that has started no
// session yet.
class PatternCapture {
 public:
  explicit PatternCapture(const Library& library, HWND window, const Switches& switches = {})
      : window_(window), session_(library, window, nullptr, switches) {}
  explicit PatternCapture(const Library& library, HMONITOR monitor, const Switches& switches = {})
      : monitor_(monitor), session_(library, nullptr, monitor, switches) {}

  const CaptureSession& session() const { return session_; }
  // What is captured, or where the window is.
  HMONITOR monitor() const;

  // The client area's size from here on; kStageSize at first.
  void Expect(FrameSize client) { client_ = client; }
  // Only this part of the frame is looked at: what else is on a monitor is nobody's business.
  void LookAt(const RECT& part) { part_ = part; }

  // Polls once. True when a frame has come since the poll before: then reading() is that of it.
  bool Poll();
  // Polls every millisecond until a whole frame shows the counter. False when none comes in time.
  bool AwaitCounter(uint32_t counter, double seconds = kAwaitSeconds);
  // Presents the counter and awaits it, again and again until the time is up.
  bool AwaitPresented(StageWindow& window, uint32_t counter, double seconds = kAwaitSeconds);

  const PatternReading& reading() const { return reading_; }
  // The size of the last frame, and the pixels of what is looked at; valid until the next poll.
  FrameSize frame_size() const { return frame_size_; }
  PixelView view() const { return view_; }
  float ratio() const { return ratio_; }
  int64_t ticks() const { return ticks_; }  // Ticks() when the last poll returned

 private:
  const HWND window_ = nullptr;
  const HMONITOR monitor_ = nullptr;
  CaptureSession session_;
  std::optional<CapturedFrame> frame_;
  FrameSize client_ = kStageSize;
  std::optional<RECT> part_;
  FrameSize frame_size_{};
  PixelView view_{};
  float ratio_ = 0;
  int64_t ticks_ = 0;
  PatternReading reading_;
};

// Whether the last frame shows the pattern with that counter, unscaled, its client area at that
// place. what begins the sentence: "A drawn by GDI".
Note JudgePlace(const std::string& what, const PatternCapture& capture, uint32_t counter,
                const RECT& place);
// The same, and whether the colours are exact. On an HDR display only the order of greys can be
// wrong.
Note JudgePixels(const std::string& what, const PatternCapture& capture, uint32_t counter,
                 const RECT& place);

// Whether a pattern that was found has exact colours, for a window on that monitor.
Note JudgeColours(const std::string& what, const PatternReading& reading, HMONITOR monitor);

// The place of a client area that fills the frame.
constexpr RECT kWholeFrame{0, 0, static_cast<LONG>(kStageSize.width),
                           static_cast<LONG>(kStageSize.height)};

// What the user or another program did meanwhile that may have spoilt a part of a check: moved the
// mouse, or covered the window.
class Disturbance {
 public:
  // window: one that is in front now and should stay there.
  explicit Disturbance(const StageWindow& window) : window_(window) { GetCursorPos(&cursor_); }
  bool HasCome() const;

 private:
  const StageWindow& window_;
  POINT cursor_{};
};

// Tries a part of a check until it does not fail, up to that many times. If all fail, it has
// failed, unless each was disturbed: then it is a warning. Notes the outcome and returns whether it
// is no failure. front: the window that should be before all others.
bool TryPart(Finding& finding, StageWindow& front, const std::function<Note()>& part,
             int tries = 3);

// Awaits the window's first picture, as TryPart does. Notes the outcome only when none is seen, and
// then returns false.
bool AwaitFirstPicture(Finding& finding, StageWindow& window, PatternCapture& capture,
                       uint32_t counter);

// "0, 0 to 640, 360"
std::string AreaText(const RECT& area);
// "640 x 360"
std::string SizeText(FrameSize size);

}  // namespace quill_apps
