// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// A start, call by call, with its log lines where they belong.
#include <algorithm>

#include <gtest/gtest.h>

#include "native/call_list.h"
#include "native/host.h"
#include "native/session_state.h"

namespace session_test {

struct TargetMonitor {};
auto& Read(TargetMonitor, WgcCaptureSession&);
template struct Reveal<TargetMonitor, &WgcCaptureSession::hmonitor_>;

namespace {

using fake::Fault;

Calls DeviceCalls() {
  return List(R"(
log(1, "WgcCaptureSession::Start")
CreateDXGIFactory1(IDXGIFactory1) = factory
factory.EnumAdapters1(0) = adapter
adapter.GetDesc1()
factory.EnumAdapters1(1)
D3D11CreateDevice(adapter, 0, null, 32, [0xb000 0xa100 0xa000], 3, 7) = device, context
)");
}

Calls EngineCalls() {
  return List(R"(
device.CreateComputeShader(szFrameDiffRectsCS, null) = frameDiffCS
device.CreateComputeShader(szResetDiffRectsCS, null) = resetDiffRectsCS
device.CreateComputeShader(szGetBitFlagCS, null) = getBitFlagCS
)");
}

Calls TargetCalls(const std::string& create_item) {
  return List(R"(
CreateDispatcherQueueController(12, 2, 2) = controller
device.QueryInterface(IDXGIDevice)
CreateDirect3D11DeviceFromDXGIDevice(device) = winrt_device
RoGetActivationFactory(Windows.Graphics.Capture.GraphicsCaptureItem,
  IActivationFactory) = item_factory
item_factory.QueryInterface(IGraphicsCaptureItemInterop)
item_factory.$create = item
winrt_device.QueryInterface(IDirect3DDevice)
item.get_Size()
)",
              {{"create", create_item}});
}

const std::string kCreateForWindow = "CreateForWindow(0x10, IGraphicsCaptureItem)";
const std::string kCreateForMonitor = "CreateForMonitor(0x20, IGraphicsCaptureItem)";

Calls PoolCalls(const std::string& size = "64x48") {
  return List(R"(
pool_statics.Create(winrt_device, 87, 2, $size) = pool
pool.CreateCaptureSession(item) = session
)",
              {{"size", size}});
}

const char kAskForCursor[] = R"(
api_information.IsPropertyPresent(Windows.Graphics.Capture.GraphicsCaptureSession,
  IsCursorCaptureEnabled)
)";
const char kAskForBorder[] = R"(
api_information.IsPropertyPresent(Windows.Graphics.Capture.GraphicsCaptureSession,
  IsBorderRequired)
)";

// word: as in the log; value: as the property is set.
Calls CursorCalls(const std::string& word, const std::string& value) {
  return Joined({List(kAskForCursor), List(R"(
log(1, "Wgc cursor $word ")
session.put_IsCursorCaptureEnabled($value)
)",
                                           {{"word", word}, {"value", value}})});
}

Calls BorderCalls(const std::string& word, const std::string& value) {
  return Joined({List(kAskForBorder), List(R"(
log(1, "Wgc border $word ")
session.put_IsBorderRequired($value)
)",
                                           {{"word", word}, {"value", value}})});
}

// The item's handler comes after the capture runs, the pool's before.
Calls RunCalls() {
  return List(R"(
device.GetImmediateContext()
pool.add_FrameArrived()
session.StartCapture()
item.add_Closed()
log(1, "Wgc session started.")
)");
}

class StartOrder : public SessionTest {
 protected:
  void ExpectStart(Session& session, const Calls& expected, bool started = true) {
    fake::StartRecording();
    EXPECT_EQ(session.Start(), started);
    // What a start lets go of is its own business.
    const Calls recording = WithoutEnds(WithoutProjection(fake::TakeRecording()));
    EXPECT_EQ(names.Read(recording, expected), Text(expected));
    EXPECT_EQ(session.Running(), started);
  }

  Names names;
};

TEST_F(StartOrder, Window) {
  Session session;
  ExpectStart(session, Joined({DeviceCalls(), EngineCalls(), TargetCalls(kCreateForWindow),
                               PoolCalls(), CursorCalls("Disable", "false"),
                               BorderCalls("Disable", "false"), RunCalls()}));
}

TEST_F(StartOrder, Monitor) {
  fake::settings.item_width = 1920;
  fake::settings.item_height = 1080;
  Session session(kMonitor);
  ExpectStart(session, Joined({DeviceCalls(), EngineCalls(), TargetCalls(kCreateForMonitor),
                               PoolCalls("1920x1080"), CursorCalls("Disable", "false"),
                               BorderCalls("Disable", "false"), RunCalls()}));
}

// No export makes such a session; its monitor is written into it.
TEST_F(StartOrder, TheWindowWinsOverTheMonitor) {
  Session session(kWindow);
  Read(TargetMonitor{}, *static_cast<WgcCaptureSession*>(session.handle())) = kMonitor;
  ExpectStart(session, Joined({DeviceCalls(), EngineCalls(), TargetCalls(kCreateForWindow),
                               PoolCalls(), CursorCalls("Disable", "false"),
                               BorderCalls("Disable", "false"), RunCalls()}));
}

TEST_F(StartOrder, SwitchesSetBeforeAreApplied) {
  Session session;
  EXPECT_TRUE(wgc_enable_cursor(session.handle(), true));
  EXPECT_TRUE(wgc_show_border(session.handle(), true));
  ExpectStart(session,
              Joined({DeviceCalls(), EngineCalls(), TargetCalls(kCreateForWindow), PoolCalls(),
                      CursorCalls("Enable", "true"), BorderCalls("Enable", "true"), RunCalls()}));
}

TEST_F(StartOrder, EachSwitchHasItsOwnProperty) {
  Session session;
  EXPECT_TRUE(wgc_enable_cursor(session.handle(), true));
  ExpectStart(session,
              Joined({DeviceCalls(), EngineCalls(), TargetCalls(kCreateForWindow), PoolCalls(),
                      CursorCalls("Enable", "true"), BorderCalls("Disable", "false"), RunCalls()}));
}

TEST_F(StartOrder, PlatformWithoutTheCursorProperty) {
  fake::settings.cursor_property_present = false;
  Session session;
  ExpectStart(session,
              Joined({DeviceCalls(), EngineCalls(), TargetCalls(kCreateForWindow), PoolCalls(),
                      List(kAskForCursor), List(R"(log(1, "IsCursorToggleSupported: no"))"),
                      BorderCalls("Disable", "false"), RunCalls()}));
}

TEST_F(StartOrder, PlatformWithoutTheBorderProperty) {
  fake::settings.border_property_present = false;
  Session session;
  ExpectStart(session, Joined({DeviceCalls(), EngineCalls(), TargetCalls(kCreateForWindow),
                               PoolCalls(), CursorCalls("Disable", "false"), List(kAskForBorder),
                               List(R"(log(1, "IsBorderRequiredSupported: no"))"), RunCalls()}));
}

TEST_F(StartOrder, PlatformWithoutEither) {
  fake::settings.cursor_property_present = false;
  fake::settings.border_property_present = false;
  Session session;
  ExpectStart(session,
              Joined({DeviceCalls(), EngineCalls(), TargetCalls(kCreateForWindow), PoolCalls(),
                      List(kAskForCursor), List(R"(log(1, "IsCursorToggleSupported: no"))"),
                      List(kAskForBorder), List(R"(log(1, "IsBorderRequiredSupported: no"))"),
                      RunCalls()}));
}

// A session whose engine cannot be initialised starts all the same, and says nothing of it.
TEST_F(StartOrder, WithoutTheEngine) {
  Session session;
  fake::PlanFaults(fake::NthCallOf("CreateComputeShader", 1, {Fault::Kind::kResult, E_FAIL}));
  ExpectStart(session,
              Joined({DeviceCalls(), List("device.CreateComputeShader(szFrameDiffRectsCS, null)"),
                      TargetCalls(kCreateForWindow), PoolCalls(), CursorCalls("Disable", "false"),
                      BorderCalls("Disable", "false"), RunCalls()}));
}

// Every step is done again with objects of its own; only the adapter is kept.
TEST_F(StartOrder, ASecondStartRepeatsEveryStep) {
  Session session;
  ExpectStart(session, Joined({DeviceCalls(), EngineCalls(), TargetCalls(kCreateForWindow),
                               PoolCalls(), CursorCalls("Disable", "false"),
                               BorderCalls("Disable", "false"), RunCalls()}));
  ContinueOnNewThread();
  // What is still called by a name of the first start is then not found in the list.
  names = Names();
  names.Give("adapter1", "adapter_of_the_first_start");
  names.Give("pool1", "pool_of_the_first_start");
  names.Give("item1", "item_of_the_first_start");
  names.Give("session1", "session_of_the_first_start");
  names.Give("context1", "context_of_the_first_start");
  const Calls device = List(R"(
log(1, "WgcCaptureSession::Start")
CreateDXGIFactory1(IDXGIFactory1) = factory
factory.EnumAdapters1(0) = adapter
adapter.GetDesc1()
factory.EnumAdapters1(1)
D3D11CreateDevice(adapter_of_the_first_start, 0, null, 32,
  [0xb000 0xa100 0xa000], 3, 7) = device, context
)");
  // The first capture is let go once the second runs; the handler of its item right before.
  Calls run = RunCalls();
  run.insert(run.end() - 1, "item_of_the_first_start.remove_Closed(1)");
  const Calls end = List(R"(
context_of_the_first_start.ClearState()
context_of_the_first_start.Flush()
pool_of_the_first_start.remove_FrameArrived(1)
)");
  ExpectStart(session,
              Joined({device, EngineCalls(), TargetCalls(kCreateForWindow), PoolCalls(),
                      CursorCalls("Disable", "false"), BorderCalls("Disable", "false"), run, end}));
}

// Where each step that answers an HRESULT of its own ends the start: nothing is called after it but
// the log line.
TEST_F(StartOrder, AFailedStepIsTheLast) {
  const Calls all = Joined({DeviceCalls(), EngineCalls(), TargetCalls(kCreateForWindow)});
  const struct {
    const char* function;
    uint64_t number;
    const char* last_call;
    const char* line;
  } steps[] = {
      {"CreateDXGIFactory1", 1, "CreateDXGIFactory1(IDXGIFactory1)",
       "log(3, \"Failed to create dxgi factory1, hr:80004005\")"},
      {"D3D11CreateDevice", 1,
       "D3D11CreateDevice(adapter, 0, null, 32, [0xb000 0xa100 0xa000], 3, 7)",
       "log(3, \"Failed to create d3d11 device,hr:80004005\")"},
      {"CreateDispatcherQueueController", 1, "CreateDispatcherQueueController(12, 2, 2)",
       "log(3, \"Winrt exception:-2147467259\")"},
      {"QueryInterface", 1, "device.QueryInterface(IDXGIDevice)",
       "log(3, \"Failed to QueryInterface[IDXGIDevice]. hr:80004005\")"},
      {"CreateDirect3D11DeviceFromDXGIDevice", 1, "CreateDirect3D11DeviceFromDXGIDevice(device)",
       "log(3, \"Failed to call CreateDirect3D11DeviceFromDXGIDevice, hr:80004005\")"},
      {"CreateForWindow", 1, "item_factory.CreateForWindow(0x10, IGraphicsCaptureItem)",
       "log(3, \"Failed to call IGraphicsCaptureItemInterop::CreateForWindow, hr:80004005\")"},
      {"get_Size", 1, "item.get_Size()", "log(3, \"Winrt exception:-2147467259\")"},
  };
  for (const auto& step : steps) {
    SCOPED_TRACE(step.function);
    Calls expected;
    for (const std::string& line : all) {
      if (line.starts_with(step.last_call)) break;
      expected.push_back(line);
    }
    ASSERT_LT(expected.size(), all.size());
    expected.push_back(step.last_call);
    expected.push_back(step.line);
    names = Names();
    Session session;
    fake::PlanFaults(fake::NthCallOf(step.function, step.number, {Fault::Kind::kResult, E_FAIL}));
    ExpectStart(session, expected, false);
    EXPECT_EQ(fake::FaultsInjected(), 1u);
    fake::PlanNoFaults();
  }
}

}  // namespace
}  // namespace session_test
