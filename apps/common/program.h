// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What the main functions of programs that capture have in common.

#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <vector>

#include "common/capture_session.h"
#include "common/console.h"
#include "common/error.h"
#include "common/library.h"
#include "common/parsed.h"
#include "common/targets.h"

namespace quill_apps {

// The multithreaded apartment, which the library needs, too: a thread that has started a session
// must not be in a single-threaded one. Throws ToolError.
class ComApartment {
 public:
  ComApartment();
  ~ComApartment();
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;
};

// Routes the library's log to the console while in scope.
class LogRoute {
 public:
  LogRoute(const Library& library, Console& console, bool verbose);
  ~LogRoute();
  LogRoute(const LogRoute&) = delete;
  LogRoute& operator=(const LogRoute&) = delete;

 private:
  const Library& library_;
};

// libquill-wgc.dll, on a Windows that can capture. Throws ToolError.
Library LoadSupportedLibrary();

// Prints a notice if this Windows cannot draw the cursor as asked. Throws ToolError.
CaptureSession StartCapture(const Library& library, const Target& target, const Switches& switches,
                            Console& console);

// Whether a program is to capture. If not, this has printed the help, the version or the list of
// targets. Throws the error of a wrong command line.
template <typename Options>
bool ShallRun(const Parsed<Options>& parsed, Console& console) {
  if (parsed.is_error) throw ToolError(ExitCode::kUsage, parsed.text);
  if (parsed.options && !parsed.options->list) return true;
  console.PrintLine(parsed.options ? FormatLists(ListWindows(), ListMonitors()) : parsed.text);
  return false;
}

// The arguments of wmain in UTF-8, without the program's name.
std::vector<std::string> Arguments(int argc, wchar_t** argv);

// Runs the program and prints what it throws. Returns its exit code.
ExitCode ReportErrors(Console& console, const std::function<ExitCode()>& run);

}  // namespace quill_apps
