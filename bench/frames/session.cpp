// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "session.h"

#include "wgc_library.h"

namespace bench {
namespace {

// Creation takes any window; only the platform, which is the bench itself, would look at it.
void* Create(Size size) {
  SetItemSize({static_cast<INT32>(size.width), static_cast<INT32>(size.height)});
  return Wgc().wgc_session_create(GetDesktopWindow());
}

}  // namespace

Session::Session(Size size) : session_(Create(size)) {
  Check(session_ != nullptr && Wgc().wgc_session_start(session_), "a session does not start");
  pool_ = LastPool();
}

Session::~Session() {
  Wgc().wgc_session_destroy(session_);
}

void Session::SetMode(Mode mode) {
  is_texture_ = mode == Mode::kTexture;
  Wgc().wgc_set_capture_to_texture(session_, is_texture_);
  Wgc().wgc_set_dirty_rect(session_, mode == Mode::kUnchanged || mode == Mode::kChanged);
}

void Session::Poll() {
  bool cursor = false;
  has_frame_ = Wgc().wgc_get_recent_frame(session_, &polled_frame_, nullptr, &polled_size_.width,
                                          &polled_size_.height, &cursor);
  if (has_frame_ && is_texture_) texture()->Release();
}

float Session::TakeUpdateRatio() {
  return Wgc().wgc_get_update_ratio(session_);
}

ID3D11Device* Session::device() const {
  return Wgc().wgc_get_device(session_);
}

}  // namespace bench
