// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/video/stream_format.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>
#include <string_view>

#include "common/text.h"
#include "quill-grab/output/video/yuv420.h"

namespace quill_apps {

namespace {

FrameSize SameSize(const FrameSize& size) {
  return size;
}

FrameSize RoundedUpToEven(const FrameSize& size) {
  return {size.width + size.width % 2, size.height + size.height % 2};
}

std::string NoHeader(const FrameSize&, double) {
  return "";
}

std::string Y4mHeader(const FrameSize& size, double fps) {
  const long long thousandths = std::llround(fps * 1000.0);
  const long long common = std::gcd(thousandths, 1000LL);
  return Format("YUV4MPEG2 W%u H%u F%lld:%lld Ip A1:1 C420jpeg XCOLORRANGE=LIMITED\n", size.width,
                size.height, thousandths / common, 1000 / common);
}

void FillBgra(const PixelView& picture, std::vector<uint8_t>& bytes) {
  const size_t row_bytes = picture.width * kPixelBytes;
  bytes.resize(row_bytes * picture.height);
  for (uint32_t y = 0; y < picture.height; ++y) {
    std::memcpy(bytes.data() + y * row_bytes, picture.pixels + y * picture.row_pitch, row_bytes);
  }
}

void FillYuv420(const PixelView& picture, std::string_view begin, Chroma chroma,
                std::vector<uint8_t>& bytes) {
  bytes.resize(begin.size() + Yuv420Size(picture.size()));
  std::copy(begin.begin(), begin.end(), bytes.begin());
  ConvertToYuv420(picture, chroma, bytes.data() + begin.size());
}

void FillY4m(const PixelView& picture, std::vector<uint8_t>& bytes) {
  FillYuv420(picture, "FRAME\n", Chroma::kPlanes, bytes);
}

void FillNv12(const PixelView& picture, std::vector<uint8_t>& bytes) {
  FillYuv420(picture, "", Chroma::kPairs, bytes);
}

constexpr StreamFormat kFormats[] = {
    {"--raw", "raw video: blue, green, red and alpha of each pixel", SameSize, NoHeader, FillBgra},
    {"--y4m", "YUV4MPEG2 video, which carries its own size and rate", RoundedUpToEven, Y4mHeader,
     FillY4m},
    {"--nv12", "raw NV12 video: a plane of luma, then one of chroma", RoundedUpToEven, NoHeader,
     FillNv12},
};

}  // namespace

std::span<const StreamFormat> StreamFormats() {
  return kFormats;
}

}  // namespace quill_apps
