// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <objbase.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

// COM for the multithreaded apartment, as the host's thread has it.
class ComTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))); }
  void TearDown() override { CoUninitialize(); }
};

// A folder of its own that is gone after the test.
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
  size_t CountFiles() const {
    size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(path_)) ++count;
    return count;
  }

 private:
  std::filesystem::path path_;
};
