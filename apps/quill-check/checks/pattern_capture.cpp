// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-check/checks/pattern_capture.h"

#include <dxgi1_6.h>
#include <wrl/client.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "common/text.h"

namespace quill_apps {

namespace {

// The part of the frame that lies within the rectangle.
PixelView Cut(const PixelView& frame, const RECT& part) {
  const auto within = [](LONG value, uint32_t limit) {
    return static_cast<uint32_t>(std::clamp<LONG>(value, 0, static_cast<LONG>(limit)));
  };
  const uint32_t left = within(part.left, frame.width);
  const uint32_t top = within(part.top, frame.height);
  return {frame.pixels + top * frame.row_pitch + left * kPixelBytes,
          within(part.right, frame.width) - left, within(part.bottom, frame.height) - top,
          frame.row_pitch};
}

bool IsHdr(HMONITOR monitor) {
  using Microsoft::WRL::ComPtr;
  ComPtr<IDXGIFactory1> factory;
  if (FAILED(CreateDXGIFactory1(IID_PPV_ARGS(&factory)))) return false;
  ComPtr<IDXGIAdapter1> adapter;
  for (UINT i = 0; factory->EnumAdapters1(i, adapter.ReleaseAndGetAddressOf()) == S_OK; ++i) {
    ComPtr<IDXGIOutput> output;
    for (UINT j = 0; adapter->EnumOutputs(j, output.ReleaseAndGetAddressOf()) == S_OK; ++j) {
      ComPtr<IDXGIOutput6> output6;
      DXGI_OUTPUT_DESC1 description{};
      if (SUCCEEDED(output.As(&output6)) && SUCCEEDED(output6->GetDesc1(&description)) &&
          description.Monitor == monitor) {
        return description.ColorSpace == DXGI_COLOR_SPACE_RGB_FULL_G2084_NONE_P2020;
      }
    }
  }
  return false;
}

// What an HDR display makes of colours is its own business, as long as the order of greys stays.
Note JudgeGreys(const std::string& what, const PatternReading& reading) {
  std::string text = what + ": at its place; on this HDR display the greys 32, 64 ... 224 come as";
  for (const uint8_t grey : reading.greys) text += Format(" %d", grey);
  const bool is_ascending = std::is_sorted(std::begin(reading.greys), std::end(reading.greys));
  return {is_ascending ? Verdict::kPass : Verdict::kFail, text};
}

}  // namespace

HMONITOR PatternCapture::monitor() const {
  return monitor_ != nullptr ? monitor_ : MonitorFromWindow(window_, MONITOR_DEFAULTTONEAREST);
}

bool PatternCapture::Poll() {
  frame_ = session_.Poll();
  ticks_ = Ticks();
  if (!frame_) return false;
  ratio_ = frame_->ratio;
  frame_size_ = frame_->size;
  const PixelView frame{static_cast<const uint8_t*>(frame_->data.get()), frame_size_.width,
                        frame_size_.height, frame_size_.width * kPixelBytes};
  view_ = part_ ? Cut(frame, *part_) : frame;
  if (ratio_ == 0.0f) return false;
  reading_ = ReadPattern(view_, client_);
  return true;
}

bool PatternCapture::AwaitCounter(uint32_t counter, double seconds) {
  return Await(seconds, [&] {
    return Poll() && reading_.found && !reading_.torn && reading_.counter == counter;
  });
}

bool PatternCapture::AwaitPresented(StageWindow& window, uint32_t counter, double seconds) {
  // A poll takes the first of several frames and drops the others. If the picture was in one of
  // those, a still window sends no further frame, so another picture is shown between two tries.
  constexpr double kTrySeconds = 0.25;
  constexpr uint32_t kOther = 1 << 23;
  const auto start = std::chrono::steady_clock::now();
  window.Present(counter);
  while (!AwaitCounter(counter, std::min(seconds, kTrySeconds))) {
    if (MillisecondsSince(start) > seconds * 1e3) return false;
    window.Present(counter ^ kOther);
    AwaitCounter(counter ^ kOther, kTrySeconds);
    window.Present(counter);
  }
  return true;
}

Note JudgePlace(const std::string& what, const PatternCapture& capture, uint32_t counter,
                const RECT& place) {
  const PatternReading& reading = capture.reading();
  if (!reading.found) {
    return {Verdict::kFail,
            what + ": the pattern is not in the frame of " + SizeText(capture.frame_size())};
  }
  if (reading.scaled) {
    return {Verdict::kFail, what + ": the client area is scaled: " + AreaText(reading.area)};
  }
  if (!EqualRect(&reading.area, &place)) {
    return {Verdict::kFail, what + ": the client area is at " + AreaText(reading.area) +
                                " instead of " + AreaText(place)};
  }
  if (reading.torn) return {Verdict::kFail, what + ": the frame is torn"};
  if (reading.counter != counter) {
    return {Verdict::kFail, Format("%s: the frame shows picture %u instead of %u", what.c_str(),
                                   reading.counter, counter)};
  }
  return {Verdict::kPass, what + ": at its place and unscaled"};
}

Note JudgePixels(const std::string& what, const PatternCapture& capture, uint32_t counter,
                 const RECT& place) {
  Note found = JudgePlace(what, capture, counter, place);
  return found.verdict == Verdict::kFail ? found
                                         : JudgeColours(what, capture.reading(), capture.monitor());
}

Note JudgeColours(const std::string& what, const PatternReading& reading, HMONITOR monitor) {
  const std::string alpha =
      reading.smallest_alpha == reading.largest_alpha
          ? Format("alpha %d", reading.smallest_alpha)
          : Format("alpha %d to %d", reading.smallest_alpha, reading.largest_alpha);
  if (reading.deviating_blocks == 0) {
    return {Verdict::kPass, what + ": every colour is exact, " + alpha};
  }
  if (IsHdr(monitor)) return JudgeGreys(what, reading);
  constexpr int kColourManagement = 2;
  const int levels = reading.LargestDeviation();
  if (levels <= kColourManagement) {
    return {Verdict::kWarn,
            Format("%s: colours are up to %d of 255 levels off, as by colour management, %s",
                   what.c_str(), levels, alpha.c_str())};
  }
  constexpr uint32_t kColour = 0xFFFFFF;
  return {
      Verdict::kFail,
      Format("%s: %zu blocks are of other colours, up to %d of 255 levels off; the first is "
             "block %u, %u: #%06X instead of #%06X",
             what.c_str(), reading.deviating_blocks, levels, reading.first.column,
             reading.first.row, reading.first.seen & kColour, reading.first.expected & kColour)};
}

bool Disturbance::HasCome() const {
  POINT cursor{};
  GetCursorPos(&cursor);
  return cursor.x != cursor_.x || cursor.y != cursor_.y || !window_.IsInFront();
}

bool TryPart(Finding& finding, StageWindow& front, const std::function<Note()>& part, int tries) {
  Note note{};
  bool was_always_disturbed = true;
  for (; tries > 0; --tries) {
    const Disturbance disturbance(front);
    note = part();
    if (note.verdict != Verdict::kFail) break;
    was_always_disturbed = was_always_disturbed && disturbance.HasCome();
    front.Raise();
  }
  if (note.verdict == Verdict::kFail && was_always_disturbed) {
    note = {Verdict::kWarn, "disturbed by the mouse or another window: " + note.text};
    finding.Figure(Finding::kDisturbed, true);
  }
  finding.Add(note.verdict, note.text);
  return note.verdict != Verdict::kFail;
}

bool AwaitFirstPicture(Finding& finding, StageWindow& window, PatternCapture& capture,
                       uint32_t counter) {
  Finding outcome;
  TryPart(outcome, window, [&]() -> Note {
    // A picture that is shown already sends no further frame.
    if (capture.AwaitPresented(window, counter + 1, 1.0) &&
        capture.AwaitPresented(window, counter, 1.0)) {
      return {Verdict::kPass, ""};
    }
    return {Verdict::kFail, "the window's picture does not come within 1 s"};
  });
  if (outcome.verdict() == Verdict::kPass) return true;
  finding.AddAllButPasses(outcome);
  return false;
}

std::string AreaText(const RECT& area) {
  return Format("%ld, %ld to %ld, %ld", area.left, area.top, area.right, area.bottom);
}

std::string SizeText(FrameSize size) {
  return Format("%u x %u", size.width, size.height);
}

}  // namespace quill_apps
