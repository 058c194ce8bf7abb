// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// report_sample FILE.html: writes the report of an invented run, for report_page_test.sh, which
// knows what the page must say:
// - ticks 0 to 1800, 30 a second; ticks 601 to 604 and 1201 to 1203 are missed, the polls of the
//   first 15 give no frame;
// - 1280 x 720, but 800 x 600 at ticks 900 to 1349;
// - a new frame at every third tick, but for ticks 300 to 419;
// - ratio 1 where a size begins, 1/2 at the other multiples of 225, else one to eight 64ths in
// turn. The texts contain what would break a page that takes them for markup.

#include <libquill_wgc.h>
#include <objbase.h>

#include <cmath>
#include <cstdio>
#include <vector>

#include "quill-grab/console/error.h"
#include "quill-grab/output/report/report.h"

namespace quill_grab {
namespace {

constexpr int kLastTick = 1800;
constexpr double kFps = 30.0;

bool IsMissed(int tick) {
  return (tick >= 601 && tick <= 604) || (tick >= 1201 && tick <= 1203);
}

bool IsNew(int tick) {
  return tick % 3 == 0 && (tick < 300 || tick >= 420);
}

FrameSize SizeAt(int tick) {
  return tick >= 900 && tick < 1350 ? FrameSize{800, 600} : FrameSize{1280, 720};
}

float RatioAt(int tick) {
  if (!IsNew(tick)) return 0.0f;
  if (tick == 15 || tick == 900 || tick == 1350) return 1.0f;
  if (tick % 225 == 0) return 0.5f;
  return static_cast<float>(1 + tick / 3 % 8) / 64.0f;
}

// A disc that swings on a plain ground and, in the top left tile, a square that blinks with each
// new frame.
class Drawing {
 public:
  explicit Drawing(FrameSize size) : size_(size), pixels_(size_t{size.width} * size.height) {}

  void Draw(int tick) {
    std::fill(pixels_.begin(), pixels_.end(), 0xF3F1ECu);
    Fill(8, 8, 16, 16, tick / 3 % 2 == 0 ? 0xE0563Fu : 0xFFFFFFu);
    constexpr int kRadius = 40;
    const double angle = tick * 0.05;
    const int x = 60 + static_cast<int>((size_.width - 120) * (0.5 + 0.5 * std::sin(angle)));
    const int y = 90 + static_cast<int>((size_.height - 150) * (0.5 + 0.5 * std::cos(angle * 0.7)));
    for (int row = -kRadius; row <= kRadius; ++row) {
      const int half = static_cast<int>(std::sqrt(kRadius * kRadius - row * row));
      Fill(x - half, y + row, 2 * half + 1, 1, 0xF2B84Bu);
    }
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
  Drawing large({1280, 720});
  Drawing small({800, 600});
  uint64_t missed = 0;
  for (int tick = 0; tick <= kLastTick; ++tick) {
    if (IsMissed(tick)) {
      ++missed;
      continue;
    }
    if (tick < 15) {
      summary.AddPollWithoutFrame();
      continue;
    }
    FrameRecord record{tick / kFps, SizeAt(tick), RatioAt(tick), IsNew(tick), missed, ""};
    missed = 0;
    Drawing& picture = record.size.width == 1280 ? large : small;
    if (report.NeedsPixels(record)) picture.Draw(tick);
    const PixelView view = picture.view();
    report.Take(record, report.NeedsPixels(record) ? &view : nullptr);
    summary.AddFrame(record);
  }
  report.Finish({"window 0x3004e, class Notepad, \"</title><b>Notes & \\ 'plans'</b>\"",
                 "the time is over", kLastTick / kFps, kFps, summary, NastyLog()});
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
