// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.graphics.h>

#include <vector>

#include "capture/capture_target.h"

namespace standin {

// One picture of a target: rows from top to bottom without padding, pixels blue, green, red, alpha
// with alpha 255.
struct Picture {
  ABI::Windows::Graphics::SizeInt32 size = {};
  INT64 time = 0;  // Of the performance counter, in 100 ns units.
  std::vector<UINT32> pixels;
};

bool ShowsTheSame(const Picture& a, const Picture& b);

// Takes pictures of one target after the other into a bitmap that it keeps. For one thread.
class Camera {
 public:
  Camera() = default;
  Camera(const Camera&) = delete;
  Camera& operator=(const Camera&) = delete;
  ~Camera();

  // False when there is nothing to take, e.g. because the target is going away.
  bool Take(const CaptureTarget& target, bool with_cursor, Picture& picture);

 private:
  bool EnsureBitmap(SIZE size);
  void DropBitmap();

  HDC dc_ = nullptr;
  HBITMAP bitmap_ = nullptr;
  HGDIOBJ previous_bitmap_ = nullptr;
  SIZE size_ = {};
  const UINT32* pixels_ = nullptr;  // The bitmap's.
};

}  // namespace standin
