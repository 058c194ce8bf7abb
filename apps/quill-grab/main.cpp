// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <windows.h>

#include <timeapi.h>

#include <atomic>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/log_sink.h"
#include "common/png_encoder.h"
#include "common/program.h"
#include "common/targets.h"
#include "common/text.h"
#include "quill-grab/console/progress.h"
#include "quill-grab/output/json/json_lines.h"
#include "quill-grab/output/output_folder.h"
#include "quill-grab/output/png/png_series.h"
#include "quill-grab/output/png/screenshot.h"
#include "quill-grab/output/report/report.h"
#include "quill-grab/output/video/video_stream.h"
#include "quill-grab/session/grabber.h"

namespace {

using namespace quill_apps;

std::atomic<bool> interrupted{false};
HANDLE run_is_over;

// Ctrl-C and the like end the run cleanly. A second Ctrl-C ends the program at once, in case a
// write waits for a reader that does not read. When the console is closed, Windows ends the program
// as soon as this returns, or after a few seconds.
BOOL WINAPI OnConsoleSignal(DWORD signal) {
  const bool is_second = interrupted.exchange(true);
  if (signal == CTRL_C_EVENT || signal == CTRL_BREAK_EVENT) return !is_second;
  WaitForSingleObject(run_is_over, INFINITE);
  return TRUE;
}

std::unique_ptr<PngSeries> MakeSeries(const Options& options, const OutputFolder& folder,
                                      const PngEncoder& encoder, Console& console) {
  if (const size_t old = folder.CountFrameFiles(); old > 0) {
    console.PrintLine(
        Format("Notice: %s contains %zu frames of an earlier run; those of the same name will be "
               "replaced.",
               options.out->c_str(), old));
  }
  return std::make_unique<PngSeries>(options.all, folder, encoder);
}

// Outputs that write frames to files of their own come first, so that JSON lines can name the
// files. Those that may wait for a reader come last.
Grabber::Outputs MakeOutputs(const Options& options, const std::optional<OutputFolder>& folder,
                             const PngEncoder& encoder, Console& console) {
  const auto sink = [&](const std::string& name, const char* option) {
    return std::make_unique<ByteSink>(name, option, console, interrupted);
  };
  Grabber::Outputs outputs;
  if (folder) outputs.push_back(MakeSeries(options, *folder, encoder, console));
  if (options.screenshot) {
    outputs.push_back(std::make_unique<Screenshot>(*options.screenshot, encoder));
  }
  if (options.report) outputs.push_back(std::make_unique<Report>(*options.report));
  if (options.json) {
    outputs.push_back(std::make_unique<JsonLines>(options.all, sink(*options.json, "--json")));
  }
  for (const StreamRequest& stream : options.streams) {
    outputs.push_back(std::make_unique<VideoStream>(
        *stream.format, options, sink(stream.file, stream.format->option), console));
  }
  return outputs;
}

// An output that cannot be finished decides the exit code only when everything else went well.
ExitCode Finish(const Grabber::Outputs& outputs, const Outcome& outcome, const RunResult& result,
                Console& console) {
  constexpr size_t kChanges = 20;
  console.PrintLine(SummaryText(result, kChanges));
  if (outcome.is_error) console.PrintError(outcome.text);
  ExitCode code = outcome.code;
  for (const std::unique_ptr<Output>& output : outputs) {
    try {
      output->Finish(result);
    } catch (const ToolError& error) {
      // When an output has ended the run, its error was printed; a full disk is not reported twice.
      if (outcome.code != ExitCode::kOutputFailed) console.PrintError(error.what());
      if (code == ExitCode::kOk) code = error.code();
    } catch (const std::bad_alloc&) {
      console.PrintError("out of memory: an output is not complete: close other programs");
      if (code == ExitCode::kOk) code = ExitCode::kCaptureFailed;
    }
  }
  return code;
}

// Keeps everything else off a standard output that carries a stream.
void PrepareConsole(const Options& options, Console& console) {
  if (!options.UsesStandardOutput()) return;
  if (options.json != "-" && console.is_terminal()) {
    throw ToolError(ExitCode::kUsage,
                    "a terminal cannot show a video stream: pipe standard output into a program");
  }
  console.LeaveStandardOutput();
}

Target ChooseTarget(const Options& options, Clock& clock, Console& console) {
  if (options.wait_seconds == 0.0) return FindTarget(options);
  console.PrintLine(Format("Waiting up to %g s for the window", options.wait_seconds));
  return WaitForTarget(options, clock, interrupted);
}

ExitCode Capture(const Options& options, Console& console) {
  Clock clock;
  PrepareConsole(options, console);
  const Target target = ChooseTarget(options, clock, console);
  const Library library = LoadSupportedLibrary();
  const ComApartment apartment;
  const PngEncoder encoder;
  std::optional<OutputFolder> folder;
  if (options.out) folder.emplace(*options.out);
  const Grabber::Outputs outputs = MakeOutputs(options, folder, encoder, console);
  if (!target.notice.empty()) console.PrintLine("Notice: " + target.notice);
  const LogRoute route(library, console, options.verbose);
  CaptureSession session = StartCapture(library, target, SwitchesOf(options), console);
  console.PrintLine("Capturing " + target.description +
                    (options.out ? " into " + *options.out : ""));
  Progress progress(options, target.window, console);
  Grabber grabber(session, options, outputs, progress, clock);
  const Outcome outcome = grabber.Run(interrupted);
  console.ClearProgress();
  const RunResult result{target.description, outcome.text,      grabber.seconds(),
                         options.fps,        grabber.summary(), LoggedLines()};
  return Finish(outputs, outcome, result, console);
}

ExitCode Run(std::vector<std::string> arguments, Console& console) {
  const ParseResult parsed = ParseOptions(std::move(arguments));
  if (!ShallRun(parsed, console)) return ExitCode::kOk;
  return Capture(*parsed.options, console);
}

}  // namespace

// wmain receives titles in any script intact.
int wmain(int argc, wchar_t** argv) {
  run_is_over = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  SetConsoleCtrlHandler(OnConsoleSignal, TRUE);
  // Without this, sleeps are up to 16 ms too long, which is a frame at 60 a second.
  timeBeginPeriod(1);
  Console console("quill-grab");
  const ExitCode code = ReportErrors(console, [&] { return Run(Arguments(argc, argv), console); });
  SetEvent(run_is_over);
  return static_cast<int>(code);
}
