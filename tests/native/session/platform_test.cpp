// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The native tests' own platform: its programs find what the definition of a change says, its
// memory detects a stray read, and its counters detect a leak.
#include <cstring>
#include <random>

#include "diff/FrameDiffRectsCS.h"
#include "native/host.h"
#include "native/platform/programs.h"

namespace session_test {
namespace {

class Platform : public SessionTest {
 protected:
  void SetUp() override {
    SessionTest::SetUp();
    device_.attach(fake::NewDevice());
    device_->GetImmediateContext(context_.put());
  }
  void TearDown() override {
    context_ = nullptr;
    device_ = nullptr;
    SessionTest::TearDown();
  }

  winrt::com_ptr<ID3D11Texture2D> NewTexture(uint32_t width, uint32_t height,
                                             D3D11_USAGE usage = D3D11_USAGE_DEFAULT) {
    const auto desc = fake::FrameDesc(width, height, DXGI_FORMAT_B8G8R8A8_UNORM, usage);
    return {fake::NewTexture(device_.get(), desc), winrt::take_ownership_from_abi};
  }

  winrt::com_ptr<ID3D11Device> device_;
  winrt::com_ptr<ID3D11DeviceContext> context_;
};

fake::Storage Stored(uint32_t row_bytes, uint32_t width, uint32_t height, bool is_buffer) {
  return {fake::Memory(row_bytes, height),
          DXGI_FORMAT_UNKNOWN,
          D3D11_USAGE_DEFAULT,
          0,
          width,
          height,
          is_buffer,
          nullptr,
          nullptr};
}

fake::Storage Stored(const Picture& image) {
  fake::Storage storage = Stored(image.width * 4, image.width, image.height, false);
  std::memcpy(storage.memory.Write(0), image.pixels.data(), image.pixels.size() * 4);
  return storage;
}

fake::Storage Constants(const uint32_t (&values)[4]) {
  fake::Storage storage = Stored(16, 16, 1, true);
  std::memcpy(storage.memory.Write(0), values, sizeof(values));
  return storage;
}

// The three programs in their order, on the smallest dispatch that covers the frame.
std::vector<uint32_t> FlagsOf(const Picture& before, const Picture& after) {
  const uint32_t columns = (after.width + 31) / 32;
  const uint32_t rows = (after.height + 31) / 32;
  const fake::Storage now = Stored(after);
  const fake::Storage then = Stored(before);
  const fake::Storage frame = Constants({after.width, after.height, 32, 32});
  const fake::Storage grid = Constants({4, rows, columns, (columns + 31) / 32});
  fake::Storage light = Stored(after.width, after.width, after.height, false);
  fake::Storage flags = Stored(16 * rows, 16 * rows, 1, true);
  std::memset(flags.memory.Write(0), 0xFF, 16 * rows);
  fake::Run(fake::Program::kResetDiffRects, {nullptr, {}, {&flags, nullptr}}, (4 * rows + 15) / 16,
            1);
  fake::Run(fake::Program::kFrameDiffRects, {&frame, {&now, &then}, {&light, nullptr}},
            (columns + 15) / 16, (rows + 15) / 16);
  fake::Run(fake::Program::kGetBitFlag, {&grid, {}, {&light, &flags}}, 1, (rows + 15) / 16);
  std::vector<uint32_t> words(4 * rows);
  std::memcpy(words.data(), flags.memory.Read(0), 16 * rows);
  return words;
}

TEST_F(Platform, ProgramsFlagTheTilesThatChanged) {
  std::mt19937 random(7);
  for (int round = 0; round < 60; ++round) {
    const uint32_t width = 1 + random() % (round % 10 == 0 ? 4300 : 300);
    const uint32_t height = 1 + random() % (round % 10 == 0 ? 70 : 200);
    const Picture before = Pattern(width, height, round + 1);
    Picture after = before;
    for (uint32_t i = random() % 12; i > 0; --i) {
      // One channel, alpha among them.
      after.At(random() % width, random() % height) ^= 1u << random() % 32;
    }
    EXPECT_EQ(FlagsOf(before, after), reference::FlagWords(reference::ChangedTiles(before, after)))
        << width << "x" << height << ", round " << round;
  }
}

TEST_F(Platform, KnowsTheThreeProgramsByTheirBytes) {
  EXPECT_EQ(fake::ProgramOf(szFrameDiffRectsCS, sizeof(szFrameDiffRectsCS)),
            fake::Program::kFrameDiffRects);
  EXPECT_EQ(fake::ProgramOf(szFrameDiffRectsCS, sizeof(szFrameDiffRectsCS) - 1), std::nullopt);
}

TEST_F(Platform, OnlyStagingTexturesCanBeRead) {
  D3D11_MAPPED_SUBRESOURCE mapped{};
  const auto gpu_only = NewTexture(8, 4);
  EXPECT_EQ(context_->Map(gpu_only.get(), 0, D3D11_MAP_READ, 0, &mapped), E_INVALIDARG);

  const auto staging = NewTexture(8, 4, D3D11_USAGE_STAGING);
  fake::Draw(gpu_only.get(), Pattern(8, 4));
  context_->CopyResource(staging.get(), gpu_only.get());
  ASSERT_EQ(context_->Map(staging.get(), 0, D3D11_MAP_READ, 0, &mapped), S_OK);
  EXPECT_EQ(mapped.RowPitch, 8u * 4 + 64);
  EXPECT_EQ(std::memcmp(static_cast<uint8_t*>(mapped.pData) + mapped.RowPitch,
                        &Pattern(8, 4).pixels[8], 8 * 4),
            0);
  context_->Unmap(staging.get(), 0);
}

TEST_F(Platform, CopyBetweenDifferentTexturesIsDroppedAndReported) {
  const auto narrow = NewTexture(8, 4);
  const auto wide = NewTexture(9, 4);
  fake::Draw(wide.get(), Pattern(9, 4));
  context_->CopyResource(narrow.get(), wide.get());
  EXPECT_EQ(fake::TakeRefusals().size(), 1u);
  EXPECT_EQ(fake::PixelsOf(narrow.get()), Picture(8, 4));
}

TEST_F(Platform, CountsLiveObjects) {
  const int64_t before = fake::LiveObjects();
  auto texture = NewTexture(8, 4);
  EXPECT_EQ(fake::LiveObjects(), before + 1);
  texture = nullptr;
  EXPECT_EQ(fake::LiveObjects(), before);
}

TEST_F(Platform, BoundObjectsDoNotKeepTheDevice) {
  winrt::com_ptr<ID3D11ComputeShader> shader;
  ASSERT_EQ(
      device_->CreateComputeShader(szGetBitFlagCS, sizeof(szGetBitFlagCS), nullptr, shader.put()),
      S_OK);
  context_->CSSetShader(shader.get(), nullptr, 0);
  shader = nullptr;
  EXPECT_EQ(fake::LiveObjects(), 3);
  context_ = nullptr;
  device_ = nullptr;
  EXPECT_EQ(fake::LiveObjects(), 0);
}

#ifdef __SANITIZE_ADDRESS__
using PlatformDeathTest = Platform;

TEST_F(PlatformDeathTest, DetectsAReadBetweenTheRowsAndAfterUnmap) {
  const auto staging = NewTexture(8, 4, D3D11_USAGE_STAGING);
  D3D11_MAPPED_SUBRESOURCE mapped{};
  ASSERT_EQ(context_->Map(staging.get(), 0, D3D11_MAP_READ, 0, &mapped), S_OK);
  const auto* const bytes = static_cast<const volatile uint8_t*>(mapped.pData);
  EXPECT_EQ(bytes[8 * 4 - 1], 0);
  EXPECT_DEATH(bytes[8 * 4], "use-after-poison");
  EXPECT_DEATH(bytes[3 * mapped.RowPitch + 8 * 4], "heap-buffer-overflow");
  context_->Unmap(staging.get(), 0);
  EXPECT_DEATH(bytes[0], "heap-use-after-free");
}
#endif

}  // namespace
}  // namespace session_test
