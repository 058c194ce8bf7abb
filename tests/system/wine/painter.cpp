// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// painter TITLE: shows a painted window in a process of its own until the window is closed, or for
// a minute at most.

#include <windows.h>

#include <string>

#include "painted_window.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  wine_test::WindowOptions options;
  options.position = {500, 300};
  options.client = {200, 150};
  options.title = std::wstring(argv[1], argv[1] + std::string(argv[1]).size());
  const wine_test::PaintedWindow window(options);
  for (int i = 0; i < 3000 && IsWindow(window.Handle()); ++i) Sleep(20);
  return 0;
}
