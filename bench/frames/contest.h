// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>

#include "bare_frames.h"
#include "frame_pump.h"
#include "gpu.h"
#include "session.h"

namespace bench {

// A session and the floor beside it, on the frame textures of the session's pool. The calling
// thread must not have had another session.
class Contest {
 public:
  explicit Contest(Size size);

  // From here on the frames of both are of this mode, and everything they need has been made.
  void SetMode(Mode mode);

  // Each its own next frame: the pool's two textures in turn.
  void PrepareSession();
  void PrepareBare();
  // What the clock sees: from the poll to the end of the GPU's work.
  void RunSession();
  void RunBare();

  // Ends the program unless both did the same, and the right, work in their last frames.
  void Verify();

  Session& session() { return session_; }

 private:
  struct BareReceiver final : FrameReceiver {
    explicit BareReceiver(BareFrames& frames) : bare(frames) {}
    void OnFrame() override { bare.Handle(mode, frame); }

    BareFrames& bare;
    Mode mode = Mode::kBuffer;
    ID3D11Texture2D* frame = nullptr;
  };

  const Size size_;
  const Picture first_;
  const Picture second_;
  FramePump pump_;
  Session session_;
  Gpu gpu_;
  BareFrames bare_;
  BareReceiver bare_receiver_{bare_};
  size_t session_index_ = 0;
  size_t bare_index_ = 0;
};

}  // namespace bench
