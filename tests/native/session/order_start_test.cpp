// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// A start, call by call, with its log lines where they belong.
#include "native/call_list.h"
#include "native/host.h"
#include "native/session_state.h"

namespace session_test {

struct TargetMonitor {};
auto& Read(TargetMonitor, WgcCaptureSession&);
template struct Reveal<TargetMonitor, &WgcCaptureSession::hmonitor_>;

namespace {

// The item's handler is registered after the capture runs, the pool's before.
Calls StartCalls(const Words& words) {
  return List(R"(
log(1, "WgcCaptureSession::Start")
CreateDXGIFactory1(IDXGIFactory1) = factory
factory.EnumAdapters1(0) = adapter
factory.EnumAdapters1(1)
D3D11CreateDevice($adapter, 0, null, 32, [0xb000 0xa100 0xa000], 3, 7) = device, context
device.CreateComputeShader(szFrameDiffRectsCS, null) = frameDiffCS
device.CreateComputeShader(szResetDiffRectsCS, null) = resetDiffRectsCS
device.CreateComputeShader(szGetBitFlagCS, null) = getBitFlagCS
CreateDispatcherQueueController(12, 2, 2) = controller
CreateDirect3D11DeviceFromDXGIDevice(device) = winrt_device
RoGetActivationFactory(Windows.Graphics.Capture.GraphicsCaptureItem,
  IActivationFactory) = item_factory
item_factory.$create = item
pool_statics.Create(winrt_device, 87, 2, $size) = pool
pool.CreateCaptureSession(item) = session
log(1, "Wgc cursor Disable ")
session.put_IsCursorCaptureEnabled(false)
log(1, "Wgc border Disable ")
session.put_IsBorderRequired(false)
pool.add_FrameArrived()
session.StartCapture()
item.add_Closed()
)",
              words);
}
const std::string kCreateForWindow = "CreateForWindow(0x10, IGraphicsCaptureItem)";
const std::string kCreateForMonitor = "CreateForMonitor(0x20, IGraphicsCaptureItem)";
const char kStarted[] = R"(log(1, "Wgc session started."))";

class StartOrder : public SessionTest {
 protected:
  void ExpectStart(Session& session, const Words& words, const Calls& end = List(kStarted)) {
    const Calls expected = Joined({StartCalls(words), end});
    // When a start releases objects does not matter.
    const Calls recording =
        WithoutEnds(WithoutProjection(Recorded([&] { EXPECT_TRUE(session.Start()); })));
    EXPECT_EQ(names.Read(recording, expected), Text(expected));
  }

  Names names;
};

TEST_F(StartOrder, WindowIsCaptured) {
  Session session;
  ExpectStart(session, {{"adapter", "adapter"}, {"create", kCreateForWindow}, {"size", "64x48"}});
}

TEST_F(StartOrder, MonitorIsCaptured) {
  fake::settings.item_width = 1920;
  fake::settings.item_height = 1080;
  Session session(kMonitor);
  ExpectStart(session,
              {{"adapter", "adapter"}, {"create", kCreateForMonitor}, {"size", "1920x1080"}});
}

// No export makes such a session; its monitor is written into it.
TEST_F(StartOrder, WindowIsPreferredToTheMonitor) {
  Session session(kWindow);
  Read(TargetMonitor{}, *static_cast<WgcCaptureSession*>(session.handle())) = kMonitor;
  ASSERT_TRUE(session.Start());
  EXPECT_EQ(fake::LastItem()->window, kWindow);
}

// Every step is done again with new objects; only the adapter is kept.
TEST_F(StartOrder, SecondStartRepeatsEveryStep) {
  Capture session;
  ContinueOnNewThread();
  // What is still called by one of these names is then not found in the list.
  for (const char* const name : {"adapter", "pool", "item", "session", "context"}) {
    names.Give(std::string(name) + "1", std::string("first_") + name);
  }
  // The first capture is released once the second runs; the handler of its item right before.
  ExpectStart(session,
              {{"adapter", "first_adapter"}, {"create", kCreateForWindow}, {"size", "64x48"}},
              List(R"(
first_item.remove_Closed(1)
log(1, "Wgc session started.")
first_context.ClearState()
first_context.Flush()
first_pool.remove_FrameArrived(1)
)"));
}

}  // namespace
}  // namespace session_test
