// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <cstdint>
#include <future>
#include <thread>
#include <vector>

// A picture as the library hands it out: rows from top to bottom without padding, 0xAARRGGBB.
struct Picture {
  int width = 0;
  int height = 0;
  std::vector<uint32_t> pixels;

  uint32_t& at(int x, int y) { return pixels[static_cast<size_t>(y) * width + x]; }
  uint32_t at(int x, int y) const { return pixels[static_cast<size_t>(y) * width + x]; }
};

// Every pixel differs from its neighbours, and no two rows or columns are alike; `seed` makes
// pictures that differ from each other in every pixel. Opaque. A larger pattern of the same seed
// goes on where a smaller one ends.
uint32_t PatternPixel(int x, int y, uint32_t seed);
Picture MakePattern(int width, int height, uint32_t seed = 0);

// A top-level window without a frame, on a thread of its own, that shows a picture pixel by pixel.
// Its size is the picture's.
class PatternWindow {
 public:
  explicit PatternWindow(Picture picture, int left = 40, int top = 30);
  ~PatternWindow();

  PatternWindow(const PatternWindow&) = delete;
  PatternWindow& operator=(const PatternWindow&) = delete;

  HWND handle() const { return window_; }

  // Each returns when the window's thread has done it and has painted.
  void Show(Picture picture);  // resizes to the picture's size
  void Minimize();
  void Restore();
  void Hide();
  void Unhide();
  void Destroy();

 private:
  static LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  void Run(int left, int top, std::promise<HWND>* created);
  void Paint(HWND window) const;

  Picture picture_;  // the window's thread only
  HWND window_ = nullptr;
  std::thread thread_;
};
