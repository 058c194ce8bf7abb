// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The end of a session: the stop sequence, and then what destruction releases, in its order.
#include "native/engine/engine_calls.h"
#include "native/host.h"

namespace session_test {
namespace {

const char kStop[] = R"(
log(1, "Try to exit wgc thread")
pool.remove_FrameArrived(1)
item.remove_Closed(1)
pool.Close()
session.Close()
log(1, "Wgc exit.")
)";
const char kEmptyStop[] = R"(
log(1, "Try to exit wgc thread")
log(1, "Wgc exit.")
)";

class EndOrder : public SessionTest {
 protected:
  // Names the objects of the session's n-th start.
  void NameObjectsOfStart(int number) {
    names = Names();
    const char* const programs[] = {"frameDiffCS", "resetDiffRectsCS", "getBitFlagCS"};
    for (int i = 0; i < 3; ++i) {
      names.Give("shader" + std::to_string(3 * number - 2 + i), programs[i]);
    }
    for (const std::string name : {"factory", "device", "context", "controller", "winrt_device",
                                   "item", "pool", "session"}) {
      names.Give(name + std::to_string(number), name);
    }
    names.Give("adapter1", "adapter");  // kept by a second start
  }

  // Destruction releases those objects of the list that have a name.
  void ExpectEnd(Session& session, const Calls& stop) {
    fake::StartRecording(true);
    session.Destroy();
    const Calls recording = WithoutEnds(WithoutProjection(fake::TakeRecording()));
    const auto last_line = std::find(recording.begin(), recording.end(), stop.back());
    ASSERT_NE(last_line, recording.end());
    // Up to the last line the projection holds references for a moment.
    const Calls stopped = Only(Calls(recording.begin(), last_line + 1), [](const auto& line) {
      return !Has(line, ".AddRef()") && !Has(line, ".Release()");
    });
    EXPECT_EQ(names.Read(stopped, stop), Text(stop));
    const Calls released = Only(Calls(last_line + 1, recording.end()),
                                [](const auto& line) { return !line.starts_with("free("); });
    // All that a session can hold. Its own references to context and device go after the engine's.
    const Calls all = Joined({ReleasesOf("frame_texture"), ReleaseCalls(), ReleasesOf(R"(
controller session pool output_texture context winrt_device item adapter factory device
)")});
    const Calls expected =
        Only(all, [&](const auto& call) { return names.Know(call.substr(0, call.find('.'))); });
    EXPECT_EQ(names.Read(released, expected), Text(expected));
  }

  Names names;
};

TEST_F(EndOrder, SessionThatWasNeverStartedReleasesNothing) {
  Session session;
  ExpectEnd(session, List(kEmptyStop));
}

TEST_F(EndOrder, IsTheSameWhetherOrNotTheItemHasClosed) {
  for (const bool closed : {false, true}) {
    fake::Reset();
    Capture session;
    NameObjectsOfStart(1);
    if (closed) fake::LastItem()->RaiseClosed();
    ExpectEnd(session, List(kStop));
  }
}

// A staging texture, an output texture and a built engine.
TEST_F(EndOrder, ReleasesTexturesAndEngine) {
  Capture session({.detect = true});
  NameObjectsOfStart(1);
  // "= name" of the calls that make objects.
  const auto show_and_name = [&](const Calls& made) {
    const auto makes = [](const std::string& line) { return Has(line, ".Create"); };
    ASSERT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
    const Calls recording = Only(Recorded([&] { Pixels(session.GetFrame()); }), makes);
    ASSERT_EQ(names.Read(recording, Only(made, makes)), Text(Only(made, makes)));
  };
  show_and_name(Joined({List(R"(
device.CreateTexture2D(64x48 mips 1 layers 1 format 87 samples 1/0
  staging bind 0x0 cpu 0x20000 misc 0x0, null) = frame_texture
)"),
                        ResizeCalls(k64x48)}));
  session.ToTexture(true);
  show_and_name(List(R"(
device.CreateTexture2D(64x48 mips 1 layers 1 format 87 samples 1/0
  default bind 0x20 cpu 0x0 misc 0x0, null) = output_texture
)"));
  ExpectEnd(session, List(kStop));
}

TEST_F(EndOrder, StopsNothingAfterAStartThatFoundNoItem) {
  Session session;
  FailEveryCall("CreateForWindow");
  EXPECT_FALSE(session.Start());
  NameObjectsOfStart(1);
  names.Forget({"winrt_device", "item", "pool", "session"});
  ExpectEnd(session, List(kEmptyStop));
}

// Pool and session are closed all the same; the registration that was made is revoked.
TEST_F(EndOrder, ClosesPoolAndSessionAfterAStartThatDidNotRun) {
  Session session;
  FailEveryCall("StartCapture");
  EXPECT_FALSE(session.Start());
  NameObjectsOfStart(1);
  ExpectEnd(session, Only(List(kStop), [](const auto& line) { return !Has(line, "item."); }));
}

// The objects of the second start are stopped and released, with the adapter of the first.
TEST_F(EndOrder, ReleasesTheObjectsOfTheSecondStart) {
  Capture session;
  ContinueOnNewThread();
  ASSERT_TRUE(session.Start());
  NameObjectsOfStart(2);
  ExpectEnd(session, List(kStop));
}

}  // namespace
}  // namespace session_test
