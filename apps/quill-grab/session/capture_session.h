// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <memory>
#include <optional>

#include "common/console.h"
#include "quill-grab/console/options.h"
#include "common/pixels.h"
#include "common/library.h"
#include "common/texture_reader.h"
#include "quill-grab/target/targets.h"

namespace quill_apps {

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
  // library must outlive the object. Throws ToolError.
  CaptureSession(const Library& library, const Options& options, const Target& target,
                 Console& console);

  // False when the target has closed.
  bool is_running() const;

  // The library's latest frame; the same one again when no other has arrived.
  std::optional<CapturedFrame> Poll();

  // Valid as long as the frame. Throws ToolError.
  FramePixels Read(const CapturedFrame& frame);

 private:
  void ApplySwitches(const Options& options, Console& console);

  const Library& library_;
  const bool is_texture_;
  std::unique_ptr<void, decltype(Library::wgc_session_destroy)> session_;
  std::optional<TextureReader> texture_reader_;
};

}  // namespace quill_apps
