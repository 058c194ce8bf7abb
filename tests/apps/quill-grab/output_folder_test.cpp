// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/output_folder.h"

#include <fstream>
#include <vector>

#include "apps/quill-grab/decode_png.h"
#include "apps/quill-grab/test_support.h"
#include "quill-grab/console/error.h"

namespace quill_grab {
namespace {

std::vector<uint8_t> Bytes(size_t size, uint8_t seed) {
  std::vector<uint8_t> bytes(size);
  for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(i * 31 + seed);
  return bytes;
}

std::vector<uint8_t> ReadBack(const std::filesystem::path& path) {
  return ReadWholeFile(path.wstring().c_str());
}

void ExpectOutputError(const std::filesystem::path& path) {
  try {
    const OutputFolder folder(path.string());
    ADD_FAILURE() << "no error for " << path;
  } catch (const GrabError& error) {
    EXPECT_EQ(error.code(), ExitCode::kOutputFailed);
    EXPECT_NE(std::string(error.what()).find(path.string()), std::string::npos) << error.what();
    EXPECT_NE(std::string(error.what()).find("--out"), std::string::npos) << error.what();
  }
}

TEST(OutputFolderTest, MakesTheFolderAndLeavesItEmpty) {
  const TemporaryFolder temporary;
  const std::filesystem::path path = temporary.path() / "new" / "deep";
  const OutputFolder folder(path.string());
  EXPECT_TRUE(std::filesystem::is_directory(path));
  EXPECT_TRUE(std::filesystem::is_empty(path));
  EXPECT_EQ(folder.CountFrameFiles(), 0u);
}

TEST(OutputFolderTest, TakesATrailingSeparator) {
  const TemporaryFolder temporary;
  const OutputFolder folder(temporary.path().string() + "\\deep\\");
  folder.Write("a", Bytes(4, 0));
  EXPECT_EQ(ReadBack(temporary.path() / "deep" / "a"), Bytes(4, 0));
}

// More than the chunk size of the writes.
TEST(OutputFolderTest, WritesWholeFilesAndReplacesThem) {
  const TemporaryFolder temporary;
  const OutputFolder folder(temporary.path().string());
  folder.Write("frame-0001.png", Bytes(2500000, 1));
  EXPECT_EQ(ReadBack(temporary.path() / "frame-0001.png"), Bytes(2500000, 1));
  folder.Write("frame-0001.png", Bytes(10, 2));
  EXPECT_EQ(ReadBack(temporary.path() / "frame-0001.png"), Bytes(10, 2));
  EXPECT_EQ(temporary.CountFiles(), 1u);
}

TEST(OutputFolderTest, CountsTheFramesOfAnEarlierRun) {
  const TemporaryFolder temporary;
  const OutputFolder folder(temporary.path().string());
  for (const char* name :
       {"frame-0001.png", "frame-0002.png", "frame-0003.txt", "summary.txt", "other.png"}) {
    folder.Write(name, Bytes(3, 0));
  }
  EXPECT_EQ(folder.CountFrameFiles(), 2u);
}

TEST(OutputFolderTest, RefusesAPathThatCannotBeAFolder) {
  const TemporaryFolder temporary;
  const std::filesystem::path file = temporary.path() / "file";
  std::ofstream(file) << "x";
  ExpectOutputError(file);
  ExpectOutputError(file / "below");
}

// The name is taken by a folder, so the last step, the renaming, fails.
TEST(OutputFolderTest, LeavesNoPartOfAFileItCannotFinish) {
  const TemporaryFolder temporary;
  const OutputFolder folder(temporary.path().string());
  std::filesystem::create_directory(temporary.path() / "frame-0001.png");
  EXPECT_THROW(folder.Write("frame-0001.png", Bytes(100, 0)), GrabError);
  EXPECT_TRUE(std::filesystem::is_directory(temporary.path() / "frame-0001.png"));
  EXPECT_EQ(temporary.CountFiles(), 1u);
}

TEST(OutputFolderTest, ReportsAFolderThatWentAway) {
  const TemporaryFolder temporary;
  const std::filesystem::path path = temporary.path() / "gone";
  const OutputFolder folder(path.string());
  std::filesystem::remove_all(path);
  EXPECT_THROW(folder.Write("frame-0001.png", Bytes(100, 0)), GrabError);
}

TEST(FrameFileNameTest, NumbersWithFourDigitsAndMore) {
  EXPECT_EQ(FrameFileName(1), "frame-0001.png");
  EXPECT_EQ(FrameFileName(12345), "frame-12345.png");
}

}  // namespace
}  // namespace quill_grab
