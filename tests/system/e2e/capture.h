// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <gtest/gtest.h>

#include <chrono>

#include <d3d11.h>

#include "common/ref.h"
#include "support/desktop.h"
#include "support/own_thread.h"
#include "support/pattern_window.h"
#include "support/platform_setting.h"
#include "support/read_texture.h"
#include "support/shown_picture.h"
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

// Waits for a frame to come to this thread's session since the last poll or call of this function,
// and leaves it in the pool: what tells of it is a message of the dispatcher queue.
inline bool AwaitFrame() {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (std::chrono::steady_clock::now() < deadline) {
    // The low word tells of what came since the last look. Under Wine it also does so at first,
    // when there is no message yet.
    MSG message;
    if (LOWORD(GetQueueStatus(QS_ALLINPUT)) != 0 &&
        PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE)) {
      return true;
    }
    MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_ALLINPUT);
  }
  return false;
}

// A session that is destroyed at the end of its life, on the thread that made it.
class Session {
 public:
  explicit Session(void* handle) : handle_(handle) {}
  explicit Session(HWND window) : handle_(Wgc().wgc_session_create(window)), window_(window) {}
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

  // Whether a frame of the window, which has to have its size, shows this picture.
  testing::AssertionResult Shows(const Picture& frame, const Picture& picture) const {
    if (!MayBeFrameSize(window_, frame.width, frame.height)) {
      return testing::AssertionFailure() << "the frame of " << frame.width << " x " << frame.height
                                         << " has not the window's size";
    }
    return ::Shows(frame, picture);
  }
  // The same of a poll in byte output.
  testing::AssertionResult Shows(const Poll& poll, const Picture& picture) const {
    if (!poll.result) return testing::AssertionFailure() << "there is no frame";
    return Shows(poll.Bytes(), picture);
  }
  // Polls in byte output until a frame shows the picture.
  testing::AssertionResult ComesToShow(const Picture& picture) {
    PollUntil([&](const Poll& poll) { return Shows(poll, picture); });
    return Shows(last_, picture);
  }

  // The same in texture output. The session itself still holds the texture of last().
  testing::AssertionResult ComesToShowAsTexture(const Picture& picture) {
    testing::AssertionResult shown = testing::AssertionFailure() << "there is no frame";
    PollUntil([&](const Poll& poll) {
      if (poll.result) shown = Shows(ReadTexture(poll), picture);
      return shown;
    });
    return shown;
  }

  // Reads the texture of a poll back and releases the reference that the poll added.
  static Picture ReadTexture(const Poll& poll) {
    const auto texture = Ref<ID3D11Texture2D>::Attach(static_cast<ID3D11Texture2D*>(poll.frame));
    return ::ReadTexture(texture.Get());
  }

 private:
  void* handle_;
  HWND window_ = nullptr;
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

// Waits until the caller's reference on the device is the only one: Direct3D and the capture
// service may release theirs late.
inline bool BecomesTheOnlyReference(const Ref<ID3D11Device>& device) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (References(device.Get()) != 1) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    Sleep(10);
  }
  return true;
}
