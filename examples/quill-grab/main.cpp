// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <objbase.h>

#include <atomic>
#include <exception>
#include <span>

#include "quill-grab/grabber.h"
#include "quill-grab/log_sink.h"
#include "quill-grab/text.h"

namespace {

using namespace quill_grab;

std::atomic<bool> interrupted{false};

BOOL WINAPI OnConsoleSignal(DWORD signal) {
  if (signal != CTRL_C_EVENT && signal != CTRL_BREAK_EVENT) return FALSE;
  interrupted = true;
  return TRUE;
}

// The multithreaded apartment, which the library needs too. Once a session has started, the thread
// must not have become a single-threaded one.
class ComApartment {
 public:
  ComApartment() : result_(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {
    if (FAILED(result_)) {
      throw GrabError(ExitCode::kUnsupported,
                      "COM is not available: " + DescribeError(static_cast<DWORD>(result_)));
    }
  }
  ~ComApartment() { CoUninitialize(); }
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;

 private:
  HRESULT result_;
};

// Routes the library's log to the console while in scope.
class LogRoute {
 public:
  LogRoute(const Library& library, Console& console, bool verbose) : library_(library) {
    SetLogSink(&console, verbose);
    library.wgc_register_logger(OnLogLine);
  }
  ~LogRoute() {
    library_.wgc_register_logger(nullptr);
    SetLogSink(nullptr, false);
  }
  LogRoute(const LogRoute&) = delete;
  LogRoute& operator=(const LogRoute&) = delete;

 private:
  const Library& library_;
};

std::string SummaryText(const Target& target, const Outcome& outcome, const Summary& summary,
                        size_t max_changes) {
  return "Target: " + target.description + "\nEnd: " + outcome.text + "\n" +
         summary.Text(max_changes);
}

// A summary that cannot be written matters only when everything else went well.
ExitCode Report(const Target& target, const Outcome& outcome, const Summary& summary,
                const OutputFolder& folder, Console& console) {
  constexpr size_t kConsoleChanges = 20;
  constexpr size_t kFileChanges = 1000;
  console.PrintLine(SummaryText(target, outcome, summary, kConsoleChanges));
  if (outcome.is_error) console.PrintError(outcome.text);
  if (outcome.code == ExitCode::kOutputFailed) return outcome.code;
  const std::string text = SummaryText(target, outcome, summary, kFileChanges) + "\n";
  try {
    folder.Write("summary.txt", {reinterpret_cast<const uint8_t*>(text.data()), text.size()});
  } catch (const GrabError& error) {
    console.PrintError(error.what());
    return outcome.code == ExitCode::kOk ? error.code() : outcome.code;
  }
  return outcome.code;
}

Library LoadSupportedLibrary() {
  const Library library = LoadLibraryFunctions(L"libquill-wgc.dll");
  if (!library.is_wgc_session_supported()) {
    throw GrabError(ExitCode::kUnsupported,
                    "this Windows cannot capture: it takes Windows 10 version 1903 or later");
  }
  return library;
}

ExitCode Capture(const Options& options, Console& console) {
  const Target target = FindTarget(options);
  const Library library = LoadSupportedLibrary();
  const OutputFolder folder(options.out);
  if (!target.notice.empty()) console.PrintLine("Notice: " + target.notice);
  if (const size_t old = folder.CountFrameFiles(); old > 0) {
    console.PrintLine(
        Format("Notice: %s holds frames of an earlier run (%zu); those of the same name "
               "are replaced.",
               options.out.c_str(), old));
  }
  const ComApartment apartment;
  const LogRoute route(library, console, options.verbose);
  Grabber grabber(library, options, folder, console);
  grabber.Start(target);
  console.PrintLine("Capturing " + target.description + " into " + options.out);
  const Outcome outcome = grabber.Run(interrupted);
  return Report(target, outcome, grabber.summary(), folder, console);
}

ExitCode Run(std::span<wchar_t*> arguments, Console& console) {
  std::vector<std::string> words;
  for (const wchar_t* argument : arguments) words.push_back(ToUtf8(argument));
  const ParseResult parsed = ParseOptions(std::move(words));
  if (parsed.is_error) throw GrabError(ExitCode::kUsage, parsed.text);
  if (!parsed.options) {
    console.PrintLine(parsed.text);
    return ExitCode::kOk;
  }
  if (parsed.options->list) {
    console.PrintLine(FormatLists(ListWindows(), ListMonitors()));
    return ExitCode::kOk;
  }
  return Capture(*parsed.options, console);
}

}  // namespace

// Wide, so that titles in any script arrive intact.
int wmain(int argc, wchar_t** argv) {
  SetConsoleCtrlHandler(OnConsoleSignal, TRUE);
  // Sizes in the list are then pixels of the capture, whatever the scaling of the display.
  SetProcessDpiAwarenessContext(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2);
  Console console;
  try {
    return static_cast<int>(Run({argv + 1, static_cast<size_t>(argc - 1)}, console));
  } catch (const GrabError& error) {
    console.PrintError(error.what());
    return static_cast<int>(error.code());
  } catch (const std::exception& error) {
    console.PrintError(std::string("unexpected failure: ") + error.what());
    return static_cast<int>(ExitCode::kCaptureFailed);
  }
}
