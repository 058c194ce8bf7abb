// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// frame_instructions MODE WIDTH HEIGHT FRAMES: a session that handles FRAMES frames, each inside
// one call of PollOneFrame, on the native tests' platform. MODE is idle (no frame comes), buffer,
// unchanged, changed or texture. Made to be run by Callgrind.

#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "libquill_wgc.h"
#include "native/platform/capture.h"
#include "native/platform/settings.h"

namespace {

uint32_t Number(const char* text) {
  uint32_t value = 0;
  std::from_chars(text, text + std::strlen(text), value);
  return value;
}

bool Poll(void* session, void** frame) {
  uint32_t width = 0;
  uint32_t height = 0;
  bool cursor = false;
  return wgc_get_recent_frame(session, frame, nullptr, &width, &height, &cursor);
}

}  // namespace

// What is collected: its name is on Callgrind's command line.
extern "C" [[gnu::noinline]] bool PollOneFrame(void* session, void** frame) {
  return Poll(session, frame);
}

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: frame_instructions MODE WIDTH HEIGHT FRAMES\n");
    return 2;
  }
  const std::string_view mode = argv[1];
  const uint32_t width = Number(argv[2]);
  const uint32_t height = Number(argv[3]);
  const uint32_t frames = Number(argv[4]);
  const bool to_texture = mode == "texture";
  fake::settings.item_width = static_cast<int32_t>(width);
  fake::settings.item_height = static_cast<int32_t>(height);
  fake::settings.agile_factories = true;

  void* const session = wgc_session_create(reinterpret_cast<HWND>(0x10));
  if (session == nullptr || !wgc_session_start(session)) return 1;
  wgc_set_dirty_rect(session, mode == "unchanged" || mode == "changed");
  wgc_set_capture_to_texture(session, to_texture);
  // The first frames make what later ones find: the buffer, and room for rectangles on both sides
  // of the engine's exchange.
  constexpr uint32_t kWarmUp = 4;
  for (uint32_t i = 0; i < kWarmUp + frames; ++i) {
    if (mode != "idle") {
      const uint32_t pixel = mode == "unchanged" ? 0 : i;
      fake::LastPool()->Deliver(reference::Image(width, height, pixel));
    }
    void* frame = nullptr;
    const bool has_frame = i < kWarmUp ? Poll(session, &frame) : PollOneFrame(session, &frame);
    if (has_frame != (mode != "idle")) return 1;
    if (has_frame && to_texture) static_cast<ID3D11Texture2D*>(frame)->Release();
  }
  wgc_session_destroy(session);
  return 0;
}
