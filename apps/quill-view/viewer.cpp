// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-view/viewer.h"

#include <algorithm>
#include <vector>

#include "common/error.h"
#include "common/program.h"
#include "common/text.h"
#include "quill-view/label.h"
#include "quill-view/layout.h"

namespace quill_apps {

namespace {

// How often the target's state is looked at, and figures are drawn anew.
constexpr double kCheckSeconds = 0.25;
// How long the first frame may take without a word about it.
constexpr double kFirstFrameSeconds = 1.0;
constexpr DWORD kFrameMs = 16;

constexpr ResultCheck kDeviceCheck{ExitCode::kCaptureFailed, "the graphics device was lost",
                                   "start the view again"};

}  // namespace

void Label::Set(const std::string& text, UINT dpi, uint32_t width) {
  if (text == text_ && dpi == dpi_ && width == width_) return;
  text_ = text;
  dpi_ = dpi;
  width_ = width;
  if (!text.empty()) layer_.Upload(DrawLabel(text, dpi, width).view());
}

Viewer::Viewer(const Library& library, const Target& target, const ViewOptions& options,
               ViewWindow& window, Figures& figures, Console& console)
    : target_(target),
      options_(options),
      window_(window),
      figures_(figures),
      start_(clock_.Now()),
      session_(StartCapture(library, target, SwitchesOf(options), console)),
      device_(library.wgc_get_device(session_.handle())),
      screen_(device_, window.handle()),
      picture_(device_),
      tiles_(device_),
      chart_(device_),
      corner_(device_),
      message_(device_) {}

std::optional<Target> Viewer::Run() {
  double next_check = 0.0;
  uint32_t drawn_revision = window_.revision() - 1;
  while (!window_.is_closing()) {
    const double begin = clock_.Now();
    const bool has_new_frame = TakeFrame();
    bool must_draw = has_new_frame;
    if (begin >= next_check) {
      next_check = begin + kCheckSeconds;
      CheckTarget();
      if (state_ == State::kClosed && options_.wait) {
        if (std::optional<Target> next = FindNext(options_, window_)) return next;
      }
      must_draw = must_draw || window_.shows_figures();
    }
    const std::string message = Message();
    must_draw = must_draw || window_.revision() != drawn_revision || message_.text() != message;
    // The revision first: what changes after it is drawn the next time.
    const uint32_t revision = window_.revision();
    const FrameSize client = window_.client();
    if (must_draw && client != FrameSize{}) {
      drawn_revision = revision;
      message_.Set(message, window_.dpi(), client.width);
      Draw(client);
      const double handed_over = clock_.Now();
      screen_.Present();
      if (has_new_frame) {
        const double end = clock_.Now();
        figures_.Add(end, {(handed_over - begin) * 1e3, (end - begin) * 1e3});
      }
    }
    WaitForSomething();
  }
  return std::nullopt;
}

// Frames come as messages of this thread. A view that nobody sees takes no more of them than keep
// the queue short.
void Viewer::WaitForSomething() const {
  constexpr auto kIdleMs = static_cast<DWORD>(kCheckSeconds * 1e3);
  const HANDLE changed = window_.changed();
  if (window_.client() == FrameSize{}) {
    WaitForSingleObject(changed, kIdleMs);
  } else {
    MsgWaitForMultipleObjects(1, &changed, FALSE, state_ == State::kRunning ? kFrameMs : kIdleMs,
                              QS_ALLINPUT);
  }
}

bool Viewer::TakeFrame() {
  const std::optional<CapturedFrame> frame = session_.Poll();
  // The ratio is above 0 only when a frame has arrived since the last poll.
  if (!frame || frame->ratio == 0.0f) return false;
  if (options_.tiles) {
    TakeTiles(*frame);
  } else {
    picture_.Set(static_cast<ID3D11Texture2D*>(frame->data.get()));
  }
  window_.SetPicture(frame->size);
  return true;
}

void Viewer::TakeTiles(const CapturedFrame& frame) {
  const FramePixels pixels = session_.Read(frame);
  picture_.Upload(pixels.view());
  const Bitmap tiles = DrawTiles(comparison_.Add(pixels.view()), frame.size);
  changed_tiles_ =
      static_cast<size_t>(std::count(tiles.pixels.begin(), tiles.pixels.end(), kChangedTile));
  tiles_.Upload(tiles.view());
  ratios_.Add(frame.ratio);
}

void Viewer::CheckTarget() {
  kDeviceCheck(device_->GetDeviceRemovedReason(), "GetDeviceRemovedReason");
  const State before = state_;
  if (!session_.is_running()) {
    state_ = State::kClosed;
  } else {
    const bool is_minimised = target_.window != nullptr && IsIconic(target_.window);
    state_ = is_minimised ? State::kMinimised : State::kRunning;
  }
  if (state_ == State::kClosed && before != State::kClosed) {
    window_.SetTitle(target_.name + " was closed - quill-view");
  }
}

std::string Viewer::Message() {
  switch (state_) {
    case State::kClosed:
      return target_.name + " was closed" +
             (options_.wait ? ": waiting for the next such window" : "");
    case State::kMinimised:
      return target_.name + " is minimised: no frames until it is restored";
    default:
      break;
  }
  const bool is_late = picture_.size() == FrameSize{} && clock_.Now() - start_ > kFirstFrameSeconds;
  return is_late ? "no frame has arrived yet" : "";
}

std::string Viewer::FiguresText() {
  const FrameSize size = picture_.size();
  std::string text = Format("%u x %u\n", size.width, size.height) + figures_.Text(clock_.Now());
  if (options_.tiles) {
    text += Format("\nupdate ratio %.4f, %zu tiles of %u x %u", ratios_.newest(), changed_tiles_,
                   kTileSize, kTileSize);
  }
  return text;
}

void Viewer::Draw(const FrameSize& client) {
  const bool has_picture = picture_.size() != FrameSize{};
  const Layout layout = has_picture ? LayOut(client, picture_.size(), options_.tiles) : Layout{};
  screen_.Begin(client, layout.picture_size == client);
  if (has_picture) screen_.Draw(picture_, layout.picture);
  if (has_picture && options_.tiles) DrawTilesAndChart(layout);
  std::string corner = window_.shows_figures() ? FiguresText() : "";
  if (window_.shows_help()) corner += (corner.empty() ? "" : "\n\n") + std::string(kKeyHelp);
  corner_.Set(corner, window_.dpi(), client.width);
  if (corner_.is_shown()) {
    screen_.Blend(corner_.layer(), AreaAt(0, 0, corner_.layer().size()));
  }
  if (message_.is_shown()) {
    const FrameSize size = message_.layer().size();
    const uint32_t left = (client.width - std::min(client.width, size.width)) / 2;
    const uint32_t top = (client.height - std::min(client.height, size.height)) / 2;
    screen_.Blend(message_.layer(), AreaAt(left, top, size));
  }
}

void Viewer::DrawTilesAndChart(const Layout& layout) {
  const Area& picture = layout.picture;
  const float tile_width = (picture.right - picture.left) * static_cast<float>(kTileSize) /
                           static_cast<float>(picture_.size().width);
  const float tile_height = (picture.bottom - picture.top) * static_cast<float>(kTileSize) /
                            static_cast<float>(picture_.size().height);
  const FrameSize tiles = tiles_.size();
  screen_.Blend(tiles_, {picture.left, picture.top,
                         picture.left + tile_width * static_cast<float>(tiles.width),
                         picture.top + tile_height * static_cast<float>(tiles.height)});
  if (layout.chart_size == FrameSize{}) return;
  chart_.Upload(ratios_.Draw(layout.chart_size).view());
  screen_.Draw(chart_, layout.chart);
}

std::optional<Target> FindNext(const ViewOptions& options, const ViewWindow& view) {
  std::vector<WindowInfo> windows = ListWindows();
  std::erase_if(windows, [&](const WindowInfo& window) { return window.handle == view.handle(); });
  const std::vector<WindowInfo> matches = MatchWindows(windows, options);
  if (matches.empty()) return std::nullopt;
  return TargetOf(matches.front());
}

}  // namespace quill_apps
