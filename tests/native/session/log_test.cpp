// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Lines of the log, word for word and with their level, and the callback. The lines of a start, a
// stop and their failures: failures_life_test.cpp. The length of a line:
// tests/native/unit/wgc_log_test.cpp.
#include <string>

#include "native/host.h"

namespace session_test {
namespace {

enum Level { kInfo = 1, kError = 3 };

using LogTexts = SessionTest;

TEST_F(LogTexts, MessageOfAnErrorIsLoggedInUtf8) {
  const std::string words = "Zugriff verweigert: gr\xC3\xBC\xC3\x9F dich \xE2\x82\xAC";
  Capture session;
  FailCalls("Close", {1}, Failure(E_ACCESSDENIED));
  // The message stays with the thread until the error is caught.
  const winrt::hstring message = winrt::to_hstring(words);
  RoOriginateLanguageException(E_ACCESSDENIED, static_cast<HSTRING>(winrt::get_abi(message)),
                               nullptr);
  session.Destroy();
  EXPECT_EQ(TakeLog().at(1), (LogLine{kError, "Exception catced " + words}));
}

TEST_F(LogTexts, SwitchesAreLogged) {
  Session session;
  for (const bool on : {true, false}) {
    EXPECT_TRUE(session.EnableCursor(on));
    EXPECT_TRUE(session.ShowBorder(on));
    session.DirtyRect(on);
    session.DirtyRect(on);  // also when nothing changes
    session.ToTexture(on);
  }
  EXPECT_EQ(TakeLog(), (Log{{kInfo, "Set enable cursor"},
                            {kInfo, "Set show border"},
                            {kInfo, "Set dirtyRect enable"},
                            {kInfo, "Set dirtyRect enable"},
                            {kInfo, "Set disable cursor"},
                            {kInfo, "Set hide border"},
                            {kInfo, "Set dirtyRect disable"},
                            {kInfo, "Set dirtyRect disable"}}));
}

TEST_F(LogTexts, FailedAllocationIsLoggedInWholeKilobytes) {
  const struct {
    uint32_t width, height;
    const char* line;
  } kSizes[] = {{64, 48, "Failed to allocate 12KB"},
                {30, 33, "Failed to allocate 3KB"},   // 3960 bytes
                {255, 1, "Failed to allocate 0KB"}};  // 1020 bytes
  for (const auto& [width, height, line] : kSizes) {
    Capture session;
    FailCalls("malloc", {1}, kGivesNothing);
    session.Show(Pattern(width, height));
    fake::PlanNoFaults();
    EXPECT_EQ(TakeLog(), (Log{{kError, line}}));
  }
}

// The callback.

using Logger = SessionTest;

TEST_F(Logger, CallbackIsReplacedByTheNextOneOrNone) {
  static Log other;
  other.clear();
  Session first;
  Session second(kMonitor);
  first.DirtyRect(true);
  second.DirtyRect(true);
  EXPECT_EQ(TakeLog().size(), 2u);
  wgc_register_logger([](int level, const char* text, size_t length) {
    const fake::OutsideLibrary outside;
    other.push_back({level, std::string(text, length)});
  });
  second.DirtyRect(false);
  wgc_register_logger(nullptr);
  first.DirtyRect(false);
  EXPECT_EQ(TakeLog(), Log());
  EXPECT_EQ(other, (Log{{kInfo, "Set dirtyRect disable"}}));
}

TEST_F(Logger, LoggingAllocatesNothing) {
  Session session;
  fake::FailNew(0);
  session.DirtyRect(true);
  EXPECT_EQ(fake::NewCalls(), 0u);
  EXPECT_EQ(TakeLog().size(), 1u);
}

}  // namespace
}  // namespace session_test
