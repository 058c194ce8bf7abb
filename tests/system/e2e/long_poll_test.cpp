// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// How long a poll lasts when frames come faster than they are handled. That takes a source that
// goes on sending while a poll works off those that wait, as Windows does.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <thread>

#include "system/e2e/capture.h"

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr Seconds kFramesCome{3.0};
constexpr Seconds kPatience{20.0};

// Ends a window's frames after kFramesCome by hiding it, and the program when a poll then goes on
// all the same.
class FramesEnd {
 public:
  explicit FramesEnd(PatternWindow& window) : thread_(&FramesEnd::Run, this, std::ref(window)) {}
  ~FramesEnd() {
    polls_ended_ = true;
    thread_.join();
  }

  bool IsHidden() const { return hidden_; }
  // Only once it is hidden.
  Clock::time_point HiddenAt() const { return hidden_at_; }

 private:
  void Run(PatternWindow& window) {
    std::this_thread::sleep_for(kFramesCome);
    window.SetState(SW_HIDE);
    hidden_at_ = Clock::now();
    hidden_ = true;
    while (!polls_ended_ && Clock::now() - hidden_at_ < kPatience) Sleep(10);
    if (polls_ended_) return;
    std::fprintf(stderr, "a poll goes on although no frame comes\n");
    PlatformSetting::RemoveAll();
    TerminateProcess(GetCurrentProcess(), 1);
  }

  Clock::time_point hidden_at_;
  std::atomic<bool> hidden_ = false;
  std::atomic<bool> polls_ended_ = false;
  std::thread thread_;
};

struct LongestPolls {
  Seconds to_first_frame{0};  // makes what detection needs
  Seconds later{0};
};

// Of a session with detection, while frames of an unchanged window come.
LongestPolls PollWithDetection(bool to_texture) {
  const PlatformSetting every_tick(L"SendUnchangedFrames", 1);
  // Mostly outside the screen: the picture of such a window is taken in a fraction of the time that
  // it takes to compare it in software.
  PatternWindow window(MakePattern(3840, 2160), {.position = {1820, 1100}});
  LongestPolls longest;
  std::thread([&] {
    Session session(window.handle());
    session.SetTexture(to_texture);
    session.SetDetection(true);
    ASSERT_TRUE(session.Start());
    FramesEnd frames_end(window);
    bool has_frame = false;
    Clock::time_point end;
    while (!frames_end.IsHidden()) {
      const Clock::time_point begin = Clock::now();
      const Poll poll = session.PollOnce();
      end = Clock::now();
      if (to_texture && poll.result) static_cast<IUnknown*>(poll.frame)->Release();
      Seconds& of_kind = has_frame ? longest.later : longest.to_first_frame;
      of_kind = std::max<Seconds>(of_kind, end - begin);
      has_frame = has_frame || poll.result;
      Sleep(1);
    }
    EXPECT_TRUE(has_frame);
    // With the frames that waited the poll is over.
    EXPECT_LT(Seconds(end - frames_end.HiddenAt()).count(), 5.0);
  }).join();
  return longest;
}

TEST(LongPoll, InTextureOutputLastsAsLongAsFramesComeFasterThanTheyAreCompared) {
  if (!IsWine()) GTEST_SKIP() << kNeedsStandin;
  const LongestPolls with_pauses = PollWithDetection(true);
  const PlatformSetting without_pauses(L"SendDuringEvents", 1);
  // On a busy machine a frame may come late, and the poll ends: the longest of three.
  double longest = 0;
  for (int i = 0; i < 3 && longest <= kFramesCome.count() * 2 / 3; ++i) {
    const LongestPolls texture = PollWithDetection(true);
    // The first may be the one that does not end.
    longest = std::max({longest, texture.to_first_frame.count(), texture.later.count()});
  }
  EXPECT_GT(longest, kFramesCome.count() * 2 / 3);
  EXPECT_GT(longest, with_pauses.later.count());
  // Here a poll compares one frame and drops the others.
  EXPECT_LT(PollWithDetection(false).later.count(), longest);
}

}  // namespace
