// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The end of a session: the stop sequence, and then what destruction lets go of, in its order.
#include <gtest/gtest.h>

#include "native/engine/engine_calls.h"
#include "native/host.h"

namespace session_test {
namespace {

using fake::Fault;

Calls StopCalls() {
  return List(R"(
log(1, "Try to exit wgc thread")
pool.remove_FrameArrived(1)
item.remove_Closed(1)
pool.Close()
session.Close()
log(1, "Wgc exit.")
)");
}

// A stop that has nothing to end.
Calls EmptyStopCalls() {
  return List(R"(
log(1, "Try to exit wgc thread")
log(1, "Wgc exit.")
)");
}

// The engine forgets what is bound and lets go of context and device first.
Calls EngineStateCalls() {
  return List(R"(
context.ClearState()
context.Flush()
context.Release()
device.Release()
)");
}

Calls ProgramCalls() {
  return List(R"(
frameDiffCS.Release()
getBitFlagCS.Release()
resetDiffRectsCS.Release()
)");
}

class EndOrder : public SessionTest {
 protected:
  void Start(Session& session) {
    ASSERT_TRUE(session.Start());
    names.Give("factory1", "factory");
    names.Give("adapter1", "adapter");
    names.Give("device1", "device");
    names.Give("context1", "context");
    names.Give("shader1", "frameDiffCS");
    names.Give("shader2", "resetDiffRectsCS");
    names.Give("shader3", "getBitFlagCS");
    names.Give("controller1", "controller");
    names.Give("winrt_device1", "winrt_device");
    names.Give("item1", "item");
    names.Give("pool1", "pool");
    names.Give("session1", "session");
  }

  // Up to the last log line the projection asks for interfaces and holds sources for a moment; the
  // references from there on are the session's and the engine's own.
  void ExpectEnd(Session& session, const Calls& stop, const Calls& destruction) {
    fake::StartRecording(true);
    session.Destroy();
    const Calls recording = WithoutEnds(WithoutProjection(fake::TakeRecording()));
    Calls stopped;
    Calls destroyed;
    for (const std::string& line : recording) {
      const bool stopping = stopped.empty() || stopped.back() != "log(1, \"Wgc exit.\")";
      if (!stopping) {
        destroyed.push_back(line);
      } else if (!Has(line, ".AddRef()") && !Has(line, ".Release()")) {
        stopped.push_back(line);
      }
    }
    EXPECT_EQ(names.Read(stopped, stop), Text(stop));
    EXPECT_EQ(names.Read(destroyed, destruction), Text(destruction));
  }

  Names names;
};

TEST_F(EndOrder, NeverStarted) {
  Session session;
  ExpectEnd(session, EmptyStopCalls(), {});
}

TEST_F(EndOrder, StartedWithoutAFrame) {
  Session session;
  Start(session);
  ExpectEnd(session, StopCalls(), Joined({EngineStateCalls(), ProgramCalls(), List(R"(
controller.Release()
session.Release()
pool.Release()
context.Release()
winrt_device.Release()
item.Release()
adapter.Release()
factory.Release()
device.Release()
)")}));
}

// Everything that a session can hold: buffer, staging texture, output texture and a built engine.
TEST_F(EndOrder, WithEverything) {
  Session session;
  Start(session);
  session.DirtyRect(true);
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
  const Calls made = Joined({List(R"(
device.CreateTexture2D(64x48 mips 1 layers 1 format 87 samples 1/0
  staging bind 0x0 cpu 0x20000 misc 0x0, null) = frame_texture
)"),
                             ResizeCalls(k64x48)});
  const auto makes = [](const std::string& line) { return Has(line, ".Create"); };
  fake::StartRecording();
  ASSERT_TRUE(session.GetFrame().available);
  ASSERT_EQ(names.Read(Only(fake::TakeRecording(), makes), Only(made, makes)),
            Text(Only(made, makes)));
  session.ToTexture(true);
  ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48, 2)));
  const Calls output = List(R"(
device.CreateTexture2D(64x48 mips 1 layers 1 format 87 samples 1/0
  default bind 0x20 cpu 0x0 misc 0x0, null) = output_texture
)");
  fake::StartRecording();
  const Poll poll = session.GetFrame();
  ASSERT_TRUE(poll.available);
  ASSERT_EQ(names.Read(Only(fake::TakeRecording(), makes), output), Text(output));
  static_cast<ID3D11Texture2D*>(poll.frame)->Release();

  ExpectEnd(session, StopCalls(),
            Joined({List(R"(
free(12288)
frame_texture.Release()
)"),
                    EngineStateCalls(), List(R"(
texture.Release()
rtv.Release()
diffBuff.Release()
RamBuff.Release()
diffBuffUAV.Release()
)"),
                    ProgramCalls(), List(R"(
oldTex.Release()
oldBk.Release()
oldSRV.Release()
newTex.Release()
newBk.Release()
newSRV.Release()
texBuffer.Release()
texInfoBuffer.Release()
lightUAV.Release()
lightStaging.Release()
light.Release()
lightTexUAV.Release()
lightTexStaging.Release()
lightTex.Release()
controller.Release()
session.Release()
pool.Release()
output_texture.Release()
context.Release()
winrt_device.Release()
item.Release()
adapter.Release()
factory.Release()
device.Release()
)")}));
}

// The item's event ended the capture; the stop sequence is the same.
TEST_F(EndOrder, AfterTheItemClosed) {
  Session session;
  Start(session);
  EXPECT_EQ(fake::LastItem()->RaiseClosed(), S_OK);
  EXPECT_FALSE(session.Running());
  ExpectEnd(session, StopCalls(), Joined({EngineStateCalls(), ProgramCalls(), List(R"(
controller.Release()
session.Release()
pool.Release()
context.Release()
winrt_device.Release()
item.Release()
adapter.Release()
factory.Release()
device.Release()
)")}));
}

// A start that failed at the item: there is nothing to stop, and what was made goes.
TEST_F(EndOrder, AfterAStartThatFoundNoItem) {
  Session session;
  fake::PlanFaults(fake::NthCallOf("CreateForWindow", 1, {Fault::Kind::kResult, E_INVALIDARG}));
  EXPECT_FALSE(session.Start());
  fake::PlanNoFaults();
  names.Give("factory1", "factory");
  names.Give("adapter1", "adapter");
  names.Give("device1", "device");
  names.Give("context1", "context");
  names.Give("shader1", "frameDiffCS");
  names.Give("shader2", "resetDiffRectsCS");
  names.Give("shader3", "getBitFlagCS");
  names.Give("controller1", "controller");
  ExpectEnd(session, EmptyStopCalls(), Joined({EngineStateCalls(), ProgramCalls(), List(R"(
controller.Release()
context.Release()
adapter.Release()
factory.Release()
device.Release()
)")}));
}

// A start that failed where the capture begins to run: pool and session are closed all the same,
// and only the registration that was made is revoked.
TEST_F(EndOrder, AfterAStartThatDidNotRun) {
  Session session;
  fake::PlanFaults(fake::NthCallOf("StartCapture", 1, {Fault::Kind::kResult, E_ACCESSDENIED}));
  EXPECT_FALSE(session.Start());
  fake::PlanNoFaults();
  names.Give("pool1", "pool");
  names.Give("session1", "session");
  fake::StartRecording();
  session.Destroy();
  const Calls stop = List(R"(
log(1, "Try to exit wgc thread")
pool.remove_FrameArrived(1)
pool.Close()
session.Close()
log(1, "Wgc exit.")
)");
  Calls recording = WithoutEnds(WithoutProjection(fake::TakeRecording()));
  ASSERT_GE(recording.size(), stop.size());
  recording.resize(stop.size());
  EXPECT_EQ(names.Read(recording, stop), Text(stop));
}

// The second start's objects are those that are stopped and let go of; the adapter is the first's.
TEST_F(EndOrder, AfterASecondStart) {
  Session session;
  Start(session);
  ContinueOnNewThread();
  ASSERT_TRUE(session.Start());
  names = Names();
  names.Give("factory2", "factory");
  names.Give("adapter1", "adapter");
  names.Give("device2", "device");
  names.Give("context2", "context");
  names.Give("shader4", "frameDiffCS");
  names.Give("shader5", "resetDiffRectsCS");
  names.Give("shader6", "getBitFlagCS");
  names.Give("controller2", "controller");
  names.Give("winrt_device2", "winrt_device");
  names.Give("item2", "item");
  names.Give("pool2", "pool");
  names.Give("session2", "session");
  ExpectEnd(session, StopCalls(), Joined({EngineStateCalls(), ProgramCalls(), List(R"(
controller.Release()
session.Release()
pool.Release()
context.Release()
winrt_device.Release()
item.Release()
adapter.Release()
factory.Release()
device.Release()
)")}));
}

// A pool that cannot be closed ends the sequence: the session is not closed, and destruction comes
// all the same.
TEST_F(EndOrder, APoolThatCannotBeClosed) {
  Session session;
  Start(session);
  fake::PlanFaults(fake::NthCallOf("Close", 1, {Fault::Kind::kResult, E_ACCESSDENIED}));
  ExpectEnd(session, List(R"(
log(1, "Try to exit wgc thread")
pool.remove_FrameArrived(1)
item.remove_Closed(1)
pool.Close()
log(3, "Exception catced Access denied.")
log(1, "Wgc exit.")
)"),
            Joined({EngineStateCalls(), ProgramCalls(), List(R"(
controller.Release()
session.Release()
pool.Release()
context.Release()
winrt_device.Release()
item.Release()
adapter.Release()
factory.Release()
device.Release()
)")}));
}

}  // namespace
}  // namespace session_test
