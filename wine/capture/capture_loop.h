// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <memory>

#include "capture/frame_queue.h"
#include "capture/picture.h"
#include "common/object.h"

namespace standin {

// What the thread of a running capture session does. It owns all it uses and refers to the pool
// weakly, so that it keeps nothing of the host's alive.
struct CaptureLoop {
  // Takes a picture, if one is wanted and there is something new to see, and queues FrameArrived.
  // False when there will be no more.
  bool Tick();

  std::shared_ptr<CaptureTarget> target;
  std::shared_ptr<FrameQueue> frames;
  Ref<IWeakReference> pool;
  std::shared_ptr<const std::atomic<bool>> cursor;
  bool send_unchanged = false;

 private:
  bool WasSent(const Picture& picture, int generation) const;

  bool shown_anew_ = false;
  Camera camera_;
  std::shared_ptr<Picture> picture_;  // The next one's memory, when the last one was not sent.
  std::shared_ptr<const Picture> last_sent_;
  int last_generation_ = 0;
};

}  // namespace standin
