// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// quill-grab.exe as its users see it: messages, exit codes and files.

#include <algorithm>
#include <cstring>

#include "apps/quill-grab/decode_png.h"
#include "apps/quill-grab/grab_test.h"
#include "support/desktop.h"
#include "support/pattern_window.h"
#include "support/platform_setting.h"
#include "support/process.h"

namespace {

constexpr uint32_t kWidth = 301;
constexpr uint32_t kHeight = 203;
constexpr size_t kFrameBytes = size_t{kWidth} * kHeight * 4;

// The program in the folder of the tests.
std::filesystem::path Program() {
  wchar_t path[MAX_PATH];
  GetModuleFileNameW(nullptr, path, MAX_PATH);
  return std::filesystem::path(path).parent_path() / "quill-grab.exe";
}

ProcessResult Grab(const std::wstring& arguments) {
  return Process(Program(), arguments).Wait();
}

ProcessResult GrabWindow(const std::wstring& arguments) {
  return Grab(L"--class QuillPatternWindow " + arguments);
}

ProcessResult ExpectSuccess(ProcessResult result) {
  EXPECT_EQ(result.exit_code, 0u) << result.err;
  return result;
}

// One line on standard error that begins with the program's name and contains the given part.
void ExpectError(const ProcessResult& result, DWORD exit_code, const std::string& part) {
  EXPECT_EQ(result.exit_code, exit_code);
  EXPECT_TRUE(result.err.starts_with("quill-grab: ")) << result.err;
  EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
  EXPECT_TRUE(Contains(result.err, part));
}

// Until the condition is true; false when it is not within 20 seconds.
bool WaitUntil(const std::function<bool()>& condition) {
  for (int i = 0; i < 1000; ++i) {
    if (condition()) return true;
    Sleep(20);
  }
  return false;
}

std::wstring HandleText(HWND window) {
  return std::to_wstring(reinterpret_cast<uintptr_t>(window));
}

void ExpectPicture(const std::filesystem::path& file, const Picture& expected) {
  EXPECT_TRUE(DecodePng(ReadBytes(file)) == expected) << file;
}

class ProgramTest : public ComTest {
 protected:
  std::wstring OutOption() const { return L" --out \"" + out_.wstring() + L"\""; }
  std::wstring RawOption() const { return L" --raw \"" + stream_.wstring() + L"\""; }
  std::string SummaryFile() const { return ReadText(out_ / "summary.txt"); }

  // The whole frames of the raw stream, which may still grow. Opaque, because what Windows puts
  // into the alpha is not documented.
  std::vector<std::vector<uint32_t>> Frames() const {
    const std::vector<uint8_t> bytes = ReadBytes(stream_);
    std::vector<std::vector<uint32_t>> frames;
    for (size_t at = 0; at + kFrameBytes <= bytes.size(); at += kFrameBytes) {
      std::vector<uint32_t>& frame = frames.emplace_back(kFrameBytes / 4);
      std::memcpy(frame.data(), bytes.data() + at, kFrameBytes);
      for (uint32_t& pixel : frame) pixel |= 0xFF000000;
    }
    return frames;
  }

  TemporaryFolder temporary_;
  const std::filesystem::path out_ = temporary_ / "out";
  const std::filesystem::path stream_ = temporary_ / "stream";
  const Picture picture_ = MakePattern(kWidth, kHeight);
};

TEST_F(ProgramTest, HelpAndVersionArePrinted) {
  const ProcessResult help = Grab(L"--help");
  EXPECT_EQ(help.exit_code, 0u);
  EXPECT_TRUE(help.out.starts_with("Usage: quill-grab")) << help.out;
  EXPECT_EQ(help.err, "");
  const ProcessResult version = Grab(L"--version");
  EXPECT_EQ(version.exit_code, 0u);
  EXPECT_TRUE(version.bytes.starts_with("quill-grab ")) << version.bytes;
  EXPECT_TRUE(version.bytes.ends_with("\r\n")) << version.bytes;
}

TEST_F(ProgramTest, WrongCommandLineIsRefused) {
  const ProcessResult result = Grab(L"--monitor 0 --fps fast");
  EXPECT_EQ(result.out, "");
  ExpectError(result, 1, "quill-grab --help");
}

TEST_F(ProgramTest, WindowsAndMonitorsAreListed) {
  const PatternWindow window(picture_);
  const ProcessResult result = ExpectSuccess(Grab(L"--list"));
  EXPECT_TRUE(Contains(result.out, "301 x 203   QuillPatternWindow  \"Quill pattern\""));
  EXPECT_TRUE(Contains(result.out, "primary"));
}

// What Windows reads from the resources of a program.
std::wstring ManifestSetting(const std::filesystem::path& program, const wchar_t* year,
                             const wchar_t* name) {
  ACTCTXW context{};
  context.cbSize = sizeof(context);
  context.dwFlags = ACTCTX_FLAG_RESOURCE_NAME_VALID;
  context.lpSource = program.c_str();
  context.lpResourceName = MAKEINTRESOURCEW(1);
  const HANDLE handle = CreateActCtxW(&context);
  if (handle == INVALID_HANDLE_VALUE) return L"no manifest";
  const std::wstring names =
      std::wstring(L"http://schemas.microsoft.com/SMI/") + year + L"/WindowsSettings";
  wchar_t value[32] = L"";
  QueryActCtxSettingsW(0, handle, names.c_str(), name, value, std::size(value), nullptr);
  ReleaseActCtx(handle);
  return value;
}

TEST_F(ProgramTest, ManifestsAskForPhysicalPixelsLongPathsAndUtf8) {
  for (const char* const name : {"quill-grab.exe", "quill-check.exe"}) {
    const std::filesystem::path program = Program().parent_path() / name;
    EXPECT_EQ(ManifestSetting(program, L"2016", L"dpiAwareness"), L"PerMonitorV2") << name;
    EXPECT_EQ(ManifestSetting(program, L"2016", L"longPathAware"), L"true") << name;
    EXPECT_EQ(ManifestSetting(program, L"2019", L"activeCodePage"), L"UTF-8") << name;
  }
}

TEST_F(ProgramTest, OutputsMayHaveLongPaths) {
  const PatternWindow window(picture_);
  const std::filesystem::path folder = out_ / std::string(200, 'a') / std::string(200, 'b');
  std::filesystem::create_directories(folder);
  ExpectSuccess(GrabWindow(L"--screenshot \"" + (folder / "s.png").wstring() + L"\""));
  ExpectPicture(folder / "s.png", picture_);
}

TEST_F(ProgramTest, MissingTargetErrorNamesTheList) {
  ExpectError(Grab(L"--monitor 77" + OutOption()), 2, "--list");
  EXPECT_FALSE(std::filesystem::exists(out_));
}

// A copy of the program in a folder without the library, then beside a file that is none.
TEST_F(ProgramTest, MissingLibraryErrorSaysWhereItBelongs) {
  const std::filesystem::path copy = temporary_ / "quill-grab.exe";
  std::filesystem::copy_file(Program(), copy);
  ExpectError(Process(copy, L"--monitor 0" + OutOption()).Wait(), 3,
              "put libquill-wgc.dll into the folder of quill-grab.exe");
  std::ofstream(temporary_ / "libquill-wgc.dll") << "no library";
  ExpectError(Process(copy, L"--monitor 0" + OutOption()).Wait(), 3,
              "libquill-wgc.dll could not be loaded");
  EXPECT_FALSE(std::filesystem::exists(out_));
}

TEST_F(ProgramTest, EveryPixelOfAWindowIsCapturedAlsoThroughATexture) {
  const PatternWindow window(picture_);
  for (const std::wstring& options : {std::wstring(L"--title \"quill PATTERN\""),
                                      L"--texture --window " + HandleText(window.handle())}) {
    std::filesystem::remove_all(out_);
    ExpectSuccess(Grab(options + L" --frames 1" + OutOption()));
    ExpectPicture(out_ / "frame-0001.png", picture_);
    EXPECT_TRUE(Contains(SummaryFile(), "Frames: 1 new, 1 written as PNG\nSizes: 301 x 203 (1)\n"));
  }
}

TEST_F(ProgramTest, SeveralMatchingWindowsAreNamed) {
  const PatternWindow lower(picture_);
  const PatternWindow upper(picture_);
  const ProcessResult result = ExpectSuccess(GrabWindow(L"--frames 1" + OutOption()));
  EXPECT_TRUE(Contains(result.out, "Notice: 2 windows match"));
}

TEST_F(ProgramTest, NextPictureIsWrittenWhenTheWindowChanges) {
  const Picture second = MakePattern(kWidth, kHeight, 2);
  PatternWindow window(picture_);
  Process process(Program(),
                  L"--class QuillPatternWindow --detect --frames 2 --seconds 30" + OutOption());
  ASSERT_TRUE(WaitUntil([&] { return std::filesystem::exists(out_ / "frame-0001.png"); }));
  window.Show(second);
  ExpectSuccess(process.Wait());
  ExpectPicture(out_ / "frame-0001.png", picture_);
  ExpectPicture(out_ / "frame-0002.png", second);
}

TEST_F(ProgramTest, FramesOfAWindowThatClosesAreKept) {
  PatternWindow window(picture_);
  Process process(Program(), L"--class QuillPatternWindow --all --seconds 40" + OutOption());
  ASSERT_TRUE(WaitUntil([&] { return std::filesystem::exists(out_ / "frame-0003.png"); }));
  window.Destroy();
  ExpectError(process.Wait(), 6, "was closed");
  EXPECT_TRUE(Contains(SummaryFile(), "End: the target was closed"));
  for (const auto& entry : std::filesystem::directory_iterator(out_)) {
    if (entry.path().filename() != "summary.txt") ExpectPicture(entry.path(), picture_);
  }
}

// Only top-level windows can be captured, which the platform checks.
TEST_F(ProgramTest, CaptureThatCannotStartGivesTheReason) {
  if (!IsWine()) GTEST_SKIP() << "whether Windows captures a child window is not documented";
  const PatternWindow window(picture_);
  const HWND child = CreateWindowExW(0, L"STATIC", L"child", WS_CHILD | WS_VISIBLE, 0, 0, 20, 20,
                                     window.handle(), nullptr, nullptr, nullptr);
  ASSERT_NE(child, nullptr);
  ExpectError(Grab(L"--window " + HandleText(child) + OutOption()), 4,
              "IGraphicsCaptureItemInterop::CreateForWindow, hr:80070057");
  DestroyWindow(child);
}

TEST_F(ProgramTest, OutputThatCannotBeWrittenIsRefusedBeforeTheCapture) {
  const ProcessResult result =
      Grab(L"--monitor 0 --screenshot \"" + (out_ / "shot.png").wstring() + L"\"");
  ExpectError(result, 5, "make its folder first or choose another file with --screenshot");
  EXPECT_EQ(result.out, "");
}

// Folders have the names of the files that cannot be written.
TEST_F(ProgramTest, OutputThatCannotBeFinishedIsAnError) {
  const PatternWindow window(picture_);
  std::filesystem::create_directories(out_ / "summary.txt");
  ExpectError(GrabWindow(L"--frames 1" + OutOption()), 5, "summary.txt");
  ExpectPicture(out_ / "frame-0001.png", picture_);
}

TEST_F(ProgramTest, OutputThatFailsAgainAtTheEndIsReportedOnce) {
  const PatternWindow window(picture_);
  std::filesystem::create_directories(out_ / "frame-0001.png");
  std::filesystem::create_directories(out_ / "summary.txt");
  ExpectError(GrabWindow(L"--frames 1" + OutOption()), 5, "frame-0001.png");
}

TEST_F(ProgramTest, FailureOfTheRunKeepsItsExitCodeWhenAnOutputCannotBeFinishedEither) {
  if (!IsWine())
    GTEST_SKIP() << "whether a minimised window has frames on Windows is not documented";
  PatternWindow window(picture_);
  window.Minimize();
  std::filesystem::create_directories(out_ / "summary.txt");
  const ProcessResult result = GrabWindow(L"--seconds 0.1" + OutOption());
  EXPECT_EQ(result.exit_code, 7u);
  const size_t line = result.err.find('\n');
  EXPECT_TRUE(Contains(result.err.substr(0, line), "no frame arrived"));
  EXPECT_TRUE(Contains(result.err.substr(line), "summary.txt"));
}

TEST_F(ProgramTest, OldWindowsIsRefusedWithTheVersionThatIsNeeded) {
  if (!IsWine()) GTEST_SKIP() << kNeedsStandin;
  const PlatformSetting setting(L"UniversalApiContract", 7);
  ExpectError(Grab(L"--monitor 0" + OutOption()), 3, "Windows 10 version 1903");
  EXPECT_FALSE(std::filesystem::exists(out_));
}

TEST_F(ProgramTest, PlatformWithoutACursorSwitchIsNoticed) {
  if (!IsWine()) GTEST_SKIP() << kNeedsStandin;
  const PatternWindow window(picture_);
  for (const bool has_switch : {true, false}) {
    std::optional<PlatformSetting> setting;
    if (!has_switch) setting.emplace(L"WithoutCursorProperty", 1);
    const ProcessResult result = ExpectSuccess(GrabWindow(L"--cursor --frames 1" + OutOption()));
    EXPECT_EQ(static_cast<bool>(Contains(result.out, "Notice: this Windows cannot switch")),
              !has_switch);
  }
}

TEST_F(ProgramTest, StandardOutputCarriesNothingButTheStream) {
  const PatternWindow window(picture_);
  const ProcessResult result = ExpectSuccess(GrabWindow(L"--raw - --frames 5"));
  std::ofstream(stream_, std::ios::binary) << result.bytes;
  EXPECT_EQ(result.bytes.size(), 5 * kFrameBytes);
  EXPECT_EQ(Frames(), std::vector(5, picture_.pixels));
  EXPECT_TRUE(Contains(result.err, "Stream: 5 frames of 301 x 203"));
}

TEST_F(ProgramTest, SeveralStreamsAreWrittenAtOnce) {
  const PatternWindow window(picture_);
  const std::filesystem::path nv12 = temporary_ / "nv12";
  ExpectSuccess(GrabWindow(L"--frames 3 --nv12 \"" + nv12.wstring() + L"\"" + RawOption()));
  EXPECT_EQ(Frames(), std::vector(3, picture_.pixels));
  EXPECT_EQ(std::filesystem::file_size(nv12), 3u * 302 * 204 * 3 / 2);
}

TEST_F(ProgramTest, ReaderThatGoesEndsTheRunAndTheOtherOutputsAreFinished) {
  const PatternWindow window(picture_);
  const std::filesystem::path page = temporary_ / "page.html";
  const std::filesystem::path lines = temporary_ / "lines";
  Process process(Program(),
                  L"--class QuillPatternWindow --raw \\\\.\\pipe\\quill-grab-program-test"
                  L" --report \"" +
                      page.wstring() + L"\" --json \"" + lines.wstring() + L"\"");
  const HANDLE pipe = OpenPipe("\\\\.\\pipe\\quill-grab-program-test");
  EXPECT_GE(ReadPipe(pipe, 100000).size(), 100000u);
  const ProcessResult result = process.Wait();
  ExpectError(result, 9, "the reader of the stream has gone");
  EXPECT_TRUE(Contains(result.out, "\nStream: "));
  EXPECT_GT(std::filesystem::file_size(page), 1000u);
  EXPECT_GT(std::filesystem::file_size(lines), 50u);
}

TEST_F(ProgramTest, ScreenshotIsTakenAndNamedInJson) {
  const PatternWindow window(picture_);
  const std::filesystem::path path = temporary_ / L"shot \u00fc.png";
  const ProcessResult result =
      ExpectSuccess(GrabWindow(L"--json - --screenshot \"" + path.wstring() + L"\""));
  ExpectPicture(path, picture_);
  EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 1) << result.out;
  EXPECT_TRUE(Contains(result.out, "\"width\":301,\"height\":203,\"ratio\":1.0,\"new\":true,"));
  EXPECT_TRUE(result.out.ends_with("\\\\shot \\u00fc.png\"}\n")) << result.out;
  EXPECT_EQ(temporary_.CountFiles(), 1u);
}

TEST_F(ProgramTest, WindowThatAppearsIsWaitedFor) {
  Process process(Program(), L"--class QuillPatternWindow --wait 30 --frames 1" + OutOption());
  ASSERT_TRUE(process.Prints("Waiting up to 30 s for the window"));
  EXPECT_FALSE(std::filesystem::exists(out_));
  const PatternWindow window(picture_);
  ExpectSuccess(process.Wait());
  ExpectPicture(out_ / "frame-0001.png", picture_);
}

// The larger picture goes on where the first one ends, so that even a frame of the first size that
// was taken during the change is the first picture.
TEST_F(ProgramTest, StreamStopsBeforeAChangeOfSizeWhenAskedTo) {
  PatternWindow window(picture_);
  Process process(Program(), L"--class QuillPatternWindow --on-resize stop" + RawOption());
  ASSERT_TRUE(WaitUntil([&] { return Frames().size() >= 2; }));
  window.Show(MakePattern(kWidth, kHeight + 1));
  ExpectError(process.Wait(), 8, "from 301 x 203 to 301 x 204");
  for (const auto& frame : Frames()) EXPECT_TRUE(frame == picture_.pixels);
}

}  // namespace
