// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Sessions used from several threads at once, for the thread sanitizer to watch. The platform's
// counters are relaxed and its locks few, but it does order some threads: whoever delivers a frame
// and the start thread (by the pool's and the queue's locks, as a real platform does), and threads
// that allocate or free frame buffers.

#include <algorithm>
#include <array>
#include <atomic>
#include <barrier>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

#include "native/host.h"
#include "native/session_state.h"

namespace session_test {

namespace {

using std::chrono::steady_clock;

// Far longer than any of these tests takes.
constexpr std::chrono::seconds kPatience{60};

class Threads : public SessionTest {};

// A frame of one colour, and its colour.
constexpr uint32_t kColours[] = {0xFF102030, 0xFF405060, 0xFF708090, 0xFFA0B0C0};

bool IsWhole(const reference::Image& picture) {
  const uint32_t colour = picture.pixels.front();
  return std::count(std::begin(kColours), std::end(kColours), colour) == 1 &&
         std::all_of(picture.pixels.begin(), picture.pixels.end(),
                     [=](uint32_t pixel) { return pixel == colour; });
}

// What the other threads do while the start thread polls.
struct Shared {
  std::atomic<fake::FramePool*> pool = nullptr;
  std::atomic<fake::CaptureItem*> item = nullptr;
  std::array<ID3D11Texture2D*, std::size(kColours)> textures{};
  void* handle = nullptr;
  std::atomic<int> frames = 0;
  std::atomic<bool> done = false;
  std::atomic<int> others = 0;  // that have not left the session yet
};

constexpr int kFrames = 600;
constexpr int kFramesBeforeClose = 300;

void DeliverFrames(Shared& shared) {
  for (size_t i = 0; !shared.done.load(std::memory_order_relaxed); ++i) {
    fake::FramePool* const pool = shared.pool.load();
    if (pool->FramesWaiting() < 2) {
      pool->DeliverTexture(shared.textures[i % shared.textures.size()], {64, 48});
    }
    std::this_thread::yield();
  }
}

// Everything that a host might flip while another thread polls. Only detection and the status are
// promised to be safe; the other switches are plain bytes that tests/native/threads/tsan.supp
// names.
void FlipSwitches(Shared& shared) {
  for (uint32_t i = 0; !shared.done.load(std::memory_order_relaxed); ++i) {
    const bool on = (i & 1) != 0;
    wgc_set_dirty_rect(shared.handle, on);
    wgc_set_capture_to_texture(shared.handle, (i & 2) != 0);
    EXPECT_TRUE(wgc_enable_cursor(shared.handle, on));
    EXPECT_TRUE(wgc_show_border(shared.handle, on));
    wgc_get_status(shared.handle);
    std::this_thread::yield();
  }
}

void CloseItem(Shared& shared) {
  while (shared.frames.load(std::memory_order_relaxed) < kFramesBeforeClose) {
    if (shared.done.load(std::memory_order_relaxed)) return;
    std::this_thread::yield();
  }
  EXPECT_EQ(shared.item.load()->RaiseClosed(), S_OK);
}

// With the output flipped by another thread, only the address tells bytes from a texture.
bool ReportedFrameIsWhole(Session& session, const Poll& poll) {
  auto& insides = *static_cast<WgcCaptureSession*>(session.handle());
  if (poll.frame == Read(HeldBuffer{}, insides)) return IsWhole(Pixels(poll));
  return IsWhole(TexturePixels(poll));
}

TEST_F(Threads, OneSessionPolledFlippedAndClosed) {
  Shared shared;
  std::vector<std::thread> others;
  const auto deadline = steady_clock::now() + kPatience;

  std::thread start_thread([&] {
    Session session;
    ASSERT_TRUE(session.Start());
    fake::FramePool* const pool = fake::LastPool();
    for (size_t i = 0; i < shared.textures.size(); ++i) {
      shared.textures[i] = fake::NewTexture(pool->Direct3DDevice(), FrameDesc(64, 48));
      fake::Draw(shared.textures[i], reference::Image(64, 48, kColours[i]));
    }
    shared.handle = session.handle();
    shared.item = fake::LastItem();
    shared.pool = pool;
    for (const auto& work : {DeliverFrames, FlipSwitches, CloseItem}) {
      others.emplace_back(work, std::ref(shared));
    }

    bool all_whole = true;
    int reported = 0;
    while ((reported < kFrames || session.Running()) && steady_clock::now() < deadline) {
      const Poll poll = session.GetFrame();
      if (!poll.available) continue;
      all_whole = ReportedFrameIsWhole(session, poll) && all_whole;
      session.Ratio();
      shared.frames.store(++reported, std::memory_order_relaxed);
    }
    shared.done = true;
    for (std::thread& other : others) other.join();
    EXPECT_TRUE(all_whole);
    EXPECT_GE(reported, kFrames);
    EXPECT_FALSE(session.Running());
    EXPECT_TRUE(IsExitRequested(session.handle()));
    for (ID3D11Texture2D* const texture : shared.textures) texture->Release();
  });
  start_thread.join();
}

// Both outputs, with and without detection.
void CaptureAlone(uint32_t first_seed) {
  constexpr uint32_t kRounds = 200;
  TakeLog();
  Session session;
  ASSERT_TRUE(session.Start());
  for (uint32_t i = 0; i < kRounds; ++i) {
    session.DirtyRect(i / 10 % 2 != 0);
    session.ToTexture(i / 7 % 2 != 0);
    const reference::Image picture = Pattern(64, 48, first_seed + i);
    ASSERT_TRUE(fake::LastPool()->Deliver(picture));
    ASSERT_EQ(Pixels(session.GetFrame()), picture) << i;
    session.Ratio();
  }
  EXPECT_TRUE(session.Running());
  session.Destroy();
  const std::vector<LogLine> log = TakeLog();
  EXPECT_EQ(std::count(log.begin(), log.end(), LogLine{1, "Wgc session started."}), 1);
  EXPECT_EQ(std::count(log.begin(), log.end(), LogLine{1, "Wgc exit."}), 1);
}

TEST_F(Threads, TwoSessionsOnTwoThreads) {
  std::barrier together(2);
  const auto run = [&](uint32_t first_seed) {
    together.arrive_and_wait();
    CaptureAlone(first_seed);
  };
  std::thread first(run, 1);
  std::thread second(run, 100'000);
  first.join();
  second.join();
}

}  // namespace
}  // namespace session_test
