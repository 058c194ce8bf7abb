// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// A frame with each of its calls made to fail.
#include <algorithm>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "native/failures.h"
#include "native/session_state.h"

namespace session_test {
namespace {

using fake::SizeInt32;
using reference::Image;

constexpr SizeInt32 kUsual{96, 80};
constexpr SizeInt32 kLarger{160, 112};
constexpr SizeInt32 kAnother{128, 96};

Image PatternOf(SizeInt32 size, uint32_t seed) {
  return Pattern(static_cast<uint32_t>(size.Width), static_cast<uint32_t>(size.Height), seed);
}

bool SameSize(SizeInt32 left, SizeInt32 right) {
  return left.Width == right.Width && left.Height == right.Height;
}

float RatioOf(const Image& before, const Image& after) {
  return reference::Ratio(reference::DiffOf(before, after).area, after.width, after.height);
}

enum class Frame {
  kFirst,
  kUnchanged,
  kChanged,
  kOfNewContentSize,  // of the size before, but the pool has to follow
  kLarger,            // of the size that the pool has followed to
};

enum class Output { kBuffer, kBufferSimply, kTexture };

struct FrameCase {
  const char* name;
  Output output;
  bool detection;
  Frame frame;

  friend std::ostream& operator<<(std::ostream& out, const FrameCase& frame) {
    return out << frame.name;
  }
};

constexpr FrameCase kCases[] = {
    {"BufferFirst", Output::kBuffer, false, Frame::kFirst},
    {"BufferNext", Output::kBuffer, false, Frame::kChanged},
    {"BufferOfNewContentSize", Output::kBuffer, false, Frame::kOfNewContentSize},
    {"BufferLarger", Output::kBuffer, false, Frame::kLarger},
    {"BufferSimplyFirst", Output::kBufferSimply, false, Frame::kFirst},
    {"BufferSimplyLarger", Output::kBufferSimply, false, Frame::kLarger},
    {"BufferDetectedFirst", Output::kBuffer, true, Frame::kFirst},
    {"BufferDetectedUnchanged", Output::kBuffer, true, Frame::kUnchanged},
    {"BufferDetectedChanged", Output::kBuffer, true, Frame::kChanged},
    {"BufferDetectedOfNewContentSize", Output::kBuffer, true, Frame::kOfNewContentSize},
    {"BufferDetectedLarger", Output::kBuffer, true, Frame::kLarger},
    {"TextureFirst", Output::kTexture, false, Frame::kFirst},
    {"TextureNext", Output::kTexture, false, Frame::kChanged},
    {"TextureOfNewContentSize", Output::kTexture, false, Frame::kOfNewContentSize},
    {"TextureLarger", Output::kTexture, false, Frame::kLarger},
    {"TextureDetectedFirst", Output::kTexture, true, Frame::kFirst},
    {"TextureDetectedChanged", Output::kTexture, true, Frame::kChanged},
    {"TextureDetectedOfNewContentSize", Output::kTexture, true, Frame::kOfNewContentSize},
    {"TextureDetectedLarger", Output::kTexture, true, Frame::kLarger},
};

enum class Shown {
  kFrame,     // this frame, to the last pixel
  kOld,       // what was there before, if anything
  kNothing,   // nothing more, with the size of before
  kUncopied,  // a buffer of the frame's size that nothing was copied to
  kBlank,     // a texture of the frame's size that nothing was copied to, with the size of before
};

// What becomes of the engine that looks for changes.
enum class Engine {
  kWorks,
  kBroken,   // detects nothing: every frame is copied
  kFromNow,  // built, but has seen no frame
  kMixed,    // of resources for two sizes: what it tells is not relied on
};

// What becomes of one frame.
struct Outcome {
  HRESULT handler = S_OK;
  Shown shown = Shown::kFrame;
  float ratio = 0;
  bool stays_in_pool = false;
  bool pool_follows = true;
  std::vector<LogLine> log;
  Engine engine = Engine::kWorks;
  bool staging_stays_mapped = false;
};

class FrameScenario : public Scenario {
 public:
  explicit FrameScenario(const FrameCase& frame)
      : case_(frame),
        first_(PatternOf(kUsual, 1)),
        frame_(case_.frame == Frame::kLarger ? PatternOf(kLarger, 2) : first_) {
    fake::settings.item_width = kUsual.Width;
    fake::settings.item_height = kUsual.Height;
    // One tile of the four that are looked at.
    if (case_.frame != Frame::kUnchanged && case_.frame != Frame::kLarger) frame_.At(40, 7) ^= 0xFF;
  }

  void Prepare() override {
    session_.ToTexture(IsTexture());
    session_.DirtyRect(case_.detection);
    ASSERT_TRUE(session_.Start());
    if (case_.frame == Frame::kFirst) return;
    const SizeInt32 content = case_.frame == Frame::kLarger ? kLarger : kUsual;
    ASSERT_TRUE(Pool().Deliver(first_, content));
    old_ = first_;
    ExpectPoll(session_.GetFrame(), first_);
    session_.Ratio();
  }

  void Act() override {
    delivered_ = case_.frame == Frame::kOfNewContentSize ? Pool().Deliver(frame_, kAnother)
                                                         : Pool().Deliver(frame_);
    poll_ = session_.GetFrame();
  }

  // The persistent staging texture, so that the frame is read in another way.
  fake::FaultPlan AlwaysFailing() override {
    if (case_.output != Output::kBufferSimply) return {};
    return fake::CallsOf("CreateTexture2D", {1}, kFails);
  }

  // Memory is there or is not.
  bool IsSpared(const Injection& injection) override {
    return injection.Is("malloc") && injection.fault.kind != fake::Fault::Kind::kResult;
  }

  bool ExpectsRefusals() override { return refusals_expected_; }

  void Check(const Injection* injection) override {
    EXPECT_TRUE(delivered_);
    outcome_ = OutcomeOf(injection);
    // Copies into what is mapped, or between resources for two sizes.
    refusals_expected_ = outcome_.staging_stays_mapped || outcome_.engine == Engine::kMixed ||
                         (outcome_.engine == Engine::kBroken && case_.frame == Frame::kLarger);
    CheckShown(outcome_.shown, frame_);
    EXPECT_EQ(session_.Ratio(), outcome_.ratio);
    EXPECT_EQ(Pool().HandlerResult(), outcome_.handler);
    EXPECT_EQ(Pool().FramesWaiting(), outcome_.stays_in_pool ? 1u : 0u);
    const bool follows = case_.frame == Frame::kOfNewContentSize && outcome_.pool_follows;
    const SizeInt32 before = case_.frame == Frame::kLarger ? kLarger : kUsual;
    EXPECT_TRUE(SameSize(Pool().Size(), follows ? kAnother : before));
    ExpectLog(outcome_.log);
    EXPECT_TRUE(session_.Running());
    EXPECT_FALSE(IsExitRequested(session_.handle()));
    Recover();
    session_.Destroy();
    ExpectLog({Info("Try to exit wgc thread"), Info("Wgc exit.")});
  }

  // Rectangles need memory when more are found than ever before.
  void CheckOutOfMemory() override {
    EXPECT_EQ(Pool().HandlerResult(), E_OUTOFMEMORY);
    CheckShown(Shown::kOld, frame_);
    ExpectLog({});
    session_.Ratio();
    Recover();
  }

  bool IsTexture() const { return case_.output == Output::kTexture; }

 private:
  static fake::FramePool& Pool() { return *fake::LastPool(); }

  float UndisturbedRatio() const {
    if (case_.output == Output::kBufferSimply) return 0;
    if (!case_.detection) return 1;
    if (IsTexture()) return Rebuilds() ? 0 : RatioOf(Image(frame_.width, frame_.height), frame_);
    return Rebuilds() ? 1 : RatioOf(old_, frame_);
  }

  bool Rebuilds() const { return case_.frame == Frame::kFirst || case_.frame == Frame::kLarger; }

  Outcome OutcomeOf(const Injection* injection) const {
    Outcome outcome;
    outcome.ratio = UndisturbedRatio();
    if (!injection) return outcome;
    const bool nothing = injection->IsEmptySuccess();

    if (injection->Is("TryGetNextFrame")) {
      outcome = Lost(nothing ? S_OK : injection->fault.result);
      outcome.stays_in_pool = !injection->IsAfterWork();
      return outcome;
    }
    if (injection->Is("get_ContentSize") && nothing) {
      // No content, and no pool for it either. The frame has been read by then.
      outcome.handler = E_INVALIDARG;
      outcome.pool_follows = false;
      return outcome;
    }
    if (injection->IsOneOf({"get_ContentSize", "get_Surface", "QueryInterface", "GetInterface"})) {
      return Lost(injection->Result());
    }
    if (injection->Is("Recreate")) {
      outcome.handler = injection->fault.result;
      outcome.pool_follows = injection->IsAfterWork();
      return outcome;
    }
    if (IsOfEngineBuild(*injection)) {
      outcome.engine = EngineAfter(*injection);
    } else if (injection->Is("Map") && injection->IsOn("buffer")) {
      // A frame whose flags cannot be read was not compared; in texture output nobody minds.
      outcome.ratio = IsTexture() ? 0 : 1;
    } else if (IsTexture()) {
      outcome.shown = injection->IsAfterWork() ? Shown::kBlank : Shown::kNothing;
      outcome.ratio = 0;
    } else if (case_.output == Output::kBufferSimply) {
      SimpleWayFails(*injection, outcome);
    } else {
      UsualWayFails(*injection, outcome);
    }
    return outcome;
  }

  // The handler ends before it has looked at the frame.
  static Outcome Lost(HRESULT handler) {
    Outcome outcome;
    outcome.handler = handler;
    outcome.shown = Shown::kOld;
    outcome.ratio = 0;
    outcome.pool_follows = false;
    return outcome;
  }

  // Its other way brings the frame all the same.
  void UsualWayFails(const Injection& injection, Outcome& outcome) const {
    if (injection.Is("CreateTexture2D")) {
      // Not even begun, so the ratio is nobody's yet.
      outcome.ratio = 0;
    } else if (injection.Is("Map")) {
      if (injection.IsEmptySuccess()) outcome.shown = Shown::kUncopied;
      outcome.staging_stays_mapped = injection.IsAfterWork();
    } else {
      EXPECT_EQ(injection.function, "malloc");
      outcome.log = AllocationLines();
      outcome.staging_stays_mapped = true;
    }
  }

  // There is no other way left.
  void SimpleWayFails(const Injection& injection, Outcome& outcome) const {
    outcome.shown = Shown::kOld;
    if (injection.Is("Map")) {
      // Only one answer to the first map leads to a texture of its own. The frame's own has no
      // pixels to map, so that is the answer whatever else is done.
      const bool first = injection.nth == 1;
      const bool usual = injection.IsAfterWork() || injection.fault.result == E_INVALIDARG;
      if (first && usual) outcome.shown = Shown::kFrame;
      if (first ? !usual : injection.IsEmptySuccess()) outcome.shown = Shown::kUncopied;
    } else if (injection.Is("malloc")) {
      if (case_.frame == Frame::kLarger) outcome.shown = Shown::kNothing;
      outcome.log = AllocationLines();
    } else {
      EXPECT_EQ(injection.function, "CreateTexture2D");
    }
  }

  // A growth that fails is silent.
  std::vector<LogLine> AllocationLines() const {
    if (case_.frame == Frame::kLarger) return {};
    return {Error("Failed to allocate 30KB")};
  }

  // The first texture is the session's own.
  bool IsOfEngineBuild(const Injection& injection) const {
    if (!case_.detection || !Rebuilds()) return false;
    if (injection.Is("Map")) return injection.IsOn("buffer");
    return injection.function.starts_with("Create") &&
           !(injection.Is("CreateTexture2D") && injection.nth == 1);
  }

  // The maps are those of the numbers of the comparison, of the flags and of the numbers of the
  // flags. Of the flags only the row length is asked for, and that matters to nobody.
  Engine EngineAfter(const Injection& injection) const {
    const bool flag_map = injection.Is("Map") && injection.IsOn("buffer") &&
                          !IsLastMap(injection) && injection.IsAfter("CreateBuffer", 2);
    if (flag_map && injection.IsEmptySuccess()) return Engine::kWorks;
    // Of what detection asks for, the numbers of the flags come last. They are filled when they are
    // made, so the map that fills them again is of no account.
    const bool last_buffer = injection.Is("CreateBuffer") && injection.IsLast();
    if (IsLastMap(injection) || (last_buffer && injection.IsAfterWork())) return Engine::kFromNow;
    if (case_.frame == Frame::kFirst) return Engine::kBroken;
    // What detection cannot do without, beside these: both views of frames, those of measures and
    // flags.
    const bool needed = last_buffer || injection.Is("CreateShaderResourceView") ||
                        (injection.Is("CreateUnorderedAccessView") && injection.nth > 1);
    return needed && !injection.IsAfterWork() ? Engine::kBroken : Engine::kMixed;
  }

  static bool IsLastMap(const Injection& injection) {
    return injection.Is("Map") &&
           std::none_of(injection.steps.begin() + injection.number, injection.steps.end(),
                        [](const Step& other) { return other.Is("Map") && other.IsOn("buffer"); });
  }

  static void ExpectPoll(const Poll& poll, const Image& picture) {
    ASSERT_TRUE(poll.available);
    EXPECT_EQ(std::pair(poll.width, poll.height), std::pair(picture.width, picture.height));
    EXPECT_EQ(Pixels(poll), picture);
  }

  void CheckShown(Shown shown, const Image& frame) {
    switch (shown) {
      case Shown::kFrame:
        return ExpectPoll(poll_, frame);
      case Shown::kOld:
        if (old_.width > 0) return ExpectPoll(poll_, old_);
        [[fallthrough]];
      case Shown::kNothing:
        EXPECT_FALSE(poll_.available);
        EXPECT_EQ(poll_.frame, kUntouched);
        EXPECT_EQ(std::pair(poll_.width, poll_.height), std::pair(old_.width, old_.height));
        return;
      case Shown::kUncopied:
        // The same pixels as before, new room in zeros, or a first buffer as it comes.
        if (case_.frame == Frame::kLarger)
          return ExpectPoll(poll_, Image(frame.width, frame.height));
        if (old_.width > 0) return ExpectPoll(poll_, old_);
        EXPECT_TRUE(poll_.available);
        EXPECT_EQ(std::pair(poll_.width, poll_.height), std::pair(frame.width, frame.height));
        EXPECT_GE(BufferCapacityOf(session_.handle()), frame.pixels.size() * sizeof(uint32_t));
        return;
      case Shown::kBlank:
        ASSERT_TRUE(poll_.available);
        EXPECT_EQ(std::pair(poll_.width, poll_.height), std::pair(old_.width, old_.height));
        EXPECT_EQ(Pixels(poll_), Image(frame.width, frame.height));
        return;
    }
  }

  // Goes on with an untouched platform, to frames that are right again.
  void Recover() {
    if (outcome_.stays_in_pool) {
      Pool().RaiseFrameArrived();
      ExpectPoll(session_.GetFrame(), frame_);
      session_.Ratio();
    }
    if (case_.frame == Frame::kOfNewContentSize) {
      // A pool that has not followed does so with the next frame of that content, unless the
      // platform has said that it has.
      ASSERT_TRUE(Pool().Deliver(PatternOf(Pool().Size(), ++seed_), kAnother));
      Pixels(session_.GetFrame());
      const bool said = outcome_.handler == S_OK && outcome_.shown == Shown::kFrame;
      EXPECT_TRUE(SameSize(Pool().Size(), kAnother) || (said && !outcome_.pool_follows));
    }
    // What the host did not get it gets when the screen shows it again, whatever the engine has
    // seen.
    if (frame_.width == static_cast<uint32_t>(Pool().Size().Width) &&
        frame_.height == static_cast<uint32_t>(Pool().Size().Height)) {
      ASSERT_TRUE(Pool().Deliver(frame_));
      ExpectPoll(session_.GetFrame(), frame_);
      // And if it is new to the host, the ratio says so.
      const float ratio = session_.Ratio();
      const bool was_shown = outcome_.shown == Shown::kFrame || outcome_.stays_in_pool;
      if (!IsTexture() && !was_shown && old_.pixels != frame_.pixels) {
        EXPECT_GT(ratio, 0.0f);
      }
    }
    TakeLog();
    Image before;
    // The pool may still have to follow the content, and the engine to be rebuilt for it.
    for (const bool settled : {false, false, true}) {
      const Image picture = PatternOf(Pool().Size(), ++seed_);
      ASSERT_TRUE(Pool().Deliver(picture));
      const Poll poll = session_.GetFrame();
      EXPECT_EQ(Pool().HandlerResult(), S_OK);
      EXPECT_EQ(TakeLog(), std::vector<LogLine>());
      ExpectPoll(poll, picture);
      const float ratio = session_.Ratio();
      if (settled) ExpectRatio(ratio, before, picture);
      before = picture;
    }
    if (outcome_.engine == Engine::kBroken || outcome_.engine == Engine::kMixed) Rebuild();
  }

  void ExpectRatio(float ratio, const Image& before, const Image& picture) const {
    if (!case_.detection) {
      EXPECT_EQ(ratio, 1.0f);
    } else if (outcome_.engine == Engine::kBroken) {
      EXPECT_EQ(ratio, IsTexture() ? 0.0f : 1.0f);
    } else if (outcome_.engine == Engine::kMixed) {
      EXPECT_GE(ratio, 0.0f);
      EXPECT_LE(ratio, 1.0f);
    } else {
      // In texture output everything is compared with what the engine was built with, which is
      // nothing.
      EXPECT_EQ(ratio,
                RatioOf(IsTexture() ? Image(picture.width, picture.height) : before, picture));
    }
  }

  // Whatever state a failed rebuild has left, the next one gets over it.
  void Rebuild() {
    const Image last = PatternOf(Pool().Size(), ++seed_);
    ASSERT_TRUE(Pool().Deliver(last, kAnother));
    const Poll poll = session_.GetFrame();
    if (IsTexture()) ExpectPoll(poll, last);
    ASSERT_TRUE(SameSize(Pool().Size(), kAnother));
    session_.Ratio();

    outcome_.engine = Engine::kWorks;
    const Image first = PatternOf(kAnother, ++seed_);
    const Image second = PatternOf(kAnother, ++seed_);
    ASSERT_TRUE(Pool().Deliver(first));
    ExpectPoll(session_.GetFrame(), first);
    EXPECT_EQ(session_.Ratio(), IsTexture() ? 0.0f : 1.0f);
    ASSERT_TRUE(Pool().Deliver(second));
    ExpectPoll(session_.GetFrame(), second);
    ExpectRatio(session_.Ratio(), first, second);
  }

  const FrameCase case_;
  const Image first_;
  Image frame_;
  Image old_;
  uint32_t seed_ = 10;  // of the pictures that follow
  Session session_;
  bool delivered_ = false;
  Poll poll_;
  Outcome outcome_;
  bool refusals_expected_ = false;
};

class FrameFailures : public SessionTest, public testing::WithParamInterface<FrameCase> {
 protected:
  static std::unique_ptr<Scenario> Make() { return std::make_unique<FrameScenario>(GetParam()); }
};

TEST_P(FrameFailures, OfEachCall) {
  EXPECT_GT(Sweep(Make, AllFaults()), 0u);
}

TEST_P(FrameFailures, OfEachAllocation) {
  const bool detects = GetParam().detection && GetParam().frame != Frame::kFirst;
  EXPECT_TRUE(SweepNew(Make) == 0 || detects);
}

using SimpleWay = SessionTest;

// A failed map of the frame itself is no failure unless it says that the GPU alone can reach it:
// what the map has left behind is what is copied.
TEST_F(SimpleWay, CopiesWhatAMapLeavesThoughItReportsFailure) {
  Capture session;
  const Image picture = Pattern(64, 48);
  const auto texture = NewFrameTexture(picture, DXGI_FORMAT_B8G8R8A8_UNORM, D3D11_USAGE_STAGING);
  ASSERT_TRUE(fake::LastPool()->DeliverTexture(texture.get(), {64, 48}));
  fake::PlanFaults([](const fake::FailableCall& call) -> std::optional<fake::Fault> {
    if (call.function == "CreateTexture2D") return kFails;
    if (call.function == "Map") return fake::Fault{fake::Fault::Kind::kResultAfterWork, E_FAIL};
    return std::nullopt;
  });
  const Poll poll = session.GetFrame();
  EXPECT_EQ(fake::FaultsInjected(), 2u);
  fake::PlanNoFaults();
  EXPECT_EQ(Pixels(poll), picture);
  // The last unmap names no texture.
  EXPECT_TRUE(fake::IsMapped(texture.get()));
}

INSTANTIATE_TEST_SUITE_P(, FrameFailures, testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace session_test
