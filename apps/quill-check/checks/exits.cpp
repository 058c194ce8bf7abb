// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-check/checks/exits.h"

#include <objbase.h>

#include <string>

#include "common/error.h"
#include "common/text.h"
#include "quill-check/checks/checks.h"
#include "quill-check/checks/pattern_capture.h"
#include "quill-check/library_file.h"
#include "quill-check/worker_process.h"

namespace quill_apps {

namespace {

constexpr int kExitCode = 42;

HANDLE EndEvent(const std::string& name, bool create) {
  const std::wstring wide = L"Local\\quill-check-end-" + ToWide(name);
  return create ? CreateEventW(nullptr, TRUE, FALSE, wide.c_str())
                : OpenEventW(EVENT_MODIFY_STATE, FALSE, wide.c_str());
}

// The process says that it is about to end, and then does.
void JudgeExit(CheckContext& context, const char* what, const std::string& task, HWND window) {
  const std::string name = Format("%lu-%s", GetCurrentProcessId(), task.c_str());
  const HANDLE ends = EndEvent(name, true);
  const HANDLE process =
      StartThisProgram(ToWide(Format("--exit-task %s,%s,%llu", task.c_str(), name.c_str(),
                                     Number(reinterpret_cast<uintptr_t>(window)))),
                       nullptr);
  const HANDLE either[] = {ends, process};
  constexpr DWORD kStartMs = 5000;
  constexpr DWORD kEndMs = 1000;
  const bool is_ending = WaitForMultipleObjects(2, either, FALSE, kStartMs) == WAIT_OBJECT_0;
  const auto start = std::chrono::steady_clock::now();
  const bool has_ended = WaitForSingleObject(process, kEndMs) == WAIT_OBJECT_0;
  const double ms = MillisecondsSince(start);
  DWORD code = 0;
  GetExitCodeProcess(process, &code);
  if (!has_ended) TerminateProcess(process, 1);
  CloseHandle(process);
  CloseHandle(ends);
  const bool is_right = is_ending && has_ended && code == kExitCode;
  context.finding.Figure(what, {{"ms", ms}, {"code", Format("0x%08lx", code)}});
  context.finding.Add(
      is_right ? Verdict::kPass : Verdict::kFail,
      std::string(what) + ": " +
          (is_right     ? Format("the process ends in %.0f ms", ms)
           : !is_ending ? Format("the process did not get as far as its end: code 0x%08lx", code)
           : !has_ended ? "the process does not end within 1 s"
                        : Format("the process ends with code 0x%08lx", code)));
}

}  // namespace

int RunExitTask(const std::string& task) {
  const size_t first = task.find(',');
  const size_t second = task.find(',', first + 1);
  if (second == std::string::npos) return static_cast<int>(ExitCode::kUsage);
  const std::string what = task.substr(0, first);
  const std::string name = task.substr(first + 1, second - first - 1);
  const HWND window = reinterpret_cast<HWND>(
      static_cast<uintptr_t>(std::strtoull(task.c_str() + second + 1, nullptr, 10)));
  if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) return 1;
  const Library library = LoadLibraryFunctions(LibraryPath());
  if (what == "probe") {
    library.is_wgc_session_supported();
  } else {
    void* session = library.wgc_session_create(window);
    if (!library.wgc_session_start(session)) return 1;
    Await(1.0, [&] {
      void* frame;
      FrameSize size;
      bool cursor;
      return library.wgc_get_recent_frame(session, &frame, nullptr, &size.width, &size.height,
                                          &cursor);
    });
    if (what == "destroyed") library.wgc_session_destroy(session);
  }
  const HANDLE ends = EndEvent(name, false);
  SetEvent(ends);
  CloseHandle(ends);
  return kExitCode;
}

void CheckExits(CheckContext& context) {
  StageWindowOptions options;
  options.drawing = Drawing::kGdi;
  options.position = SlotPosition(PrimaryMonitor(), context.slot);
  const StageWindow window(options);
  JudgeExit(context, "after the probe alone", "probe", window.handle());
  JudgeExit(context, "after a destroyed session", "destroyed", window.handle());
  JudgeExit(context, "with a live session", "live", window.handle());
}

}  // namespace quill_apps
