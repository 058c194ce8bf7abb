// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// quill-grab.exe as its users see it: messages, exit codes and files.

#include <algorithm>
#include <chrono>
#include <cstring>
#include <fstream>
#include <thread>

#include "apps/quill-grab/decode_png.h"
#include "apps/quill-grab/grab_process.h"
#include "apps/quill-grab/test_support.h"
#include "support/pattern_window.h"

namespace {

constexpr int kWidth = 301;
constexpr int kHeight = 203;

GrabResult Grab(const std::wstring& arguments) {
  return GrabProcess(GrabProgram(), arguments).Wait();
}

// One line on standard error that begins with the program's name and holds the given part.
void ExpectOneErrorLine(const GrabResult& result, const std::string& part) {
  EXPECT_TRUE(result.err.starts_with("quill-grab: ")) << result.err;
  EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
  EXPECT_NE(result.err.find(part), std::string::npos) << result.err;
}

std::wstring HandleText(HWND window) {
  return std::to_wstring(reinterpret_cast<uintptr_t>(window));
}

bool RunsUnderWine() {
  return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

// A setting of the stand-in for the capture platform, while in scope.
class PlatformSetting {
 public:
  PlatformSetting(const wchar_t* name, DWORD value) : name_(name) {
    EXPECT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, kKey, name, REG_DWORD, &value, sizeof value),
              ERROR_SUCCESS);
  }
  ~PlatformSetting() { RegDeleteKeyValueW(HKEY_CURRENT_USER, kKey, name_); }
  PlatformSetting(const PlatformSetting&) = delete;
  PlatformSetting& operator=(const PlatformSetting&) = delete;

 private:
  static constexpr wchar_t kKey[] = L"Software\\libquill-wgc\\Capture";
  const wchar_t* name_;
};

// What a reader gets from a pipe that another program makes, until it has so much or to the end.
std::vector<uint8_t> ReadPipe(const std::wstring& name, size_t enough) {
  HANDLE pipe = INVALID_HANDLE_VALUE;
  for (int i = 0; i < 1000 && pipe == INVALID_HANDLE_VALUE; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    pipe = CreateFileW(name.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  }
  std::vector<uint8_t> all;
  std::vector<uint8_t> part(65536);
  DWORD size;
  while (all.size() < enough &&
         ReadFile(pipe, part.data(), static_cast<DWORD>(part.size()), &size, nullptr)) {
    all.insert(all.end(), part.begin(), part.begin() + static_cast<ptrdiff_t>(size));
  }
  CloseHandle(pipe);
  return all;
}

class ProgramTest : public ComTest {
 protected:
  std::filesystem::path Out() const { return temporary_.path() / "out"; }
  std::wstring OutOption() const { return L" --out \"" + Out().wstring() + L"\""; }

  DecodedPng Written(const std::string& name) const {
    return DecodePng(ReadWholeFile((Out() / name).wstring().c_str()));
  }

  std::filesystem::path File(const char* name) const { return temporary_.path() / name; }

  // Until the file has at least this many bytes.
  static bool WaitForSize(const std::filesystem::path& path, size_t size) {
    std::error_code error;
    for (int i = 0; i < 1000; ++i) {
      const uintmax_t now = std::filesystem::file_size(path, error);
      if (!error && now >= size) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
  }

  // Captures first as raw video, and after the first frames what the window shows then, until a
  // frame is the last picture or the run ends; ends it by closing the window.
  GrabResult GrabTwoSizes(const Picture& first, const Picture& second, const wchar_t* options,
                          const Picture& last) {
    const size_t frame = first.pixels.size() * 4;
    PatternWindow window(first);
    GrabProcess process(GrabProgram(), L"--class QuillPatternWindow --raw \"" +
                                           File("stream").wstring() + L"\" " + options);
    EXPECT_TRUE(WaitForSize(File("stream"), 2 * frame));
    window.Show(second);
    for (int i = 0; i < 1000 && process.IsRunningAfter(20) && !LastFrameIs(last); ++i) continue;
    window.Destroy();
    return process.Wait();
  }

  // The last whole frame of the stream, which may still grow.
  bool LastFrameIs(const Picture& picture) const {
    std::vector<uint32_t> pixels(picture.pixels.size());
    const size_t frame = pixels.size() * 4;
    const size_t frames = static_cast<size_t>(std::filesystem::file_size(File("stream"))) / frame;
    std::ifstream stream(File("stream"), std::ios::binary);
    stream.seekg(static_cast<std::streamoff>((frames - 1) * frame));
    return stream.read(reinterpret_cast<char*>(pixels.data()),
                       static_cast<std::streamsize>(frame)) &&
           pixels == picture.pixels;
  }

  // The frames of a file of raw video of this size.
  std::vector<std::vector<uint32_t>> RawFrames(const char* name, int width, int height) const {
    const std::vector<uint8_t> bytes = ReadWholeFile(File(name).wstring().c_str());
    const size_t pixels = static_cast<size_t>(width) * height;
    EXPECT_EQ(bytes.size() % (pixels * 4), 0u);
    std::vector<std::vector<uint32_t>> frames;
    for (size_t at = 0; at + pixels * 4 <= bytes.size(); at += pixels * 4) {
      std::memcpy(frames.emplace_back(pixels).data(), bytes.data() + at, pixels * 4);
    }
    return frames;
  }

  bool WaitForFile(const char* name) const {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (std::chrono::steady_clock::now() < end) {
      if (std::filesystem::exists(Out() / name)) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
  }

  // Every pixel of the picture, opaque.
  void ExpectPicture(const char* name, const Picture& picture) const {
    const DecodedPng png = Written(name);
    ASSERT_EQ(png.width, static_cast<uint32_t>(picture.width));
    ASSERT_EQ(png.height, static_cast<uint32_t>(picture.height));
    size_t different = 0;
    for (size_t i = 0; i < picture.pixels.size(); ++i) {
      uint32_t pixel;
      std::memcpy(&pixel, &png.bgra[i * 4], 4);
      different += pixel != picture.pixels[i];
    }
    EXPECT_EQ(different, 0u);
  }

  // Whole PNG files and a summary, and nothing else; returns the number of PNG files.
  size_t ExpectOnlyWholeFiles() const {
    size_t pictures = 0;
    for (const auto& entry : std::filesystem::directory_iterator(Out())) {
      const std::string name = entry.path().filename().string();
      if (name == "summary.txt") continue;
      EXPECT_EQ(entry.path().extension(), ".png") << name;
      EXPECT_EQ(Written(name).width, static_cast<uint32_t>(kWidth)) << name;
      ++pictures;
    }
    return pictures;
  }

  std::string SummaryFile() const {
    const std::vector<uint8_t> bytes = ReadWholeFile((Out() / "summary.txt").wstring().c_str());
    return {bytes.begin(), bytes.end()};
  }

  TemporaryFolder temporary_;
};

TEST_F(ProgramTest, PrintsItsHelp) {
  const GrabResult result = Grab(L"--help");
  EXPECT_EQ(result.exit_code, 0u);
  EXPECT_TRUE(result.out.starts_with("Usage: quill-grab")) << result.out;
  EXPECT_EQ(result.err, "");
}

TEST_F(ProgramTest, RefusesAWrongCommandLine) {
  for (const wchar_t* arguments : {L"", L"--bogus", L"--title", L"--monitor 0 --fps fast"}) {
    const GrabResult result = Grab(arguments);
    EXPECT_EQ(result.exit_code, 1u);
    EXPECT_EQ(result.out, "");
    ExpectOneErrorLine(result, "quill-grab --help");
  }
}

TEST_F(ProgramTest, ListsWindowsAndMonitors) {
  const PatternWindow window(MakePattern(kWidth, kHeight));
  const GrabResult result = Grab(L"--list");
  EXPECT_EQ(result.exit_code, 0u);
  EXPECT_NE(result.out.find("301 x 203   QuillPatternWindow  \"Quill pattern\""), std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find("primary"), std::string::npos) << result.out;
}

TEST_F(ProgramTest, NamesTheListWhenThereIsNoSuchTarget) {
  for (const wchar_t* target :
       {L"--title \"no such title\"", L"--class NoSuchClass", L"--window 3", L"--monitor 77"}) {
    const GrabResult result = Grab(target + OutOption());
    EXPECT_EQ(result.exit_code, 2u);
    ExpectOneErrorLine(result, "quill-grab --list");
  }
  EXPECT_FALSE(std::filesystem::exists(Out()));
}

// A copy of the program in a folder without the library.
TEST_F(ProgramTest, SaysWhereTheLibraryBelongs) {
  const std::filesystem::path copy = temporary_.path() / "quill-grab.exe";
  std::filesystem::copy_file(GrabProgram(), copy);
  GrabResult result = GrabProcess(copy, L"--monitor 0" + OutOption()).Wait();
  EXPECT_EQ(result.exit_code, 3u);
  ExpectOneErrorLine(result, "put libquill-wgc.dll into the folder of quill-grab.exe");
  std::ofstream(temporary_.path() / "libquill-wgc.dll") << "no library";
  result = GrabProcess(copy, L"--monitor 0" + OutOption()).Wait();
  EXPECT_EQ(result.exit_code, 3u);
  ExpectOneErrorLine(result, "libquill-wgc.dll could not be loaded");
  EXPECT_FALSE(std::filesystem::exists(Out()));
}

TEST_F(ProgramTest, CapturesEveryPixelOfAWindow) {
  const Picture picture = MakePattern(kWidth, kHeight);
  const PatternWindow window(picture);
  const GrabResult result = Grab(L"--title \"quill PATTERN\" --frames 1" + OutOption());
  EXPECT_EQ(result.exit_code, 0u) << result.err;
  ExpectPicture("frame-0001.png", picture);
  EXPECT_EQ(ExpectOnlyWholeFiles(), 1u);
  EXPECT_NE(SummaryFile().find("Frames: 1 new, 1 written as PNG\nSizes: 301 x 203 (1)\n"),
            std::string::npos)
      << SummaryFile();
}

TEST_F(ProgramTest, NamesTheWindowsThatMatchWhenThereAreSeveral) {
  const PatternWindow lower(MakePattern(kWidth, kHeight));
  const PatternWindow upper(MakePattern(kWidth, kHeight));
  const GrabResult result = Grab(L"--class QuillPatternWindow --frames 1" + OutOption());
  EXPECT_EQ(result.exit_code, 0u) << result.err;
  EXPECT_NE(result.out.find("Notice: 2 windows match"), std::string::npos) << result.out;
}

TEST_F(ProgramTest, CapturesEveryPixelThroughATexture) {
  const Picture picture = MakePattern(kWidth, kHeight);
  const PatternWindow window(picture);
  const GrabResult result =
      Grab(L"--texture --frames 1 --window " + HandleText(window.handle()) + OutOption());
  EXPECT_EQ(result.exit_code, 0u) << result.err;
  ExpectPicture("frame-0001.png", picture);
}

TEST_F(ProgramTest, WritesTheNextPictureWhenTheWindowChanges) {
  const Picture first = MakePattern(kWidth, kHeight, 1);
  const Picture second = MakePattern(kWidth, kHeight, 2);
  PatternWindow window(first);
  GrabProcess process(GrabProgram(),
                      L"--class QuillPatternWindow --detect --frames 2 --seconds 30" + OutOption());
  ASSERT_TRUE(WaitForFile("frame-0001.png"));
  window.Show(second);
  const GrabResult result = process.Wait();
  EXPECT_EQ(result.exit_code, 0u) << result.err;
  ExpectPicture("frame-0001.png", first);
  ExpectPicture("frame-0002.png", second);
}

TEST_F(ProgramTest, KeepsTheFramesOfAWindowThatCloses) {
  PatternWindow window(MakePattern(kWidth, kHeight));
  GrabProcess process(GrabProgram(),
                      L"--class QuillPatternWindow --all --seconds 40" + OutOption());
  ASSERT_TRUE(WaitForFile("frame-0003.png"));
  window.Destroy();
  const GrabResult result = process.Wait();
  EXPECT_EQ(result.exit_code, 6u);
  ExpectOneErrorLine(result, "was closed");
  EXPECT_GE(ExpectOnlyWholeFiles(), 3u);
  EXPECT_NE(SummaryFile().find("End: the target was closed"), std::string::npos) << SummaryFile();
}

// After three seconds, and not with the polls of the next moments again.
TEST_F(ProgramTest, NoticesAMinimisedWindow) {
  PatternWindow window(MakePattern(kWidth, kHeight));
  window.Minimize();
  const GrabResult result = Grab(L"--class QuillPatternWindow --seconds 3.3" + OutOption());
  EXPECT_EQ(result.exit_code, 7u);
  const size_t notice = result.out.find("Notice: the window is minimised");
  EXPECT_NE(notice, std::string::npos) << result.out;
  EXPECT_EQ(result.out.find("Notice:", notice + 1), std::string::npos) << result.out;
  ExpectOneErrorLine(result, "restore it");
  EXPECT_EQ(ExpectOnlyWholeFiles(), 0u);
}

// Only top-level windows can be captured, which the platform checks.
TEST_F(ProgramTest, GivesTheReasonWhenCaptureCannotStart) {
  const PatternWindow window(MakePattern(kWidth, kHeight));
  const HWND child = CreateWindowExW(0, L"STATIC", L"child", WS_CHILD | WS_VISIBLE, 0, 0, 20, 20,
                                     window.handle(), nullptr, nullptr, nullptr);
  ASSERT_NE(child, nullptr);
  const GrabResult result = Grab(L"--window " + HandleText(child) + OutOption());
  EXPECT_EQ(result.exit_code, 4u);
  ExpectOneErrorLine(result, "IGraphicsCaptureItemInterop::CreateForWindow, hr:80070057");
  DestroyWindow(child);
}

TEST_F(ProgramTest, RefusesAnOutputThatIsNoFolder) {
  std::ofstream(Out()) << "a file";
  const GrabResult result = Grab(L"--monitor 0" + OutOption());
  EXPECT_EQ(result.exit_code, 5u);
  ExpectOneErrorLine(result, "choose another folder with --out");
}

// A folder has the name of the summary, which is written when the frames are.
TEST_F(ProgramTest, FailsWhenAnOutputCannotBeFinished) {
  const Picture picture = MakePattern(kWidth, kHeight);
  const PatternWindow window(picture);
  std::filesystem::create_directories(Out() / "summary.txt");
  const GrabResult result = Grab(L"--class QuillPatternWindow --frames 1" + OutOption());
  EXPECT_EQ(result.exit_code, 5u);
  ExpectOneErrorLine(result, "summary.txt");
  ExpectPicture("frame-0001.png", picture);
}

TEST_F(ProgramTest, AFailureOfTheRunKeepsItsCodeWhenAnOutputCannotBeFinishedEither) {
  PatternWindow window(MakePattern(kWidth, kHeight));
  window.Minimize();
  std::filesystem::create_directories(Out() / "summary.txt");
  const GrabResult result = Grab(L"--class QuillPatternWindow --seconds 0.3" + OutOption());
  EXPECT_EQ(result.exit_code, 7u);
  const size_t end = result.err.find('\n');
  EXPECT_NE(result.err.substr(0, end).find("no frame arrived"), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("summary.txt", end), std::string::npos) << result.err;
}

// As on a full disk, where neither the frame nor the summary can be written.
TEST_F(ProgramTest, TellsOfAnOutputThatFailsOnce) {
  const PatternWindow window(MakePattern(kWidth, kHeight));
  std::filesystem::create_directories(Out() / "frame-0001.png");
  std::filesystem::create_directories(Out() / "summary.txt");
  const GrabResult result = Grab(L"--class QuillPatternWindow --frames 1" + OutOption());
  EXPECT_EQ(result.exit_code, 5u);
  ExpectOneErrorLine(result, "frame-0001.png");
}

TEST_F(ProgramTest, SaysWhichWindowsTheLibraryTakes) {
  if (!RunsUnderWine()) GTEST_SKIP() << "needs a platform whose version can be chosen";
  const PlatformSetting setting(L"UniversalApiContract", 7);
  const GrabResult result = Grab(L"--monitor 0" + OutOption());
  EXPECT_EQ(result.exit_code, 3u);
  ExpectOneErrorLine(result, "Windows 10 version 1903");
  EXPECT_FALSE(std::filesystem::exists(Out()));
}

TEST_F(ProgramTest, NoticesThatTheCursorCannotBeAskedFor) {
  if (!RunsUnderWine()) GTEST_SKIP() << "needs a platform without the switch";
  const PlatformSetting setting(L"WithoutCursorProperty", 1);
  const PatternWindow window(MakePattern(kWidth, kHeight));
  const GrabResult result = Grab(L"--class QuillPatternWindow --cursor --frames 1" + OutOption());
  EXPECT_EQ(result.exit_code, 0u) << result.err;
  EXPECT_NE(result.out.find("Notice: this Windows has no switch for the cursor"), std::string::npos)
      << result.out;
}

TEST_F(ProgramTest, PrintsItsVersion) {
  const GrabResult result = Grab(L"--version");
  EXPECT_EQ(result.exit_code, 0u);
  EXPECT_TRUE(result.bytes.starts_with("quill-grab ")) << result.bytes;
  EXPECT_TRUE(result.bytes.ends_with("\r\n")) << result.bytes;
}

TEST_F(ProgramTest, WritesNothingButTheStreamToStandardOutput) {
  const Picture picture = MakePattern(kWidth, kHeight);
  const PatternWindow window(picture);
  const GrabResult result = Grab(L"--class QuillPatternWindow --raw - --frames 5");
  EXPECT_EQ(result.exit_code, 0u) << result.err;
  const size_t frame = picture.pixels.size() * 4;
  ASSERT_EQ(result.bytes.size(), 5 * frame);
  for (size_t i = 0; i < 5; ++i) {
    EXPECT_EQ(std::memcmp(result.bytes.data() + i * frame, picture.pixels.data(), frame), 0) << i;
  }
  EXPECT_NE(result.err.find("Stream: 5 frames of 301 x 203"), std::string::npos) << result.err;
}

// White, as it stands in a video of limited range, and the rate and size of the header.
TEST_F(ProgramTest, WritesY4m) {
  Picture white = MakePattern(kWidth, kHeight);
  std::fill(white.pixels.begin(), white.pixels.end(), 0xFFFFFFFF);
  const PatternWindow window(white);
  const GrabResult result = Grab(L"--class QuillPatternWindow --fps 29.97 --frames 3 --y4m \"" +
                                 File("stream.y4m").wstring() + L"\"");
  EXPECT_EQ(result.exit_code, 0u) << result.err;
  const std::string row = std::string(301, '\xEB') + '\x10';
  std::string frame = "FRAME\n";
  for (int y = 0; y < 203; ++y) frame += row;
  frame += std::string(302, '\x10') + std::string(size_t{2} * 151 * 102, '\x80');
  const std::vector<uint8_t> bytes = ReadWholeFile(File("stream.y4m").wstring().c_str());
  const std::string header = "YUV4MPEG2 W302 H204 F2997:100 Ip A1:1 C420jpeg XCOLORRANGE=LIMITED\n";
  EXPECT_TRUE(std::string(bytes.begin(), bytes.end()) == header + frame + frame + frame);
}

// A second and a half at 20 frames a second, less the time until the first frame.
TEST_F(ProgramTest, AStreamHasTheFramesOfItsTime) {
  const PatternWindow window(MakePattern(kWidth, kHeight));
  const GrabResult result =
      Grab(L"--class QuillPatternWindow --fps 20 --seconds 1.5 --json - --raw \"" +
           File("stream").wstring() + L"\"");
  EXPECT_EQ(result.exit_code, 0u) << result.err;
  const std::string time = "{\"time\":";
  ASSERT_TRUE(result.out.starts_with(time)) << result.out;
  const double first = std::stod(result.out.substr(time.size()));
  const size_t frames = RawFrames("stream", kWidth, kHeight).size();
  EXPECT_NEAR(static_cast<double>(frames), (1.5 - first) * 20.0, 1.5);
}

TEST_F(ProgramTest, WritesIntoANamedPipe) {
  const Picture picture = MakePattern(kWidth, kHeight);
  const PatternWindow window(picture);
  const std::wstring name = L"\\\\.\\pipe\\quill-grab-program-test";
  GrabProcess process(GrabProgram(), L"--class QuillPatternWindow --frames 4 --raw " + name);
  const std::vector<uint8_t> bytes = ReadPipe(name, SIZE_MAX);
  const GrabResult result = process.Wait();
  EXPECT_EQ(result.exit_code, 0u) << result.err;
  EXPECT_NE(result.out.find("Waiting for the reader of"), std::string::npos) << result.out;
  const size_t frame = picture.pixels.size() * 4;
  ASSERT_EQ(bytes.size(), 4 * frame);
  EXPECT_EQ(std::memcmp(bytes.data() + 3 * frame, picture.pixels.data(), frame), 0);
}

TEST_F(ProgramTest, EndsWhenTheReaderOfTheStreamGoes) {
  const PatternWindow window(MakePattern(kWidth, kHeight));
  const std::wstring name = L"\\\\.\\pipe\\quill-grab-program-test";
  GrabProcess process(GrabProgram(), L"--class QuillPatternWindow --raw " + name + L" --report \"" +
                                         File("page.html").wstring() + L"\" --json \"" +
                                         File("lines").wstring() + L"\"");
  EXPECT_GE(ReadPipe(name, 100000).size(), 100000u);
  const GrabResult result = process.Wait();
  EXPECT_EQ(result.exit_code, 9u);
  ExpectOneErrorLine(result, "the reader of the stream has gone");
  EXPECT_NE(result.out.find("\nStream: "), std::string::npos) << result.out;
  EXPECT_GT(std::filesystem::file_size(File("page.html")), 1000u);
  EXPECT_GT(std::filesystem::file_size(File("lines")), 50u);
}

TEST_F(ProgramTest, TakesAScreenshotAndNamesItInJson) {
  const Picture picture = MakePattern(kWidth, kHeight);
  const PatternWindow window(picture);
  std::filesystem::create_directory(Out());
  const std::wstring path = (Out() / L"shot \u00fc.png").wstring();
  const GrabResult result =
      Grab(L"--class QuillPatternWindow --json - --screenshot \"" + path + L"\"");
  EXPECT_EQ(result.exit_code, 0u) << result.err;
  const DecodedPng png = DecodePng(ReadWholeFile(path.c_str()));
  ASSERT_EQ(png.width, static_cast<uint32_t>(kWidth));
  EXPECT_EQ(std::memcmp(png.bgra.data(), picture.pixels.data(), png.bgra.size()), 0);
  EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 1) << result.out;
  EXPECT_NE(result.out.find("\"width\":301,\"height\":203,\"ratio\":1.0,\"new\":true,"),
            std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find("\\\\shot \\u00fc.png\"}\n"), std::string::npos) << result.out;
  size_t files = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(Out())) ++files;
  EXPECT_EQ(files, 1u);
}

// Before anything is captured.
TEST_F(ProgramTest, RefusesAScreenshotThatCannotBeWritten) {
  const GrabResult result =
      Grab(L"--monitor 0 --screenshot \"" + (Out() / "none" / "shot.png").wstring() + L"\"");
  EXPECT_EQ(result.exit_code, 5u);
  ExpectOneErrorLine(result, "make its folder first or choose another file with --screenshot");
  EXPECT_EQ(result.out, "");
}

TEST_F(ProgramTest, WaitsForAWindow) {
  GrabProcess process(GrabProgram(),
                      L"--class QuillPatternWindow --wait 30 --frames 1" + OutOption());
  ASSERT_TRUE(process.Prints("Waiting up to 30 s for the window"));
  // It looks for the window 20 times a second.
  EXPECT_TRUE(process.IsRunningAfter(200));
  EXPECT_FALSE(std::filesystem::exists(Out()));
  const Picture picture = MakePattern(kWidth, kHeight);
  const PatternWindow window(picture);
  const GrabResult result = process.Wait();
  EXPECT_EQ(result.exit_code, 0u) << result.err;
  ExpectPicture("frame-0001.png", picture);
}

TEST_F(ProgramTest, WaitsForAWindowNoLongerThanAsked) {
  const GrabResult result = Grab(L"--class QuillPatternWindow --wait 0.3" + OutOption());
  EXPECT_EQ(result.exit_code, 2u);
  ExpectOneErrorLine(result, "quill-grab --list");
}

TEST_F(ProgramTest, WatchesWithoutWriting) {
  const PatternWindow window(MakePattern(kWidth, kHeight));
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(temporary_.path());
  const GrabResult result = Grab(L"--class QuillPatternWindow --watch --fps 20 --seconds 2.3");
  std::filesystem::current_path(before);
  EXPECT_EQ(result.exit_code, 0u) << result.err;
  EXPECT_NE(result.out.find(" s  301 x 203  "), std::string::npos) << result.out;
  EXPECT_NE(result.out.find(" polls/s  "), std::string::npos) << result.out;
  EXPECT_EQ(temporary_.CountFiles(), 0u);
}

TEST_F(ProgramTest, LetterboxesAWindowThatGetsSmaller) {
  const Picture first = MakePattern(kWidth, kHeight, 1);
  const Picture second = MakePattern(201, 103, 2);
  Picture expected(kWidth, kHeight, 0xFF000000);
  for (int y = 0; y < 103; ++y) {
    for (int x = 0; x < 201; ++x) expected.At(50 + x, 50 + y) = second.At(x, y);
  }
  const GrabResult result = GrabTwoSizes(first, second, L"", expected);
  EXPECT_EQ(result.exit_code, 0u) << result.err;
  const auto frames = RawFrames("stream", kWidth, kHeight);
  ASSERT_GE(frames.size(), 3u);
  EXPECT_TRUE(frames.front() == first.pixels);
  EXPECT_TRUE(frames.back() == expected.pixels);
}

TEST_F(ProgramTest, CropsAWindowThatGetsLarger) {
  const Picture first = MakePattern(kWidth, kHeight, 1);
  const Picture second = MakePattern(kWidth + 60, kHeight - 50, 2);
  Picture expected(kWidth, kHeight, 0xFF000000);
  for (int y = 0; y < kHeight - 50; ++y) {
    for (int x = 0; x < kWidth; ++x) expected.At(x, y) = second.At(x, y);
  }
  const GrabResult result = GrabTwoSizes(first, second, L"--on-resize crop", expected);
  EXPECT_EQ(result.exit_code, 0u) << result.err;
  const auto frames = RawFrames("stream", kWidth, kHeight);
  ASSERT_GE(frames.size(), 3u);
  EXPECT_TRUE(frames.front() == first.pixels);
  EXPECT_TRUE(frames.back() == expected.pixels);
}

// The larger picture goes on where the first one ends, so that even a frame of the first size that
// was taken during the change is the first picture.
TEST_F(ProgramTest, StopsBeforeAChangeOfSizeWhenAskedTo) {
  const Picture first = MakePattern(kWidth, kHeight, 1);
  const Picture second = MakePattern(kWidth, kHeight + 1, 1);
  const GrabResult result = GrabTwoSizes(first, second, L"--on-resize stop", second);
  EXPECT_EQ(result.exit_code, 8u);
  ExpectOneErrorLine(result, "from 301 x 203 to 301 x 204");
  for (const auto& frame : RawFrames("stream", kWidth, kHeight)) {
    EXPECT_TRUE(frame == first.pixels);
  }
}

// What nothing but closing the window is to end.
TEST_F(ProgramTest, AWindowThatClosesEndsAStreamNormally) {
  PatternWindow window(MakePattern(kWidth, kHeight));
  GrabProcess process(GrabProgram(),
                      L"--class QuillPatternWindow --raw \"" + File("stream").wstring() + L"\"");
  ASSERT_TRUE(WaitForSize(File("stream"), 1));
  window.Destroy();
  const GrabResult result = process.Wait();
  EXPECT_EQ(result.exit_code, 0u) << result.err;
  EXPECT_NE(result.out.find("End: the target was closed\n"), std::string::npos) << result.out;
}

}  // namespace
