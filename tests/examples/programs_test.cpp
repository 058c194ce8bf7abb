// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The example programs as their users run them: on windows with known pixels, and where they fail.
#include <gtest/gtest.h>

#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "saved_bmp.h"
#include "support/desktop.h"
#include "support/pattern_window.h"
#include "support/platform_setting.h"
#include "support/process.h"

namespace {

constexpr int kWidth = 301;
constexpr int kHeight = 203;

class Programs : public testing::Test {
 protected:
  void SetUp() override {
    folder_ = std::filesystem::temp_directory_path() /
              ("quill-programs-" + std::to_string(GetCurrentProcessId()));
    std::filesystem::create_directory(folder_);
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::filesystem::path File(const char* name) const { return folder_ / name; }

  // The rest of the command line for the one window that is shown and a file.
  std::wstring WindowAnd(const std::filesystem::path& file) const {
    return L"\"Quill pattern\" \"" + (folder_ / file).wstring() + L"\"";
  }

 private:
  std::filesystem::path folder_;
};

void ExpectSuccess(const ProcessResult& result) {
  EXPECT_EQ(result.exit_code, 0u);
  EXPECT_EQ(result.err, "");
}

void ExpectFailure(const ProcessResult& result, const std::string& lines) {
  EXPECT_EQ(result.exit_code, 1u);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, lines);
}

// Runs a program with arguments that make it fail.
void ExpectFailure(const char* program, const wchar_t* arguments, const std::string& lines) {
  ExpectFailure(Process(program, arguments).Wait(), lines);
}

TEST_F(Programs, MinimalSavesEveryPixelOfTheWindow) {
  const Picture shown = MakePattern(kWidth, kHeight);
  const PatternWindow window(shown);
  // Part of a title is enough.
  const ProcessResult result =
      Process("minimal.exe", L"\"ill patt\" \"" + File("frame.bmp").wstring() + L"\"").Wait();
  ExpectSuccess(result);
  EXPECT_EQ(result.out, "301 x 203 pixels saved\n");

  EXPECT_TRUE(IsBmpOf(File("frame.bmp"), shown));
}

// BT.709's luma for video levels, of a colour 0xRRGGBB.
double LumaOf(uint32_t colour) {
  const double red = (colour >> 16 & 0xFF) / 255.0;
  const double green = (colour >> 8 & 0xFF) / 255.0;
  const double blue = (colour & 0xFF) / 255.0;
  return 16.0 + 219.0 * (0.2126 * red + 0.7152 * green + 0.0722 * blue);
}

TEST_F(Programs, TextureSavesTheLumaOfEveryPixel) {
  const Picture shown = MakePattern(kWidth, kHeight);
  const PatternWindow window(shown);
  const ProcessResult result = Process("texture.exe", WindowAnd("luma.pgm")).Wait();
  ExpectSuccess(result);

  const std::string saved = ReadBytes(File("luma.pgm"));
  const std::string header = "P5\n301 203\n255\n";
  ASSERT_TRUE(saved.starts_with(header));
  ASSERT_EQ(saved.size(), header.size() + kWidth * kHeight);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const size_t offset = header.size() + static_cast<size_t>(y) * kWidth + x;
      const int luma = static_cast<unsigned char>(saved[offset]);
      // Direct3D may round a colour to a byte 0.6 away.
      ASSERT_NEAR(luma, LumaOf(shown.At(x, y)), 0.601) << x << ", " << y;
    }
  }
}

// The line for a frame in which every pixel has changed: tiles of 32 x 32 that end before the
// picture's right and bottom edge are watched.
std::string WholeChange(const char* name) {
  const int watched = (kWidth - 1) / 32 * 32 * ((kHeight - 1) / 32 * 32);
  char line[80];
  std::snprintf(line, sizeof line, "%s: %d x %d, %.1f %% changed\n", name, kWidth, kHeight,
                100.0 * watched / (kWidth * kHeight));
  return line;
}

// The lines of a text that begin so.
std::vector<std::string> LinesOf(const std::string& text, const std::string& start) {
  std::vector<std::string> lines;
  for (size_t at = 0; at < text.size(); at = text.find('\n', at) + 1) {
    if (text.compare(at, start.size(), start) == 0) {
      lines.push_back(text.substr(at, text.find('\n', at) + 1 - at));
    }
  }
  return lines;
}

// "NAME: N polls, F frames with a change", N at least as large. Windows may deliver a change in
// several frames.
void ExpectCounts(const std::string& line, const char* name, unsigned polls, unsigned frames) {
  char found_name[20] = "";
  unsigned found_polls = 0;
  unsigned found_frames = 0;
  EXPECT_EQ(std::sscanf(line.c_str(), "%19[^:]: %u polls, %u frames with a change", found_name,
                        &found_polls, &found_frames),
            3)
      << line;
  EXPECT_STREQ(found_name, name);
  EXPECT_GE(found_polls, polls);
  if (IsWine()) {
    EXPECT_EQ(found_frames, frames);
  } else {
    EXPECT_GE(found_frames, frames);
  }
}

TEST_F(Programs, TwoWindowsTellTheirChangesApartAndEndTogether) {
  PatternWindow left(MakePattern(kWidth, kHeight, 1), {.title = L"left"});
  PatternWindow right(MakePattern(kWidth, kHeight, 2), {.position = {500, 30}, .title = L"right"});
  Process run("two_windows.exe", L"left right 100");
  const auto first_frame = [](const char* name) {
    return std::string(name) + ": 301 x 203, 100.0 % changed\n";
  };
  ASSERT_TRUE(run.Prints(first_frame("first")));
  ASSERT_TRUE(run.Prints(first_frame("second")));
  right.Show(MakePattern(kWidth, kHeight, 3));
  ASSERT_TRUE(run.Prints(WholeChange("second")));
  left.Show(MakePattern(kWidth, kHeight, 4));
  ASSERT_TRUE(run.Prints(WholeChange("first")));
  right.Destroy();

  const ProcessResult result = run.Wait();
  ExpectSuccess(result);
  for (const char* const name : {"first", "second"}) {
    const std::vector<std::string> lines = LinesOf(result.out, std::string(name) + ": ");
    ASSERT_GE(lines.size(), 3u) << result.out;
    EXPECT_EQ(lines[0], first_frame(name));
    EXPECT_EQ(lines[lines.size() - 2], WholeChange(name));
    ExpectCounts(lines.back(), name, 2, 2);
  }
}

TEST_F(Programs, TwoWindowsEndWithTheirTimeAndMayBeTheSame) {
  const PatternWindow window(MakePattern(kWidth, kHeight));
  const ULONGLONG start = GetTickCount64();
  const ProcessResult result =
      Process("two_windows.exe", L"\"Quill pattern\" \"Quill pattern\" 2.5").Wait();
  EXPECT_GE(GetTickCount64() - start, 2500u);
  ExpectSuccess(result);
  for (const char* const name : {"first", "second"}) {
    const std::vector<std::string> lines = LinesOf(result.out, std::string(name) + ": ");
    ASSERT_GE(lines.size(), 2u) << result.out;
    ExpectCounts(lines.back(), name, 1, 1);
  }
}

TEST_F(Programs, ShowTheirUsage) {
  for (const wchar_t* const arguments : {L"", L"one two three"}) {
    ExpectFailure("minimal.exe", arguments, "minimal: usage: minimal TITLE FILE.bmp\n");
  }
  ExpectFailure("texture.exe", L"one", "texture: usage: texture TITLE FILE.pgm\n");
  for (const wchar_t* const arguments : {L"one two", L"one two soon", L"one two -1"}) {
    ExpectFailure("two_windows.exe", arguments,
                  "two_windows: usage: two_windows TITLE TITLE SECONDS\n");
  }
}

TEST_F(Programs, SayThatThereIsNoSuchWindow) {
  const PatternWindow window(MakePattern(kWidth, kHeight));
  ExpectFailure("minimal.exe", L"none frame.bmp",
                "minimal: no visible window has that text in its title\n");
  ExpectFailure("texture.exe", L"none luma.pgm", "texture: no window has that title\n");
  ExpectFailure("two_windows.exe", L"none \"Quill pattern\" 1",
                "two_windows: no window has the first title\n");
  ExpectFailure("two_windows.exe", L"\"Quill pattern\" none 1",
                "two_windows: no window has the second title\n");
  EXPECT_FALSE(std::filesystem::exists("frame.bmp"));
  EXPECT_FALSE(std::filesystem::exists("luma.pgm"));
}

TEST_F(Programs, SayThatTheFileCannotBeWritten) {
  const PatternWindow window(MakePattern(kWidth, kHeight));
  Process minimal("minimal.exe", WindowAnd("none/frame.bmp"));
  Process texture("texture.exe", WindowAnd("none/luma.pgm"));
  ExpectFailure(minimal.Wait(), "minimal: the file could not be written\n");
  ExpectFailure(texture.Wait(), "texture: the file could not be written\n");
}

TEST_F(Programs, SayThatAMinimisedWindowGivesNoFrame) {
  if (!IsWine())
    GTEST_SKIP() << "whether a minimised window has frames on Windows is not documented";
  PatternWindow window(MakePattern(kWidth, kHeight));
  window.Minimize();
  Process minimal("minimal.exe", WindowAnd("frame.bmp"));
  Process texture("texture.exe", WindowAnd("luma.pgm"));
  ExpectFailure(minimal.Wait(),
                "minimal: no frame came in 5 seconds: restore the window if it is minimised\n");
  ExpectFailure(texture.Wait(), "texture: no frame came: the window is minimised or was closed\n");
}

// Starts the three programs on one window.
class ProgramsStart : public Programs {
 protected:
  const PatternWindow window_{MakePattern(kWidth, kHeight)};

  // Runs while the platform is damaged: minimal, texture, two_windows.
  std::vector<ProcessResult> Results() const {
    Process minimal("minimal.exe", WindowAnd("frame.bmp"));
    Process texture("texture.exe", WindowAnd("luma.pgm"));
    Process two_windows("two_windows.exe", L"\"Quill pattern\" \"Quill pattern\" 20");
    return {minimal.Wait(), texture.Wait(), two_windows.Wait()};
  }
};

TEST_F(ProgramsStart, NamesTheWindowsThatIsNeeded) {
  if (!IsWine()) GTEST_SKIP() << kNeedsStandin;
  const PlatformSetting old_windows(L"UniversalApiContract", 7);
  const std::vector<ProcessResult> results = Results();
  ExpectFailure(results[0], "minimal: capture needs Windows 10 version 1903\n");
  ExpectFailure(results[1], "texture: capture needs Windows 10 version 1903\n");
  ExpectFailure(results[2], "two_windows: capture needs Windows 10 version 1903\n");
}

TEST_F(ProgramsStart, GivesTheLibrarysReasonForAFailedStart) {
  if (!IsWine()) GTEST_SKIP() << "needs a platform whose classes can be taken away";
  const MissingClass no_items(L"Windows.Graphics.Capture.GraphicsCaptureItem");
  const std::string reason = "capture could not start: Winrt exception:" +
                             std::to_string(HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND)) + "\n";
  const std::vector<ProcessResult> results = Results();
  ExpectFailure(results[0], "minimal: " + reason);
  ExpectFailure(results[1], "texture: " + reason);
  // Two captures, two reasons, in either order.
  const std::string first = "two_windows: the first " + reason;
  const std::string second = "two_windows: the second " + reason;
  ExpectFailure(results[2], results[2].err.starts_with(first) ? first + second : second + first);
}

}  // namespace
