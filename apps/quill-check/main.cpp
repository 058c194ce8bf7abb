// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <windows.h>

#include <objbase.h>
#include <timeapi.h>

#include <filesystem>
#include <new>
#include <set>
#include <span>

#include "common/console.h"
#include "common/error.h"
#include "common/text.h"
#include "common/version.h"
#include "common/whole_file.h"
#include "quill-check/checks/exits.h"
#include "quill-check/conductor.h"
#include "quill-check/library_file.h"
#include "quill-check/machine.h"
#include "quill-check/options.h"
#include "quill-check/plan.h"
#include "quill-check/report.h"
#include "quill-check/scene/stage.h"

namespace {

using namespace quill_apps;
using Json = nlohmann::ordered_json;

constexpr char kRemedy[] = "choose another folder with --out";
// A minute, with what is needed before and after.
constexpr double kLimit = 55.0;

HANDLE interrupted;
HANDLE run_is_over;

// Ctrl-C and the like end the workers; the report tells what was found until then. When the console
// is closed, Windows ends the program as soon as this returns, or after a few seconds.
BOOL WINAPI OnConsoleSignal(DWORD signal) {
  SetEvent(interrupted);
  if (signal != CTRL_C_EVENT && signal != CTRL_BREAK_EVENT) {
    WaitForSingleObject(run_is_over, INFINITE);
  }
  return TRUE;
}

// Two of them would cover each other's windows and spoil each other's times.
class OnlyInstance {
 public:
  OnlyInstance() : mutex_(CreateMutexW(nullptr, FALSE, L"Local\\quill-check")) {
    if (mutex_ != nullptr && GetLastError() == ERROR_ALREADY_EXISTS) {
      CloseHandle(mutex_);
      throw ToolError(ExitCode::kUsage,
                      "another quill-check is running: wait until it ends, and try again");
    }
  }
  ~OnlyInstance() { CloseHandle(mutex_); }
  OnlyInstance(const OnlyInstance&) = delete;
  OnlyInstance& operator=(const OnlyInstance&) = delete;

 private:
  HANDLE mutex_;
};

struct ReportFiles {
  std::filesystem::path page;
  std::filesystem::path json;
};

ReportFiles CheckedFiles(const CheckOptions& options) {
  const std::filesystem::path folder = ToWide(options.out);
  ReportFiles files{folder / L"quill-check.html", folder / L"quill-check.json"};
  CheckWritable(files.page, kRemedy);
  CheckWritable(files.json, kRemedy);
  return files;
}

void WriteText(const std::filesystem::path& path, const std::string& text) {
  WriteWholeFile(path, {reinterpret_cast<const uint8_t*>(text.data()), text.size()}, kRemedy);
}

// "PASS   2  first frame             in 140 ms"; each further failure or warning has its own line.
std::string ResultLines(const Json& result) {
  const int number = result.at("number");
  const std::string overall = result.at("verdict");
  std::string lines;
  for (const Json& note : result.at("notes")) {
    const std::string verdict = note.at("verdict");
    const bool is_grave = verdict == "FAIL" || verdict == "WARN";
    if (lines.empty() ? verdict != overall : !is_grave) continue;
    const std::string head = lines.empty() ? Format("%2d  %-20s", number, FindCheck(number).name)
                                           : Format("\n%s  %24s", verdict.c_str(), "");
    if (lines.empty()) lines = overall + "  ";
    lines.append(head).append("  ").append(note.at("text").get<std::string>());
  }
  return lines;
}

bool AsksToLoseDevice(const CheckOptions& options, Console& console) {
  if (!options.lose_device) return false;
  console.PrintLine(
      "Check 20 makes the graphics driver hang until Windows resets it. Every program's picture\n"
      "stops for some seconds, and a program that cannot cope may end. Save your work.\n"
      "Type yes to do it:");
  char line[8] = "";
  DWORD read = 0;
  ReadFile(GetStdHandle(STD_INPUT_HANDLE), line, sizeof line - 1, &read, nullptr);
  return std::string_view(line, read).starts_with("yes");
}

std::deque<Group> Chosen(std::deque<Group> groups, const CheckOptions& options) {
  if (options.only.empty()) return groups;
  const std::set<int> only(options.only.begin(), options.only.end());
  for (Group& group : groups) {
    std::erase_if(group.checks, [&](int number) { return !only.contains(number); });
  }
  std::erase_if(groups, [](const Group& group) { return group.checks.empty(); });
  return groups;
}

// Why the checks after the first group make no sense; empty when they do.
std::string WhyNotMore(const std::map<int, Json>& results) {
  if (WaitForSingleObject(interrupted, 0) == WAIT_OBJECT_0) return "interrupted";
  const Json& figures = results.at(1).at("figures");
  if (!figures.contains("probe")) return "the library could not be used: see check 1";
  if (!figures.at("probe")) {
    return "this Windows has no Windows Graphics Capture: Windows 10 version 1903 or later is "
           "needed";
  }
  return WhyNoDesktop();
}

void RunChecks(const CheckOptions& options, Conductor& conductor) {
  conductor.Run(FirstGroup());
  const std::deque<Group> groups = Chosen(OtherGroups(), options);
  const std::string reason = WhyNotMore(conductor.results());
  if (reason.empty()) {
    conductor.Run(groups);
    return;
  }
  for (const Group& group : groups) {
    for (const int number : group.checks) conductor.Skip(number, reason);
  }
}

// A desktop that was locked in the middle makes checks fail that have nothing to do with it.
void ExcuseFailures(std::map<int, Json>& results, const std::string& reason) {
  for (auto& [number, result] : results) {
    if (number == 1 || result.at("verdict") != "FAIL") continue;
    result["verdict"] = VerdictName(Verdict::kSkip);
    for (Json& note : result.at("notes")) note["verdict"] = VerdictName(Verdict::kSkip);
    result.at("notes").push_back(
        {{"verdict", VerdictName(Verdict::kSkip)}, {"text", "meanwhile " + reason}});
  }
}

Answer Run(const CheckOptions& options, Console& console) {
  const OnlyInstance only;
  const ReportFiles files = CheckedFiles(options);
  console.PrintLine(std::string("quill-check ") + Version() +
                    ": takes up to a minute. Please leave the mouse and the keyboard alone.");
  std::set<int> only_checks(options.only.begin(), options.only.end());
  only_checks.insert(1);  // always made
  const size_t count = options.only.empty() ? AllChecks().size() : only_checks.size();
  size_t done = 0;
  const bool lose_device = AsksToLoseDevice(options, console);
  const double limit = Stretched(kLimit) + (lose_device ? FindCheck(20).limit : 0.0);
  // Windows of two workers must not cover each other.
  const size_t workers = SlotsFit(PrimaryMonitor(), kLargestWindow) ? 2 : 1;
  const Conductor::Settings settings{
      interrupted,
      workers,
      limit,
      lose_device,
      [&](const Json& result) {
        if (result.at("number") == 0) return;
        ++done;
        console.PrintLine(ResultLines(result));
      },
      [&](double seconds) {
        console.ShowProgress(static_cast<double>(done) / static_cast<double>(count),
                             Format("%zu of %zu checks, %.0f s", done, count, seconds));
      }};
  const auto start = std::chrono::steady_clock::now();
  Conductor conductor(settings);
  RunChecks(options, conductor);
  console.ClearProgress();

  std::map<int, Json> results = conductor.results();
  Json machine = results.at(0).at("figures");
  if (results.at(0).at("verdict") == "FAIL") machine["notes"] = results.at(0).at("notes");
  results.erase(0);
  if (const std::string reason = WhyNoDesktop(); !reason.empty()) ExcuseFailures(results, reason);
  const CheckReport report{Judge(results), MillisecondsSince(start) / 1e3, DescribeLibraryFile(),
                           std::move(machine), std::move(results)};
  console.PrintLine(AnswerText(report.answer, report.results));
  WriteText(files.json, ReportText(report));
  WriteText(files.page, CheckPage(report));
  console.PrintLine("Report: " + ToUtf8(files.page.wstring()) + ", " +
                    ToUtf8(files.json.filename().wstring()));
  return report.answer;
}

int RunProgram(std::span<wchar_t*> arguments, Console& console) {
  std::vector<std::string> words;
  for (const wchar_t* argument : arguments) words.push_back(ToUtf8(argument));
  const CheckParseResult parsed = ParseCheckOptions(std::move(words));
  if (parsed.is_error) throw ToolError(ExitCode::kUsage, parsed.text);
  if (!parsed.options) {
    console.PrintLine(parsed.text);
    return 0;
  }
  const CheckOptions& options = *parsed.options;
  if (!options.exit_task.empty()) return RunExitTask(options.exit_task);
  if (!options.worker.empty()) {
    return RunWorker({options.worker, options.slot, options.lose_device});
  }
  return static_cast<int>(Run(options, console));
}

// A console that was made for this program, as by a double click, closes with it, and the answer is
// gone before it can be read.
void LetConsoleBeRead(Console& console) {
  DWORD process;
  DWORD mode;
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  if (IsWine() || GetConsoleProcessList(&process, 1) != 1 || !GetConsoleMode(input, &mode)) return;
  console.PrintLine("Press Enter to close this window.");
  char line[2];
  DWORD read;
  ReadFile(input, line, sizeof line, &read, nullptr);
}

int RunAndReport(std::span<wchar_t*> arguments) {
  Console console("quill-check");
  int code = static_cast<int>(Answer::kNothingChecked);
  try {
    code = RunProgram(arguments, console);
  } catch (const std::bad_alloc&) {
    console.PrintError("out of memory: close other programs");
  } catch (const std::exception& error) {
    console.ClearProgress();
    console.PrintError(error.what());
  }
  // Closing the console need not wait for anything now.
  SetEvent(run_is_over);
  LetConsoleBeRead(console);
  return code;
}

}  // namespace

// wmain receives paths in any script intact.
int wmain(int argc, wchar_t** argv) {
  interrupted = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  run_is_over = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  SetConsoleCtrlHandler(OnConsoleSignal, TRUE);
  // Without this, waits for a millisecond take up to 16.
  timeBeginPeriod(1);
  return RunAndReport({argv + 1, static_cast<size_t>(argc - 1)});
}
