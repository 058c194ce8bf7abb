// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "capture/capture_frame.h"

#include "capture/capture_surface.h"
#include "common/errors.h"

namespace standin {

using ABI::Windows::Foundation::TimeSpan;
using ABI::Windows::Graphics::SizeInt32;
using ABI::Windows::Graphics::DirectX::Direct3D11::IDirect3DSurface;

CaptureFrame::CaptureFrame(std::shared_ptr<WaitingFrame> content)
    : RuntimeObject(L"Windows.Graphics.Capture.Direct3D11CaptureFrame"),
      content_(std::move(content)) {}

HRESULT CaptureFrame::get_Surface(IDirect3DSurface** value) {
  if (!value) return E_POINTER;
  *value = nullptr;
  const auto content = Content();
  if (!content) return kClosed;
  *value = Make<CaptureSurface>(content->buffer.Texture()).Detach();
  return S_OK;
}

HRESULT CaptureFrame::get_SystemRelativeTime(TimeSpan* value) {
  if (!value) return E_POINTER;
  const auto content = Content();
  if (!content) return kClosed;
  value->Duration = content->picture->time;
  return S_OK;
}

// The target's size when the picture was taken, whatever the size of the texture.
HRESULT CaptureFrame::get_ContentSize(SizeInt32* value) {
  if (!value) return E_POINTER;
  const auto content = Content();
  if (!content) return kClosed;
  *value = content->picture->size;
  return S_OK;
}

HRESULT CaptureFrame::Close() {
  std::shared_ptr<WaitingFrame> dropped;
  const std::lock_guard lock(mutex_);
  dropped.swap(content_);
  return S_OK;
}

std::shared_ptr<WaitingFrame> CaptureFrame::Content() {
  const std::lock_guard lock(mutex_);
  return content_;
}

}  // namespace standin
