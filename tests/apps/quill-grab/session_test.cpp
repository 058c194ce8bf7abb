// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The parts of a session: library, textures, log and summary. The grabber has its own tests.

#include <cstring>

#include "apps/quill-grab/grab_error.h"
#include "apps/quill-grab/grab_test.h"
#include "common/library.h"
#include "common/log_sink.h"
#include "common/texture_reader.h"
#include "quill-grab/session/summary.h"

namespace quill_apps {
namespace {

TEST(LibraryTest, EachFunctionIsFoundUnderItsName) {
  const Library library = LoadLibraryFunctions(L"libquill-wgc.dll");
  const HMODULE module = GetModuleHandleW(L"libquill-wgc.dll");
#define EXPECT_FOUND(name)                         \
  EXPECT_EQ(reinterpret_cast<void*>(library.name), \
            reinterpret_cast<void*>(GetProcAddress(module, #name)));
  QUILL_WGC_EXPORTS(EXPECT_FOUND)
#undef EXPECT_FOUND
}

TEST(LibraryTest, ErrorsNameTheMissingFileOrFunction) {
  const ToolError no_file = ErrorOf([] { LoadLibraryFunctions(L"no-such-library.dll"); });
  EXPECT_EQ(no_file.code(), ExitCode::kUnsupported);
  EXPECT_TRUE(Contains(no_file.what(), "put no-such-library.dll into the folder"));
  const ToolError no_function = ErrorOf([] { LoadLibraryFunctions(L"kernel32.dll"); });
  EXPECT_EQ(no_function.code(), ExitCode::kUnsupported);
  EXPECT_TRUE(Contains(no_function.what(), "kernel32.dll has no function is_wgc_session_supp"));
}

using Microsoft::WRL::ComPtr;

TEST(TextureReaderTest, EveryPixelIsReadAfterChangesOfContentAndSize) {
  ComPtr<ID3D11Device> device;
  ComPtr<ID3D11DeviceContext> context;
  ASSERT_TRUE(SUCCEEDED(D3D11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, 0, nullptr, 0,
                                          D3D11_SDK_VERSION, &device, nullptr, &context)));
  TextureReader reader(device.Get());
  constexpr FrameSize kSizes[] = {{61, 43}, {64, 40}, {64, 40}, {100, 30}, {20, 30}, {20, 90}};
  uint32_t seed = 0;
  for (const auto& [width, height] : kSizes) {
    SCOPED_TRACE(++seed);
    std::vector<uint32_t> pixels(size_t{width} * height);
    for (size_t i = 0; i < pixels.size(); ++i) {
      pixels[i] = static_cast<uint32_t>(i * 2654435761u + seed);
    }
    const D3D11_SUBRESOURCE_DATA data{pixels.data(), width * 4, 0};
    const CD3D11_TEXTURE2D_DESC description(DXGI_FORMAT_B8G8R8A8_UNORM, width, height, 1, 1,
                                            D3D11_BIND_RENDER_TARGET);
    ComPtr<ID3D11Texture2D> texture;
    ASSERT_TRUE(SUCCEEDED(device->CreateTexture2D(&description, &data, &texture)));
    {
      const FramePixels read = reader.Read(texture.Get());
      ASSERT_EQ(read.view().size(), (FrameSize{width, height}));
      ASSERT_GE(read.view().row_pitch, size_t{width} * 4);
      for (uint32_t y = 0; y < height; ++y) {
        const uint8_t* row = read.view().pixels + y * read.view().row_pitch;
        EXPECT_EQ(std::memcmp(row, &pixels[size_t{y} * width], size_t{width} * 4), 0) << y;
      }
    }
    context->Flush();
    EXPECT_EQ(texture.Detach()->Release(), 0u) << "the reader holds no reference";
  }
}

TEST(LogSinkTest, FirstLinesAndLastErrorAreKeptUntilTheNextRun) {
  const auto log = [](int level, const std::string& text) {
    OnLogLine(level, text.c_str(), text.size());
  };
  SetLogSink(nullptr, false);
  log(WGC_LOG_WARNING, "the first");
  for (size_t i = 1; i < kKeptLogLines; ++i) log(WGC_LOG_INFO, "another");
  log(WGC_LOG_ERROR, "an error");
  log(WGC_LOG_ERROR, "the last error");
  log(WGC_LOG_WARNING, "a warning");
  const std::vector<LogLine> lines = LoggedLines();
  ASSERT_EQ(lines.size(), kKeptLogLines);
  EXPECT_EQ(lines.front().level, WGC_LOG_WARNING);
  EXPECT_EQ(lines.front().text, "the first");
  EXPECT_EQ(lines.back().text, "another");
  EXPECT_EQ(LastLoggedError(), "the last error");
  SetLogSink(nullptr, false);
  EXPECT_EQ(LastLoggedError(), "");
  EXPECT_TRUE(LoggedLines().empty());
}

FrameRecord Frame(double seconds, float ratio, const char* file = "", uint64_t missed = 0,
                  FrameSize size = {640, 480}) {
  return {seconds, size, ratio, ratio > 0.0f, missed, file};
}

size_t CountOf(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

TEST(SummaryTest, RunWithoutFramesHasZerosOnly) {
  Summary summary;
  summary.AddPollWithoutFrame();
  EXPECT_EQ(summary.polls(), 1u);
  EXPECT_EQ(summary.frames(), 0u);
  EXPECT_EQ(summary.mean_ratio(), 0.0);
  EXPECT_EQ(summary.last_size(), std::nullopt);
  EXPECT_TRUE(Contains(summary.Text(20), "Sizes: none"));
}

// The mean is (1 + 0 + 0.25 + 0.75) / 4, all exact in binary.
TEST(SummaryTest, PollsFramesFilesMissedPollsSizesAndRatiosAreSummedUp) {
  Summary summary;
  summary.AddPollWithoutFrame();
  summary.AddFrame(Frame(1.5, 1.0f, "frame-0001.png", 2));
  summary.AddFrame(Frame(2.5, 0.0f, "frame-0002.png"));
  summary.AddFrame(Frame(3.5, 0.25f, "", 4, {800, 600}));
  summary.AddFrame(Frame(4.5, 0.75f));
  EXPECT_EQ(summary.Text(20),
            "Polls: 5, of which 4 gave a frame; 6 missed\n"
            "Frames: 3 new, 2 written as PNG\n"
            "Sizes: 640 x 480 (3) 800 x 600 (1)\n"
            "Update ratio: min 0.0000, mean 0.5000, max 1.0000; 0 for 1 of 4\n"
            "Frames with an update ratio above 0:\n"
            "      1.500 s  1.0000  640 x 480  frame-0001.png\n"
            "      3.500 s  0.2500  800 x 600\n"
            "      4.500 s  0.7500  640 x 480");
  EXPECT_EQ(summary.last_new_seconds(), 4.5);
  EXPECT_EQ(summary.last_new_ratio(), 0.75f);
}

TEST(SummaryTest, ListOfChangesIsLimitedAndSaysHowManyItLeavesOut) {
  Summary summary;
  for (int i = 0; i < 30; ++i) summary.AddFrame(Frame(i, 0.5f, "frame.png"));
  EXPECT_EQ(summary.min_ratio(), 0.5f) << "not the initial zero";
  EXPECT_EQ(CountOf(summary.Text(20), "frame.png"), 20u);
  EXPECT_TRUE(Contains(summary.Text(20), "... and 10 more"));
  EXPECT_EQ(CountOf(summary.Text(30), "frame.png"), 30u);
  EXPECT_FALSE(Contains(summary.Text(30), "more"));
  for (int i = 30; i < 1003; ++i) summary.AddFrame(Frame(i, 0.5f, "frame.png"));
  EXPECT_EQ(CountOf(summary.Text(2000), "frame.png"), 1000u);  // no more are kept
  EXPECT_TRUE(Contains(summary.Text(2000), "... and 3 more"));
}

}  // namespace
}  // namespace quill_apps
