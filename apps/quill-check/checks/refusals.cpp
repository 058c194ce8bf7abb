// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "common/text.h"
#include "quill-check/checks/checks.h"
#include "quill-check/checks/pattern_capture.h"

namespace quill_apps {

namespace {

struct Start {
  bool is_created;
  bool is_started;
  std::string log;  // the last error
};

// One start on a thread of its own.
template <typename Create>
Start TryStart(const Library& library, Create create) {
  Start start{};
  OnFreshThread([&] {
    SetLogSink(nullptr, false);
    void* session = create();
    start.is_created = session != nullptr;
    if (session == nullptr) return;
    start.is_started = library.wgc_session_start(session);
    start.log = LastLoggedError();
    library.wgc_session_destroy(session);
  });
  return start;
}

// A start that must fail and say why.
void Judge(Finding& finding, const char* what, const Start& start) {
  const bool is_refused = !start.is_started && (!start.is_created || !start.log.empty());
  finding.Figure(
      what, {{"created", start.is_created}, {"started", start.is_started}, {"log", start.log}});
  finding.Add(is_refused ? Verdict::kPass : Verdict::kFail,
              std::string(what) + ": " +
                  (start.is_started    ? "the start succeeds"
                   : !start.is_created ? "no session is made"
                   : start.log.empty() ? "the start fails and logs nothing"
                                       : "the start fails: " + start.log));
}

// Windows' documentation does not say whether a child window can be captured.
void CheckChild(CheckContext& context) {
  StageWindowOptions options;
  options.drawing = Drawing::kGdi;
  options.position = SlotPosition(PrimaryMonitor(), context.slot);
  const StageWindow parent(options);
  const HWND child = CreateWindowExW(0, L"STATIC", L"", WS_CHILD | WS_VISIBLE, 0, 0, 100, 100,
                                     parent.handle(), nullptr, nullptr, nullptr);
  const Start start =
      TryStart(context.library, [&] { return context.library.wgc_session_create(child); });
  context.finding.Info("a child window: " + (start.is_started ? std::string("the start succeeds")
                                                              : "the start fails: " + start.log));
  DestroyWindow(child);
}

void CheckSecondStart(CheckContext& context) {
  StageWindowOptions options;
  options.drawing = Drawing::kGdi;
  options.position = SlotPosition(PrimaryMonitor(), context.slot);
  StageWindow window(options);
  OnFreshThread([&] {
    PatternCapture capture(context.library, window.handle());
    SetLogSink(nullptr, false);
    const bool is_refused = !context.library.wgc_session_start(capture.session().handle());
    const std::string log = LastLoggedError();
    const bool goes_on = capture.AwaitPresented(window, 2, kPatientSeconds);
    context.finding.Add(
        is_refused && !log.empty() && goes_on ? Verdict::kPass : Verdict::kFail,
        std::string("a second start of a session: ") + (is_refused ? "fails: " + log : "succeeds") +
            (goes_on ? ", and the capture goes on" : ", and no right frame comes afterwards"));
  });
}

}  // namespace

void CheckRefusals(CheckContext& context) {
  const Library& library = context.library;
  HWND dead = nullptr;
  {
    StageWindowOptions options;
    options.drawing = Drawing::kGdi;
    options.position = SlotPosition(PrimaryMonitor(), context.slot);
    const StageWindow window(options);
    dead = window.handle();
  }
  Judge(context.finding, "a window that is gone",
        TryStart(library, [&] { return library.wgc_session_create(dead); }));
  Judge(context.finding, "no window",
        TryStart(library, [&] { return library.wgc_session_create(nullptr); }));
  // No monitor has such a handle: they are small numbers.
  const auto bad = reinterpret_cast<HMONITOR>(static_cast<uintptr_t>(0x7ffffff0));
  Judge(context.finding, "a monitor that does not exist",
        TryStart(library, [&] { return library.wgc_session_create2(bad); }));
  Judge(context.finding, "no monitor",
        TryStart(library, [&] { return library.wgc_session_create2(nullptr); }));
  CheckChild(context);
  CheckSecondStart(context);
}

}  // namespace quill_apps
