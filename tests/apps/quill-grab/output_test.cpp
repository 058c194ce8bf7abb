// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Where the frames go: sinks of bytes, JSON lines and PNG files.

#include <algorithm>
#include <array>
#include <future>

#include "apps/quill-grab/decode_png.h"
#include "apps/quill-grab/grab_error.h"
#include "apps/quill-grab/grab_test.h"
#include "common/png_encoder.h"
#include "quill-grab/output/byte_sink.h"
#include "quill-grab/output/json/json_lines.h"
#include "quill-grab/output/output_folder.h"
#include "support/process.h"

namespace quill_apps {
namespace {

constexpr DWORD kMegabyte = 1 << 20;

std::vector<uint8_t> Joined(std::vector<uint8_t> bytes, const std::vector<uint8_t>& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
  return bytes;
}

class ByteSinkTest : public testing::Test {
 protected:
  std::unique_ptr<ByteSink> Sink(const std::string& name, const char* option = "--raw") {
    return std::make_unique<ByteSink>(name, option, console_, interrupted_);
  }

  TemporaryFolder temporary_;
  const std::filesystem::path path_ = temporary_ / "stream";
  const std::string pipe_ = "\\\\.\\pipe\\quill-grab-" + std::to_string(GetCurrentProcessId());
  Console console_{"quill-grab"};
  std::atomic<bool> interrupted_{false};
};

TEST_F(ByteSinkTest, FileIsWrittenInPlaceOfAnEarlierOneAndCanBeReadMeanwhile) {
  std::ofstream(path_) << std::string(6 * kMegabyte, 'x');
  const auto sink = Sink(path_.string());
  sink->Write(SomeBytes(5 * kMegabyte + 1, 1));
  sink->Write(SomeBytes(3, 2));
  EXPECT_TRUE(ReadBytes(path_) == Joined(SomeBytes(5 * kMegabyte + 1, 1), SomeBytes(3, 2)));
  EXPECT_EQ(temporary_.CountFiles(), 1u);
}

TEST_F(ByteSinkTest, ErrorOfAFileThatCannotBeWrittenNamesTheOption) {
  for (const std::filesystem::path& path : {temporary_ / "no" / "file", temporary_.path()}) {
    const ToolError error = ErrorOf([&] { Sink(path.string(), "--y4m"); });
    EXPECT_EQ(error.code(), ExitCode::kOutputFailed);
    EXPECT_TRUE(Contains(error.what(), "choose another file with --y4m"));
  }
}

TEST_F(ByteSinkTest, PipeIsMadeForItsReaderWhoGetsEverything) {
  auto received = std::async(std::launch::async, [&] { return ReadPipe(OpenPipe(pipe_)); });
  auto sink = Sink(pipe_);
  sink->Write(SomeBytes(5 * kMegabyte, 1));
  sink->Write(SomeBytes(7, 2));
  sink.reset();
  EXPECT_TRUE(received.get() == Joined(SomeBytes(5 * kMegabyte, 1), SomeBytes(7, 2)));
}

// The bytes fit into the pipe's buffer, so that only the end of the sink has to wait for the
// reader. Without the wait the sink ends before the reader begins, and the bytes are lost.
TEST_F(ByteSinkTest, PipeStaysUntilItsReaderHasReadEverything) {
  auto reader = std::async(std::launch::async, [&] { return OpenPipe(pipe_); });
  auto sink = Sink(pipe_);
  const HANDLE pipe = reader.get();
  sink->Write(SomeBytes(1000, 1));
  auto ended = std::async(std::launch::async, [&] { sink.reset(); });
  EXPECT_EQ(ended.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  EXPECT_TRUE(ReadPipe(pipe) == SomeBytes(1000, 1));
}

TEST_F(ByteSinkTest, PipeThatExistsIsOpened) {
  const HANDLE pipe = CreateNamedPipeA(pipe_.c_str(), PIPE_ACCESS_INBOUND, PIPE_TYPE_BYTE, 1,
                                       kMegabyte, kMegabyte, 0, nullptr);
  ASSERT_NE(pipe, INVALID_HANDLE_VALUE);
  auto received = std::async(std::launch::async, [&] {
    // A read would fail before there is a writer.
    ConnectNamedPipe(pipe, nullptr);
    return ReadPipe(pipe);
  });
  Sink(pipe_)->Write(SomeBytes(3 * kMegabyte, 3));
  EXPECT_TRUE(received.get() == SomeBytes(3 * kMegabyte, 3));
}

TEST_F(ByteSinkTest, InterruptionEndsTheWaitForAReaderAndLeavesNoHandle) {
  interrupted_ = true;
  ToolError error = ErrorOf([&] { Sink(pipe_); });
  EXPECT_EQ(error.code(), ExitCode::kNoFrame);
  EXPECT_TRUE(Contains(error.what(), "no program has opened " + pipe_));
  const int handles = MeasureProcess().handles;
  for (int i = 0; i < 10; ++i) error = ErrorOf([&] { Sink(pipe_); });
  EXPECT_EQ(error.code(), ExitCode::kNoFrame) << "the pipe of the sink before is gone";
  EXPECT_EQ(MeasureProcess().handles, handles);
}

TEST_F(ByteSinkTest, WriteAfterTheReaderHasGoneSaysSo) {
  auto opened = std::async(std::launch::async, [&] { return OpenPipe(pipe_); });
  const auto sink = Sink(pipe_);
  CloseHandle(opened.get());
  const ToolError error = ErrorOf([&] { sink->Write(SomeBytes(3 * kMegabyte, 3)); });
  EXPECT_EQ(error.code(), ExitCode::kReaderGone);
  EXPECT_TRUE(Contains(error.what(), "the reader of the stream has gone"));
}

FrameRecord Frame(double seconds, float ratio, bool is_new, uint64_t missed = 0) {
  return {seconds, {640, 480}, ratio, is_new, missed, ""};
}

// RFC 8259: quotation mark, reverse solidus and control characters are escaped; here also all
// characters that are not ASCII, in UTF-16.
TEST(JsonLineTest, FieldsHaveTheirOrderAndTheFileIsEscaped) {
  FrameRecord record = Frame(12345.678901, 0.1f, false);
  EXPECT_EQ(JsonLine(record, 3),
            "{\"time\":12345.678901,\"width\":640,\"height\":480,"
            "\"ratio\":0.1,\"new\":false,\"missed\":3}\n");
  record.file = "C:\\new\\\"a\"\t\u00fc\U0001F600.png";
  EXPECT_TRUE(Contains(JsonLine(record, 0),
                       ",\"file\":\"C:\\\\new\\\\\\\"a\\\"\\t\\u00fc\\ud83d\\ude00.png\"}\n"));
}

TEST_F(ByteSinkTest, JsonLineOfANewFrameCountsThePollsMissedSinceTheLineBefore) {
  const auto written = [&](bool all) {
    JsonLines lines(all, Sink(path_.string()));
    for (FrameRecord record : {Frame(1, 1, true), Frame(2, 0, false, 2), Frame(3, 0, false),
                               Frame(4, 0.5f, true, 1), Frame(5, 0.5f, true)}) {
      lines.Take(record, nullptr);
    }
    return ReadText(path_);
  };
  const std::string size = ",\"width\":640,\"height\":480,";
  EXPECT_EQ(written(false), "{\"time\":1.0" + size + "\"ratio\":1.0,\"new\":true,\"missed\":0}\n" +
                                "{\"time\":4.0" + size +
                                "\"ratio\":0.5,\"new\":true,\"missed\":3}\n" + "{\"time\":5.0" +
                                size + "\"ratio\":0.5,\"new\":true,\"missed\":0}\n");
  const std::string all = written(true);
  EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 5);
  EXPECT_TRUE(Contains(all, R"("new":false,"missed":2)"));
}

class OutputFolderTest : public testing::Test {
 protected:
  TemporaryFolder temporary_;
  const OutputFolder folder_{temporary_.path().string()};
};

TEST_F(OutputFolderTest, FolderIsMadeWithItsParentsAndLeftEmpty) {
  const OutputFolder folder((temporary_ / "new" / "deep").string() + "\\");
  EXPECT_TRUE(std::filesystem::is_empty(temporary_ / "new" / "deep"));
  EXPECT_EQ(folder.CountFrameFiles(), 0u);
}

// The first size is more than a chunk of the writes.
TEST_F(OutputFolderTest, WholeFilesReplaceThoseOfTheSameName) {
  for (const size_t size : {2500000, 10}) {
    folder_.Write("frame-0001.png", SomeBytes(size, 1));
    EXPECT_EQ(ReadBytes(temporary_ / "frame-0001.png"), SomeBytes(size, 1));
  }
  EXPECT_EQ(temporary_.CountFiles(), 1u);
}

TEST_F(OutputFolderTest, FramesOfAnEarlierRunAreCounted) {
  for (const std::string& name : {FrameFileName(1), FrameFileName(12345), std::string("other.png"),
                                  std::string("frame-0003.txt"), std::string("summary.txt")}) {
    folder_.Write(name, SomeBytes(3, 0));
  }
  EXPECT_EQ(folder_.CountFrameFiles(), 2u);
  EXPECT_TRUE(std::filesystem::exists(temporary_ / "frame-0001.png"));
  EXPECT_TRUE(std::filesystem::exists(temporary_ / "frame-12345.png"));
}

TEST_F(OutputFolderTest, PathThatCannotBeAFolderIsRefused) {
  std::ofstream(temporary_ / "file") << "x";
  for (const std::filesystem::path& path : {temporary_ / "file", temporary_ / "file" / "below"}) {
    const ToolError error = ErrorOf([&] { OutputFolder(path.string()); });
    EXPECT_EQ(error.code(), ExitCode::kOutputFailed);
    EXPECT_TRUE(Contains(error.what(), path.string()));
    EXPECT_TRUE(Contains(error.what(), "--out"));
  }
}

// A folder has the name, so the last step, the renaming, fails.
TEST_F(OutputFolderTest, FileThatCannotBeFinishedLeavesNoPart) {
  std::filesystem::create_directory(temporary_ / "frame-0001.png");
  EXPECT_THROW(folder_.Write("frame-0001.png", SomeBytes(100, 0)), ToolError);
  EXPECT_TRUE(std::filesystem::is_directory(temporary_ / "frame-0001.png"));
  EXPECT_EQ(temporary_.CountFiles(), 1u);
  std::filesystem::remove_all(temporary_.path());
  EXPECT_THROW(folder_.Write("frame-0002.png", SomeBytes(100, 0)), ToolError);
}

using PngEncoderTest = ComTest;

// 130 rows are two bands of 64 and a rest of two. Alpha takes all values, and padding is 0xEE.
TEST_F(PngEncoderTest, ColoursOfEveryPixelAreKeptAndAlphaIsNot) {
  const PngEncoder encoder;
  struct {
    uint32_t width, height;
    size_t row_pitch;
  } const cases[] = {{64, 48, 256}, {1, 1, 4}, {37, 130, 148}, {37, 70, 256}, {1920, 1080, 7680}};
  for (const auto& [width, height, row_pitch] : cases) {
    SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
    std::vector<uint8_t> bytes(row_pitch * height, 0xEE);
    Picture expected(width, height);
    for (uint32_t y = 0; y < height; ++y) {
      for (uint32_t x = 0; x < width; ++x) {
        const uint8_t pixel[] = {static_cast<uint8_t>(x * 7 + y), static_cast<uint8_t>(x + y * 5),
                                 static_cast<uint8_t>(x * y + 3), static_cast<uint8_t>(x + y)};
        std::copy_n(pixel, 4, &bytes[y * row_pitch + x * 4]);
        expected.At(x, y) =
            0xFF000000u | uint32_t{pixel[2]} << 16 | uint32_t{pixel[1]} << 8 | pixel[0];
      }
    }
    EXPECT_TRUE(DecodePng(encoder.Encode({bytes.data(), width, height, row_pitch})) == expected);
  }
}

// The signature, then IHDR: width, height, 8 bits a sample, true colour without alpha.
TEST_F(PngEncoderTest, HeaderIsThatOfATrueColourFile) {
  const std::vector<uint8_t> pixels(2400, 1);
  const std::vector<uint8_t> png = PngEncoder().Encode({pixels.data(), 300, 2, 1200});
  constexpr std::array<uint8_t, 26> kBegin = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0,
                                              0,    0,   13,  'I', 'H',  'D',  'R',  0,    0,
                                              1,    44,  0,   0,   0,    2,    8,    2};
  ASSERT_GT(png.size(), kBegin.size());
  EXPECT_TRUE(std::equal(kBegin.begin(), kBegin.end(), png.begin()));
}

}  // namespace
}  // namespace quill_apps
