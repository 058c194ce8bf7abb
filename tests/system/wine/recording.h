// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include "painted_window.h"
#include "platform.h"

namespace wine_test {

using ArrivedHandler = Delegate<
    __FITypedEventHandler_2_Windows__CGraphics__CCapture__CDirect3D11CaptureFramePool_IInspectable,
    IDirect3D11CaptureFramePool*, IInspectable*>;

// Moves the cursor over a window, which gets the focus, and waits until the system tells it there.
bool PutCursor(PaintedWindow& window, HCURSOR cursor, POINT position);

// A running capture on the calling thread, the way a host sets one up. Fails the test when a step
// does.
class Recording {
 public:
  // The pool gets the item's size unless another is given. Without the cursor, so that the pixels
  // are the target's own.
  explicit Recording(ComPointer<IGraphicsCaptureItem> item, int buffers = 2,
                     SizeInt32 pool_size = {0, 0}, bool cursor = false);

  // The next frame that comes within the time; null when none does.
  ComPointer<IDirect3D11CaptureFrame> NextFrame(DWORD limit_ms = 3000);
  // The first frame within the time that `wanted` holds for.
  ComPointer<IDirect3D11CaptureFrame> FrameWhere(
      const std::function<bool(IDirect3D11CaptureFrame*)>& wanted, DWORD limit_ms = 5000);
  // Takes frames until none has come for 200 ms.
  void TakeAllFrames();

  IDirect3D11CaptureFramePool* Pool() { return pool_.Get(); }
  IGraphicsCaptureSession* Session() { return session_.Get(); }

 private:
  ComPointer<IGraphicsCaptureItem> item_;
  ComPointer<IDirect3D11CaptureFramePool> pool_;
  ComPointer<IGraphicsCaptureSession> session_;
};

}  // namespace wine_test
