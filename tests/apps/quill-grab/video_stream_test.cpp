// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/video/video_stream.h"

#include <algorithm>

#include "apps/quill-grab/decode_png.h"
#include "apps/quill-grab/test_support.h"
#include "quill-grab/console/error.h"

namespace quill_grab {
namespace {

constexpr FrameSize kSize{4, 2};
constexpr FrameSize kOdd{3, 5};

class VideoStreamTest : public ComTest {
 protected:
  VideoStream Stream(StreamFormat format) {
    return VideoStream(format, options_,
                       std::make_unique<ByteSink>(File().string(), "--raw", console_, never_),
                       console_);
  }

  // A frame whose bytes all have one value.
  static void Give(VideoStream& stream, uint8_t value, uint64_t missed = 0,
                   FrameSize size = kSize) {
    const std::vector<uint8_t> bytes(size_t{size.width} * size.height * 4, value);
    const PixelView view{bytes.data(), size.width, size.height, size_t{size.width} * 4};
    FrameRecord record{0.0, size, 0.0f, true, missed, ""};
    stream.Take(record, &view);
  }

  // The first byte of each raw frame.
  std::vector<int> RawFrames() const {
    constexpr size_t kFrame = kSize.width * kSize.height * 4;
    const std::vector<uint8_t> bytes = Bytes();
    EXPECT_EQ(bytes.size() % kFrame, 0u);
    std::vector<int> frames;
    for (size_t at = 0; at < bytes.size(); at += kFrame) frames.push_back(bytes[at]);
    return frames;
  }

  std::filesystem::path File() const { return temporary_.path() / "stream"; }
  std::vector<uint8_t> Bytes() const { return ReadWholeFile(File().wstring().c_str()); }
  std::string Text() const {
    const std::vector<uint8_t> bytes = Bytes();
    return {bytes.begin(), bytes.end()};
  }

  Options options_;
  Console console_;
  const std::atomic<bool> never_{false};
  TemporaryFolder temporary_;
};

TEST_F(VideoStreamTest, WritesTheFrameOfEveryPoll) {
  VideoStream stream = Stream(StreamFormat::kRaw);
  for (const uint8_t value : {1, 2, 2, 3}) Give(stream, value);
  EXPECT_EQ(RawFrames(), (std::vector<int>{1, 2, 2, 3}));
}

TEST_F(VideoStreamTest, RepeatsTheFrameBeforeForMissedPolls) {
  options_.frames = 10;
  VideoStream stream = Stream(StreamFormat::kRaw);
  Give(stream, 1, 5);  // nothing to repeat yet
  Give(stream, 2);
  Give(stream, 3, 2);
  EXPECT_EQ(RawFrames(), (std::vector<int>{1, 2, 2, 2, 3}));
  EXPECT_EQ(stream.Share(), 0.5);
}

TEST_F(VideoStreamTest, RepeatsNoMoreThanASecondsWorth) {
  options_.fps = 4.0;
  VideoStream stream = Stream(StreamFormat::kRaw);
  Give(stream, 1);
  Give(stream, 2, 100);
  EXPECT_EQ(RawFrames(), (std::vector<int>{1, 1, 1, 1, 1, 2}));
}

TEST_F(VideoStreamTest, WritesExactlyTheFramesAskedFor) {
  options_.frames = 4;
  VideoStream stream = Stream(StreamFormat::kRaw);
  Give(stream, 1);
  EXPECT_EQ(stream.Share(), 0.25);
  Give(stream, 2, 7);
  EXPECT_EQ(stream.Share(), 1.0);
  EXPECT_EQ(RawFrames(), (std::vector<int>{1, 1, 1, 1}));
}

TEST_F(VideoStreamTest, KeepsTheSizeOfTheFirstFrame) {
  options_.on_resize = OnResize::kCrop;
  VideoStream stream = Stream(StreamFormat::kRaw);
  Give(stream, 1);
  Give(stream, 2, 0, {9, 9});
  Give(stream, 3, 0, {1, 1});
  EXPECT_EQ(RawFrames(), (std::vector<int>{1, 2, 3}));
}

TEST_F(VideoStreamTest, HasTheSizeThatWasAskedFor) {
  options_.size = kSize;
  VideoStream stream = Stream(StreamFormat::kRaw);
  Give(stream, 9, 0, {8, 4});
  EXPECT_EQ(RawFrames(), (std::vector<int>{9}));
}

TEST_F(VideoStreamTest, StopsBeforeTheFirstFrameOfAnotherSize) {
  options_.on_resize = OnResize::kStop;
  VideoStream stream = Stream(StreamFormat::kRaw);
  Give(stream, 1);
  Give(stream, 2);
  try {
    Give(stream, 3, 2, {4, 3});
    ADD_FAILURE() << "went on";
  } catch (const GrabError& error) {
    EXPECT_EQ(error.code(), ExitCode::kSizeChanged);
    EXPECT_NE(std::string(error.what()).find("from 4 x 2 to 4 x 3"), std::string::npos)
        << error.what();
  }
  EXPECT_EQ(RawFrames(), (std::vector<int>{1, 2}));
}

// An odd size is no change of size.
TEST_F(VideoStreamTest, Y4mRoundsTheSizeUpToEvenNumbers) {
  options_.on_resize = OnResize::kStop;
  options_.fps = 29.97;
  VideoStream stream = Stream(StreamFormat::kY4m);
  Give(stream, 255, 0, kOdd);
  Give(stream, 255, 0, kOdd);
  const std::string header = "YUV4MPEG2 W4 H6 F2997:100 Ip A1:1 C420jpeg XCOLORRANGE=LIMITED\n";
  const std::string row = "\xEB\xEB\xEB\x10";  // white is 235, black 16
  const std::string luma = row + row + row + row + row + "\x10\x10\x10\x10";
  const std::string frame = "FRAME\n" + luma + std::string(12, '\x80');
  EXPECT_EQ(Text(), header + frame + frame);
}

}  // namespace
}  // namespace quill_grab
