// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <vector>

#include "common/text.h"
#include "quill-check/checks/checks.h"
#include "quill-check/checks/pattern_capture.h"

namespace quill_apps {

namespace {

// What the library promises: tiles of 32 x 32 pixels from the top left; those that reach the right
// or the bottom edge are not watched.
constexpr uint32_t kTile = 32;

uint32_t WatchedTiles(uint32_t length) {
  return (length - 1) / kTile;
}

bool TileDiffers(const uint8_t* a, const uint8_t* b, uint32_t width, uint32_t column,
                 uint32_t row) {
  for (uint32_t y = row * kTile; y < (row + 1) * kTile; ++y) {
    for (uint32_t x = column * kTile; x < (column + 1) * kTile; ++x) {
      const size_t at = (size_t{y} * width + x) * kPixelBytes;
      if (std::memcmp(a + at, b + at, 3) != 0) return true;  // alpha does not count
    }
  }
  return false;
}

// The area of the watched tiles that differ, in pixels.
uint32_t ChangedArea(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b, FrameSize size) {
  uint32_t tiles = 0;
  for (uint32_t row = 0; row < WatchedTiles(size.height); ++row) {
    for (uint32_t column = 0; column < WatchedTiles(size.width); ++column) {
      if (TileDiffers(a.data(), b.data(), size.width, column, row)) ++tiles;
    }
  }
  return tiles * kTile * kTile;
}

struct Change {
  const char* name;
  PictureEdit edit;
};

// Changes one pixel's channels by that many levels.
PictureEdit ChangePixel(uint32_t x, uint32_t y, uint8_t levels, size_t channels) {
  return [=](uint8_t* pixels, FrameSize size) {
    uint8_t* pixel = pixels + (size_t{y} * size.width + x) * kPixelBytes;
    for (size_t i = 0; i < channels; ++i) pixel[i] = static_cast<uint8_t>(pixel[i] ^ levels);
  };
}

void InvertAll(uint8_t* pixels, FrameSize size) {
  for (size_t i = 0; i < size_t{size.width} * size.height; ++i) {
    for (size_t channel = 0; channel < 3; ++channel) pixels[i * kPixelBytes + channel] ^= 0xff;
  }
}

std::vector<Change> ChangesOf(FrameSize size) {
  const uint32_t right = WatchedTiles(size.width) * kTile;  // of what is watched
  const uint32_t bottom = WatchedTiles(size.height) * kTile;
  return {
      {"one pixel in the first tile", ChangePixel(0, 0, 0x80, 3)},
      {"one pixel in a middle tile", ChangePixel(right / 2, bottom / 2, 0x80, 3)},
      {"the last pixel of the last watched tile", ChangePixel(right - 1, bottom - 1, 0x80, 3)},
      {"a pixel of one blue level", ChangePixel(right / 2 + 1, bottom / 2 + 1, 0x01, 1)},
      {"a pixel of all levels", ChangePixel(right / 2 + 2, bottom / 2 + 2, 0xff, 3)},
      {"every pixel", InvertAll},
  };
}

std::vector<Change> UnseenOf(FrameSize size) {
  const uint32_t right = WatchedTiles(size.width) * kTile;
  const uint32_t bottom = WatchedTiles(size.height) * kTile;
  return {
      {"nothing", [](uint8_t*, FrameSize) {}},
      {"a pixel of the unwatched right edge", ChangePixel(right, 0, 0x80, 3)},
      {"a pixel of the unwatched bottom edge", ChangePixel(0, bottom, 0x80, 3)},
  };
}

std::vector<uint8_t> Copy(const PixelView& view) {
  return {view.pixels, view.pixels + size_t{view.height} * view.row_pitch};
}

class DetectionCheck {
 public:
  explicit DetectionCheck(CheckContext& context)
      : finding_(context.finding),
        library_(context.library),
        window_(Options(context.slot)),
        capture_(context.library, window_.handle(), Detecting()) {}

  void Run(FrameSize size) {
    window_.Resize(size);
    capture_.Expect(size);
    constexpr double kSeconds = 1.0;
    if (!Await(kSeconds, [&] { return capture_.Poll() && capture_.frame_size() == size; })) {
      finding_.Fail("no frame of " + SizeText(size) + " came within 1 s of the resize");
      return;
    }
    for (const Change& change : ChangesOf(size)) {
      Try([&] { return Judge(change, size); });
    }
    for (const Change& change : UnseenOf(size)) {
      Try([&] { return JudgeUnseen(change, size); });
    }
  }

  int compared() const { return compared_; }

 private:
  static StageWindowOptions Options(int slot) {
    StageWindowOptions options;
    options.drawing = Drawing::kGdi;
    options.position = SlotPosition(PrimaryMonitor(), slot, kLargestWindow);
    return options;
  }
  static Switches Detecting() {
    Switches switches;
    switches.detect = true;
    return switches;
  }

  // A failure takes three tries, and a few of them tell as much as all.
  void Try(const std::function<Note()>& part) {
    constexpr int kEnough = 4;
    if (failures_ == kEnough) return;
    Finding outcome;
    if (!TryPart(outcome, window_, part)) ++failures_;
    finding_.AddAllButPasses(outcome);
  }

  // Nothing that was drawn earlier is still on its way.
  void Settle() {
    constexpr int kQuietPolls = 40;
    int quiet = 0;
    Await(1.0, [&] {
      quiet = capture_.Poll() ? 0 : quiet + 1;
      return quiet == kQuietPolls;
    });
  }

  Note Judge(const Change& change, FrameSize size) {
    Settle();
    const std::vector<uint8_t> before = Copy(capture_.view());
    window_.PresentEdited(change.edit);
    const std::string what = SizeText(size) + ", " + change.name;
    if (!Await(1.0, [&] { return capture_.Poll(); })) return JudgeMissed(what, before, size);
    const double pixels = static_cast<double>(size.width) * size.height;
    const auto reported = static_cast<uint32_t>(std::lround(capture_.ratio() * pixels));
    const uint32_t expected = ChangedArea(before, Copy(capture_.view()), size);
    ++compared_;
    if (reported == expected) return {Verdict::kPass, what};
    return {Verdict::kFail, Format("%s: the GPU reports %u changed pixels, the CPU counts %u",
                                   what.c_str(), reported, expected)};
  }

  // Whether a change that was not reported is in the frames at all: colour management may make one
  // level of difference vanish. A frame without detection, which the last pixel brings, shows it.
  Note JudgeMissed(const std::string& what, const std::vector<uint8_t>& before, FrameSize size) {
    library_.wgc_set_dirty_rect(capture_.session().handle(), false);
    window_.PresentEdited(ChangePixel(size.width - 1, size.height - 1, 0x80, 3));
    const bool has_come = Await(1.0, [&] { return capture_.Poll(); });
    library_.wgc_set_dirty_rect(capture_.session().handle(), true);
    if (!has_come) return {Verdict::kFail, what + ": no frame came within 1 s"};
    if (ChangedArea(before, Copy(capture_.view()), size) != 0) {
      return {Verdict::kFail, what + ": the change is in the frame and was not reported"};
    }
    return {Verdict::kInfo, what + ": the display does not show the difference"};
  }

  Note JudgeUnseen(const Change& change, FrameSize size) {
    Settle();
    window_.PresentEdited(change.edit);
    ++compared_;
    constexpr double kSeconds = 0.1;
    if (!Await(kSeconds, [&] { return capture_.Poll(); })) return {Verdict::kPass, change.name};
    return {Verdict::kFail, SizeText(size) + ", " + change.name +
                                Format(": a change of %g is reported", capture_.ratio())};
  }

  Finding& finding_;
  const Library& library_;
  StageWindow window_;
  PatternCapture capture_;
  int compared_ = 0;
  int failures_ = 0;
};

}  // namespace

void CheckDetection(CheckContext& context) {
  DetectionCheck check(context);
  // The second size has grown, the third has shrunk; none is a whole number of tiles.
  const FrameSize sizes[] = {kStageSize, kLargestWindow, {333, 221}};
  for (const FrameSize& size : sizes) check.Run(size);
  context.finding.Figure("compared", check.compared());
  if (context.finding.verdict() < Verdict::kWarn) {
    context.finding.Pass(
        Format("%d changes at three sizes: the GPU reports what the CPU counts", check.compared()));
  }
}

}  // namespace quill_apps
