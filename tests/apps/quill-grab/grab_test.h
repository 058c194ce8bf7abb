// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What the tests of quill-grab share.

#pragma once

#include <objbase.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

// COM in the multithreaded apartment, as the program's thread has it.
class ComTest : public testing::Test {
 protected:
  ComTest() { EXPECT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))); }
  ~ComTest() override { CoUninitialize(); }
};

// A new folder that is removed after the test.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    static int number = 0;
    path_ = std::filesystem::temp_directory_path() /
            ("quill-grab-test-" + std::to_string(GetCurrentProcessId()) + "-" +
             std::to_string(++number));
    std::filesystem::create_directories(path_);
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(const std::filesystem::path& name) const { return path_ / name; }
  size_t CountFiles() const {
    using Iterator = std::filesystem::directory_iterator;
    return static_cast<size_t>(std::distance(Iterator(path_), Iterator()));
  }

 private:
  std::filesystem::path path_;
};

inline std::string ReadText(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline std::vector<uint8_t> ReadBytes(const std::filesystem::path& path) {
  const std::string text = ReadText(path);
  return {text.begin(), text.end()};
}

// A file that stands for a console's stream.
class OutputFile {
 public:
  explicit OutputFile(const std::filesystem::path& path)
      : path_(path),
        handle_(CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                            FILE_ATTRIBUTE_NORMAL, nullptr)) {}
  ~OutputFile() { CloseHandle(handle_); }
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  HANDLE handle() const { return handle_; }
  std::string Text() const { return ReadText(path_); }

 private:
  std::filesystem::path path_;
  HANDLE handle_;
};

// Opens a named pipe for reading once a program has made it; waits for 20 seconds at most.
inline HANDLE OpenPipe(const std::string& name) {
  for (int i = 0; i < 2000; ++i) {
    const HANDLE pipe =
        CreateFileA(name.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (pipe != INVALID_HANDLE_VALUE) return pipe;
    Sleep(10);
  }
  ADD_FAILURE() << "there is no pipe " << name;
  return INVALID_HANDLE_VALUE;
}

// Reads until there are enough bytes or the pipe ends, and closes it.
inline std::vector<uint8_t> ReadPipe(HANDLE pipe, size_t enough = SIZE_MAX) {
  std::vector<uint8_t> all;
  std::vector<uint8_t> part(65536);
  DWORD size;
  while (all.size() < enough &&
         ReadFile(pipe, part.data(), static_cast<DWORD>(part.size()), &size, nullptr)) {
    all.insert(all.end(), part.begin(), part.begin() + static_cast<ptrdiff_t>(size));
  }
  CloseHandle(pipe);
  return all;
}

// Bytes that do not repeat soon.
inline std::vector<uint8_t> SomeBytes(size_t size, uint8_t seed) {
  std::vector<uint8_t> bytes(size);
  for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(i * 31 + (i >> 8) + seed);
  return bytes;
}

inline testing::AssertionResult Contains(const std::string& text, const std::string& part) {
  if (text.find(part) != std::string::npos) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "\"" << part << "\" is not in:\n" << text;
}
