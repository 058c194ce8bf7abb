// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/video/byte_sink.h"

#include <chrono>
#include <fstream>
#include <future>
#include <thread>
#include <vector>

#include "apps/quill-grab/decode_png.h"
#include "apps/quill-grab/test_support.h"
#include "quill-grab/console/error.h"

namespace quill_grab {
namespace {

constexpr DWORD kMegabyte = 1 << 20;

std::vector<uint8_t> Bytes(size_t size, uint8_t seed) {
  std::vector<uint8_t> bytes(size);
  for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(i * 31 + (i >> 8) + seed);
  return bytes;
}

std::string PipeName(const char* name) {
  return "\\\\.\\pipe\\quill-grab-" + std::to_string(GetCurrentProcessId()) + "-" + name;
}

HANDLE OpenReader(const std::string& name) {
  for (int i = 0; i < 200; ++i) {
    const HANDLE pipe =
        CreateFileA(name.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (pipe != INVALID_HANDLE_VALUE) return pipe;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  ADD_FAILURE() << "there is no pipe " << name;
  return INVALID_HANDLE_VALUE;
}

std::vector<uint8_t> ReadToTheEnd(HANDLE pipe) {
  std::vector<uint8_t> all;
  std::vector<uint8_t> part(65536);
  DWORD size;
  while (ReadFile(pipe, part.data(), static_cast<DWORD>(part.size()), &size, nullptr)) {
    all.insert(all.end(), part.begin(), part.begin() + static_cast<ptrdiff_t>(size));
  }
  CloseHandle(pipe);
  return all;
}

class ByteSinkTest : public testing::Test {
 protected:
  ExitCode CodeOf(const std::function<void()>& call) {
    try {
      call();
    } catch (const GrabError& error) {
      text_ = error.what();
      return error.code();
    }
    return ExitCode::kOk;
  }

  Console console_;
  std::atomic<bool> interrupted_{false};
  std::string text_;  // of the error
};

TEST_F(ByteSinkTest, WritesAFileInPlace) {
  const TemporaryFolder temporary;
  const std::filesystem::path path = temporary.path() / "stream";
  ByteSink sink(path.string(), "--raw", console_, interrupted_);
  sink.Write(Bytes(5 * kMegabyte + 1, 1));
  sink.Write(Bytes(3, 2));
  std::vector<uint8_t> expected = Bytes(5 * kMegabyte + 1, 1);
  for (const uint8_t byte : Bytes(3, 2)) expected.push_back(byte);
  // Others can read it while it grows.
  EXPECT_TRUE(ReadWholeFile(path.wstring().c_str()) == expected);
  EXPECT_EQ(temporary.CountFiles(), 1u);
}

TEST_F(ByteSinkTest, LeavesNothingOfAnEarlierFile) {
  const TemporaryFolder temporary;
  const std::filesystem::path path = temporary.path() / "stream";
  std::ofstream(path) << "what an earlier run wrote";
  ByteSink(path.string(), "--raw", console_, interrupted_).Write(Bytes(3, 1));
  EXPECT_EQ(ReadWholeFile(path.wstring().c_str()), Bytes(3, 1));
}

TEST_F(ByteSinkTest, NamesTheOptionOfAFileThatCannotBe) {
  const TemporaryFolder temporary;
  for (const std::filesystem::path& path : {temporary.path() / "no" / "file", temporary.path()}) {
    EXPECT_EQ(CodeOf([&] { ByteSink(path.string(), "--y4m", console_, interrupted_); }),
              ExitCode::kOutputFailed);
    EXPECT_NE(text_.find("choose another file with --y4m"), std::string::npos) << text_;
  }
}

TEST_F(ByteSinkTest, MakesAPipeAndWaitsForItsReader) {
  const std::string name = PipeName("server");
  auto received = std::async(std::launch::async, [&] { return ReadToTheEnd(OpenReader(name)); });
  {
    ByteSink sink(name, "--raw", console_, interrupted_);
    sink.Write(Bytes(5 * kMegabyte, 1));
    sink.Write(Bytes(7, 2));
  }
  std::vector<uint8_t> expected = Bytes(5 * kMegabyte, 1);
  for (const uint8_t byte : Bytes(7, 2)) expected.push_back(byte);
  EXPECT_TRUE(received.get() == expected);
}

// What is written fits into the pipe, so that nothing but its end waits for the slow reader.
TEST_F(ByteSinkTest, KeepsAPipeUntilItsReaderHasAll) {
  constexpr std::chrono::milliseconds kDelay{150};
  const std::string name = PipeName("slow");
  auto received = std::async(std::launch::async, [&] {
    const HANDLE pipe = OpenReader(name);
    std::this_thread::sleep_for(kDelay);
    return ReadToTheEnd(pipe);
  });
  const auto begin = std::chrono::steady_clock::now();
  {
    ByteSink sink(name, "--raw", console_, interrupted_);
    sink.Write(Bytes(1000, 1));
  }
  EXPECT_GE(std::chrono::steady_clock::now() - begin, kDelay);
  EXPECT_TRUE(received.get() == Bytes(1000, 1));
}

TEST_F(ByteSinkTest, OpensAPipeThatExists) {
  const std::string name = PipeName("client");
  const HANDLE pipe = CreateNamedPipeA(name.c_str(), PIPE_ACCESS_INBOUND, PIPE_TYPE_BYTE, 1,
                                       kMegabyte, kMegabyte, 0, nullptr);
  ASSERT_NE(pipe, INVALID_HANDLE_VALUE);
  auto received = std::async(std::launch::async, [&] {
    // A read would fail before there is a writer, and the pipe be gone.
    ConnectNamedPipe(pipe, nullptr);
    return ReadToTheEnd(pipe);
  });
  {
    ByteSink sink(name, "--raw", console_, interrupted_);
    sink.Write(Bytes(3 * kMegabyte, 3));
  }
  EXPECT_TRUE(received.get() == Bytes(3 * kMegabyte, 3));
}

TEST_F(ByteSinkTest, WaitsForAReaderNoLongerThanUntilInterrupted) {
  const std::string name = PipeName("lonely");
  auto interrupter = std::async(std::launch::async, [&] {
    // As soon as there is a pipe to open.
    for (int i = 0; i < 200 && !WaitNamedPipeA(name.c_str(), 10); ++i) Sleep(10);
    interrupted_ = true;
  });
  EXPECT_EQ(CodeOf([&] { ByteSink(name, "--raw", console_, interrupted_); }), ExitCode::kNoFrame);
  EXPECT_NE(text_.find("waits for a program that reads it"), std::string::npos) << text_;
}

TEST_F(ByteSinkTest, SaysThatTheReaderHasGone) {
  const std::string name = PipeName("gone");
  auto opened = std::async(std::launch::async, [&] { return OpenReader(name); });
  ByteSink sink(name, "--raw", console_, interrupted_);
  CloseHandle(opened.get());
  EXPECT_EQ(CodeOf([&] { sink.Write(Bytes(3 * kMegabyte, 3)); }), ExitCode::kReaderGone);
  EXPECT_NE(text_.find("the reader of the stream has gone"), std::string::npos) << text_;
}

}  // namespace
}  // namespace quill_grab
