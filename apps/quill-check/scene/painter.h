// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <memory>

#include "common/pixels.h"

namespace quill_apps {

enum class Drawing {
  kDirect3D,  // a swap chain of the flip model
  kGdi,       // one copy from a bitmap
};

// Changes the pixels of a picture: BGRA, rows without gaps.
using PictureEdit = std::function<void(uint8_t* pixels, FrameSize size)>;

// Draws the pattern in a window's client area. For the window's thread.
class Painter {
 public:
  virtual ~Painter() = default;

  // Throws ToolError, as all that draws.
  virtual void Resize(FrameSize size) = 0;
  // Draws the pattern with that counter. Does not show it.
  virtual void Draw(uint32_t counter) = 0;
  // Changes pixels of what was drawn last. Shows nothing.
  virtual void Edit(const PictureEdit& edit) = 0;
  // Shows what was drawn last. With the refresh: waits for the display, if the platform can.
  virtual void Show(bool with_refresh) = 0;
};

std::unique_ptr<Painter> MakePainter(Drawing drawing, HWND window, FrameSize size);

}  // namespace quill_apps
