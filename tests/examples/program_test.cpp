// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// quill-grab.exe as its users see it: messages, exit codes and files.

#include <algorithm>
#include <chrono>
#include <cstring>
#include <fstream>
#include <thread>

#include "examples/decode_png.h"
#include "examples/grab_process.h"
#include "examples/test_support.h"
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

class ProgramTest : public ComTest {
 protected:
  std::filesystem::path Out() const { return temporary_.path() / "out"; }
  std::wstring OutOption() const { return L" --out \"" + Out().wstring() + L"\""; }

  DecodedPng Written(const std::string& name) const {
    return DecodePng(ReadWholeFile((Out() / name).wstring().c_str()));
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
  EXPECT_NE(SummaryFile().find("Frames: 1 new, 1 written\nSizes: 301 x 203 (1)\n"),
            std::string::npos)
      << SummaryFile();
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

TEST_F(ProgramTest, NoticesAMinimisedWindow) {
  PatternWindow window(MakePattern(kWidth, kHeight));
  window.Minimize();
  const GrabResult result = Grab(L"--class QuillPatternWindow --seconds 4" + OutOption());
  EXPECT_EQ(result.exit_code, 7u);
  EXPECT_NE(result.out.find("Notice: the window is minimised"), std::string::npos) << result.out;
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

TEST_F(ProgramTest, SaysWhichWindowsTheLibraryTakes) {
  if (!RunsUnderWine()) GTEST_SKIP() << "needs a platform whose version can be chosen";
  constexpr wchar_t kKey[] = L"Software\\libquill-wgc\\Capture";
  const DWORD contract = 7;
  ASSERT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, kKey, L"UniversalApiContract", REG_DWORD, &contract,
                            sizeof contract),
            ERROR_SUCCESS);
  const GrabResult result = Grab(L"--monitor 0" + OutOption());
  RegDeleteKeyValueW(HKEY_CURRENT_USER, kKey, L"UniversalApiContract");
  EXPECT_EQ(result.exit_code, 3u);
  ExpectOneErrorLine(result, "Windows 10 version 1903");
  EXPECT_FALSE(std::filesystem::exists(Out()));
}

}  // namespace
