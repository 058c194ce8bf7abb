// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-check/worker.h"

#include <windows.h>

#include <objbase.h>

#include <exception>
#include <filesystem>
#include <optional>
#include <string>

#include "common/error.h"
#include "common/text.h"
#include "quill-check/library_file.h"

namespace quill_apps {

namespace {

using Json = nlohmann::ordered_json;

void WriteLine(const Json& json) {
  constexpr bool kAscii = true;
  const std::string line =
      json.dump(-1, ' ', kAscii, nlohmann::json::error_handler_t::replace) + "\n";
  DWORD written;
  WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), line.data(), static_cast<DWORD>(line.size()), &written,
            nullptr);
}

// Tells the parent where the crash was. A window about it would wait for a click.
LONG WINAPI ReportCrash(EXCEPTION_POINTERS* exception) {
  const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
  HMODULE module = nullptr;
  wchar_t path[MAX_PATH] = L"";
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      static_cast<const wchar_t*>(record.ExceptionAddress), &module);
  GetModuleFileNameW(module, path, MAX_PATH);
  const std::string file = ToUtf8(std::filesystem::path(path).filename().wstring());
  const auto offset =
      reinterpret_cast<uintptr_t>(record.ExceptionAddress) - reinterpret_cast<uintptr_t>(module);
  WriteLine({{"crash", Format("0x%08lx at %s + 0x%llx", record.ExceptionCode,
                              module == nullptr ? "no module" : file.c_str(), Number(offset))}});
  TerminateProcess(GetCurrentProcess(), record.ExceptionCode);
  return EXCEPTION_EXECUTE_HANDLER;
}

std::chrono::steady_clock::time_point check_start;

// A line is told at once, like what a check finds: the process may not live to tell it later.
void OnWorkerLogLine(int level, const char* text, size_t length) {
  OnLogLine(level, text, length);
  try {
    const double ms = MillisecondsSince(check_start);
    WriteLine({{"log", {{"ms", ms}, {"level", LogLevelName(level)}, {"text", text}}}});
  } catch (...) {
    // Out of memory: no exception may leave a log callback.
  }
}

Json NoteJson(const Note& note) {
  return {{"verdict", VerdictName(note.verdict)}, {"text", note.text}};
}

void RunCheck(const Check& check, CheckContext& context) {
  try {
    OnFreshThread([&] { check.run(context); });
  } catch (const ToolError& error) {
    context.finding.Fail(error.what());
  } catch (const std::exception& error) {
    context.finding.Fail(std::string("unexpected failure: ") + error.what());
  }
}

}  // namespace

Json ResultJson(int number, const Finding& finding, double milliseconds) {
  Json notes = Json::array();
  for (const Note& note : finding.notes()) {
    notes.push_back(NoteJson(note));
  }
  Json pictures = Json::array();
  for (const Finding::NamedPicture& picture : finding.pictures()) {
    pictures.push_back({{"name", picture.name}, {"uri", picture.data_uri}});
  }
  return {{"number", number},
          {"verdict", VerdictName(finding.verdict())},
          {"notes", std::move(notes)},
          {"figures", finding.figures()},
          {"pictures", std::move(pictures)},
          {"ms", milliseconds}};
}

int RunWorker(const WorkerTask& task) {
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  SetUnhandledExceptionFilter(ReportCrash);
  // Ctrl-C is for the parent, which ends its workers.
  SetConsoleCtrlHandler(nullptr, TRUE);
  // The first session joins its thread to the multithreaded apartment, which lives as long as a
  // thread is in it. Here that is the main thread: sessions come and go on threads of their own.
  const HRESULT apartment = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  if (FAILED(apartment)) return static_cast<int>(apartment);
  std::optional<Library> library;
  std::string load_error;
  try {
    library = LoadLibraryFunctions(LibraryPath());
  } catch (const ToolError& error) {
    load_error = error.what();
  }
  for (const int number : task.checks) {
    const Check& check = FindCheck(number);
    WriteLine({{"begin", number}});
    check_start = std::chrono::steady_clock::now();
    Finding finding([](const Note& note) { WriteLine({{"note", NoteJson(note)}}); });
    SetLogSink(nullptr, false);
    if (library) {
      library->wgc_register_logger(OnWorkerLogLine);
      CheckContext context{*library, task.slot, task.lose_device, finding};
      RunCheck(check, context);
      library->wgc_register_logger(nullptr);
    } else {
      finding.Fail(load_error);
    }
    WriteLine(ResultJson(number, finding, MillisecondsSince(check_start)));
  }
  CoUninitialize();
  return 0;
}

}  // namespace quill_apps
