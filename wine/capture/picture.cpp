// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "capture/picture.h"

#include <algorithm>

#include "capture/tick.h"

namespace standin {
namespace {

// Wine gives out no picture of another process's cursor: it becomes the arrow.
HCURSOR Drawable(HCURSOR cursor, ICONINFO& icon) {
  if (GetIconInfo(cursor, &icon)) return cursor;
  const HCURSOR arrow = LoadCursor(nullptr, IDC_ARROW);
  return GetIconInfo(arrow, &icon) ? arrow : nullptr;
}

void DrawCursor(HDC dc, POINT origin) {
  CURSORINFO cursor = {};
  cursor.cbSize = sizeof(cursor);
  if (!GetCursorInfo(&cursor) || !(cursor.flags & CURSOR_SHOWING) || !cursor.hCursor) return;
  ICONINFO icon = {};
  const HCURSOR drawable = Drawable(cursor.hCursor, icon);
  if (!drawable) return;
  DeleteObject(icon.hbmMask);
  if (icon.hbmColor) DeleteObject(icon.hbmColor);
  DrawIconEx(dc, cursor.ptScreenPos.x - origin.x - static_cast<LONG>(icon.xHotspot),
             cursor.ptScreenPos.y - origin.y - static_cast<LONG>(icon.yHotspot), drawable, 0, 0, 0,
             nullptr, DI_NORMAL);
}

}  // namespace

bool ShowsTheSame(const Picture& a, const Picture& b) {
  return a.size.Width == b.size.Width && a.size.Height == b.size.Height && a.pixels == b.pixels;
}

Camera::~Camera() {
  DropBitmap();
  if (dc_) DeleteDC(dc_);
}

bool Camera::Take(const CaptureTarget& target, bool with_cursor, Picture& picture) {
  const RECT bounds = target.Bounds();
  const SIZE size = {bounds.right - bounds.left, bounds.bottom - bounds.top};
  if (size.cx <= 0 || size.cy <= 0 || !EnsureBitmap(size)) return false;
  if (!target.CopyTo(dc_, size)) return false;
  picture.time = Now();
  if (with_cursor) DrawCursor(dc_, {bounds.left, bounds.top});
  GdiFlush();
  picture.size = {size.cx, size.cy};
  picture.pixels.resize(static_cast<size_t>(size.cx) * size.cy);
  // GDI leaves the alpha byte at 0.
  std::transform(pixels_, pixels_ + picture.pixels.size(), picture.pixels.begin(),
                 [](UINT32 pixel) { return pixel | 0xFF000000u; });
  return true;
}

bool Camera::EnsureBitmap(SIZE size) {
  if (bitmap_ && size.cx == size_.cx && size.cy == size_.cy) return true;
  DropBitmap();
  if (!dc_) dc_ = CreateCompatibleDC(nullptr);
  if (!dc_) return false;
  BITMAPINFO info = {};
  info.bmiHeader.biSize = sizeof(info.bmiHeader);
  info.bmiHeader.biWidth = size.cx;
  info.bmiHeader.biHeight = -size.cy;  // Top row first.
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  info.bmiHeader.biCompression = BI_RGB;
  void* pixels = nullptr;
  bitmap_ = CreateDIBSection(dc_, &info, DIB_RGB_COLORS, &pixels, nullptr, 0);
  if (!bitmap_) return false;
  previous_bitmap_ = SelectObject(dc_, bitmap_);
  pixels_ = static_cast<const UINT32*>(pixels);
  size_ = size;
  return true;
}

void Camera::DropBitmap() {
  if (!bitmap_) return;
  SelectObject(dc_, previous_bitmap_);
  DeleteObject(bitmap_);
  bitmap_ = nullptr;
}

}  // namespace standin
