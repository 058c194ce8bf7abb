// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// conversion_bench [--benchmark_filter=REGEX] [--benchmark_min_time=SECONDS]
//                  [--benchmark_format=json]
//
// quill-grab's conversion of frames to 4:2:0, next to that of FFmpeg's swscale. Both run on one
// thread, with the same pictures, matrix and range.

extern "C" {
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "measure.h"
#include "quill-grab/output/video/yuv420.h"
#include "report.h"

namespace bench {
namespace {

using quill_apps::Chroma;
using quill_apps::ConvertToYuv420;
using quill_apps::FrameSize;
using quill_apps::kPixelBytes;
using quill_apps::PixelView;
using quill_apps::Yuv420Size;

constexpr FrameSize kSizes[] = {{1920, 1080}, {3840, 2160}};

struct Format {
  const char* name;
  Chroma chroma;
  AVPixelFormat pixel_format;
};
constexpr Format kFormats[] = {{"y4m", Chroma::kPlanes, AV_PIX_FMT_YUV420P},
                               {"nv12", Chroma::kPairs, AV_PIX_FMT_NV12}};

// The ways in which swscale halves the chroma: its default, and the one that takes the least time,
// which leaves out every other row.
struct Way {
  const char* name;
  int flags;
};
constexpr Way kWays[] = {{"bicubic", SWS_BICUBIC}, {"point", SWS_POINT}};

[[noreturn]] void Fail(const std::string& what) {
  std::fprintf(stderr, "conversion_bench: %s\n", what.c_str());
  std::exit(1);
}

// Colours vary slowly, so that all ways to halve the chroma give nearly the same.
std::vector<uint8_t> Picture(const FrameSize& size) {
  std::vector<uint8_t> bgra;
  bgra.reserve(size_t{size.width} * size.height * kPixelBytes);
  for (uint32_t y = 0; y < size.height; ++y) {
    for (uint32_t x = 0; x < size.width; ++x) {
      const uint32_t blue = x * 255 / size.width;
      const uint32_t green = y * 255 / size.height;
      bgra.insert(bgra.end(), {static_cast<uint8_t>(blue), static_cast<uint8_t>(green),
                               static_cast<uint8_t>(255 - (blue + green) / 2), 255});
    }
  }
  return bgra;
}

class Swscale {
 public:
  Swscale(const FrameSize& size, const Format& format, const Way& way)
      : size_(size),
        format_(format),
        context_(sws_getContext(Side(size.width), Side(size.height), AV_PIX_FMT_BGRA,
                                Side(size.width), Side(size.height), format.pixel_format, way.flags,
                                nullptr, nullptr, nullptr)),
        samples_(Yuv420Size(size)) {
    const int* matrix = sws_getCoefficients(SWS_CS_ITU709);
    constexpr int kFull = 1;
    constexpr int kLimited = 0;
    constexpr int kUnchanged = 1 << 16;
    if (!context_ || sws_setColorspaceDetails(context_.get(), matrix, kFull, matrix, kLimited, 0,
                                              kUnchanged, kUnchanged) < 0) {
      Fail("swscale refused the conversion");
    }
    av_image_fill_arrays(planes_, pitches_, samples_.data(), format.pixel_format, Side(size.width),
                         Side(size.height), 1);
  }

  void Convert(const std::vector<uint8_t>& bgra) {
    const uint8_t* const pixels[] = {bgra.data()};
    const int pitches[] = {Side(size_.width * kPixelBytes)};
    sws_scale(context_.get(), pixels, pitches, 0, Side(size_.height), planes_, pitches_);
  }

  const std::vector<uint8_t>& samples() const { return samples_; }

 private:
  struct Deleter {
    void operator()(SwsContext* context) const { sws_freeContext(context); }
  };
  static int Side(size_t length) { return static_cast<int>(length); }

  const FrameSize size_;
  const Format& format_;
  std::unique_ptr<SwsContext, Deleter> context_;
  std::vector<uint8_t> samples_;
  uint8_t* planes_[4];
  int pitches_[4];
};

// swscale rounds in several steps.
void ExpectNearlyTheSame(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
  for (size_t i = 0; i < a.size(); ++i) {
    if (std::abs(a[i] - b[i]) > 2) Fail("the two conversions give different samples");
  }
}

void Compare(const FrameSize& size, const Format& format, const Way& way, const Options& options,
             Report& report) {
  const std::string name = std::string("convert/") + format.name + '/' +
                           std::to_string(size.width) + 'x' + std::to_string(size.height) + '/' +
                           way.name;
  if (!report.IsWanted(name)) return;
  const std::vector<uint8_t> bgra = Picture(size);
  const PixelView picture{bgra.data(), size.width, size.height, size.width * kPixelBytes};
  std::vector<uint8_t> samples(Yuv420Size(size));
  Swscale swscale(size, format, way);
  Comparison result;
  result.Run({[] {}, [&] { ConvertToYuv420(picture, format.chroma, samples.data()); }},
             {[] {}, [&] { swscale.Convert(bgra); }}, options.seconds);
  ExpectNearlyTheSame(samples, swscale.samples());
  // Not that of the times that passed: the longer a run takes, the more often other programs
  // interrupt it.
  report.AddComparison(name, "swscale", result, result.session_cpu() / result.floor_cpu());
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  bench::Options options;
  if (!bench::ReadOptions(argc, argv, options)) {
    std::fprintf(stderr,
                 "usage: conversion_bench [--benchmark_filter=REGEX] "
                 "[--benchmark_min_time=SECONDS] [--benchmark_format=json]\n");
    return 2;
  }
  bench::Report report(options);
  for (const bench::FrameSize& size : bench::kSizes) {
    for (const bench::Format& format : bench::kFormats) {
      for (const bench::Way& way : bench::kWays) {
        bench::Compare(size, format, way, options, report);
      }
    }
  }
  report.PrintJson("none");
  return 0;
}
