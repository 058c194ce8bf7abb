// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Two sessions on two windows for a long time: windows that repaint, change size, hide, minimise
// and close, polls in turn, switches flipped on the way. Every frame has to be exactly what its
// window painted, and what the process holds must not grow.
//
// QUILL_WGC_SOAK_POLLS chooses the number of polls that are measured, for both sessions together.
#include <windows.h>

#include <algorithm>
#include <barrier>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "system/e2e/capture.h"
#include "support/process.h"

namespace {

constexpr int kShortRun = 1500;
constexpr SIZE kRestingSize = {300, 200};
constexpr SIZE kLargestSize = {420, 320};
// Both ways more than two tiles, so that detection sees each new picture.
constexpr SIZE kSmallestSize = {70, 70};
constexpr ULONGLONG kLimitMs = 5000;
// Without a frame for so long none is on the way: the platform takes 60 pictures a second.
constexpr ULONGLONG kQuietMs = 100;

// What may come on top in the end. A lock gets its event only when two threads first meet at it,
// and Wine has threads of its own that come and go.
constexpr int kLockEvents = 8;
constexpr int kHelperThreads = 2;
// Direct3D under Wine keeps about 100 bytes for each copy that is mapped, also without the library;
// one poll makes up to four. The smallest frame has 19,600 bytes.
constexpr uint64_t kMemoryNoise = 4 << 20;
constexpr uint64_t kMemoryPerPoll = 512;

struct Counts {
  int polls = 0;
  int delivered = 0;  // polls that brought a new frame
  int whole = 0;      // compared to the last pixel
  int partial = 0;    // while the size changes: compared where all sizes in question overlap
  int uncertain = 0;  // from a window that is not painted yet

  Counts& operator+=(const Counts& other) {
    polls += other.polls;
    delivered += other.delivered;
    whole += other.whole;
    partial += other.partial;
    uncertain += other.uncertain;
    return *this;
  }
};

bool Equal(SIZE a, SIZE b) {
  return a.cx == b.cx && a.cy == b.cy;
}

// What a detection gives when every pixel differs: the tiles that end before the right and bottom
// edges, as a share of the frame.
float RatioOfAllTiles(SIZE size) {
  const LONG changed = (size.cx - 1) / 32 * 32 * ((size.cy - 1) / 32 * 32);
  return static_cast<float>(static_cast<double>(changed) / (size.cx * size.cy));
}

// A window in a process of its own and the session that captures it. Everything but the
// constructor and the destructor belongs on the thread that called Start.
class SoakedCapture {
 public:
  SoakedCapture(int left, int top)
      : random_(7 + left), process_({left, top}, kRestingSize), sizes_{kRestingSize} {
    // Growing on the way would look like a leak.
    sizes_.reserve(100000);
  }

  void Start() {
    EXPECT_NE(process_.window(), nullptr);
    EXPECT_TRUE(session_.Start());
    Settle();
  }

  // All that a run does later, up to the largest size, so that nothing is made for the first time
  // when the measurement has begun.
  void WarmUp() {
    for (const bool texture : {true, false}) {
      for (const bool detection : {true, false}) {
        Switch(texture, detection);
        Show(kRestingSize);
        Settle();
        Show(kLargestSize);
        Settle();
      }
    }
    Disappear(SW_HIDE, SW_SHOWNA);
    Disappear(SW_MINIMIZE, SW_RESTORE);
  }

  // One poll, and now and then something that happens to the window or the session before it.
  void Step() {
    const uint32_t dice = random_() % 1000;
    if (dice < 400) {
      Show(sizes_.back());
    } else if (dice < 430) {
      Show(RandomSize());
    } else if (dice < 440) {
      Switch(!texture_, detection_);
    } else if (dice < 460) {
      Switch(texture_, !detection_);
    } else if (dice < 462) {
      Disappear(SW_HIDE, SW_SHOWNA);
    } else if (dice < 464) {
      Disappear(SW_MINIMIZE, SW_RESTORE);
    } else if (dice < 474) {
      Settle();
    }
    PollAndCheck();
  }

  // The state in which measurements can be compared.
  void Rest() {
    Switch(false, false);
    Show(kRestingSize);
    Settle();
  }

  void CloseWindow() {
    certain_ = false;
    process_.Close();
    const ULONGLONG deadline = GetTickCount64() + kLimitMs;
    while (session_.IsRunning() && GetTickCount64() < deadline) PollAndCheck();
    EXPECT_FALSE(session_.IsRunning());
    PollAndCheck();
  }

  // Every texture and view of the session adds to them.
  unsigned long DeviceReferences() const { return References(session_.Device()); }

  const Counts& counts() const { return counts_; }

 private:
  uint32_t Newest() const { return static_cast<uint32_t>(sizes_.size() - 1); }

  SIZE RandomSize() {
    const auto between = [this](LONG low, LONG high) {
      return low + static_cast<LONG>(random_() % (high - low + 1));
    };
    return {between(kSmallestSize.cx, kLargestSize.cx), between(kSmallestSize.cy, kLargestSize.cy)};
  }

  // Has the next picture painted, some time soon.
  void Show(SIZE size) {
    sizes_.push_back(size);
    process_.Show(size, Newest());
  }

  // The buffer, when it takes over, may show an older frame than the texture did, and the other way
  // round, until there is a new one.
  void Switch(bool texture, bool detection) {
    if (texture != texture_) AwaitNewFrame();
    texture_ = texture;
    detection_ = detection;
    session_.SetTexture(texture);
    session_.SetDetection(detection);
    ratio_known_ = false;
  }

  void AwaitNewFrame() {
    fresh_ = false;
    stale_ = Newest();
  }

  // A picture taken just when the window goes may show it half gone, and a window that comes back
  // has undefined pixels until it has painted.
  void Disappear(int how, int back) {
    certain_ = false;
    process_.SetState(how);
    WaitForQuiet();
    const int delivered = counts_.delivered;
    // Two ticks of the platform.
    for (int i = 0; i < 4; ++i) {
      PollAndCheck();
      Sleep(10);
    }
    EXPECT_EQ(counts_.delivered, delivered) << "a frame of a window that does not show: " << how;
    process_.SetState(back);
    Settle();
  }

  // Brings the frame up to date: a picture painted when no other is on the way has to arrive.
  void Settle() {
    process_.Sync();
    WaitForQuiet();
    if (!certain_) AwaitNewFrame();
    certain_ = true;
    Show(sizes_.back());
    const ULONGLONG deadline = GetTickCount64() + kLimitMs;
    do {
      PollAndCheck();
    } while ((!fresh_ || shown_ != Newest() || whole_ != Newest()) && GetTickCount64() < deadline &&
             !testing::Test::HasFailure());
    EXPECT_EQ(whole_, Newest()) << "the newest picture never arrived";
  }

  void WaitForQuiet() {
    ULONGLONG quiet_at = GetTickCount64() + kQuietMs;
    const ULONGLONG deadline = GetTickCount64() + kLimitMs;
    while (GetTickCount64() < quiet_at && GetTickCount64() < deadline) {
      const int delivered = counts_.delivered;
      PollAndCheck();
      if (counts_.delivered != delivered) quiet_at = GetTickCount64() + kQuietMs;
    }
  }

  void PollAndCheck() {
    Sleep(1);
    ++counts_.polls;
    const Poll poll = session_.PollOnce();
    const float ratio = session_.Ratio();
    EXPECT_GE(ratio, 0.0f);
    EXPECT_LE(ratio, 1.0f);
    if (ratio > 0.0f) ++counts_.delivered;
    if (!poll.result) {
      EXPECT_FALSE(fresh_) << "a frame was there and has gone";
    } else if (texture_) {
      CheckFrame(session_.ReadTexture(poll), ratio);
    } else if (fresh_ || ratio > 0.0f) {
      fresh_ = true;
      CheckFrame(poll.Bytes(), ratio);
    }
  }

  // Pictures are numbered and never come back, so the first pixel tells which one it is.
  void CheckFrame(const Picture& frame, float ratio) {
    const SIZE size = {static_cast<LONG>(frame.width), static_cast<LONG>(frame.height)};
    uint32_t number = shown_;
    while (number <= Newest() && frame.At(0, 0) != PatternPixel(0, 0, number)) ++number;
    // A texture tells by its picture that it is new; detection may call its first frame unchanged.
    if (!fresh_) fresh_ = number > stale_ && number <= Newest();
    if (!fresh_ || !certain_) {
      if (ratio > 0.0f) ++counts_.uncertain;
      ratio_known_ = false;
      return;
    }
    if (number > Newest()) {
      ADD_FAILURE() << "the first pixel, " << std::hex << frame.At(0, 0) << std::dec
                    << ", is of no picture from " << shown_ << " to " << Newest();
      return;
    }
    const bool whole = Equal(size, sizes_[number]) && Mismatch(frame, size, number).empty();
    if (ratio > 0.0f) ++(whole ? counts_.whole : counts_.partial);
    if (!whole) CheckPart(frame, size, number);
    CheckRatio(whole, size, number, ratio);
    if (whole) whole_ = number;
    shown_ = number;
  }

  // Between two sizes a frame may have the pool's old size, the picture the window's new one, and
  // the window lags behind both. What all of them cover is the picture's in any case.
  void CheckPart(const Picture& frame, SIZE size, uint32_t number) {
    bool resizing = false;
    SIZE common = size;
    for (uint32_t i = whole_; i <= Newest(); ++i) {
      resizing = resizing || !Equal(sizes_[i], size);
      common = {std::min(common.cx, sizes_[i].cx), std::min(common.cy, sizes_[i].cy)};
    }
    EXPECT_TRUE(resizing) << "picture " << number << ": " << Mismatch(frame, size, number);
    EXPECT_EQ(Mismatch(frame, common, number), "") << "picture " << number;
  }

  // With detection in buffer output, after a frame that was whole: 1 when the engine was rebuilt,
  // otherwise the share of all its tiles, as each picture differs from the others in every pixel.
  void CheckRatio(bool whole, SIZE size, uint32_t number, float ratio) {
    const bool known = whole && detection_ && !texture_;
    if (known && ratio_known_ && ratio != 0.0f && ratio != 1.0f) {
      EXPECT_EQ(ratio, RatioOfAllTiles(size)) << size.cx << " x " << size.cy;
    }
    if (known && ratio_known_ && number != shown_) {
      EXPECT_GT(ratio, 0.0f);
    }
    if (!detection_) {
      EXPECT_TRUE(ratio == 0.0f || ratio == 1.0f) << ratio;
    }
    ratio_known_ = known;
  }

  // The first pixel of the top left part that is not the picture's; empty when there is none.
  static std::string Mismatch(const Picture& frame, SIZE part, uint32_t number) {
    for (LONG y = 0; y < part.cy; ++y) {
      for (LONG x = 0; x < part.cx; ++x) {
        const uint32_t pixel = frame.At(x, y);
        const uint32_t expected = PatternPixel(x, y, number);
        if (pixel == expected) continue;
        char text[100];
        std::snprintf(text, sizeof(text), "pixel (%ld, %ld) is %08x instead of %08x", x, y, pixel,
                      expected);
        return text;
      }
    }
    return {};
  }

  std::mt19937 random_;
  PatternProcess process_;
  Session session_{process_.window()};
  std::vector<SIZE> sizes_;  // of each picture that was ordered, by its number
  uint32_t shown_ = 0;       // the picture last seen
  uint32_t whole_ = 0;       // the one last seen whole
  bool texture_ = false;
  bool detection_ = false;
  // Whether there was a frame since the output was chosen or the window came back; if not, the
  // number of the newest picture at that time.
  bool fresh_ = false;
  uint32_t stale_ = 0;
  bool certain_ = true;       // the window has painted since it came back
  bool ratio_known_ = false;  // the last frame leaves no doubt about the next one's ratio
  Counts counts_;
};

int PollsToMake() {
  const char* const polls = std::getenv("QUILL_WGC_SOAK_POLLS");
  return polls != nullptr ? std::atoi(polls) : kShortRun;
}

TEST(Soak, TwoSessionsDeliverExactFramesAndHoldNoMoreAtTheEndThanAtTheBeginning) {
  if (!IsWine())
    GTEST_SKIP() << "its limits and its frames while a size changes are the stand-in's";
  const int polls = PollsToMake();
  ASSERT_GT(polls, 0);
  // Both rest between two arrivals at the barrier, while this thread measures.
  std::barrier rest(3);
  std::mutex mutex;
  Counts counts;
  unsigned long references = 0;
  const auto capture = [&](int left, int top) {
    SoakedCapture soaked(left, top);
    const auto measure = [&] {
      soaked.Rest();
      {
        const std::lock_guard lock(mutex);
        references += soaked.DeviceReferences();
      }
      rest.arrive_and_wait();
      rest.arrive_and_wait();
    };
    soaked.Start();
    soaked.WarmUp();
    measure();
    for (const int last = soaked.counts().polls + polls / 2; soaked.counts().polls < last;) {
      if (HasFailure()) break;
      soaked.Step();
    }
    measure();
    soaked.CloseWindow();
    const std::lock_guard lock(mutex);
    counts += soaked.counts();
  };
  std::thread first(capture, 20, 20);
  std::thread second(capture, 900, 600);
  const auto measured = [&] {
    rest.arrive_and_wait();
    const auto figures = std::pair{MeasureProcess(), std::exchange(references, 0)};
    rest.arrive_and_wait();
    return figures;
  };
  const auto [before, references_before] = measured();
  const auto [after, references_after] = measured();
  first.join();
  second.join();

  std::printf(
      "soak: polls=%d delivered=%d verified=%d whole=%d partial=%d uncertain=%d handles_before=%d "
      "handles_after=%d threads_before=%d threads_after=%d references_before=%lu "
      "references_after=%lu memory_before=%llu memory_after=%llu\n",
      counts.polls, counts.delivered, counts.whole + counts.partial, counts.whole, counts.partial,
      counts.uncertain, before.handles, after.handles, before.threads, after.threads,
      references_before, references_after, static_cast<unsigned long long>(before.memory),
      static_cast<unsigned long long>(after.memory));
  EXPECT_GE(counts.polls, polls);
  EXPECT_EQ(counts.whole + counts.partial + counts.uncertain, counts.delivered);
  EXPECT_GE(counts.whole, polls / 20);
  EXPECT_GT(counts.whole, counts.delivered / 2);
  EXPECT_EQ(references_after, references_before);
  EXPECT_LE(after.handles, before.handles + kLockEvents);
  EXPECT_LE(after.threads, before.threads + kHelperThreads);
  EXPECT_LE(after.memory, before.memory + kMemoryNoise + kMemoryPerPoll * polls);
}

}  // namespace
