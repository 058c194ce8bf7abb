// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// replay FOLDER: gives every file of the folder to the fuzz program it is linked with.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
    return 2;
  }
  int inputs = 0;
  for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    if (!file.is_open() || file.bad()) {
      std::fprintf(stderr, "cannot read %s\n", entry.path().string().c_str());
      return 1;
    }
    // Ahead of the run, so that a crash is told by the last line.
    std::fprintf(stderr, "%s: %zu bytes\n", entry.path().string().c_str(), bytes.size());
    // A copy of the exact size lets AddressSanitizer see a read past the end.
    const std::vector<uint8_t> input(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(input.data(), input.size());
    ++inputs;
  }
  std::fprintf(stderr, "%d inputs\n", inputs);
  return inputs > 0 ? 0 : 1;
}
