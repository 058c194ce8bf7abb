// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.graphics.capture.h>

#include <mutex>

#include "capture/frame_queue.h"
#include "common/object.h"

namespace standin {

class CaptureFrame : public RuntimeObject<ABI::Windows::Graphics::Capture::IDirect3D11CaptureFrame,
                                          ABI::Windows::Foundation::IClosable> {
 public:
  explicit CaptureFrame(std::shared_ptr<WaitingFrame> content);

  HRESULT STDMETHODCALLTYPE
  get_Surface(ABI::Windows::Graphics::DirectX::Direct3D11::IDirect3DSurface** value) override;
  HRESULT STDMETHODCALLTYPE
  get_SystemRelativeTime(ABI::Windows::Foundation::TimeSpan* value) override;
  HRESULT STDMETHODCALLTYPE get_ContentSize(ABI::Windows::Graphics::SizeInt32* value) override;

  HRESULT STDMETHODCALLTYPE Close() override;

 private:
  std::shared_ptr<WaitingFrame> Content();

  std::mutex mutex_;
  std::shared_ptr<WaitingFrame> content_;  // Null once closed.
};

}  // namespace standin
