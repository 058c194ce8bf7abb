// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <gtest/gtest.h>

#include <chrono>

#include <d3d11.h>

#include "common/ref.h"
#include "support/own_thread.h"
#include "support/pattern_window.h"
#include "support/platform_setting.h"
#include "support/read_texture.h"
#include "system/e2e/wgc_library.h"

using standin::Ref;

// The result of one poll.
struct Poll {
  bool result = false;
  void* frame = nullptr;
  uint32_t width = 0;
  uint32_t height = 0;
  bool cursor = false;

  // The frame in byte output.
  Picture Bytes() const { return {width, height, frame, size_t{width} * 4}; }
};

// Compares a frame in byte output, and describes the first difference.
inline testing::AssertionResult SamePixels(const Poll& poll, const Picture& picture) {
  if (!poll.result) return testing::AssertionFailure() << "there is no frame";
  if (poll.width != picture.width || poll.height != picture.height) {
    return testing::AssertionFailure()
           << "the frame is " << poll.width << " x " << poll.height << ", the picture "
           << picture.width << " x " << picture.height;
  }
  const auto* const pixels = static_cast<const uint32_t*>(poll.frame);
  for (size_t i = 0; i < picture.pixels.size(); ++i) {
    if (pixels[i] == picture.pixels[i]) continue;
    return testing::AssertionFailure()
           << "pixel (" << i % picture.width << ", " << i / picture.width << ") is " << std::hex
           << pixels[i] << " instead of " << picture.pixels[i];
  }
  return testing::AssertionSuccess();
}

// Waits for a frame to come to this thread's session since the last poll or call of this function,
// and leaves it in the pool: what tells of it is a message that the dispatcher queue posts.
inline bool AwaitFrame() {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (std::chrono::steady_clock::now() < deadline) {
    // The low word tells of what came since the last look. Under Wine it also does so at first,
    // when there is no message yet.
    MSG message;
    if (LOWORD(GetQueueStatus(QS_POSTMESSAGE)) != 0 &&
        PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE)) {
      return true;
    }
    MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_POSTMESSAGE);
  }
  return false;
}

// A session that is destroyed at the end of its life, on the thread that made it.
class Session {
 public:
  explicit Session(void* handle) : handle_(handle) {}
  explicit Session(HWND window) : Session(Wgc().wgc_session_create(window)) {}
  explicit Session(HMONITOR monitor) : Session(Wgc().wgc_session_create2(monitor)) {}
  ~Session() { Destroy(); }

  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void* get() const { return handle_; }
  bool Start() { return Wgc().wgc_session_start(handle_); }
  void Destroy() {
    if (handle_ != nullptr) Wgc().wgc_session_destroy(handle_);
    handle_ = nullptr;
  }

  bool IsRunning() const { return Wgc().wgc_get_status(handle_); }
  ID3D11Device* Device() const { return Wgc().wgc_get_device(handle_); }
  float Ratio() { return Wgc().wgc_get_update_ratio(handle_); }
  void SetDetection(bool on) { Wgc().wgc_set_dirty_rect(handle_, on); }
  void SetTexture(bool on) { Wgc().wgc_set_capture_to_texture(handle_, on); }

  Poll PollOnce() {
    Poll poll;
    poll.result = Wgc().wgc_get_recent_frame(handle_, &poll.frame, nullptr, &poll.width,
                                             &poll.height, &poll.cursor);
    return poll;
  }

  // Polls with each message that comes, and at 100 Hz for what sends none, until done(poll) is
  // true; false when that takes too long.
  template <typename Done>
  bool PollUntil(Done done) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (std::chrono::steady_clock::now() < deadline) {
      last_ = PollOnce();
      if (done(last_)) return true;
      MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_ALLINPUT);
    }
    return false;
  }
  // The last poll of PollUntil.
  const Poll& last() const { return last_; }

  // In byte output.
  testing::AssertionResult ComesToShow(const Picture& picture) {
    const bool shown = PollUntil([&](const Poll& poll) { return SamePixels(poll, picture); });
    return shown ? testing::AssertionSuccess() : SamePixels(last_, picture);
  }

  // Reads the texture of a poll back and releases the reference that the poll added.
  static Picture ReadTexture(const Poll& poll) {
    const auto texture = Ref<ID3D11Texture2D>::Attach(static_cast<ID3D11Texture2D*>(poll.frame));
    return ::ReadTexture(texture.Get());
  }

 private:
  void* handle_;
  Poll last_;
};

// A window, and a started session that shows its picture as bytes.
struct Capture {
  explicit Capture(const Picture& picture, bool detection = false)
      : window(picture), session(window.handle()) {
    session.SetDetection(detection);
    EXPECT_TRUE(session.Start());
    EXPECT_TRUE(session.ComesToShow(picture));
  }

  PatternWindow window;
  Session session;
};

// The references that others hold on the object.
inline ULONG References(IUnknown* object) {
  object->AddRef();
  return object->Release();
}
