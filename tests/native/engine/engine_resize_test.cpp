// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What the engine builds for a frame's size: in which order, from which descriptions, and where a
// build ends that fails.
#include <gtest/gtest.h>

#include "native/engine/engine_fixture.h"

namespace session_test {

// Reads the engine's constant buffers; see session_state.h.
template <typename Tag, auto Member>
struct RevealEngine {
  friend auto& Read(Tag, FrameDiffEngine& engine) { return engine.*Member; }
};
struct TexInfoBuffer {};
struct TexBuffer {};
auto& Read(TexInfoBuffer, FrameDiffEngine&);
auto& Read(TexBuffer, FrameDiffEngine&);
template struct RevealEngine<TexInfoBuffer, &FrameDiffEngine::texInfoBuffer>;
template struct RevealEngine<TexBuffer, &FrameDiffEngine::texBuffer>;

namespace {

using fake::Fault;

struct SizeCase {
  uint32_t width;
  uint32_t height;
  BuildNumbers numbers;
  std::vector<uint32_t> tex_info;
  std::vector<uint32_t> buff;
};

const SizeCase kSizes[] = {
    {1,
     1,
     {"1x1", "1x1", "16", "4", "{1, 1, 32, 32}", "{4, 1, 1, 1}"},
     {1, 1, 32, 32},
     {4, 1, 1, 1}},
    {31,
     33,
     {"31x33", "1x2", "32", "8", "{31, 33, 32, 32}", "{4, 2, 1, 1}"},
     {31, 33, 32, 32},
     {4, 2, 1, 1}},
    {64, 48, k64x48, {64, 48, 32, 32}, {4, 2, 2, 1}},
    {1024,
     32,
     {"1024x32", "32x1", "16", "4", "{1024, 32, 32, 32}", "{4, 1, 32, 1}"},
     {1024, 32, 32, 32},
     {4, 1, 32, 1}},
    {1366,
     768,
     {"1366x768", "43x24", "384", "96", "{1366, 768, 32, 32}", "{4, 24, 43, 2}"},
     {1366, 768, 32, 32},
     {4, 24, 43, 2}},
    {4200,
     100,
     {"4200x100", "132x4", "64", "16", "{4200, 100, 32, 32}", "{4, 4, 132, 5}"},
     {4200, 100, 32, 32},
     {4, 4, 132, 5}},
};

class EngineResize : public EngineTest {};

TEST_F(EngineResize, BuildsEachSizeInOrder) {
  for (const SizeCase& size : kSizes) {
    SCOPED_TRACE(size.numbers.frame);
    FrameDiffEngine engine;
    Init(engine);
    const Calls expected = ResizeCalls(size.numbers);
    fake::StartRecording();
    EXPECT_TRUE(engine.Resize(fake::FrameDesc(size.width, size.height)));
    EXPECT_EQ(names.Read(fake::TakeRecording(), expected), Text(expected));
    EXPECT_FALSE(engine.IsSizeChanged(size.width, size.height));
    EXPECT_TRUE(engine.IsSizeChanged(size.width + 1, size.height));
    EXPECT_TRUE(engine.IsSizeChanged(size.width, size.height + 1));
  }
}

// The map discards what the initial data gave, so this is what the map's copy left.
TEST_F(EngineResize, ConstantsAreThereAfterTheDiscardingMap) {
  for (const SizeCase& size : kSizes) {
    SCOPED_TRACE(size.numbers.frame);
    FrameDiffEngine engine;
    ASSERT_TRUE(engine.Init(device, context));
    ASSERT_TRUE(engine.Resize(fake::FrameDesc(size.width, size.height)));
    EXPECT_EQ(fake::WordsOf(Read(TexInfoBuffer{}, engine).get()), size.tex_info);
    EXPECT_EQ(fake::WordsOf(Read(TexBuffer{}, engine).get()), size.buff);
  }
}

// Mips, layers, format and samples are the frame's; how the frame is used is its own business.
TEST_F(EngineResize, TakesTheLayoutOfTheFrameAndNotItsUse) {
  D3D11_TEXTURE2D_DESC desc{};
  desc.Width = 64;
  desc.Height = 48;
  desc.MipLevels = 3;
  desc.ArraySize = 2;
  desc.Format = DXGI_FORMAT_R8G8B8A8_UNORM;
  desc.SampleDesc = {4, 1};
  desc.Usage = D3D11_USAGE_DYNAMIC;
  desc.BindFlags = D3D11_BIND_DECODER;
  desc.CPUAccessFlags = D3D11_CPU_ACCESS_WRITE;
  desc.MiscFlags = D3D11_RESOURCE_MISC_SHARED;

  BuildNumbers numbers = k64x48;
  numbers.format = "28";
  numbers.layout = "mips 3 layers 2";
  numbers.samples = "4/1";

  FrameDiffEngine engine;
  Init(engine);
  const Calls expected = ResizeCalls(numbers);
  fake::StartRecording();
  EXPECT_TRUE(engine.Resize(desc));
  EXPECT_EQ(names.Read(fake::TakeRecording(), expected), Text(expected));
}

// Before each object of a second build is made, its predecessor is let go.
TEST_F(EngineResize, ReleasesEachPredecessorRightBeforeItsSuccessorIsMade) {
  FrameDiffEngine engine;
  Build(engine, k64x48, 64, 48);

  Calls expected;
  for (const std::string& line : ResizeCalls(kSizes[4].numbers)) {
    if (const size_t made = line.find(") = "); made != std::string::npos) {
      expected.push_back(line.substr(made + 4) + ".Release()");
    }
    expected.push_back(line);
  }
  fake::StartRecording(true);
  EXPECT_TRUE(engine.Resize(fake::FrameDesc(1366, 768)));
  const Calls recording = WithoutEnds(fake::TakeRecording());
  EXPECT_EQ(names.Read(recording, expected), Text(expected));
  EXPECT_FALSE(engine.IsSizeChanged(1366, 768));
}

// Codes that say how a call went well, other than S_OK, are no failures.
TEST_F(EngineResize, OnlyNegativeResultsAreFailures) {
  FrameDiffEngine engine;
  fake::PlanFaults([](const fake::FailableCall&) {
    return std::optional(Fault{Fault::Kind::kResultAfterWork, S_FALSE});
  });
  Init(engine);
  const Calls expected = ResizeCalls(k64x48);
  fake::StartRecording();
  EXPECT_TRUE(engine.Resize(fake::FrameDesc(64, 48)));
  EXPECT_EQ(names.Read(fake::TakeRecording(), expected), Text(expected));
}

TEST_F(EngineResize, WithoutDeviceNothingIsCalled) {
  FrameDiffEngine engine;
  fake::StartRecording();
  EXPECT_FALSE(engine.Resize(fake::FrameDesc(64, 48)));
  EXPECT_EQ(Text(fake::TakeRecording()), "");
}

TEST_F(EngineResize, InitWantsDeviceAndContext) {
  FrameDiffEngine engine;
  fake::StartRecording();
  EXPECT_FALSE(engine.Init(nullptr, context));
  EXPECT_FALSE(engine.Init(device, nullptr));
  EXPECT_EQ(Text(fake::TakeRecording()), "");
}

TEST_F(EngineResize, InitEndsAtTheFirstProgramThatCannotBeMade) {
  const Calls all = List(R"(
device.CreateComputeShader(szFrameDiffRectsCS, null)
device.CreateComputeShader(szResetDiffRectsCS, null)
device.CreateComputeShader(szGetBitFlagCS, null)
)");
  for (const Fault fault :
       {Fault{Fault::Kind::kResult, E_FAIL}, Fault{Fault::Kind::kNothing, S_OK}}) {
    for (size_t n = 1; n <= all.size(); ++n) {
      SCOPED_TRACE(n);
      FrameDiffEngine engine;
      fake::PlanFaults(fake::NthCall(n, fault));
      fake::StartRecording();
      EXPECT_FALSE(engine.Init(device, context));
      Calls recording;
      for (const std::string& line : fake::TakeRecording()) {
        recording.push_back(line.substr(0, line.find(" = ")));
      }
      EXPECT_EQ(names.Read(recording, {}), Text(Calls(all.begin(), all.begin() + n)));
    }
  }
}

// Each call of a build that can fail, failed in each way.
class EngineResizeFailure : public EngineTest, public testing::WithParamInterface<size_t> {
 protected:
  // The calls of a build in the order in which they can fail.
  static constexpr size_t kFailableCalls = 22;

  // The list up to the n-th call that can fail.
  static Calls UpTo(const Calls& all, size_t n) {
    Calls some;
    for (const std::string& line : all) {
      some.push_back(line);
      if ((Has(line, "device.Create") || Has(line, "context.Map(")) && --n == 0) return some;
    }
    ADD_FAILURE() << "too few calls";
    return some;
  }

  static std::string WithoutResult(const std::string& line) {
    return line.substr(0, line.find(" = "));
  }

  void Fail(FrameDiffEngine& engine, Fault fault, const Calls& expected, bool built = false) {
    fake::PlanFaults(fake::NthCall(GetParam(), fault));
    fake::StartRecording();
    EXPECT_EQ(engine.Resize(fake::FrameDesc(64, 48)), built);
    EXPECT_EQ(names.Read(fake::TakeRecording(), expected), Text(expected));
    EXPECT_EQ(fake::FaultsInjected(), 1u);
    fake::PlanNoFaults();
    // The size counts as taken.
    EXPECT_FALSE(engine.IsSizeChanged(64, 48));
    EXPECT_TRUE(engine.IsSizeChanged(0, 0));
  }
};

INSTANTIATE_TEST_SUITE_P(EachCall, EngineResizeFailure, testing::Range<size_t>(1, 23));

// That the numbers from 1 on reach all of them.
TEST_F(EngineResize, ABuildHas22CallsThatCanFail) {
  FrameDiffEngine engine;
  Init(engine);
  fake::PlanNoFaults();
  EXPECT_TRUE(engine.Resize(fake::FrameDesc(64, 48)));
  EXPECT_EQ(fake::FailableCalls(), 22u);
}

TEST_P(EngineResizeFailure, EndsTheBuildThere) {
  FrameDiffEngine engine;
  Init(engine);
  Calls expected = UpTo(ResizeCalls(k64x48), GetParam());
  expected.back() = WithoutResult(expected.back());
  Fail(engine, {Fault::Kind::kResult, E_OUTOFMEMORY}, expected);
}

TEST_P(EngineResizeFailure, EndsTheBuildThereThoughTheWorkWasDone) {
  FrameDiffEngine engine;
  Init(engine);
  Fail(engine, {Fault::Kind::kResultAfterWork, DXGI_ERROR_DEVICE_REMOVED},
       UpTo(ResizeCalls(k64x48), GetParam()));
}

TEST_P(EngineResizeFailure, SuccessWithNothingIsAFailureOfWhateverMakesSomething) {
  FrameDiffEngine engine;
  Init(engine);
  const Calls all = ResizeCalls(k64x48);
  Calls expected = UpTo(all, GetParam());
  const std::string last = expected.back();
  if (Has(last, "Map(RamBuff")) {
    // A row pitch of zero is no failure: there is then nothing to clear.
    Fail(engine, {Fault::Kind::kNothing, S_OK}, all, true);
    return;
  }
  if (Has(last, "Map(")) {
    // The constants have no place to go to; the buffer is unmapped, and that is the end.
    expected = Calls(all.begin(), all.begin() + static_cast<ptrdiff_t>(expected.size()) + 1);
  } else {
    expected.back() = WithoutResult(last);
  }
  Fail(engine, {Fault::Kind::kNothing, S_OK}, expected);
}

// What a build that failed leaves: detection stays away while something that it needs is missing.
// Only when the very last map fails is everything there.
TEST_P(EngineResizeFailure, DetectsNothingAfterAFirstBuildThatFailed) {
  FrameDiffEngine engine;
  Init(engine);
  fake::PlanFaults(fake::NthCall(GetParam(), {Fault::Kind::kResult, E_FAIL}));
  fake::StartRecording();
  EXPECT_FALSE(engine.Resize(fake::FrameDesc(64, 48)));
  const Calls built = UpTo(ResizeCalls(k64x48), GetParam());
  names.Read(fake::TakeRecording(), built);
  fake::PlanNoFaults();

  const auto source = Source(Pattern(64, 48));
  std::vector<D3D11_BOX> rects;
  float ratio = 0.5f;
  const bool complete = GetParam() == kFailableCalls;
  const Calls expected = complete ? DetectCalls("1", "1", "1") : Calls();
  fake::StartRecording();
  EXPECT_EQ(engine.Detect(source.get(), &rects, &ratio), complete);
  EXPECT_EQ(names.Read(fake::TakeRecording(), expected), Text(expected));
  if (!complete) {
    EXPECT_EQ(ratio, 0.5f);
  }
}

// The same over a complete build: what the failed one did not come to is still the old one's, and
// only the object at which it failed is missing.
TEST_P(EngineResizeFailure, DetectsWithWhatIsLeftOfTheBuildBefore) {
  ExpectRefusals();  // frames and textures of different sizes
  FrameDiffEngine engine;
  Init(engine);
  ASSERT_TRUE(engine.Resize(fake::FrameDesc(96, 96)));
  fake::PlanFaults(fake::NthCall(GetParam(), {Fault::Kind::kResult, E_FAIL}));
  EXPECT_FALSE(engine.Resize(fake::FrameDesc(64, 48)));
  fake::PlanNoFaults();

  const std::string failed = UpTo(ResizeCalls(k64x48), GetParam()).back();
  bool needed = false;
  for (const std::string_view name :
       {") = lightTexUAV", ") = newSRV", ") = oldSRV", ") = diffBuffUAV", ") = texBuffer"}) {
    needed = needed || failed.ends_with(name);
  }
  const auto source = Source(Pattern(64, 48));
  std::vector<D3D11_BOX> rects;
  float ratio = 0.5f;
  fake::StartRecording();
  EXPECT_EQ(engine.Detect(source.get(), &rects, &ratio), !needed);
  EXPECT_EQ(fake::TakeRecording().empty(), needed);
}

}  // namespace
}  // namespace session_test
