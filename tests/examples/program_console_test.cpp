// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// quill-grab.exe on a console: what stands there during a run and after it.

#include <algorithm>
#include <sstream>
#include <vector>

#include "examples/grab_process.h"
#include "examples/test_support.h"
#include "support/pattern_window.h"

namespace {

// A screen buffer of its own, so that a terminal that runs the tests shows nothing of it.
class ProgramConsoleTest : public testing::Test {
 protected:
  static constexpr COORD kSize{200, 300};

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
    std::vector<std::string> lines;
    for (SHORT row = 0; row < kSize.Y; ++row) {
      std::string line(kSize.X, ' ');
      DWORD read = 0;
      EXPECT_TRUE(ReadConsoleOutputCharacterA(console_, line.data(), kSize.X, {0, row}, &read));
      line.erase(line.find_last_not_of(' ') + 1);
      if (!line.empty()) lines.push_back(line);
    }
    return lines;
  }

  static std::string Joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    return text;
  }

  static bool IsProgress(const std::string& line) {
    return line.starts_with("[") && line.find(" polls, ") != std::string::npos;
  }

  // Whether a progress line is last on the console at any time of the run.
  bool SeesProgress(const GrabProcess& process) const {
    bool seen = false;
    while (process.IsRunningAfter(20)) {
      const std::vector<std::string> lines = Lines();
      seen |= !lines.empty() && IsProgress(lines.back());
    }
    return seen;
  }

  PatternWindow window_{MakePattern(301, 203)};
  HANDLE console_ = INVALID_HANDLE_VALUE;

 private:
  bool made_console_ = false;
};

constexpr wchar_t kJson[] = L"--class QuillPatternWindow --json - --all --fps 10 --seconds 1.2";

TEST_F(ProgramConsoleTest, ShowsTheProgressUnderTheTextAndTakesItAway) {
  const TemporaryFolder temporary;
  GrabProcess process(
      GrabProgram(),
      L"--class QuillPatternWindow --seconds 1.2 --out \"" + temporary.path().wstring() + L"\"",
      {console_, console_});
  EXPECT_TRUE(SeesProgress(process));
  EXPECT_EQ(process.Wait().exit_code, 0u);
  const std::vector<std::string> lines = Lines();
  ASSERT_GE(lines.size(), 3u);
  EXPECT_TRUE(lines[0].starts_with("Capturing window ")) << lines[0];
  EXPECT_TRUE(lines[1].starts_with("Target: ")) << lines[1];
  EXPECT_EQ(lines[2], "End: the time is over");
}

// A progress line, too, would have its place where the next line of JSON begins.
TEST_F(ProgramConsoleTest, ShowsNoProgressUnderLinesOfJson) {
  GrabProcess process(GrabProgram(), kJson, {console_, console_});
  EXPECT_EQ(process.Wait().exit_code, 0u);
  const std::vector<std::string> lines = Lines();
  EXPECT_GE(std::count_if(lines.begin(), lines.end(),
                          [](const std::string& line) { return line.starts_with("{\"time\":"); }),
            8)
      << Joined(lines);
  EXPECT_EQ(Joined(lines).find('['), std::string::npos) << Joined(lines);
}

TEST_F(ProgramConsoleTest, ShowsTheProgressBesideAStreamThatGoesElsewhere) {
  GrabProcess process(GrabProgram(), kJson, {nullptr, console_});
  EXPECT_TRUE(SeesProgress(process));
  const GrabResult result = process.Wait();
  EXPECT_EQ(result.exit_code, 0u);
  std::istringstream lines(result.out);
  for (std::string line; std::getline(lines, line);) {
    EXPECT_TRUE(line.starts_with("{\"time\":") && line.ends_with("}")) << line;
  }
  EXPECT_EQ(Joined(Lines()).find('['), std::string::npos) << Joined(Lines());
}

TEST_F(ProgramConsoleTest, WritesNoProgressIntoAFile) {
  for (const GrabStreams& elsewhere : {GrabStreams{console_, nullptr}, GrabStreams{}}) {
    const GrabResult result = GrabProcess(GrabProgram(), kJson, elsewhere).Wait();
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
  EXPECT_EQ(Joined(Lines()), "");
}

}  // namespace
