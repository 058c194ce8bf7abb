// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// report_sample FILE.html: writes the report of an invented run, and a line for each of its polls
// with a frame: tick, width, height, ratio. report_page_check.py knows the rest:
// - 30 ticks a second, of which 601 to 604 and 1201 to 1203 are missed; the polls of the first 15
//   give no frame;
// - one size at ticks 15 to 899, another at 900 to 1349, the first again up to 1800.
// The texts contain what would break a page that takes them for markup.

#include <libquill_wgc.h>
#include <objbase.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "common/error.h"
#include "quill-grab/output/report/report.h"

namespace quill_apps {
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

// A square that swings on a plain ground and, in the top left tile, one that blinks with each new
// frame.
std::vector<uint32_t> Drawing(FrameSize size, int tick) {
  std::vector<uint32_t> pixels(size_t{size.width} * size.height, 0xF3F1ECu);
  const auto fill = [&](uint32_t left, uint32_t top, uint32_t side, uint32_t colour) {
    for (uint32_t y = top; y < top + side; ++y) {
      std::fill_n(&pixels[size_t{y} * size.width + left], side, colour);
    }
  };
  fill(8, 8, 16, tick / 3 % 2 == 0 ? 0xE0563Fu : 0xFFFFFFu);
  const auto x = static_cast<uint32_t>((size.width - 140) * (0.5 + 0.5 * std::sin(tick * 0.05)));
  const auto y = static_cast<uint32_t>((size.height - 140) * (0.5 + 0.5 * std::cos(tick * 0.035)));
  fill(40 + x, 40 + y, 80, 0xF2B84Bu);
  return pixels;
}

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
    std::printf("%d %u %u %g\n", tick, record.size.width, record.size.height, record.ratio);
    const std::vector<uint32_t> pixels = Drawing(record.size, tick);
    const PixelView view{reinterpret_cast<const uint8_t*>(pixels.data()), record.size.width,
                         record.size.height, size_t{record.size.width} * 4};
    report.Take(record, report.NeedsPixels(record) ? &view : nullptr);
    summary.AddFrame(record);
  }
  report.Finish({"window 0x3004e, class Notepad, \"</title><b>Notes & \\ 'plans'</b>\"",
                 "the time is over", kLastTick / kFps, kFps, summary, NastyLog()});
}

}  // namespace
}  // namespace quill_apps

int main(int argc, char** argv) {
  if (argc != 2 || FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) return 1;
  try {
    quill_apps::WriteSample(argv[1]);
  } catch (const quill_apps::ToolError& error) {
    std::fprintf(stderr, "report_sample: %s\n", error.what());
    return 1;
  }
  CoUninitialize();
  return 0;
}
