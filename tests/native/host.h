// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// A host of the library on the native tests' platform: it goes through the C interface alone.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "libquill_wgc.h"
#include "native/platform/calls.h"
#include "native/platform/capture.h"
#include "native/platform/direct3d.h"
#include "native/platform/settings.h"
#include "support/reference_diff.h"

namespace session_test {

// Targets that the platform takes for real ones.
inline const HWND kWindow = reinterpret_cast<HWND>(0x10);
inline const HMONITOR kMonitor = reinterpret_cast<HMONITOR>(0x20);

struct LogLine {
  int level;
  std::string text;
  friend bool operator==(const LogLine&, const LogLine&) = default;
  friend std::ostream& operator<<(std::ostream& out, const LogLine& line) {
    return out << line.level << ' ' << '"' << line.text << '"';
  }
};

// The lines since the last call. Lines are also noted in a recording, as log(1, "text").
std::vector<LogLine> TakeLog();

struct Poll {
  bool available = false;
  void* frame = nullptr;  // kUntouched when the library did not write it
  uint32_t width = 0;
  uint32_t height = 0;
  bool cursor_enabled = false;
};
inline void* const kUntouched = reinterpret_cast<void*>(0x5A5A5A5A);

// As if the test went on on a new thread, where the next start makes its dispatcher queue.
inline void ContinueOnNewThread() {
  fake::thread_has_queue = false;
}

// A session handle that is destroyed at the end of the scope, and its thread's life with it: the
// next session stands for one on a new thread.
class Session {
 public:
  explicit Session(HWND window = kWindow) : handle_(wgc_session_create(window)) {}
  explicit Session(HMONITOR monitor) : handle_(wgc_session_create2(monitor)) {}
  ~Session() { Destroy(); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void* handle() const { return handle_; }
  void Destroy() {
    if (void* const handle = std::exchange(handle_, nullptr)) wgc_session_destroy(handle);
    ContinueOnNewThread();
  }

  bool Start() { return wgc_session_start(handle_); }
  Poll GetFrame();
  float Ratio() { return wgc_get_update_ratio(handle_); }
  bool Running() { return wgc_get_status(handle_); }
  void DirtyRect(bool enable) { wgc_set_dirty_rect(handle_, enable); }
  void ToTexture(bool enable) { wgc_set_capture_to_texture(handle_, enable); }

 private:
  void* handle_;
};

// A picture with a value of its own in every pixel; `seed` makes all of them different.
reference::Image Pattern(uint32_t width, uint32_t height, uint32_t seed = 1);

// The frame of a successful poll in buffer output, as an image.
reference::Image Pixels(const Poll& poll);

// The frame of a successful poll in texture output; the reference that came with it is released.
reference::Image TexturePixels(const Poll& poll);

// Puts the platform in order before each test; afterwards nothing may be left of the session: no
// object, no byte, and no call that Direct3D would have dropped.
class SessionTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // For tests in which the library does what the device drops, such as a copy after a failed
  // rebuild.
  void ExpectRefusals() { refusals_expected_ = true; }

 private:
  int64_t objects_before_ = 0;
  bool refusals_expected_ = false;
};

}  // namespace session_test
