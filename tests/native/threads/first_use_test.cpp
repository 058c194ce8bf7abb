// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What happens once a process, raced for by several threads. Each test needs a process in which
// nothing has happened yet, so there is one of a kind here.

#include <algorithm>
#include <barrier>
#include <string>
#include <thread>
#include <vector>

#include "native/host.h"

namespace session_test {
namespace {

constexpr int kThreads = 8;

class FirstUse : public SessionTest {};

template <typename Work>
void RunTogether(Work work) {
  std::barrier together(kThreads);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      together.arrive_and_wait();
      work(i);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST_F(FirstUse, ComIsInitializedOnceByRacingSessions) {
  void* sessions[kThreads] = {};
  RunTogether([&](int i) { sessions[i] = wgc_session_create(kWindow); });
  EXPECT_EQ(fake::com_initializations, 1);
  EXPECT_EQ(fake::com_apartment, DWORD{COINIT_MULTITHREADED});
  for (void* const session : sessions) {
    ASSERT_NE(session, nullptr);
    wgc_session_destroy(session);
  }
}

// The one test that leaves an object behind: the cache keeps its statics for good.
class FirstProbe : public testing::Test {
 protected:
  void SetUp() override { fake::Reset(); }
  void TearDown() override { fake::Reset(); }
};

TEST_F(FirstProbe, AgileStaticsAreKeptOnceByRacingProbes) {
  fake::settings.agile_factories = true;
  const int64_t objects_before = fake::LiveObjects();
  bool answers[kThreads] = {};
  RunTogether([&](int i) {
    answers[i] = true;
    for (int k = 0; k < 50; ++k) answers[i] = is_wgc_session_supported() && answers[i];
  });
  EXPECT_TRUE(
      std::all_of(std::begin(answers), std::end(answers), [](bool answer) { return answer; }));
  EXPECT_EQ(fake::LiveObjects(), objects_before + 1);

  fake::StartRecording();
  EXPECT_TRUE(is_wgc_session_supported());
  const std::vector<std::string> calls = fake::TakeRecording();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_NE(calls[0].find(".IsApiContractPresent("), std::string::npos);
}

}  // namespace
}  // namespace session_test
