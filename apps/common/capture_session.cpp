// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "common/capture_session.h"

#include <new>

#include "common/error.h"
#include "common/log_sink.h"

namespace quill_apps {

void FrameReleaser::operator()(void* frame) const {
  if (is_texture) static_cast<ID3D11Texture2D*>(frame)->Release();
  library->wgc_free_recent_frame(session, frame);
}

CaptureSession::CaptureSession(const Library& library, HWND window, HMONITOR monitor,
                               const Switches& switches)
    : library_(library),
      is_texture_(switches.texture),
      session_(window != nullptr ? library.wgc_session_create(window)
                                 : library.wgc_session_create2(monitor),
               library.wgc_session_destroy) {
  if (!session_) throw std::bad_alloc();
  ApplySwitches(switches);
  if (!library_.wgc_session_start(session_.get())) {
    const std::string reason = LastLoggedError();
    throw ToolError(ExitCode::kCaptureFailed,
                    "capture could not start: " + (reason.empty() ? "no reason given" : reason));
  }
  if (is_texture_) texture_reader_.emplace(library_.wgc_get_device(session_.get()));
}

void CaptureSession::ApplySwitches(const Switches& switches) {
  void* session = session_.get();
  if (switches.cursor) cursor_was_refused_ = !library_.wgc_enable_cursor(session, true);
  if (switches.border) library_.wgc_show_border(session, true);
  if (switches.detect) library_.wgc_set_dirty_rect(session, true);
  if (switches.texture) library_.wgc_set_capture_to_texture(session, true);
}

bool CaptureSession::is_running() const {
  return library_.wgc_get_status(session_.get());
}

std::optional<CapturedFrame> CaptureSession::Poll() {
  void* data = nullptr;
  FrameSize size{};
  bool cursor;
  if (!library_.wgc_get_recent_frame(session_.get(), &data, nullptr, &size.width, &size.height,
                                     &cursor)) {
    return std::nullopt;
  }
  return CapturedFrame{{data, FrameReleaser{&library_, session_.get(), is_texture_}},
                       size,
                       library_.wgc_get_update_ratio(session_.get())};
}

FramePixels CaptureSession::Read(const CapturedFrame& frame) {
  void* data = frame.data.get();
  if (texture_reader_) return texture_reader_->Read(static_cast<ID3D11Texture2D*>(data));
  return FramePixels({static_cast<const uint8_t*>(data), frame.size.width, frame.size.height,
                      frame.size.width * kPixelBytes});
}

}  // namespace quill_apps
