// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// quill-grab.exe on a console: what stands there during a run and after it.

#include <algorithm>
#include <chrono>
#include <sstream>
#include <thread>
#include <vector>

#include "apps/quill-grab/grab_process.h"
#include "apps/quill-grab/test_support.h"
#include "support/pattern_window.h"

namespace {

// A screen buffer of its own, so that a terminal that runs the tests shows nothing of it.
class ProgramConsoleTest : public testing::Test {
 protected:
  static constexpr COORD kSize{400, 300};  // no buffer is smaller than the window of its console

  void SetUp() override {
    console_ = MakeScreen();
    if (console_ == INVALID_HANDLE_VALUE) {
      // There is no console, or, under Wine without a terminal, one that shows nothing.
      FreeConsole();
      ASSERT_TRUE(AllocConsole()) << GetLastError();
      made_console_ = true;
      console_ = MakeScreen();
    }
    ASSERT_NE(console_, INVALID_HANDLE_VALUE) << GetLastError();
    ASSERT_TRUE(SetConsoleScreenBufferSize(console_, kSize)) << GetLastError();
  }

  void TearDown() override {
    CloseHandle(console_);
    if (made_console_) FreeConsole();
  }

  static HANDLE MakeScreen() {
    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    return CreateConsoleScreenBuffer(GENERIC_READ | GENERIC_WRITE,
                                     FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable,
                                     CONSOLE_TEXTMODE_BUFFER, nullptr);
  }

  // The lines that are not blank, without the blanks at their ends.
  std::vector<std::string> Lines() const {
    std::string screen(size_t{kSize.X} * kSize.Y, ' ');
    DWORD read = 0;
    EXPECT_TRUE(ReadConsoleOutputCharacterA(console_, screen.data(),
                                            static_cast<DWORD>(screen.size()), {0, 0}, &read));
    std::vector<std::string> lines;
    for (size_t begin = 0; begin < screen.size(); begin += kSize.X) {
      std::string line = screen.substr(begin, kSize.X);
      line.erase(line.find_last_not_of(' ') + 1);
      if (!line.empty()) lines.push_back(line);
    }
    return lines;
  }

  std::string Text() const {
    std::string text;
    for (const std::string& line : Lines()) text += line + "\n";
    return text;
  }

  // Waits until the last line is one of progress, and returns it.
  std::string WaitForProgress() const {
    for (int i = 0; i < 500; ++i) {
      const std::vector<std::string> lines = Lines();
      if (!lines.empty() && lines.back().find(kProgress) != std::string::npos) return lines.back();
      std::this_thread::sleep_for(std::chrono::milliseconds(40));
    }
    return "";
  }

  static constexpr char kProgress[] = " polls, ";  // no other line has it

  PatternWindow window_{MakePattern(301, 203)};
  HANDLE console_ = INVALID_HANDLE_VALUE;

 private:
  bool made_console_ = false;
};

// Long enough for a progress line, which comes four times a second.
constexpr wchar_t kTenLinesOfJson[] =
    L"--class QuillPatternWindow --json - --all --fps 20 --frames 10 --seconds 60";

TEST_F(ProgramConsoleTest, ShowsTheProgressUnderTheTextAndTakesItAway) {
  const TemporaryFolder temporary;
  GrabProcess process(
      GrabProgram(),
      L"--class QuillPatternWindow --seconds 60 --out \"" + temporary.path().wstring() + L"\"",
      {console_, console_});
  EXPECT_TRUE(WaitForProgress().starts_with("[")) << Text();
  window_.Destroy();
  EXPECT_EQ(process.Wait().exit_code, 6u);
  const std::vector<std::string> lines = Lines();
  ASSERT_GE(lines.size(), 3u);
  EXPECT_TRUE(lines[0].starts_with("Capturing window ")) << lines[0];
  EXPECT_TRUE(lines[1].starts_with("Target: ")) << lines[1];
  EXPECT_TRUE(lines[2].starts_with("End: the target was closed")) << lines[2];
  EXPECT_EQ(Text().find(kProgress), std::string::npos) << Text();
}

// A progress line would have its place where the next line of JSON begins.
TEST_F(ProgramConsoleTest, ShowsNoProgressUnderLinesOfJson) {
  GrabProcess process(GrabProgram(), kTenLinesOfJson, {console_, console_});
  EXPECT_EQ(process.Wait().exit_code, 0u);
  const std::vector<std::string> lines = Lines();
  EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                          [](const std::string& line) { return line.starts_with("{\"time\":"); }),
            10)
      << Text();
  EXPECT_EQ(Text().find('['), std::string::npos) << Text();
}

TEST_F(ProgramConsoleTest, ShowsTheProgressBesideAStreamThatGoesElsewhere) {
  GrabProcess process(GrabProgram(), L"--class QuillPatternWindow --json - --all",
                      {nullptr, console_});
  EXPECT_NE(WaitForProgress(), "") << Text();
  window_.Destroy();
  const GrabResult result = process.Wait();
  EXPECT_EQ(result.exit_code, 0u);
  std::istringstream lines(result.out);
  for (std::string line; std::getline(lines, line);) {
    EXPECT_TRUE(line.starts_with("{\"time\":") && line.ends_with("}")) << line;
  }
  EXPECT_EQ(Text().find(kProgress), std::string::npos) << Text();
}

TEST_F(ProgramConsoleTest, WritesNoProgressBarIntoAFile) {
  for (const GrabStreams& elsewhere : {GrabStreams{console_, nullptr}, GrabStreams{}}) {
    const GrabResult result = GrabProcess(GrabProgram(), kTenLinesOfJson, elsewhere).Wait();
    EXPECT_EQ(result.exit_code, 0u);
    EXPECT_NE(result.err.find("Capturing window "), std::string::npos) << result.err;
    EXPECT_EQ(result.err.find('['), std::string::npos) << result.err;
  }
}

TEST_F(ProgramConsoleTest, RefusesToShowAStreamOfBytes) {
  const GrabResult result =
      GrabProcess(GrabProgram(), L"--class QuillPatternWindow --raw - --frames 1",
                  {console_, nullptr})
          .Wait();
  EXPECT_EQ(result.exit_code, 1u);
  EXPECT_NE(result.err.find("a stream is no text for a terminal"), std::string::npos) << result.err;
  EXPECT_EQ(Text(), "");
}

}  // namespace
