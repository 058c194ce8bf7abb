// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "capture/capture_session.h"

#include "capture/call_trace.h"
#include "capture/capture_item.h"
#include "capture/capture_loop.h"
#include "capture/tick.h"
#include "common/errors.h"

namespace standin {

using ABI::Windows::Graphics::Capture::IGraphicsCaptureItem;
using ABI::Windows::Graphics::Capture::IGraphicsCaptureSession2;
using ABI::Windows::Graphics::Capture::IGraphicsCaptureSession3;

CaptureSession::CaptureSession(Ref<IGraphicsCaptureItem> item, std::shared_ptr<FrameQueue> frames,
                               Ref<IWeakReference> pool)
    : RuntimeObject(L"Windows.Graphics.Capture.GraphicsCaptureSession"),
      item_(std::move(item)),
      frames_(std::move(frames)),
      pool_(std::move(pool)) {}

HRESULT CaptureSession::StartCapture() {
  Trace("StartCapture");
  if (closed_ || frames_->IsClosed()) return kClosed;
  const std::lock_guard lock(mutex_);
  if (started_) return kIllegalMethodCall;
  auto loop = std::make_shared<CaptureLoop>();
  loop->target = Query<ICaptureTargetAccess>(item_.Get())->Target();
  loop->frames = frames_;
  loop->pool = pool_;
  loop->cursor = cursor_;
  const Settings settings = ReadSettings();
  loop->send_unchanged = settings.send_unchanged_frames;
  DWORD tick_ms = kTickMs;
  if (settings.send_during_events != 0) {
    tick_ms = settings.send_during_events;
    frames_->SendDuringEvents();
  }
  const HRESULT result = thread_.Start(tick_ms, [loop] { return loop->Tick(); });
  started_ = SUCCEEDED(result);
  return result;
}

HRESULT CaptureSession::get_IsCursorCaptureEnabled(boolean* value) {
  if (!value) return E_POINTER;
  if (closed_) return kClosed;
  *value = *cursor_;
  return S_OK;
}

HRESULT CaptureSession::put_IsCursorCaptureEnabled(boolean value) {
  Trace("put_IsCursorCaptureEnabled %d", value);
  if (closed_) return kClosed;
  *cursor_ = value != 0;
  return S_OK;
}

HRESULT CaptureSession::get_IsBorderRequired(boolean* value) {
  if (!value) return E_POINTER;
  if (closed_) return kClosed;
  *value = border_;
  return S_OK;
}

HRESULT CaptureSession::put_IsBorderRequired(boolean value) {
  Trace("put_IsBorderRequired %d", value);
  if (closed_) return kClosed;
  border_ = value != 0;
  return S_OK;
}

HRESULT CaptureSession::Close() {
  Trace("session Close");
  closed_ = true;
  const std::lock_guard lock(mutex_);
  thread_.Stop();
  return S_OK;
}

void* CaptureSession::FindInterface(REFIID iid) {
  if (iid == __uuidof(IGraphicsCaptureSession2) && !settings_.cursor_property) return nullptr;
  if (iid == __uuidof(IGraphicsCaptureSession3) && !settings_.border_property) return nullptr;
  return RuntimeObject::FindInterface(iid);
}

}  // namespace standin
