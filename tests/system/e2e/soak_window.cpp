// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// soak_window LEFT TOP WIDTH HEIGHT
// A window of known pictures in a process of its own. Prints its handle, then obeys lines on
// standard input until that ends; standard output answers "ok" to each "sync", once all lines
// before it are done and painted.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "support/pattern_window.h"

namespace {

void Obey(PatternWindow& window, const std::string& line) {
  unsigned number = 0;
  int width = 0;
  int height = 0;
  if (std::sscanf(line.c_str(), "show %u %d %d", &number, &width, &height) == 3) {
    window.Show(MakePattern(width, height, number));
  } else if (line == "hide\n") {
    window.Hide();
  } else if (line == "unhide\n") {
    window.Unhide();
  } else if (line == "minimize\n") {
    window.Minimize();
  } else if (line == "restore\n") {
    window.Restore();
  } else if (line == "close\n") {
    window.Destroy();
  } else if (line == "sync\n") {
    std::puts("ok");
  } else {
    std::printf("what is %s", line.c_str());
  }
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) return 2;
  PatternWindow window(MakePattern(std::atoi(argv[3]), std::atoi(argv[4])), std::atoi(argv[1]),
                       std::atoi(argv[2]));
  std::printf("%llu\n",
              static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(window.handle())));
  std::fflush(stdout);
  char line[100];
  while (std::fgets(line, sizeof(line), stdin) != nullptr) Obey(window, line);
}
