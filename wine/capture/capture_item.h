// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.graphics.capture.h>

#include <mutex>

#include "capture/capture_target.h"
#include "capture/periodic_thread.h"
#include "common/event_source.h"
#include "common/object.h"

namespace standin {

// How frame pools recognise our own items and reach what they stand for. Internal.
struct ICaptureTargetAccess : IUnknown {
  virtual std::shared_ptr<CaptureTarget> Target() = 0;
};

using ItemClosedHandler =
    __FITypedEventHandler_2_Windows__CGraphics__CCapture__CGraphicsCaptureItem_IInspectable;

class CaptureItem : public RuntimeObject<ABI::Windows::Graphics::Capture::IGraphicsCaptureItem,
                                         ICaptureTargetAccess> {
 public:
  explicit CaptureItem(std::shared_ptr<CaptureTarget> target);

  HRESULT STDMETHODCALLTYPE get_DisplayName(HSTRING* value) override;
  HRESULT STDMETHODCALLTYPE get_Size(ABI::Windows::Graphics::SizeInt32* value) override;
  HRESULT STDMETHODCALLTYPE add_Closed(ItemClosedHandler* handler,
                                       EventRegistrationToken* token) override;
  HRESULT STDMETHODCALLTYPE remove_Closed(EventRegistrationToken token) override;

  std::shared_ptr<CaptureTarget> Target() override { return target_; }

 private:
  HRESULT WatchTarget();

  const std::shared_ptr<CaptureTarget> target_;
  EventSource<ItemClosedHandler> closed_;
  std::mutex mutex_;
  bool watched_ = false;
  ABI::Windows::Graphics::SizeInt32 last_size_ = {};
  PeriodicThread watcher_;
};

}  // namespace standin

__CRT_UUID_DECL(standin::ICaptureTargetAccess, 0x8a1d5a1e, 0x3c0e, 0x4b7c, 0x9d, 0x55, 0x27, 0x60,
                0x1f, 0x84, 0xb3, 0x6d)
