// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What stands on a console, or in the files instead of one, during a run and after it.

#include "common/console.h"

#include <new>

#include "apps/quill-grab/grab_error.h"
#include "apps/quill-grab/grab_test.h"
#include "common/text.h"
#include "quill-grab/console/progress.h"
#include "support/process.h"

namespace quill_apps {
namespace {

// The text, in whatever language, has neither the full stop nor the line break of the system's.
TEST(DescribeErrorTest, NumberFollowsTheSystemsText) {
  const std::pair<DWORD, const char*> kErrors[] = {
      {ERROR_ACCESS_DENIED, " (5)"}, {static_cast<DWORD>(E_OUTOFMEMORY), " (0x8007000e)"}};
  for (const auto& [error, number] : kErrors) {
    const std::string text = DescribeError(error);
    ASSERT_TRUE(text.ends_with(number)) << text;
    const std::string words = text.substr(0, text.size() - std::string(number).size());
    ASSERT_FALSE(words.empty()) << text;
    EXPECT_EQ(words.find_last_not_of(" .\r\n"), words.size() - 1) << text;
  }
  EXPECT_EQ(DescribeError(0x2fffffff), "error 805306367");
}

TEST(ResultCheckTest, FailuresBecomeErrorsThatSayWhatFailedAndWhatToDo) {
  const ResultCheck check{ExitCode::kOutputFailed, "it could not be drawn", "use a pen"};
  check(S_FALSE, "Draw");
  const ToolError error = ErrorOf([&] { check(E_ACCESSDENIED, "Draw"); });
  EXPECT_EQ(error.code(), ExitCode::kOutputFailed);
  EXPECT_EQ(error.what(), "it could not be drawn: Draw: " +
                              DescribeError(static_cast<DWORD>(E_ACCESSDENIED)) + ": use a pen");
  EXPECT_THROW(check(E_OUTOFMEMORY, "Draw"), std::bad_alloc);
}

TEST(ProgressLineTest, BarShowsTheCompletionAndTheLineFitsTheColumns) {
  EXPECT_EQ(ProgressLine(0.0, "x", 80), "[........................] x");
  EXPECT_EQ(ProgressLine(0.5, "x", 80), "[############............] x");
  EXPECT_EQ(ProgressLine(1.0, "x", 80), "[########################] x");
  EXPECT_EQ(ProgressLine(7.0, "x", 80), ProgressLine(1.0, "x", 80));
  EXPECT_EQ(ProgressLine(-1.0, "x", 80), ProgressLine(0.0, "x", 80));
  EXPECT_EQ(ProgressLine(0.5, "a long text", 30).size(), 29u);
  EXPECT_EQ(ProgressLine(0.5, "x", 0), "");
}

// count polls, of which new_frames gave a new frame.
void AddPolls(Summary& summary, int count, int new_frames, float ratio) {
  for (int i = 0; i < count; ++i) {
    const bool is_new = i < new_frames;
    summary.AddFrame({0.0, {640, 480}, is_new ? ratio : 0.0f, is_new, 0, ""});
  }
}

TEST(WatchLineTest, RatesAreThoseOfTheLastTwoSeconds) {
  WatchLine line;
  Summary summary;
  EXPECT_EQ(line.Text(0.0, summary),
            "0.0 s  no frame  0.0 polls/s  0.0 new/s  ratio 0.0000  0 missed");
  AddPolls(summary, 30, 1, 1.0f);
  EXPECT_EQ(line.Text(1.0, summary),
            "1.0 s  640 x 480  30.0 polls/s  1.0 new/s  ratio 1.0000  0 missed");
  AddPolls(summary, 30, 0, 0.0f);
  EXPECT_EQ(line.Text(2.0, summary),
            "2.0 s  640 x 480  30.0 polls/s  0.5 new/s  ratio 1.0000  0 missed");
  AddPolls(summary, 9, 3, 0.25f);
  summary.AddFrame({0.0, {640, 480}, 0.0f, false, 7, ""});
  EXPECT_EQ(line.Text(3.0, summary),
            "3.0 s  640 x 480  20.0 polls/s  1.5 new/s  ratio 0.2500  7 missed");
}

// The screen is a buffer of its own, so that a terminal that runs the tests shows nothing of it.
class ConsoleTest : public testing::Test {
 protected:
  static constexpr COORD kSize{400, 300};  // no buffer is smaller than the window of its console

  void SetUp() override {
    screen_ = MakeScreen();
    if (screen_ == INVALID_HANDLE_VALUE) {
      // There is no console, or, under Wine without a terminal, one that shows nothing.
      FreeConsole();
      ASSERT_TRUE(AllocConsole()) << GetLastError();
      made_console_ = true;
      screen_ = MakeScreen();
    }
    ASSERT_NE(screen_, INVALID_HANDLE_VALUE) << GetLastError();
    ASSERT_TRUE(SetConsoleScreenBufferSize(screen_, kSize)) << GetLastError();
  }

  void TearDown() override {
    CloseHandle(screen_);
    if (made_console_) FreeConsole();
  }

  static HANDLE MakeScreen() {
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    return CreateConsoleScreenBuffer(GENERIC_READ | GENERIC_WRITE,
                                     FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable,
                                     CONSOLE_TEXTMODE_BUFFER, nullptr);
  }

  // The lines that are not blank, without the blanks at their ends.
  std::string Screen() const {
    std::string screen(size_t{kSize.X} * kSize.Y, ' ');
    DWORD read = 0;
    EXPECT_TRUE(ReadConsoleOutputCharacterA(screen_, screen.data(),
                                            static_cast<DWORD>(screen.size()), {0, 0}, &read));
    std::string lines;
    for (size_t begin = 0; begin < screen.size(); begin += kSize.X) {
      const std::string line = screen.substr(begin, kSize.X);
      const size_t end = line.find_last_not_of(' ') + 1;
      if (end > 0) lines += line.substr(0, end) + "\n";
    }
    return lines;
  }

  HANDLE screen_ = INVALID_HANDLE_VALUE;
  TemporaryFolder folder_;
  OutputFile out_{folder_ / "out"};
  OutputFile err_{folder_ / "err"};
  Console files_{"quill-grab", out_.handle(), err_.handle()};
  Options options_;
  Summary summary_;

 private:
  bool made_console_ = false;
};

TEST_F(ConsoleTest, ProgressStaysBelowTheTextUntilItIsCleared) {
  Console console("quill-grab", screen_, screen_);
  console.PrintLine("first");
  console.ShowProgress(0.0, "a long text");
  console.PrintLine("second");
  console.ShowProgress(1.0, "short");
  EXPECT_EQ(Screen(), "first\nsecond\n[########################] short\n");
  console.PrintError("third");
  console.ShowStatus("status");
  EXPECT_EQ(Screen(), "first\nsecond\nquill-grab: third\nstatus\n");
  console.ClearProgress();
  EXPECT_EQ(Screen(), "first\nsecond\nquill-grab: third\n");
}

TEST_F(ConsoleTest, FilesGetLinesOfUtf8AndNoProgress) {
  files_.ShowProgress(0.5, "progress");
  files_.PrintLine("\u00fc\nline");
  files_.PrintError("error");
  EXPECT_EQ(out_.Text(), "\u00fc\r\nline\r\n");
  EXPECT_EQ(err_.Text(), "quill-grab: error\r\n");
}

TEST_F(ConsoleTest, StandardOutputThatCarriesAStreamGetsNothingElse) {
  files_.LeaveStandardOutput();
  files_.ShowProgress(0.5, "progress");
  files_.PrintLine("line");
  EXPECT_EQ(err_.Text(), "line\r\n");
  Console beside_a_terminal("quill-grab", out_.handle(), screen_);
  beside_a_terminal.LeaveStandardOutput();
  beside_a_terminal.ShowStatus("status");
  EXPECT_EQ(Screen(), "status\n");
  EXPECT_EQ(out_.Text(), "");
}

// The next line of JSON would begin where the progress line stands.
TEST_F(ConsoleTest, NoProgressIsShownBelowLinesOfJson) {
  Console console("quill-grab", screen_, screen_);
  console.LeaveStandardOutput();
  console.ShowStatus("status");
  EXPECT_EQ(Screen(), "");
}

TEST_F(ConsoleTest, ProgressIsALineEveryTwoSecondsInAFile) {
  options_.seconds = 10.0;
  Progress progress(options_, nullptr, files_);
  AddPolls(summary_, 3, 2, 1.0f);
  for (const double seconds : {0.0, 1.9, 2.0, 2.1}) progress.Update(seconds, 0.0, summary_);
  EXPECT_EQ(out_.Text(), "2.0 s, 3 polls, 2 new\r\n");
  options_.watch = true;
  progress.Update(4.0, 0.0, summary_);
  EXPECT_TRUE(Contains(out_.Text(), "4.0 s  640 x 480  0.8 polls/s  0.5 new/s  ratio 1.0000"));
}

TEST_F(ConsoleTest, ProgressOnATerminalIsABarOrAStatusWhereThereIsNoEnd) {
  Console console("quill-grab", screen_, screen_);
  Progress progress(options_, nullptr, console);
  AddPolls(summary_, 3, 2, 1.0f);
  options_.seconds = std::numeric_limits<double>::infinity();
  progress.Update(0.25, 0.0, summary_);
  EXPECT_EQ(Screen(), "0.2 s, 3 polls, 2 new\n");
  options_.seconds = 10.0;
  for (const double seconds : {5.0, 5.2}) progress.Update(seconds, 0.25, summary_);
  EXPECT_EQ(Screen(), "[############............] 5.0 s, 3 polls, 2 new\n");
  progress.Update(6.0, 0.75, summary_);
  EXPECT_EQ(Screen(), "[##################......] 6.0 s, 3 polls, 2 new\n");
}

TEST_F(ConsoleTest, NoticeOfMissingFramesIsPrintedOnceAfterThreeSeconds) {
  Progress progress(options_, nullptr, files_);
  for (const double seconds : {0.1, 1.99}) progress.Update(seconds, 0.0, summary_);
  EXPECT_EQ(out_.Text(), "");
  for (const double seconds : {3.0, 3.1}) progress.Update(seconds, 0.0, summary_);
  EXPECT_EQ(out_.Text(), "Notice: no frame has arrived for 3 s.\r\n3.0 s, 0 polls, 0 new\r\n");
}

TEST_F(ConsoleTest, NoticeOfAMinimisedWindowIsPrintedOnceAlsoAfterAFrame) {
  const HWND window = CreateWindowExW(0, L"STATIC", L"quill-grab notice", WS_OVERLAPPEDWINDOW, 0, 0,
                                      200, 100, nullptr, nullptr, nullptr, nullptr);
  ASSERT_NE(window, nullptr);
  Progress progress(options_, window, files_);
  AddPolls(summary_, 1, 1, 1.0f);
  progress.Update(3.0, 0.0, summary_);
  EXPECT_FALSE(Contains(out_.Text(), "Notice"));
  ShowWindow(window, SW_SHOWMINNOACTIVE);
  for (const double seconds : {3.1, 3.2}) progress.Update(seconds, 0.0, summary_);
  const std::string notice =
      "Notice: the window is minimised and delivers no frames: restore it.\r\n";
  EXPECT_TRUE(out_.Text().ends_with(notice)) << out_.Text();
  EXPECT_EQ(out_.Text().find(notice), out_.Text().rfind(notice));
  DestroyWindow(window);
}

TEST_F(ConsoleTest, ProgramRefusesToShowAVideoStreamOnATerminal) {
  const ProcessResult result =
      Process(L"quill-grab.exe", L"--monitor 0 --raw - --frames 1", {screen_, nullptr}).Wait();
  EXPECT_EQ(result.exit_code, 1u);
  EXPECT_TRUE(Contains(result.err, "a terminal cannot show a video stream"));
  EXPECT_EQ(Screen(), "");
}

TEST_F(ConsoleTest, ProgramShowsLinesOfJsonOnATerminal) {
  const ProcessResult result =
      Process(L"quill-grab.exe", L"--monitor 0 --json - --all --frames 2", {screen_, nullptr})
          .Wait();
  EXPECT_EQ(result.exit_code, 0u) << result.err;
  EXPECT_TRUE(Contains(result.err, "Capturing monitor 0"));
  EXPECT_TRUE(Screen().starts_with("{\"time\":")) << Screen();
}

}  // namespace
}  // namespace quill_apps
