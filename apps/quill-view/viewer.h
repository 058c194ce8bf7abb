// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <optional>
#include <string>

#include "common/capture_session.h"
#include "common/clock.h"
#include "common/console.h"
#include "common/library.h"
#include "common/targets.h"
#include "common/tile_comparison.h"
#include "quill-view/figures.h"
#include "quill-view/options.h"
#include "quill-view/screen.h"
#include "quill-view/tiles.h"
#include "quill-view/view_window.h"

namespace quill_apps {

// Lines of text in the view.
class Label {
 public:
  explicit Label(ID3D11Device* device) : layer_(device) {}

  // An empty text hides the label. width: that of the client area, within which it stays.
  void Set(const std::string& text, UINT dpi, uint32_t width);
  const std::string& text() const { return text_; }
  bool is_shown() const { return !text_.empty(); }
  Layer& layer() { return layer_; }

 private:
  Layer layer_;
  std::string text_;
  UINT dpi_ = 0;
  uint32_t width_ = 0;
};

// Captures one target and draws its frames in the view's window. All of it, from construction to
// destruction, is for one thread that has started no other session.
class Viewer {
 public:
  // The references must outlive the object. Throws ToolError.
  Viewer(const Library& library, const Target& target, const ViewOptions& options,
         ViewWindow& window, Figures& figures, Console& console);

  // Shows frames until the view is closed, or until the target is closed and the next one is there.
  // Returns the latter. Throws ToolError.
  std::optional<Target> Run();

 private:
  enum class State { kRunning, kMinimised, kClosed };

  void WaitForSomething() const;
  // Returns whether there is a new frame.
  bool TakeFrame();
  void TakeTiles(const CapturedFrame& frame);
  void CheckTarget();
  std::string Message();
  std::string FiguresText();
  // client: not empty.
  void Draw(const FrameSize& client);
  void DrawTilesAndChart(const Layout& layout);

  const Target& target_;
  const ViewOptions& options_;
  ViewWindow& window_;
  Figures& figures_;
  Clock clock_;
  const double start_;

  CaptureSession session_;
  ID3D11Device* const device_;  // the session's
  Screen screen_;
  Layer picture_;
  Layer tiles_;
  Layer chart_;
  Label corner_;   // figures and help
  Label message_;  // what is the matter with the target
  TileComparison comparison_;
  StripChart ratios_;

  State state_ = State::kRunning;
  size_t changed_tiles_ = 0;
};

// The first window that matches the options, but not the view, whose title contains the target's.
std::optional<Target> FindNext(const ViewOptions& options, const ViewWindow& view);

}  // namespace quill_apps
