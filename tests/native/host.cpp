// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "native/host.h"

#include <algorithm>
#include <iostream>

namespace session_test {
namespace {

thread_local Log log_lines;

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

Log TakeLog() {
  return std::exchange(log_lines, {});
}

Poll Session::GetFrame() {
  Poll poll;
  poll.frame = kUntouched;
  poll.available = wgc_get_recent_frame(handle_, &poll.frame, nullptr, &poll.width, &poll.height,
                                        &poll.cursor_enabled);
  poll.is_texture = to_texture_;
  return poll;
}

Poll Session::Show(const Picture& picture, DXGI_FORMAT format) {
  DeliverAnySize(picture, format);
  return GetFrame();
}

Capture::Capture(CaptureSwitches switches) {
  if (switches.detect) DirtyRect(true);
  ToTexture(switches.texture);
  EXPECT_TRUE(Start());
  TakeLog();
}

Picture Pixels(const Poll& poll) {
  if (!poll.available) return {};
  if (poll.is_texture) return TexturePixels(poll);
  return {poll.width, poll.height, poll.frame, size_t{poll.width} * 4};
}

Picture TexturePixels(const Poll& poll) {
  auto* const texture = static_cast<ID3D11Texture2D*>(poll.frame);
  Picture image = fake::PixelsOf(texture);
  texture->Release();
  return image;
}

winrt::com_ptr<ID3D11Texture2D> NewFrameTexture(const D3D11_TEXTURE2D_DESC& desc) {
  return {fake::NewTexture(fake::LastPool()->Direct3DDevice(), desc),
          winrt::take_ownership_from_abi};
}

winrt::com_ptr<ID3D11Texture2D> NewFrameTexture(const Picture& picture, DXGI_FORMAT format,
                                                D3D11_USAGE usage) {
  auto texture = NewFrameTexture(FrameDesc(picture.width, picture.height, format, usage));
  fake::Draw(texture.get(), picture);
  return texture;
}

D3D11_TEXTURE2D_DESC LayeredFrameDesc(DXGI_FORMAT format) {
  D3D11_TEXTURE2D_DESC desc = FrameDesc(64, 48, format);
  desc.MipLevels = 3;
  desc.ArraySize = 2;
  desc.SampleDesc = {4, 1};
  desc.MiscFlags = D3D11_RESOURCE_MISC_SHARED;
  return desc;
}

void DeliverAnySize(const Picture& picture, DXGI_FORMAT format) {
  fake::FramePool* const pool = fake::LastPool();
  ASSERT_TRUE(pool->DeliverTexture(NewFrameTexture(picture, format).get(), pool->Size()));
}

void PumpAsTheHost() {
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
}

std::vector<std::string> LinesWith(std::string_view part,
                                   const std::vector<std::string>& recording) {
  std::vector<std::string> lines;
  std::copy_if(recording.begin(), recording.end(), std::back_inserter(lines),
               [=](const std::string& line) { return line.find(part) != std::string::npos; });
  return lines;
}

void SessionTest::SetUp() {
  fake::Reset();
  TakeLog();
  wgc_register_logger(OnLog);
  objects_before_ = fake::LiveObjects();
}

void SessionTest::TearDown() {
  wgc_register_logger(nullptr);
  EXPECT_EQ(fake::LiveObjects(), objects_before_)
      << "objects are left; in texture output Pixels() releases the reference of a poll";
  EXPECT_EQ(fake::HeapBytes(), 0);
  const std::vector<std::string> refusals = fake::TakeRefusals();
  if (!refusals_expected_) {
    EXPECT_EQ(refusals, std::vector<std::string>());
  }
  fake::Reset();
}

}  // namespace session_test
