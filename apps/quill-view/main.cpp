// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <limits>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "common/clock.h"
#include "common/console.h"
#include "common/error.h"
#include "common/program.h"
#include "common/targets.h"
#include "quill-view/figures.h"
#include "quill-view/options.h"
#include "quill-view/view_window.h"
#include "quill-view/viewer.h"

namespace {

using namespace quill_apps;

std::atomic<bool> interrupted{false};
std::atomic<HWND> view_window{nullptr};

// Ctrl-C and the like close the view.
BOOL WINAPI OnConsoleSignal(DWORD) {
  interrupted = true;
  if (const HWND window = view_window) PostMessageW(window, WM_CLOSE, 0, 0);
  return TRUE;
}

// Makes the window known to OnConsoleSignal while in scope.
class InterruptibleWindow {
 public:
  explicit InterruptibleWindow(ViewWindow& window) {
    view_window = window.handle();
    if (interrupted) window.Close();
  }
  ~InterruptibleWindow() { view_window = nullptr; }
  InterruptibleWindow(const InterruptibleWindow&) = delete;
  InterruptibleWindow& operator=(const InterruptibleWindow&) = delete;
};

Target ChooseTarget(const ViewOptions& options, Clock& clock, Console& console) {
  if (!options.wait) return FindTarget(options);
  TargetOptions search = options;
  search.wait_seconds = std::numeric_limits<double>::infinity();
  if (MatchWindows(ListWindows(), search).empty()) console.PrintLine("Waiting for the window");
  return WaitForTarget(search, clock, interrupted);
}

// Where a window that is not minimised stands, or the monitor.
RECT PlaceOf(const Target& target) {
  RECT place{0, 0, 640, 360};
  if (target.window == nullptr) {
    MONITORINFO info{};
    info.cbSize = sizeof info;
    if (GetMonitorInfoW(target.monitor, &info)) place = info.rcMonitor;
  } else if (!IsIconic(target.window)) {
    GetWindowRect(target.window, &place);
  }
  return place;
}

// The first frame will tell the size exactly.
void Place(ViewWindow& window, const Target& target) {
  const RECT place = PlaceOf(target);
  window.Fit({static_cast<uint32_t>(std::max(place.right - place.left, 1L)),
              static_cast<uint32_t>(std::max(place.bottom - place.top, 1L))});
  if (target.window != nullptr) window.MoveBeside(place);
}

// Returns the next target, if there is one. Throws ToolError.
std::optional<Target> RunViewer(const Library& library, const Target& target,
                                const ViewOptions& options, ViewWindow& window, Figures& figures,
                                Console& console) {
  try {
    return Viewer(library, target, options, window, figures, console).Run();
  } catch (const ToolError&) {
    // With --wait, a window may also close before its capture has started.
    if (!options.wait || IsWindow(target.window)) throw;
  }
  window.SetTitle(target.name + " was closed - quill-view");
  std::optional<Target> next;
  while (!next && !window.is_closing()) {
    WaitForSingleObject(window.changed(), 250);
    next = FindNext(options, window);
  }
  return next;
}

// Shows the target on a thread of its own, because a thread starts one session in its life, and
// handles the window's messages meanwhile. Returns and throws as RunViewer does.
std::optional<Target> ShowTarget(const Library& library, const Target& target,
                                 const ViewOptions& options, ViewWindow& window, Figures& figures,
                                 Console& console) {
  const HANDLE ended = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  std::optional<Target> next;
  std::exception_ptr error;
  std::thread thread([&] {
    try {
      next = RunViewer(library, target, options, window, figures, console);
    } catch (...) {
      error = std::current_exception();
    }
    SetEvent(ended);
  });
  window.HandleMessagesUntil(ended);
  thread.join();
  CloseHandle(ended);
  if (error) std::rethrow_exception(error);
  return next;
}

ExitCode View(const ViewOptions& options, Console& console) {
  Clock clock;
  Target target = ChooseTarget(options, clock, console);
  const Library library = LoadSupportedLibrary();
  // Outlives all sessions, whose threads leave COM to it.
  const ComApartment apartment;
  const LogRoute route(library, console, options.verbose);
  if (!target.notice.empty()) console.PrintLine("Notice: " + target.notice);

  ViewWindow window(target.name + " - quill-view", options.tiles, options.on_top);
  const InterruptibleWindow interruptible(window);
  Place(window, target);
  window.Show();
  if (options.seconds > 0.0) window.CloseAfter(options.seconds);
  const double start = clock.Now();
  Figures figures;
  for (;;) {
    console.PrintLine("Viewing " + target.description);
    std::optional<Target> next = ShowTarget(library, target, options, window, figures, console);
    if (!next) break;
    target = std::move(*next);
    window.SetTitle(target.name + " - quill-view");
  }
  console.PrintLine(figures.Summary(clock.Now() - start));
  return ExitCode::kOk;
}

ExitCode Run(std::vector<std::string> arguments, Console& console) {
  const ViewParseResult parsed = ParseViewOptions(std::move(arguments));
  if (!ShallRun(parsed, console)) return ExitCode::kOk;
  return View(*parsed.options, console);
}

}  // namespace

// wmain receives titles in any script intact.
int wmain(int argc, wchar_t** argv) {
  SetConsoleCtrlHandler(OnConsoleSignal, TRUE);
  Console console("quill-view");
  return static_cast<int>(
      ReportErrors(console, [&] { return Run(Arguments(argc, argv), console); }));
}
