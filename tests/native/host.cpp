// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "native/host.h"

#include <cstring>
#include <iostream>

namespace session_test {
namespace {

thread_local std::vector<LogLine> log_lines;

void OnLog(int level, const char* text, size_t) {
  const fake::OutsideLibrary outside;
  log_lines.push_back({level, text});
  fake::Note("log(" + std::to_string(level) + ", \"" + text + "\")");
}

// Says at the end how many faults the program's tests have survived.
class FaultReport : public testing::Environment {
 public:
  void TearDown() override {
    std::cout << "faults_injected=" << fake::FaultsInjectedEver() << std::endl;
  }
};

[[maybe_unused]] testing::Environment* const fault_report =
    testing::AddGlobalTestEnvironment(new FaultReport);

}  // namespace

std::vector<LogLine> TakeLog() {
  return std::exchange(log_lines, {});
}

Poll Session::GetFrame() {
  Poll poll;
  poll.frame = kUntouched;
  poll.available = wgc_get_recent_frame(handle_, &poll.frame, nullptr, &poll.width, &poll.height,
                                        &poll.cursor_enabled);
  return poll;
}

reference::Image Pattern(uint32_t width, uint32_t height, uint32_t seed) {
  reference::Image image(width, height);
  uint32_t value = seed * 0x9E3779B9u;
  for (uint32_t& pixel : image.pixels) {
    value = value * 1664525u + 1013904223u;
    pixel = value;
  }
  return image;
}

reference::Image Pixels(const Poll& poll) {
  reference::Image image(poll.width, poll.height);
  std::memcpy(image.pixels.data(), poll.frame, image.pixels.size() * sizeof(uint32_t));
  return image;
}

reference::Image TexturePixels(const Poll& poll) {
  auto* const texture = static_cast<ID3D11Texture2D*>(poll.frame);
  reference::Image image = fake::PixelsOf(texture);
  texture->Release();
  return image;
}

void SessionTest::SetUp() {
  fake::Reset();
  TakeLog();
  wgc_register_logger(OnLog);
  objects_before_ = fake::LiveObjects();
}

void SessionTest::TearDown() {
  wgc_register_logger(nullptr);
  EXPECT_EQ(fake::LiveObjects(), objects_before_);
  EXPECT_EQ(fake::HeapBytes(), 0);
  const std::vector<std::string> refusals = fake::TakeRefusals();
  if (!refusals_expected_) {
    EXPECT_EQ(refusals, std::vector<std::string>());
  }
  fake::Reset();
}

}  // namespace session_test
