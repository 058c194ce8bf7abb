// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// report_sample FILE.html: writes the report of an invented run, for report_page_test.sh, which
// knows what the page must say:
// - beats 0 to 1800, 30 a second; beats 601 to 604 and 1201 to 1203 are dropped, the polls of the
//   first 15 give no frame;
// - 1280 x 720, but 800 x 600 at beats 900 to 1349;
// - a new frame at every third beat, but for beats 300 to 419;
// - ratio 1 where a size begins, 1/2 at the other multiples of 225, else one to eight 64ths in
// turn. Texts hold what would break a page that takes them for markup.

#include <libquill_wgc.h>
#include <objbase.h>

#include <cmath>
#include <cstdio>
#include <vector>

#include "quill-grab/console/error.h"
#include "quill-grab/output/report/report.h"

namespace quill_grab {
namespace {

constexpr int kLastBeat = 1800;
constexpr double kFps = 30.0;

bool IsDropped(int beat) {
  return (beat >= 601 && beat <= 604) || (beat >= 1201 && beat <= 1203);
}

bool IsNew(int beat) {
  return beat % 3 == 0 && (beat < 300 || beat >= 420);
}

FrameSize SizeAt(int beat) {
  return beat >= 900 && beat < 1350 ? FrameSize{800, 600} : FrameSize{1280, 720};
}

float RatioAt(int beat) {
  if (!IsNew(beat)) return 0.0f;
  if (beat == 15 || beat == 900 || beat == 1350) return 1.0f;
  if (beat % 225 == 0) return 0.5f;
  return static_cast<float>(1 + beat / 3 % 8) / 64.0f;
}

// A window drawn with rectangles: a bar on top, lines of text on the left, a scene on the right in
// which a disc swings, and in the top left tile a square that blinks with each new frame.
class Picture {
 public:
  explicit Picture(FrameSize size) : size_(size), pixels_(size_t{size.width} * size.height) {}

  void Draw(int beat) {
    const int width = static_cast<int>(size_.width);
    const int height = static_cast<int>(size_.height);
    Fill(0, 0, width, height, 0xF3F1EC);
    Fill(0, 0, width, 40, 0x2B4A6F);
    for (int line = 0; line < (height - 80) / 28; ++line) {
      Fill(32, 64 + line * 28, 120 + line * 53 % 180, 10, 0x9AA3AD);
    }
    const int scene = beat / 225;
    const int left = width * 35 / 100;
    Fill(left, 64, width - left - 32, height - 128,
         0x20303Cu + static_cast<uint32_t>(scene) * 0x0B1605u);
    const double angle = beat * 0.05;
    Disc(left + 60 + static_cast<int>((width - left - 150) * (0.5 + 0.5 * std::sin(angle))),
         110 + static_cast<int>((height - 220) * (0.5 + 0.5 * std::cos(angle * 0.7))), 40,
         0xF2B84B);
    Fill(left, height - 40, (width - left - 32) * beat / kLastBeat, 12, 0x3B8C5A);
    Fill(8, 8, 16, 16, beat / 3 % 2 == 0 ? 0xE0563Fu : 0xFFFFFFu);
  }

  PixelView view() const {
    return {reinterpret_cast<const uint8_t*>(pixels_.data()), size_.width, size_.height,
            size_t{size_.width} * 4};
  }

 private:
  void Fill(int left, int top, int width, int height, uint32_t colour) {
    for (int y = top; y < top + height; ++y) {
      std::fill_n(pixels_.begin() + y * static_cast<int>(size_.width) + left, width, colour);
    }
  }

  void Disc(int x, int y, int radius, uint32_t colour) {
    for (int row = -radius; row <= radius; ++row) {
      const int half = static_cast<int>(std::sqrt(radius * radius - row * row));
      Fill(x - half, y + row, 2 * half + 1, 1, colour);
    }
  }

  FrameSize size_;
  std::vector<uint32_t> pixels_;
};

std::vector<LogLine> NastyLog() {
  return {
      {0.0021, WGC_LOG_INFO, "session created"},
      {0.4987, WGC_LOG_INFO, "</script><script>document.body.dataset.broken = 1</script>"},
      {9.9333, WGC_LOG_WARNING,
       "<img src=x onerror=\"document.body.dataset.broken = 2\"> & &lt; 'quoted'"},
      {20.1667, WGC_LOG_WARNING, "<!--<script> {{data}} \\ \" \t tab, \xE2\x80\xA8 line separator"},
      {30.0, WGC_LOG_INFO, "size is now 800 x 600"},
      {45.0125, WGC_LOG_ERROR,
       "not UTF-8: \xFF\xC3; Gr\xC3\xBC\xC3\x9F"
       "e, \xE6\x97\xA5\xE6\x9C\xAC"}};
}

void WriteSample(const std::string& path) {
  Report report(path);
  Summary summary;
  Picture large({1280, 720});
  Picture small({800, 600});
  uint64_t missed = 0;
  for (int beat = 0; beat <= kLastBeat; ++beat) {
    if (IsDropped(beat)) {
      ++missed;
      continue;
    }
    if (beat < 15) {
      summary.AddPollWithoutFrame();
      continue;
    }
    FrameRecord record{beat / kFps, SizeAt(beat), RatioAt(beat), IsNew(beat), missed, ""};
    missed = 0;
    Picture& picture = record.size.width == 1280 ? large : small;
    if (report.NeedsPixels(record)) picture.Draw(beat);
    const PixelView view = picture.view();
    report.Take(record, report.NeedsPixels(record) ? &view : nullptr);
    summary.AddFrame(record);
  }
  report.Finish({"window 0x3004e, class Notepad, \"</title><b>Notes & \\ 'plans'</b>\"",
                 "the time is over", kLastBeat / kFps, kFps, summary, NastyLog()});
}

}  // namespace
}  // namespace quill_grab

int main(int argc, char** argv) {
  if (argc != 2 || FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) return 1;
  try {
    quill_grab::WriteSample(argv[1]);
  } catch (const quill_grab::GrabError& error) {
    std::fprintf(stderr, "report_sample: %s\n", error.what());
    return 1;
  }
  CoUninitialize();
  return 0;
}
