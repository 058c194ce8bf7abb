// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "recording.h"

#include <gtest/gtest.h>

namespace wine_test {

bool PutCursor(PaintedWindow& window, HCURSOR cursor, POINT position) {
  // Wine tells the cursor of the foreground window.
  window.SetState(SW_SHOW);
  SetForegroundWindow(window.Handle());
  SetCursorPos(position.x, position.y);
  return PumpUntil([&] {
    CURSORINFO told = {};
    told.cbSize = sizeof(told);
    return GetCursorInfo(&told) && told.hCursor == cursor && told.ptScreenPos.x == position.x &&
           told.ptScreenPos.y == position.y;
  });
}

Recording::Recording(ComPointer<IGraphicsCaptureItem> item, int buffers, SizeInt32 pool_size,
                     bool cursor)
    : item_(std::move(item)) {
  EnsureDispatcherQueue();
  if (pool_size.Width == 0) {
    EXPECT_EQ(item_->get_Size(&pool_size), S_OK);
  }
  HRESULT created = E_FAIL;
  pool_ = MakePool(pool_size, buffers, &created);
  EXPECT_EQ(created, S_OK);
  if (!pool_) return;
  EXPECT_EQ(pool_->CreateCaptureSession(item_.Get(), session_.Put()), S_OK);
  EXPECT_EQ(session_.As<IGraphicsCaptureSession2>()->put_IsCursorCaptureEnabled(cursor), S_OK);
  EXPECT_EQ(session_->StartCapture(), S_OK);
}

ComPointer<IDirect3D11CaptureFrame> Recording::NextFrame(DWORD limit_ms) {
  ComPointer<IDirect3D11CaptureFrame> frame;
  if (!pool_) return frame;
  PumpUntil([&] { return pool_->TryGetNextFrame(frame.Put()) == S_OK && frame; }, limit_ms);
  return frame;
}

ComPointer<IDirect3D11CaptureFrame> Recording::FrameWhere(
    const std::function<bool(IDirect3D11CaptureFrame*)>& wanted, DWORD limit_ms) {
  const ULONGLONG end = GetTickCount64() + limit_ms;
  while (GetTickCount64() < end) {
    auto frame = NextFrame(200);
    if (frame && wanted(frame.Get())) return frame;
  }
  return {};
}

void Recording::TakeAllFrames() {
  while (NextFrame(200)) {
  }
}

}  // namespace wine_test
