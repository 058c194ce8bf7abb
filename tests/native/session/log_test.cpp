// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Every line that the library logs, word for word and with its level, through the C interface. Its
// length, and what is cut: tests/native/unit/wgc_log_test.cpp.
#include <string>

#include "native/host.h"

namespace session_test {
namespace {

using fake::Fault;
using Kind = Fault::Kind;

enum Level { kInfo = 1, kWarning = 2, kError = 3 };

class LogTexts : public SessionTest {
 protected:
  static void SetProperties(bool present) {
    fake::settings.cursor_property_present = present;
    fake::settings.border_property_present = present;
  }
};

TEST_F(LogTexts, StartLogsTheSwitches) {
  for (const auto& [cursor, border] :
       {std::pair{false, false}, {true, false}, {false, true}, {true, true}}) {
    Session session;
    ASSERT_TRUE(session.EnableCursor(cursor));
    ASSERT_TRUE(session.ShowBorder(border));
    TakeLog();
    ASSERT_TRUE(session.Start());
    EXPECT_EQ(TakeLog(), (Log{{kInfo, "WgcCaptureSession::Start"},
                              {kInfo, cursor ? "Wgc cursor Enable " : "Wgc cursor Disable "},
                              {kInfo, border ? "Wgc border Enable " : "Wgc border Disable "},
                              {kInfo, "Wgc session started."}}));
  }
}

TEST_F(LogTexts, StartLogsMissingProperties) {
  SetProperties(false);
  Session session;
  ASSERT_TRUE(session.Start());
  EXPECT_EQ(TakeLog(), (Log{{kInfo, "WgcCaptureSession::Start"},
                            {kInfo, "IsCursorToggleSupported: no"},
                            {kInfo, "IsBorderRequiredSupported: no"},
                            {kInfo, "Wgc session started."}}));
}

TEST_F(LogTexts, FailedStartLogsTheCallAndItsResult) {
  const struct {
    const char* function;
    Fault fault;
    const char* line;
  } kFailures[] = {
      {"CreateDXGIFactory1", Failure(DXGI_ERROR_UNSUPPORTED),
       "Failed to create dxgi factory1, hr:887a0004"},
      {"D3D11CreateDevice", Failure(E_OUTOFMEMORY), "Failed to create d3d11 device,hr:8007000e"},
      {"EnumAdapters1", Failure(DXGI_ERROR_NOT_FOUND),
       "Failed to find any adapter to create d3d11 device"},
      {"QueryInterface", Failure(E_NOINTERFACE),
       "Failed to QueryInterface[IDXGIDevice]. hr:80004002"},
      {"CreateDirect3D11DeviceFromDXGIDevice", kFails,
       "Failed to call CreateDirect3D11DeviceFromDXGIDevice, hr:80004005"},
      {"CreateForWindow", Failure(E_INVALIDARG),
       "Failed to call IGraphicsCaptureItemInterop::CreateForWindow, hr:80070057"},
      {"CreateForMonitor", Failure(E_INVALIDARG),
       "Failed to call IGraphicsCaptureItemInterop::CreateForMonitor, hr:80070057"},
      {"CreateForWindow", kGivesNothing, "No window or monitor to capture"},
      {"CreateDispatcherQueueController", Failure(E_NOINTERFACE), "Winrt exception:-2147467262"},
      {"Create", Failure(E_ACCESSDENIED), "Winrt exception:-2147024891"},
      {"CreateCaptureSession",
       {Kind::kStandardException},
       "std exception:the platform's own words"},
      {"CreateCaptureSession", {Kind::kForeignException}, "unknown exception"},
  };
  for (const auto& [function, fault, line] : kFailures) {
    SCOPED_TRACE(line);
    Session window(kWindow);
    Session monitor(kMonitor);
    TakeLog();
    FailCalls(function, {1}, fault);
    EXPECT_FALSE((function == std::string("CreateForMonitor") ? monitor : window).Start());
    fake::PlanNoFaults();
    EXPECT_EQ(TakeLog(), (Log{{kInfo, "WgcCaptureSession::Start"}, {kError, line}}));
  }
}

TEST_F(LogTexts, ClosedItemIsLogged) {
  Capture session;
  EXPECT_EQ(fake::LastItem()->RaiseClosed(), S_OK);
  EXPECT_EQ(TakeLog(), (Log{{kInfo, "Wgc on_closed"}}));
}

TEST_F(LogTexts, DestructionLogsWhatFailed) {
  const struct {
    std::optional<Fault> fault;  // of the pool's Close
    Log line;
  } kCases[] = {
      {std::nullopt, {}},
      {Failure(E_ACCESSDENIED), {{kError, "Exception catced Access denied."}}},
      // A code that the system has no words for.
      {Failure(static_cast<HRESULT>(0xA0000001)), {{kError, "Exception catced "}}},
      // Out of memory is the language's own exception.
      {Failure(E_OUTOFMEMORY), {{kError, "Exception catched: 8007000e"}}},
      {Fault{Kind::kStandardException}, {{kError, "Exception catched: 80004005"}}},
      {Fault{Kind::kForeignException}, {{kError, "Exception catched: 80004005"}}},
  };
  for (const auto& [fault, line] : kCases) {
    Capture session;
    if (fault) FailCalls("Close", {1}, *fault);
    session.Destroy();
    fake::PlanNoFaults();
    Log expected = {{kInfo, "Try to exit wgc thread"}, {kInfo, "Wgc exit."}};
    expected.insert(expected.begin() + 1, line.begin(), line.end());
    EXPECT_EQ(TakeLog(), expected);
  }
}

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

TEST_F(LogTexts, RefusedSwitchesAreWarnings) {
  SetProperties(false);
  Session session;
  EXPECT_FALSE(session.EnableCursor(true));
  EXPECT_FALSE(session.ShowBorder(false));
  EXPECT_EQ(TakeLog(),
            (Log{{kWarning, "Failed to enable cursor"}, {kWarning, "Failed to  hide border"}}));
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

class Logger : public SessionTest {};

TEST_F(Logger, CallbackMayBeMissing) {
  wgc_register_logger(nullptr);
  Capture session({.detect = true});
  EXPECT_TRUE(session.Show(Pattern(64, 48)).available);
  fake::LastItem()->RaiseClosed();
  session.Destroy();
  EXPECT_EQ(TakeLog(), Log());
}

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
