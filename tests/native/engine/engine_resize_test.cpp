// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What the engine builds for a frame's size: in which order, from which descriptions, and where a
// build ends that fails.
#include <gtest/gtest.h>

#include "native/engine/engine_fixture.h"
#include "native/session_state.h"

namespace session_test {

struct TexInfoBuffer {};
struct TexBuffer {};
auto& Read(TexInfoBuffer, FrameDiffEngine&);
auto& Read(TexBuffer, FrameDiffEngine&);
template struct Reveal<TexInfoBuffer, &FrameDiffEngine::texInfoBuffer, FrameDiffEngine>;
template struct Reveal<TexBuffer, &FrameDiffEngine::texBuffer, FrameDiffEngine>;

namespace {

using fake::Fault;

const BuildNumbers k1366x768{1366, 768, 43, 24, 2};
const BuildNumbers kSizes[] = {{1, 1, 1, 1, 1},      {31, 33, 1, 2, 1}, k64x48,
                               {1024, 32, 32, 1, 1}, k1366x768,         {4200, 100, 132, 4, 5}};

using EngineResize = EngineTest;

TEST_F(EngineResize, BuildsEachSizeInOrder) {
  using Words = std::vector<uint32_t>;
  for (const BuildNumbers& size : kSizes) {
    SCOPED_TRACE(size.width);
    FrameDiffEngine engine;
    Init(engine);
    fake::StartRecording();
    EXPECT_TRUE(engine.Resize(FrameDesc(size.width, size.height)));
    ExpectCalls(ResizeCalls(size));
    EXPECT_FALSE(engine.IsSizeChanged(size.width, size.height));
    EXPECT_TRUE(engine.IsSizeChanged(size.width + 1, size.height));
    EXPECT_TRUE(engine.IsSizeChanged(size.width, size.height + 1));
    // The map discards what the initial data gave, so this is what the map's copy left.
    EXPECT_EQ(fake::WordsOf(Read(TexInfoBuffer{}, engine).get()),
              (Words{size.width, size.height, 32, 32}));
    EXPECT_EQ(fake::WordsOf(Read(TexBuffer{}, engine).get()),
              (Words{4, size.rows, size.columns, size.words}));
  }
}

// Mips, layers, format and samples are the frame's; how the frame is used is its own business.
TEST_F(EngineResize, TakesTheLayoutOfTheFrameAndNotItsUse) {
  D3D11_TEXTURE2D_DESC desc = LayeredFrameDesc(DXGI_FORMAT_R8G8B8A8_UNORM);
  desc.Usage = D3D11_USAGE_DYNAMIC;
  desc.BindFlags = D3D11_BIND_DECODER;
  desc.CPUAccessFlags = D3D11_CPU_ACCESS_WRITE;

  BuildNumbers numbers = k64x48;
  numbers.format = "28";
  numbers.layout = "mips 3 layers 2";
  numbers.samples = "4/1";

  FrameDiffEngine engine;
  Init(engine);
  fake::StartRecording();
  EXPECT_TRUE(engine.Resize(desc));
  ExpectCalls(ResizeCalls(numbers));
}

// Before each object of a second build is made, its predecessor is let go.
TEST_F(EngineResize, ReleasesEachPredecessorRightBeforeItsSuccessorIsMade) {
  FrameDiffEngine engine;
  Build(engine);

  Calls expected;
  for (const std::string& line : ResizeCalls(k1366x768)) {
    if (const size_t made = line.find(") = "); made != std::string::npos) {
      expected.push_back(line.substr(made + 4) + ".Release()");
    }
    expected.push_back(line);
  }
  fake::StartRecording(true);
  EXPECT_TRUE(engine.Resize(FrameDesc(1366, 768)));
  ExpectCalls(expected);
  EXPECT_FALSE(engine.IsSizeChanged(1366, 768));
}

// Codes that say how a call went well, other than S_OK, are no failures.
TEST_F(EngineResize, OnlyNegativeResultsAreFailures) {
  FrameDiffEngine engine;
  fake::PlanFaults([](const fake::FailableCall&) {
    return std::optional(Fault{Fault::Kind::kResultAfterWork, S_FALSE});
  });
  Build(engine);
}

TEST_F(EngineResize, WithoutDeviceNothingIsCalled) {
  FrameDiffEngine engine;
  fake::StartRecording();
  EXPECT_FALSE(engine.Resize(FrameDesc(64, 48)));
  ExpectCalls({});
}

TEST_F(EngineResize, InitWantsDeviceAndContext) {
  FrameDiffEngine engine;
  fake::StartRecording();
  EXPECT_FALSE(engine.Init(nullptr, context));
  EXPECT_FALSE(engine.Init(device, nullptr));
  ExpectCalls({});
}

TEST_F(EngineResize, InitEndsAtTheFirstProgramThatCannotBeMade) {
  for (const Fault fault : {kFails, kGivesNothing}) {
    for (size_t n = 1; n <= InitCalls().size(); ++n) {
      SCOPED_TRACE(n);
      FrameDiffEngine engine;
      fake::PlanFaults(fake::NthCall(n, fault));
      fake::StartRecording();
      EXPECT_FALSE(engine.Init(device, context));
      Calls expected = InitCalls();
      expected.resize(n);
      expected.back() = WithoutResult(expected.back());
      ExpectCalls(expected);
    }
  }
}

// Each call of a build that can fail, failed in each way.
class EngineResizeFailure : public EngineTest {
 protected:
  static bool CanFail(const std::string& line) {
    return Has(line, "device.Create") || Has(line, "context.Map(");
  }

  // fail: with the list up to the n-th call that can fail.
  template <typename Fail>
  void ForEachCall(Fail fail) {
    const Calls all = ResizeCalls(k64x48);
    Calls some;
    uint64_t n = 0;
    for (const std::string& line : all) {
      some.push_back(line);
      if (!CanFail(line)) continue;
      SCOPED_TRACE(line);
      fail(++n, some);
    }
    EXPECT_GT(n, 0u);
  }

  // Initialises an engine, and builds it for 64 x 48 with the n-th call failing.
  void Build(FrameDiffEngine& engine, uint64_t n, Fault fault, const Calls& expected,
             bool built = false) {
    Init(engine);
    fake::PlanFaults(fake::NthCall(n, fault));
    fake::StartRecording();
    EXPECT_EQ(engine.Resize(FrameDesc(64, 48)), built);
    ExpectCalls(expected);
    EXPECT_EQ(fake::FaultsInjected(), 1u);
    fake::PlanNoFaults();
    // The size counts as taken.
    EXPECT_FALSE(engine.IsSizeChanged(64, 48));
    EXPECT_TRUE(engine.IsSizeChanged(0, 0));
  }
};

// What it leaves: detection stays away while something that it needs is missing. Only when the very
// last map fails is everything there.
TEST_F(EngineResizeFailure, EndsTheBuildAndDetectionStaysAway) {
  const auto source = Source(Pattern(64, 48));
  ForEachCall([&](uint64_t n, Calls expected) {
    expected.back() = WithoutResult(expected.back());
    FrameDiffEngine engine;
    Build(engine, n, Failure(E_OUTOFMEMORY), expected);

    const bool complete = Has(expected.back(), "Map(texBuffer");
    fake::StartRecording();
    EXPECT_EQ(engine.Detect(source.get(), &rects, &ratio), complete);
    ExpectCalls(complete ? DetectCalls("1", "1", "1") : Calls());
    EXPECT_EQ(ratio == 0.5f, !complete);
  });
}

TEST_F(EngineResizeFailure, EndsTheBuildThoughTheWorkWasDone) {
  ForEachCall([&](uint64_t n, const Calls& expected) {
    FrameDiffEngine engine;
    Build(engine, n, {Fault::Kind::kResultAfterWork, DXGI_ERROR_DEVICE_REMOVED}, expected);
  });
}

TEST_F(EngineResizeFailure, SuccessWithNothingIsAFailureOfWhateverMakesSomething) {
  const Calls all = ResizeCalls(k64x48);
  ForEachCall([&](uint64_t n, Calls expected) {
    FrameDiffEngine engine;
    // A row pitch of zero is no failure: there is then nothing to clear.
    const bool of_flags = Has(expected.back(), "Map(RamBuff");
    if (of_flags) {
      expected = all;
    } else if (Has(expected.back(), "Map(")) {
      // The constants have no place to go to; the buffer is unmapped, and that is the end.
      expected.push_back(all[expected.size()]);
    } else {
      expected.back() = WithoutResult(expected.back());
    }
    Build(engine, n, kGivesNothing, expected, of_flags);
  });
}

// What a failed build did not come to is still the old one's, and only the object at which it
// failed is missing.
TEST_F(EngineResizeFailure, DetectsWithWhatIsLeftOfTheBuildBefore) {
  ExpectRefusals();  // frames and textures of different sizes
  const auto source = Source(Pattern(64, 48));
  ForEachCall([&](uint64_t n, const Calls& some) {
    FrameDiffEngine engine;
    Init(engine);
    ASSERT_TRUE(engine.Resize(FrameDesc(96, 96)));
    fake::PlanFaults(fake::NthCall(n, kFails));
    EXPECT_FALSE(engine.Resize(FrameDesc(64, 48)));
    fake::PlanNoFaults();

    bool needed = false;
    for (const std::string_view name :
         {") = lightTexUAV", ") = newSRV", ") = oldSRV", ") = diffBuffUAV", ") = texBuffer"}) {
      needed = needed || some.back().ends_with(name);
    }
    fake::StartRecording();
    EXPECT_EQ(engine.Detect(source.get(), &rects, &ratio), !needed);
    EXPECT_EQ(fake::TakeRecording().empty(), needed);
  });
}

}  // namespace
}  // namespace session_test
