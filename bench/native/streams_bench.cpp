// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// streams_bench [--benchmark_filter=REGEX] [--benchmark_min_time=SECONDS]
//                  [--benchmark_format=json]
//
// quill-grab's conversion of frames to 4:2:0 and its shrinking of frames that do not fit, next to
// FFmpeg's swscale. Both run on one thread, with the same pictures, matrix and range.

extern "C" {
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "measure.h"
#include "quill-grab/output/shrink.h"
#include "quill-grab/output/video/yuv420.h"
#include "report.h"

namespace bench {
namespace {

using quill_apps::Chroma;
using quill_apps::ConvertToYuv420;
using quill_apps::FrameSize;
using quill_apps::kPixelBytes;
using quill_apps::PixelView;
using quill_apps::Shrink;

constexpr FrameSize kFullHd{1920, 1080};
constexpr FrameSize k4K{3840, 2160};

struct Format {
  const char* name;
  Chroma chroma;
  AVPixelFormat pixel_format;
};
constexpr Format kFormats[] = {{"y4m", Chroma::kPlanes, AV_PIX_FMT_YUV420P},
                               {"nv12", Chroma::kPairs, AV_PIX_FMT_NV12}};

// How swscale halves the chroma: its default, and the way that takes the least time, which leaves
// out every other row.
struct Way {
  const char* name;
  int flags;
};
constexpr Way kWays[] = {{"bicubic", SWS_BICUBIC}, {"point", SWS_POINT}};

[[noreturn]] void Fail(const std::string& what) {
  std::fprintf(stderr, "streams_bench: %s\n", what.c_str());
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
  // From BGRA to that format.
  Swscale(const FrameSize& from, const FrameSize& to, AVPixelFormat format, int flags)
      : from_(from),
        context_(sws_getContext(Int(from.width), Int(from.height), AV_PIX_FMT_BGRA, Int(to.width),
                                Int(to.height), format, flags, nullptr, nullptr, nullptr)),
        bytes_(av_image_get_buffer_size(format, Int(to.width), Int(to.height), 1)) {
    const int* matrix = sws_getCoefficients(SWS_CS_ITU709);
    constexpr int kFull = 1;
    constexpr int kLimited = 0;
    constexpr int kUnchanged = 1 << 16;
    if (!context_ || sws_setColorspaceDetails(context_.get(), matrix, kFull, matrix, kLimited, 0,
                                              kUnchanged, kUnchanged) < 0) {
      Fail("swscale refused the conversion");
    }
    av_image_fill_arrays(planes_, pitches_, bytes_.data(), format, Int(to.width), Int(to.height),
                         1);
  }

  void Run(const std::vector<uint8_t>& bgra) {
    const uint8_t* const pixels[] = {bgra.data()};
    const int pitches[] = {Int(from_.width * kPixelBytes)};
    sws_scale(context_.get(), pixels, pitches, 0, Int(from_.height), planes_, pitches_);
  }

  const std::vector<uint8_t>& bytes() const { return bytes_; }

 private:
  struct Deleter {
    void operator()(SwsContext* context) const { sws_freeContext(context); }
  };
  static int Int(size_t length) { return static_cast<int>(length); }

  const FrameSize from_;
  std::unique_ptr<SwsContext, Deleter> context_;
  std::vector<uint8_t> bytes_;
  uint8_t* planes_[4];
  int pitches_[4];
};

// swscale rounds in several steps.
void ExpectNearlyTheSame(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
  if (a.size() != b.size()) Fail("the two give different numbers of bytes");
  for (size_t i = 0; i < a.size(); ++i) {
    if (std::abs(a[i] - b[i]) > 2) Fail("the two give different pictures");
  }
}

class Bench {
 public:
  explicit Bench(const Options& options) : options_(options), report_(options) {}

  void Run() {
    for (const FrameSize& size : {kFullHd, k4K}) {
      for (const Format& format : kFormats) {
        for (const Way& way : kWays) CompareConversion(size, format, way);
      }
    }
    CompareShrinking();
    report_.PrintJson("none");
  }

 private:
  // convert: fills the bytes from BGRA of that size.
  template <class Convert>
  void Compare(const std::string& name, const FrameSize& size, Convert convert, Swscale swscale) {
    const std::vector<uint8_t> bgra = Picture(size);
    const PixelView picture{bgra.data(), size.width, size.height, size.width * kPixelBytes};
    std::vector<uint8_t> bytes(swscale.bytes().size());
    Comparison result;
    result.Run({[] {}, [&] { convert(picture, bytes); }}, {[] {}, [&] { swscale.Run(bgra); }},
               options_.seconds);
    ExpectNearlyTheSame(bytes, swscale.bytes());
    // Not that of the times that passed: the longer a run takes, the more often other programs
    // interrupt it.
    report_.AddComparison(name, "swscale", result, result.session_cpu() / result.floor_cpu());
  }

  void CompareConversion(const FrameSize& size, const Format& format, const Way& way) {
    const std::string name = std::string("convert/") + format.name + '/' +
                             std::to_string(size.width) + 'x' + std::to_string(size.height) + '/' +
                             way.name;
    if (!report_.IsWanted(name)) return;
    Compare(
        name, size,
        [&](const PixelView& picture, std::vector<uint8_t>& bytes) {
          ConvertToYuv420(picture, format.chroma, bytes.data());
        },
        Swscale(size, size, format.pixel_format, way.flags));
  }

  void CompareShrinking() {
    const std::string name = "shrink/3840x2160/1920x1080/area";
    if (!report_.IsWanted(name)) return;
    Compare(
        name, k4K,
        [](const PixelView& picture, std::vector<uint8_t>& bytes) {
          Shrink(picture, kFullHd, bytes);
        },
        Swscale(k4K, kFullHd, AV_PIX_FMT_BGRA, SWS_AREA));
  }

  const Options& options_;
  Report report_;
};

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  bench::Options options;
  if (!bench::ReadOptions(argc, argv, options)) {
    std::fprintf(stderr,
                 "usage: streams_bench [--benchmark_filter=REGEX] "
                 "[--benchmark_min_time=SECONDS] [--benchmark_format=json]\n");
    return 2;
  }
  bench::Bench(options).Run();
  return 0;
}
