// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What a host must see of a session, whatever it calls and whatever frames come: written down from
// the library's promises, and kept beside a session by tests that drive one at random.
//
// Not everything can be told. While `known` is false (a platform call failed), nothing is said
// about frames. After a switch from texture to buffer output the buffer is as it was, and may be of
// another size than the size reported, which is that of the last texture.
#pragma once

#include <windows.h>

#include <d3d11.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include "native/platform/capture.h"
#include "support/reference_diff.h"

namespace session_model {

using fake::SizeInt32;

struct Size {
  uint32_t width = 0;
  uint32_t height = 0;

  uint64_t Pixels() const { return uint64_t{width} * height; }
  friend auto operator<=>(const Size&, const Size&) = default;
};

inline bool operator!=(const SizeInt32& a, const SizeInt32& b) {
  return a.Width != b.Width || a.Height != b.Height;
}

using Picture = std::shared_ptr<const reference::Image>;

inline Size SizeOf(const reference::Image& picture) {
  return {picture.width, picture.height};
}

struct Frame {
  Picture picture;  // null: the frame has no texture
  DXGI_FORMAT format = DXGI_FORMAT_B8G8R8A8_UNORM;
  SizeInt32 content;
  bool in_pool_buffer = false;
  bool first_of_its_size = false;
};

struct OutputTexture {
  Picture picture;
  DXGI_FORMAT format;
};

// The detector's memory: of the size and format that it was built for.
struct Detector {
  bool known = true;
  Size size;
  DXGI_FORMAT format = DXGI_FORMAT_UNKNOWN;
  Picture before;  // null: blank
  Picture now;

  void Rebuild(Size new_size, DXGI_FORMAT new_format) {
    known = true;
    size = new_size;
    format = new_format;
    before = now = nullptr;
  }
  // The device drops copies between formats.
  void UpdateOld(const Frame& frame) {
    if (frame.format == format) before = frame.picture;
  }
  reference::Diff Detect(const Frame& frame) {
    if (frame.format == format) now = frame.picture;
    if (now == before) return {};
    const reference::Image blank(now && before ? 0 : size.width, size.height);
    const reference::Image& old_picture = before ? *before : blank;
    const reference::Image& new_picture = now ? *now : blank;
    if (old_picture.pixels == new_picture.pixels) return {};
    return reference::DiffOf(old_picture, new_picture);
  }
};

inline uint64_t CapacityAfterGrowth(uint64_t needed) {
  constexpr uint64_t kTiers[] = {8'294'400, 14'745'600, 23'040'000, 33'177'600, 35'389'440};
  for (const uint64_t tier : kTiers) {
    if (needed < tier) return tier;
  }
  return needed;
}

struct SessionModel {
  // Always certain.
  bool has_target = false;
  bool cursor = false;
  bool to_texture = false;
  bool detect = false;
  bool running = false;
  bool started = false;        // the last start answered true
  bool started_clean = false;  // and no call of it was made to fail
  ID3D11Device* device = nullptr;
  std::vector<Picture> delivered;
  std::set<Size> sizes;
  bool textures_asked = false;  // texture output was on at some time
  bool unfilled = false;        // a map gave no data, so the buffer may hold no picture at all

  // Certain while `known`.
  bool known = true;
  bool pending = false;
  Size size;
  bool has_buffer = false;
  uint64_t capacity = 0;
  // The picture in the frame buffer, null before the first, and what it may be instead.
  Picture held;
  std::vector<Picture> alternatives;
  bool in_step = false;  // the picture held is the one that the detector remembers
  // Frames that were copied to the buffer since the test last looked, and that may have been.
  uint64_t copies = 0;
  uint64_t possible_copies = 0;
  bool output_known = true;
  std::shared_ptr<OutputTexture> output;
  std::optional<float> ratio = 0.0f;
  Detector detector;
  SizeInt32 content{};
  std::deque<Frame> waiting;

  // A start has made a new device and a new pool: nothing that belonged to those before is left.
  void Restart(SizeInt32 item) {
    content = item;
    waiting.clear();
    output = nullptr;
    output_known = true;
    detector = {};
  }

  void LoseCertainty() {
    known = detector.known = output_known = false;
    waiting.clear();
    alternatives.clear();
    held = nullptr;
    output = nullptr;
    ratio.reset();
  }

  // A FrameArrived event is dispatched.
  void HandleEvent() {
    if (!known || waiting.empty()) return;
    const Frame frame = waiting.front();
    waiting.pop_front();
    if (pending || !frame.picture) return;
    if (to_texture) {
      HandleInTextureOutput(frame);
      FollowContent(frame.content);
    } else {
      HandleInBufferOutput(frame);
      // A pool that cannot be made anew ends the handler before the frame counts as read.
      pending = FollowContent(frame.content);
      if (!pending) in_step = false;
    }
  }

 private:
  bool BufferFits(Size wanted) const {
    return size == wanted && has_buffer && capacity >= wanted.Pixels() * 4;
  }

  void HandleInBufferOutput(const Frame& frame) {
    const Size wanted = SizeOf(*frame.picture);
    ratio = 1.0f;
    const Copied copied = detect ? DetectInBufferOutput(frame) : Copied::kYes;
    in_step = detect;
    if (!BufferFits(wanted)) {
      MakeBuffer(wanted.Pixels() * 4);
      size = wanted;
    }
    const bool is_certain = copied == Copied::kYes && (detector.known || !detect);
    if (copied != Copied::kNo) ++(is_certain ? copies : possible_copies);
    if (copied == Copied::kPerhaps) {
      alternatives.push_back(frame.picture);
    } else if (copied == Copied::kYes) {
      held = frame.picture;
      alternatives.clear();
    }
  }

  enum class Copied { kNo, kPerhaps, kYes };

  // An unchanged frame is not copied if what it was compared with is held. Otherwise it is new to
  // the host, whatever it was compared with.
  Copied DetectInBufferOutput(const Frame& frame) {
    const Size wanted = SizeOf(*frame.picture);
    const bool rebuilt = detector.known ? detector.size != wanted : frame.first_of_its_size;
    if (rebuilt) detector.Rebuild(wanted, frame.format);
    if (!started_clean) detector.known = false;
    if (!detector.known) {
      ratio.reset();
      return in_step && held && SizeOf(*held) == wanted ? Copied::kPerhaps : Copied::kYes;
    }
    bool is_new = true;
    if (!rebuilt) {
      const reference::Diff diff = detector.Detect(frame);
      is_new = !diff.rects.empty() || !in_step;
      if (!diff.rects.empty() || in_step) {
        ratio = reference::Ratio(diff.area, wanted.width, wanted.height);
      }
    }
    detector.UpdateOld(frame);
    return is_new ? Copied::kYes : Copied::kNo;
  }

  void MakeBuffer(uint64_t needed) {
    if (!has_buffer) {
      capacity = needed;
    } else if (capacity < needed) {
      capacity = CapacityAfterGrowth(needed);
    }
    has_buffer = true;
  }

  void HandleInTextureOutput(const Frame& frame) {
    const Size wanted = SizeOf(*frame.picture);
    if (!output || SizeOf(*output->picture) != wanted || output->format != frame.format) {
      output = std::make_shared<OutputTexture>();
      output->format = frame.format;
    }
    output->picture = frame.picture;
    output_known = true;
    size = wanted;
    ratio = 1.0f;
    if (!detect) return;
    const bool rebuilt = detector.known ? detector.size != wanted : frame.first_of_its_size;
    if (rebuilt) {
      detector.Rebuild(wanted, frame.format);
      in_step = false;  // with a blank frame now
    }
    if (!started_clean) detector.known = false;
    if (rebuilt) {
      ratio = 0.0f;
    } else if (detector.known) {
      ratio = reference::Ratio(detector.Detect(frame).area, wanted.width, wanted.height);
    } else {
      ratio.reset();
    }
  }

  bool FollowContent(SizeInt32 wanted) {
    if (!(wanted != content)) return true;
    if (wanted.Width <= 0 || wanted.Height <= 0) return false;
    content = wanted;
    waiting.clear();
    return true;
  }
};

}  // namespace session_model
