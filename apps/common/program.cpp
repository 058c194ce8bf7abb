// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "common/program.h"

#include <objbase.h>

#include <exception>
#include <new>

#include "common/log_sink.h"
#include "common/text.h"

namespace quill_apps {

ComApartment::ComApartment() {
  const HRESULT result = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  if (FAILED(result)) {
    throw ToolError(ExitCode::kUnsupported,
                    "COM is not available: " + DescribeError(static_cast<DWORD>(result)));
  }
}

ComApartment::~ComApartment() {
  CoUninitialize();
}

LogRoute::LogRoute(const Library& library, Console& console, bool verbose) : library_(library) {
  SetLogSink(&console, verbose);
  library.wgc_register_logger(OnLogLine);
}

LogRoute::~LogRoute() {
  library_.wgc_register_logger(nullptr);
  SetLogSink(nullptr, false);
}

Library LoadSupportedLibrary() {
  const Library library = LoadLibraryFunctions(L"libquill-wgc.dll");
  if (!library.is_wgc_session_supported()) {
    throw ToolError(ExitCode::kUnsupported,
                    "this Windows cannot capture: Windows 10 version 1903 or later is needed");
  }
  return library;
}

CaptureSession StartCapture(const Library& library, const Target& target, const Switches& switches,
                            Console& console) {
  try {
    CaptureSession session(library, target.window, target.monitor, switches);
    if (session.cursor_was_refused()) {
      console.PrintLine(
          "Notice: this Windows cannot switch the cursor on or off, so it may be missing.");
    }
    return session;
  } catch (const ToolError& error) {
    throw ToolError(error.code(),
                    std::string(error.what()) +
                        ": try another target that --list shows, or see the log with --verbose");
  }
}

std::vector<std::string> Arguments(int argc, wchar_t** argv) {
  std::vector<std::string> arguments;
  for (int i = 1; i < argc; ++i) arguments.push_back(ToUtf8(argv[i]));
  return arguments;
}

ExitCode ReportErrors(Console& console, const std::function<ExitCode()>& run) {
  try {
    return run();
  } catch (const ToolError& error) {
    console.PrintError(error.what());
    return error.code();
  } catch (const std::bad_alloc&) {
    console.PrintError("out of memory: close other programs or capture a smaller window");
    return ExitCode::kCaptureFailed;
  } catch (const std::exception& error) {
    console.PrintError(std::string("unexpected failure: ") + error.what());
    return ExitCode::kCaptureFailed;
  }
}

}  // namespace quill_apps
