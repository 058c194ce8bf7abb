// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include "bare_frames.h"
#include "capture_source.h"
#include "frame_pump.h"
#include "gpu.h"

namespace bench {

// A started session of the DLL on a frame pool of the bench. The calling thread must not have
// had another: a thread has one dispatcher queue in its life.
class Session {
 public:
  explicit Session(Size size);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void SetMode(Mode mode);
  // What a host does to see whether there is a frame, to the end: a texture's reference is given
  // back.
  void Poll();
  float TakeUpdateRatio();

  ID3D11Device* device() const;
  FramePool& pool() const { return *pool_; }
  // As of the last poll.
  Size size() const { return polled_size_; }
  // In buffer output: the pixels, the session's own.
  const uint32_t* pixels() const { return static_cast<const uint32_t*>(polled_frame_); }
  // In texture output. The session keeps the texture.
  ID3D11Texture2D* texture() const { return static_cast<ID3D11Texture2D*>(polled_frame_); }
  bool has_frame() const { return has_frame_; }

 private:
  void* const session_;
  FramePool* pool_ = nullptr;
  bool is_texture_ = false;
  bool has_frame_ = false;
  void* polled_frame_ = nullptr;
  Size polled_size_ = {};
};

}  // namespace bench
