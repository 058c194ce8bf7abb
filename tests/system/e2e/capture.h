// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>

#include "system/e2e/wgc_library.h"
#include "support/own_thread.h"
#include "support/pattern_window.h"

// The result of one poll. The outputs start with values that no call produces, so that an output
// left untouched shows.
struct Poll {
  bool result = false;
  void* frame = reinterpret_cast<void*>(0x1234);
  uint32_t width = 77;
  uint32_t height = 78;
  bool cursor = false;
};

inline Poll PollOnce(void* session, void* reserved = nullptr) {
  Poll poll;
  poll.result = Wgc().wgc_get_recent_frame(session, &poll.frame, reserved, &poll.width,
                                           &poll.height, &poll.cursor);
  return poll;
}

// A session that is destroyed at the end of its life, on the thread that made it.
class Session {
 public:
  explicit Session(void* handle) : handle_(handle) {}
  ~Session() { Destroy(); }

  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void* get() const { return handle_; }
  bool Start() { return Wgc().wgc_session_start(handle_); }
  void Destroy() {
    if (handle_ != nullptr) Wgc().wgc_session_destroy(handle_);
    handle_ = nullptr;
  }

 private:
  void* handle_;
};

constexpr std::chrono::seconds kLimit(5);

// Polls with each message that comes, and at 100 Hz for what sends none, until `done(poll)` is
// true; false when it is not in time.
template <typename Done>
bool PollUntil(void* session, Poll* last, Done done) {
  const auto deadline = std::chrono::steady_clock::now() + kLimit;
  while (std::chrono::steady_clock::now() < deadline) {
    *last = PollOnce(session);
    if (done(*last)) return true;
    MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_ALLINPUT);
  }
  return false;
}

// Waits for a frame to come to this thread's session since the last poll or call of this function,
// and leaves it in the pool: what tells of it is a message that the dispatcher queue posts.
inline testing::AssertionResult AwaitFrame() {
  const auto deadline = std::chrono::steady_clock::now() + kLimit;
  while (std::chrono::steady_clock::now() < deadline) {
    // The low word tells of what came since the last look. Under Wine it also does so at first,
    // when there is no message yet.
    MSG message;
    if (LOWORD(GetQueueStatus(QS_POSTMESSAGE)) != 0 &&
        PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE)) {
      return testing::AssertionSuccess();
    }
    MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_POSTMESSAGE);
  }
  return testing::AssertionFailure() << "no frame came";
}

// Lets the window's picture reach the pool without a poll: one frame, as no other change follows.
inline void ShowAndWait(PatternWindow& window, const Picture& picture) {
  window.Show(picture);
  EXPECT_TRUE(AwaitFrame());
}

// What a host with a message loop of its own does.
inline void PumpMessages() {
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
}

inline bool Shows(const Poll& poll, const Picture& picture) {
  return poll.result && poll.width == static_cast<uint32_t>(picture.width) &&
         poll.height == static_cast<uint32_t>(picture.height) &&
         std::memcmp(poll.frame, picture.pixels.data(), picture.pixels.size() * 4) == 0;
}

// The first difference between a frame and the picture it should show, for a failure's message.
inline testing::AssertionResult SamePixels(const Poll& poll, const Picture& picture) {
  if (!poll.result) return testing::AssertionFailure() << "there is no frame";
  if (poll.width != static_cast<uint32_t>(picture.width) ||
      poll.height != static_cast<uint32_t>(picture.height)) {
    return testing::AssertionFailure()
           << "the frame is " << poll.width << " x " << poll.height << ", the picture "
           << picture.width << " x " << picture.height;
  }
  const auto* pixels = static_cast<const uint32_t*>(poll.frame);
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      const uint32_t pixel = pixels[static_cast<size_t>(y) * picture.width + x];
      if (pixel != picture.at(x, y)) {
        return testing::AssertionFailure()
               << std::hex << "pixel (" << std::dec << x << ", " << y << ") is " << std::hex
               << pixel << " instead of " << picture.at(x, y);
      }
    }
  }
  return testing::AssertionSuccess();
}

inline testing::AssertionResult ComesToShow(void* session, const Picture& picture) {
  Poll poll;
  if (PollUntil(session, &poll, [&](const Poll& p) { return Shows(p, picture); })) {
    return testing::AssertionSuccess();
  }
  return SamePixels(poll, picture);
}
