// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Every line that the library logs, word for word and with its level, through the C interface.
#include <winrt/base.h>

#include <string>

#include "native/frames.h"

namespace session_test {
namespace {

using fake::Fault;

enum Level { kInfo = 1, kWarning = 2, kError = 3 };

using Log = std::vector<LogLine>;

class LogTexts : public SessionTest {};

TEST_F(LogTexts, OfAStartWithDefaultSwitches) {
  Session session;
  ASSERT_TRUE(session.Start());
  EXPECT_EQ(TakeLog(), (Log{{kInfo, "WgcCaptureSession::Start"},
                            {kInfo, "Wgc cursor Disable "},
                            {kInfo, "Wgc border Disable "},
                            {kInfo, "Wgc session started."}}));
}

TEST_F(LogTexts, OfAStartWithCursorAndBorder) {
  Session session;
  ASSERT_TRUE(wgc_enable_cursor(session.handle(), true));
  ASSERT_TRUE(wgc_show_border(session.handle(), true));
  EXPECT_EQ(TakeLog(), (Log{{kInfo, "Set enable cursor"}, {kInfo, "Set show border"}}));
  ASSERT_TRUE(session.Start());
  EXPECT_EQ(TakeLog(), (Log{{kInfo, "WgcCaptureSession::Start"},
                            {kInfo, "Wgc cursor Enable "},
                            {kInfo, "Wgc border Enable "},
                            {kInfo, "Wgc session started."}}));
}

TEST_F(LogTexts, OfAStartOnAPlatformWithoutCursorAndBorderProperties) {
  fake::settings.cursor_property_present = false;
  fake::settings.border_property_present = false;
  Session session;
  ASSERT_TRUE(session.Start());
  EXPECT_EQ(TakeLog(), (Log{{kInfo, "WgcCaptureSession::Start"},
                            {kInfo, "IsCursorToggleSupported: no"},
                            {kInfo, "IsBorderRequiredSupported: no"},
                            {kInfo, "Wgc session started."}}));
}

struct StartFailure {
  const char* name;
  const char* function;
  Fault fault;
  // After the line of Start's entry; {} where the platform had nothing to say before.
  Log lines;
};

class LogTextsOfAFailedStart : public LogTexts, public testing::WithParamInterface<StartFailure> {};

TEST_P(LogTextsOfAFailedStart, NameTheCallAndItsResult) {
  Session session;
  fake::PlanFaults(fake::EveryCallOf(GetParam().function, GetParam().fault));
  EXPECT_FALSE(session.Start());
  EXPECT_GT(fake::FaultsInjected(), 0u);
  Log expected = {{kInfo, "WgcCaptureSession::Start"}};
  expected.insert(expected.end(), GetParam().lines.begin(), GetParam().lines.end());
  EXPECT_EQ(TakeLog(), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, LogTextsOfAFailedStart,
    testing::Values(StartFailure{"CreateDXGIFactory1",
                                 "CreateDXGIFactory1",
                                 {Fault::Kind::kResult, DXGI_ERROR_UNSUPPORTED},
                                 {{kError, "Failed to create dxgi factory1, hr:887a0004"}}},
                    StartFailure{"D3D11CreateDevice",
                                 "D3D11CreateDevice",
                                 {Fault::Kind::kResult, E_OUTOFMEMORY},
                                 {{kError, "Failed to create d3d11 device,hr:8007000e"}}},
                    StartFailure{"EnumAdapters1",
                                 "EnumAdapters1",
                                 {Fault::Kind::kResult, DXGI_ERROR_NOT_FOUND},
                                 {{kError, "Failed to find any adapter to create d3d11 device"}}},
                    StartFailure{
                        "CreateDirect3D11DeviceFromDXGIDevice",
                        "CreateDirect3D11DeviceFromDXGIDevice",
                        {Fault::Kind::kResult, E_FAIL},
                        {{kError,
                          "Failed to call CreateDirect3D11DeviceFromDXGIDevice, hr:80004005"}}},
                    StartFailure{"CreateForWindow",
                                 "CreateForWindow",
                                 {Fault::Kind::kResult, E_INVALIDARG},
                                 {{kError,
                                   "Failed to call IGraphicsCaptureItemInterop::CreateForWindow, "
                                   "hr:80070057"}}},
                    StartFailure{"WinrtErrorBeforeTheItem",
                                 "CreateDispatcherQueueController",
                                 {Fault::Kind::kResult, E_NOINTERFACE},
                                 {{kError, "Winrt exception:-2147467262"}}},
                    StartFailure{"WinrtErrorOfThePool",
                                 "Create",
                                 {Fault::Kind::kResult, E_ACCESSDENIED},
                                 {{kError, "Winrt exception:-2147024891"}}},
                    StartFailure{"StandardException",
                                 "CreateCaptureSession",
                                 {Fault::Kind::kStandardException},
                                 {{kError, "std exception:the platform's own words"}}},
                    StartFailure{"ForeignException",
                                 "CreateCaptureSession",
                                 {Fault::Kind::kForeignException},
                                 {{kError, "unknown exception"}}},
                    StartFailure{"WinrtErrorAfterTheSwitches",
                                 "StartCapture",
                                 {Fault::Kind::kResult, static_cast<HRESULT>(0x80000013)},
                                 {{kInfo, "Wgc cursor Disable "},
                                  {kInfo, "Wgc border Disable "},
                                  {kError, "Winrt exception:-2147483629"}}}),
    [](const auto& info) { return info.param.name; });

TEST_F(LogTexts, OfADeviceThatIsNoDxgiDevice) {
  Session session;
  // The first call after the dispatcher queue's.
  fake::PlanFaults([next = false](const fake::FailableCall& call) mutable {
    const bool asked = std::exchange(next, call.function == "CreateDispatcherQueueController");
    return asked ? std::optional<Fault>({Fault::Kind::kResult, E_NOINTERFACE}) : std::nullopt;
  });
  fake::StartRecording();
  EXPECT_FALSE(session.Start());
  EXPECT_EQ(LinesWith("QueryInterface(", fake::TakeRecording()),
            std::vector<std::string>{"device1.QueryInterface(IDXGIDevice)"});
  EXPECT_EQ(TakeLog(), (Log{{kInfo, "WgcCaptureSession::Start"},
                            {kError, "Failed to QueryInterface[IDXGIDevice]. hr:80004002"}}));
}

TEST_F(LogTexts, OfAMonitorThatCannotBeCaptured) {
  Session session(kMonitor);
  fake::PlanFaults(fake::EveryCallOf("CreateForMonitor", {Fault::Kind::kResult, E_INVALIDARG}));
  EXPECT_FALSE(session.Start());
  EXPECT_EQ(TakeLog(), (Log{{kInfo, "WgcCaptureSession::Start"},
                            {kError,
                             "Failed to call IGraphicsCaptureItemInterop::CreateForMonitor, "
                             "hr:80070057"}}));
}

TEST_F(LogTexts, OfAPlatformWithoutAdapters) {
  fake::settings.adapters.clear();
  Session session;
  EXPECT_FALSE(session.Start());
  EXPECT_EQ(TakeLog(), (Log{{kInfo, "WgcCaptureSession::Start"},
                            {kError, "Failed to find any adapter to create d3d11 device"}}));
}

TEST_F(LogTexts, OfASessionWithoutATarget) {
  Session session{HWND{nullptr}};
  EXPECT_FALSE(session.Start());
  EXPECT_EQ(TakeLog(), (Log{{kInfo, "WgcCaptureSession::Start"},
                            {kError, "No window or monitor to capture"}}));
}

TEST_F(LogTexts, OfAnItemThatCloses) {
  Session session;
  ASSERT_TRUE(session.Start());
  TakeLog();
  EXPECT_EQ(fake::LastItem()->RaiseClosed(), S_OK);
  EXPECT_EQ(TakeLog(), (Log{{kInfo, "Wgc on_closed"}}));
}

const Log kStop = {{kInfo, "Try to exit wgc thread"}, {kInfo, "Wgc exit."}};

TEST_F(LogTexts, OfADestruction) {
  Session never_started;
  never_started.Destroy();
  EXPECT_EQ(TakeLog(), kStop);
  Session running;
  ASSERT_TRUE(running.Start());
  TakeLog();
  running.Destroy();
  EXPECT_EQ(TakeLog(), kStop);
}

struct CloseFailure {
  const char* name;
  Fault fault;
  const char* line;
};

class LogTextsOfAFailedClose : public LogTexts, public testing::WithParamInterface<CloseFailure> {};

TEST_P(LogTextsOfAFailedClose, StandBetweenThoseOfTheStop) {
  Session session;
  ASSERT_TRUE(session.Start());
  TakeLog();
  fake::PlanFaults(fake::NthCallOf("Close", 1, GetParam().fault));
  session.Destroy();
  EXPECT_EQ(
      TakeLog(),
      (Log{{kInfo, "Try to exit wgc thread"}, {kError, GetParam().line}, {kInfo, "Wgc exit."}}));
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, LogTextsOfAFailedClose,
    testing::Values(
        CloseFailure{"WinrtErrorWithASystemText",
                     {Fault::Kind::kResult, E_ACCESSDENIED},
                     "Exception catced Access denied."},
        // A code that the system has no words for.
        CloseFailure{"WinrtErrorWithoutAText",
                     {Fault::Kind::kResult, static_cast<HRESULT>(0xA0000001)},
                     "Exception catced "},
        // Out of memory is the language's own exception.
        CloseFailure{
            "OutOfMemory", {Fault::Kind::kResult, E_OUTOFMEMORY}, "Exception catched: 8007000e"},
        CloseFailure{
            "StandardException", {Fault::Kind::kStandardException}, "Exception catched: 80004005"},
        CloseFailure{
            "ForeignException", {Fault::Kind::kForeignException}, "Exception catched: 80004005"}),
    [](const auto& info) { return info.param.name; });

TEST_F(LogTexts, OfTheSwitches) {
  Session session;
  EXPECT_TRUE(wgc_enable_cursor(session.handle(), true));
  EXPECT_TRUE(wgc_enable_cursor(session.handle(), false));
  EXPECT_TRUE(wgc_show_border(session.handle(), true));
  EXPECT_TRUE(wgc_show_border(session.handle(), false));
  session.DirtyRect(true);
  session.DirtyRect(false);
  session.ToTexture(true);
  session.ToTexture(false);
  EXPECT_EQ(TakeLog(), (Log{{kInfo, "Set enable cursor"},
                            {kInfo, "Set disable cursor"},
                            {kInfo, "Set show border"},
                            {kInfo, "Set hide border"},
                            {kInfo, "Set dirtyRect enable"},
                            {kInfo, "Set dirtyRect disable"}}));
}

TEST_F(LogTexts, OfRefusedSwitches) {
  fake::settings.cursor_property_present = false;
  fake::settings.border_property_present = false;
  Session session;
  EXPECT_FALSE(wgc_enable_cursor(session.handle(), true));
  EXPECT_FALSE(wgc_show_border(session.handle(), false));
  EXPECT_EQ(TakeLog(),
            (Log{{kWarning, "Failed to enable cursor"}, {kWarning, "Failed to  hide border"}}));
}

TEST_F(LogTexts, OfAPropertyCheckThatFails) {
  Session session;
  fake::PlanFaults(fake::EveryCallOf("IsPropertyPresent", {Fault::Kind::kResult, E_ACCESSDENIED}));
  EXPECT_FALSE(wgc_enable_cursor(session.handle(), true));
  EXPECT_EQ(TakeLog(),
            (Log{{kError, "Winrt exception:-2147024891"}, {kWarning, "Failed to enable cursor"}}));
}

struct Allocation {
  uint32_t width;
  uint32_t height;
  const char* line;
};

class LogTextsOfAFailedAllocation : public LogTexts,
                                    public testing::WithParamInterface<Allocation> {};

TEST_P(LogTextsOfAFailedAllocation, GiveWholeKilobytes) {
  fake::settings.item_width = static_cast<int32_t>(GetParam().width);
  fake::settings.item_height = static_cast<int32_t>(GetParam().height);
  Session session;
  ASSERT_TRUE(session.Start());
  TakeLog();
  fake::PlanFaults(fake::NthCallOf("malloc", 1, {Fault::Kind::kNothing}));
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(GetParam().width, GetParam().height)));
  session.GetFrame();
  EXPECT_EQ(TakeLog(), (Log{{kError, GetParam().line}}));
}

INSTANTIATE_TEST_SUITE_P(Sizes, LogTextsOfAFailedAllocation,
                         testing::Values(Allocation{64, 48, "Failed to allocate 12KB"},
                                         // 3960 and 1020 bytes: rounded down.
                                         Allocation{30, 33, "Failed to allocate 3KB"},
                                         Allocation{255, 1, "Failed to allocate 0KB"}));

// What a long text comes to. The one line of free length is that of an error in the stop sequence,
// which carries the words that came with the error.
struct Line {
  int level;
  std::string text;     // up to the NUL
  std::string covered;  // as long as the length says
};
std::vector<Line> lines;

void Record(int level, const char* text, size_t length) {
  const fake::OutsideLibrary outside;
  lines.push_back({level, text, std::string(text, length)});
}

constexpr char kPrefix[] = "Exception catced ";
constexpr size_t kPrefixLength = 17;

// A destruction during which closing fails with `words`.
void DestroyWithError(Session& session, const std::string& words) {
  fake::PlanFaults(fake::NthCallOf("Close", 1, {Fault::Kind::kResult, E_ACCESSDENIED}));
  // Such words lie with the thread until the error is caught.
  const winrt::hstring message = winrt::to_hstring(words);
  RoOriginateLanguageException(E_ACCESSDENIED, static_cast<HSTRING>(winrt::get_abi(message)),
                               nullptr);
  session.Destroy();
}

struct Length {
  size_t whole;   // characters of the line
  size_t stored;  // of them delivered
  size_t length;  // as told
};

class LogLength : public SessionTest, public testing::WithParamInterface<Length> {};

TEST_P(LogLength, IsCappedAt1024WhileTheTextIsCutAt1022) {
  lines.clear();
  Session session;
  ASSERT_TRUE(session.Start());
  wgc_register_logger(Record);
  std::string words;
  for (size_t i = 0; i < GetParam().whole - kPrefixLength; ++i) words += 'a' + i % 26;
  DestroyWithError(session, words);

  ASSERT_EQ(lines.size(), 3u);
  const Line& line = lines[1];
  EXPECT_EQ(line.level, kError);
  EXPECT_EQ(line.text, (kPrefix + words).substr(0, GetParam().stored));
  ASSERT_EQ(line.covered.size(), GetParam().length);
  // The NUL and the zeros behind it.
  EXPECT_EQ(line.covered.substr(GetParam().stored),
            std::string(GetParam().length - GetParam().stored, '\0'));
}

INSTANTIATE_TEST_SUITE_P(Lines, LogLength,
                         testing::Values(Length{23, 23, 23}, Length{1022, 1022, 1022},
                                         Length{1023, 1022, 1023}, Length{1024, 1022, 1024},
                                         Length{2000, 1022, 1024}));

TEST_F(LogTexts, OfAnErrorAreNarrowedToUtf8) {
  Session session;
  ASSERT_TRUE(session.Start());
  TakeLog();
  DestroyWithError(session, "Zugriff verweigert: gr\xC3\xBC\xC3\x9F dich \xE2\x82\xAC");
  EXPECT_EQ(TakeLog().at(1),
            (LogLine{kError,
                     "Exception catced Zugriff verweigert: gr\xC3\xBC\xC3\x9F dich "
                     "\xE2\x82\xAC"}));
}

class Logger : public SessionTest {};

void UseEverything(Session& session) {
  EXPECT_TRUE(wgc_enable_cursor(session.handle(), true));
  EXPECT_TRUE(wgc_show_border(session.handle(), true));
  session.DirtyRect(true);
  ASSERT_TRUE(session.Start());
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
  EXPECT_TRUE(session.GetFrame().available);
  fake::LastItem()->RaiseClosed();
  session.Destroy();
}

TEST_F(Logger, MayBeMissing) {
  wgc_register_logger(nullptr);
  Session session;
  UseEverything(session);
  EXPECT_EQ(TakeLog(), Log());
}

TEST_F(Logger, RegisteredAsNullEndsDelivery) {
  Session session;
  session.DirtyRect(true);
  wgc_register_logger(nullptr);
  session.DirtyRect(false);
  session.Destroy();
  EXPECT_EQ(TakeLog(), (Log{{kInfo, "Set dirtyRect enable"}}));
}

TEST_F(Logger, IsReplacedByTheNextOne) {
  lines.clear();
  Session session;
  session.DirtyRect(true);
  wgc_register_logger(Record);
  session.DirtyRect(false);
  EXPECT_EQ(TakeLog(), (Log{{kInfo, "Set dirtyRect enable"}}));
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].level, kInfo);
  EXPECT_EQ(lines[0].text, "Set dirtyRect disable");
  EXPECT_EQ(lines[0].covered, "Set dirtyRect disable");
}

TEST_F(Logger, ServesAllSessions) {
  Session first;
  Session second(kMonitor);
  first.DirtyRect(true);
  second.DirtyRect(false);
  EXPECT_EQ(TakeLog(), (Log{{kInfo, "Set dirtyRect enable"}, {kInfo, "Set dirtyRect disable"}}));
}

TEST_F(Logger, CostsNoAllocation) {
  Session session;
  fake::FailNew(0);
  session.DirtyRect(true);
  EXPECT_EQ(fake::NewCalls(), 0u);
  EXPECT_EQ(TakeLog(), (Log{{kInfo, "Set dirtyRect enable"}}));
}

}  // namespace
}  // namespace session_test
