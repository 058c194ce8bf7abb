// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// A host of the library on the native tests' platform: it goes through the C interface alone.
#pragma once

#include <gtest/gtest.h>

#include <winrt/base.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "libquill_wgc.h"
#include "native/platform/calls.h"
#include "native/platform/capture.h"
#include "native/platform/direct3d.h"
#include "native/platform/settings.h"
#include "support/reference_diff.h"

// For messages of the test framework.
inline void PrintTo(const Picture& picture, std::ostream* out) {
  *out << picture.width << " x " << picture.height << " pixels";
  for (size_t i = 0; i < picture.pixels.size() && i < 4; ++i) *out << ' ' << picture.pixels[i];
}

namespace session_test {

// Targets that the platform takes for real ones.
inline const HWND kWindow = reinterpret_cast<HWND>(0x10);
inline const HMONITOR kMonitor = reinterpret_cast<HMONITOR>(0x20);

// Level and text.
using LogLine = std::pair<int, std::string>;
using Log = std::vector<LogLine>;

// The lines since the last call. Lines are also noted in a recording, as log(1, "text").
Log TakeLog();

struct Poll {
  bool available = false;
  void* frame = nullptr;  // kUntouched when the library did not write it
  uint32_t width = 0;
  uint32_t height = 0;
  bool cursor_enabled = false;
  bool is_texture = false;
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
  // In texture output each true poll owns a reference, which Pixels() releases.
  Poll GetFrame();
  // Delivers a frame whose texture is as large as the picture, while the content keeps the pool's
  // size, to the session that was started last on this thread, and polls this one.
  Poll Show(const Picture& picture, DXGI_FORMAT format = DXGI_FORMAT_B8G8R8A8_UNORM);
  float Ratio() { return wgc_get_update_ratio(handle_); }
  bool Running() { return wgc_get_status(handle_); }
  void DirtyRect(bool enable) { wgc_set_dirty_rect(handle_, enable); }
  void ToTexture(bool enable) { wgc_set_capture_to_texture(handle_, to_texture_ = enable); }
  bool EnableCursor(bool enable) { return wgc_enable_cursor(handle_, enable); }
  bool ShowBorder(bool show) { return wgc_show_border(handle_, show); }

 private:
  void* handle_;
  bool to_texture_ = false;
};

struct CaptureSwitches {
  bool detect = false;
  bool texture = false;
};

// A session that captures; the lines of its start are taken from the log.
class Capture : public Session {
 public:
  explicit Capture(CaptureSwitches switches = {});
};

// A picture that differs in every pixel from those of other seeds.
inline Picture Pattern(uint32_t width, uint32_t height, uint32_t seed = 1) {
  return MakePattern(width, height, seed);
}

// The frame of a poll, empty when there was none. The reference that came with a texture is
// released.
Picture Pixels(const Poll& poll);
// The same of a poll that is known to have handed out a texture.
Picture TexturePixels(const Poll& poll);

// A texture on the device of the session that was started last on this thread.
winrt::com_ptr<ID3D11Texture2D> NewFrameTexture(const D3D11_TEXTURE2D_DESC& desc);
winrt::com_ptr<ID3D11Texture2D> NewFrameTexture(const Picture& picture,
                                                DXGI_FORMAT format = DXGI_FORMAT_B8G8R8A8_UNORM,
                                                D3D11_USAGE usage = D3D11_USAGE_DEFAULT);
// 64 x 48, with mip levels, layers and samples, and a flag that no copy takes over.
D3D11_TEXTURE2D_DESC LayeredFrameDesc(DXGI_FORMAT format = DXGI_FORMAT_B8G8R8A8_UNORM);
// See Session::Show.
void DeliverAnySize(const Picture& picture, DXGI_FORMAT format = DXGI_FORMAT_B8G8R8A8_UNORM);

// What a host that pumps for itself does between two polls.
void PumpAsTheHost();

// Faults of platform calls.
constexpr fake::Fault Failure(HRESULT result) {
  return {fake::Fault::Kind::kResult, result};
}
inline constexpr fake::Fault kFails = Failure(E_FAIL);
inline constexpr fake::Fault kGivesNothing{fake::Fault::Kind::kNothing, S_OK};
// These replace the plan.
inline void FailCalls(std::string function, std::vector<uint64_t> numbers,
                      fake::Fault fault = kFails) {
  fake::PlanFaults(fake::CallsOf(std::move(function), std::move(numbers), fault));
}
inline void FailEveryCall(std::string function, fake::Fault fault = kFails) {
  fake::PlanFaults(fake::EveryCallOf(std::move(function), fault));
}

// The calls of the platform that an action makes.
template <typename Action>
std::vector<std::string> Recorded(Action action) {
  fake::StartRecording();
  action();
  return fake::TakeRecording();
}
// The lines of a recording that hold `part`.
std::vector<std::string> LinesWith(std::string_view part,
                                   const std::vector<std::string>& recording);

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
