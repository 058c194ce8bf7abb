// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

namespace bench {

// What a frame's message wakes.
class FrameReceiver {
 public:
  virtual void OnFrame() = 0;

 protected:
  ~FrameReceiver() = default;
};

// Brings frames to the thread that made it, by messages to a window of its own: the way in which a
// dispatcher queue brings them to a session.
class FramePump {
 public:
  FramePump();
  ~FramePump();
  FramePump(const FramePump&) = delete;
  FramePump& operator=(const FramePump&) = delete;

  // The next pump of this thread's messages calls receiver.OnFrame().
  void Post(FrameReceiver& receiver);
  // The loop that any program with windows has.
  static void Drain();

 private:
  HWND window_;
};

}  // namespace bench
