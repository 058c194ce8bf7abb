// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.graphics.capture.h>

#include <atomic>
#include <mutex>

#include "capture/frame_queue.h"
#include "capture/periodic_thread.h"
#include "capture/settings.h"
#include "common/object.h"

namespace standin {

class CaptureSession
    : public RuntimeObject<ABI::Windows::Graphics::Capture::IGraphicsCaptureSession,
                           ABI::Windows::Graphics::Capture::IGraphicsCaptureSession2,
                           ABI::Windows::Graphics::Capture::IGraphicsCaptureSession3,
                           ABI::Windows::Foundation::IClosable> {
 public:
  CaptureSession(Ref<ABI::Windows::Graphics::Capture::IGraphicsCaptureItem> item,
                 std::shared_ptr<FrameQueue> frames, Ref<IWeakReference> pool);

  HRESULT STDMETHODCALLTYPE StartCapture() override;

  HRESULT STDMETHODCALLTYPE get_IsCursorCaptureEnabled(boolean* value) override;
  HRESULT STDMETHODCALLTYPE put_IsCursorCaptureEnabled(boolean value) override;

  // Kept, but no border is ever drawn.
  HRESULT STDMETHODCALLTYPE get_IsBorderRequired(boolean* value) override;
  HRESULT STDMETHODCALLTYPE put_IsBorderRequired(boolean value) override;

  HRESULT STDMETHODCALLTYPE Close() override;

 private:
  // Where the platform lacks a property, its sessions lack the interface.
  void* FindInterface(REFIID iid) override;

  const Ref<ABI::Windows::Graphics::Capture::IGraphicsCaptureItem> item_;
  const std::shared_ptr<FrameQueue> frames_;
  const Ref<IWeakReference> pool_;
  const Settings settings_ = ReadSettings();

  std::atomic<bool> closed_ = false;
  std::atomic<bool> border_ = true;
  // Shared with the capture thread.
  const std::shared_ptr<std::atomic<bool>> cursor_ = std::make_shared<std::atomic<bool>>(true);
  std::mutex mutex_;
  bool started_ = false;
  PeriodicThread thread_;
};

}  // namespace standin
