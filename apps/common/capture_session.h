// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <memory>
#include <optional>

#include "common/library.h"
#include "common/pixels.h"
#include "common/texture_reader.h"

namespace quill_apps {

// What is captured and how. Everything is off at first, as in the library.
struct Switches {
  bool cursor = false;
  bool border = false;
  bool detect = false;
  bool texture = false;
};

// Gives a frame back to the session.
struct FrameReleaser {
  const Library* library;
  void* session;
  bool is_texture;
  void operator()(void* frame) const;
};

// A frame that the library reported. It must not outlive its session.
struct CapturedFrame {
  std::unique_ptr<void, FrameReleaser> data;  // pixels or an ID3D11Texture2D
  FrameSize size;
  float ratio;  // the update ratio that the library gave with it
};

// A started capture of one target. For one thread, which has initialised COM for the multithreaded
// apartment.
class CaptureSession {
 public:
  // Captures the window or, without one, the monitor. library must outlive the object. Throws
  // ToolError with the library's own reason, which OnLogLine must have received, or
  // std::bad_alloc.
  CaptureSession(const Library& library, HWND window, HMONITOR monitor, const Switches& switches);

  // True when this Windows cannot switch the cursor, although it was asked for.
  bool cursor_was_refused() const { return cursor_was_refused_; }

  // False when the target has closed.
  bool is_running() const;

  // The library's latest frame; the same one again when no other has arrived.
  std::optional<CapturedFrame> Poll();

  // Valid as long as the frame. Throws ToolError.
  FramePixels Read(const CapturedFrame& frame);

  // For calls of the library that this class does not make.
  void* handle() const { return session_.get(); }

 private:
  void ApplySwitches(const Switches& switches);

  const Library& library_;
  const bool is_texture_;
  bool cursor_was_refused_ = false;
  std::unique_ptr<void, decltype(Library::wgc_session_destroy)> session_;
  std::optional<TextureReader> texture_reader_;
};

}  // namespace quill_apps
