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
  kTwo,               // two in one poll
};

// Of constant buffers only.
constexpr char kConstants[] = "CreateBuffer(16 ";

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
    {"BufferTwo", Output::kBuffer, false, Frame::kTwo},
    {"BufferSimplyFirst", Output::kBufferSimply, false, Frame::kFirst},
    {"BufferSimplyLarger", Output::kBufferSimply, false, Frame::kLarger},
    {"BufferDetectedFirst", Output::kBuffer, true, Frame::kFirst},
    {"BufferDetectedUnchanged", Output::kBuffer, true, Frame::kUnchanged},
    {"BufferDetectedChanged", Output::kBuffer, true, Frame::kChanged},
    {"BufferDetectedOfNewContentSize", Output::kBuffer, true, Frame::kOfNewContentSize},
    {"BufferDetectedLarger", Output::kBuffer, true, Frame::kLarger},
    {"BufferDetectedTwo", Output::kBuffer, true, Frame::kTwo},
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
        frame_(case_.frame == Frame::kLarger ? PatternOf(kLarger, 2) : first_),
        second_(PatternOf(kUsual, 3)) {
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
    if (case_.frame == Frame::kTwo) delivered_ = Pool().Deliver(second_) && delivered_;
    poll_ = session_.GetFrame();
  }

  // The persistent staging texture, so that the frame is read in another way.
  fake::FaultPlan AlwaysFailing() override {
    if (case_.output != Output::kBufferSimply) return {};
    return fake::NthCallOf("CreateTexture2D", 1, {fake::Fault::Kind::kResult, E_FAIL});
  }

  bool IsSpared(const Step& step, const fake::Fault& fault) override {
    if (fault.kind == fake::Fault::Kind::kNothing && PromisesAnObject(step)) return true;
    // Memory is there or is not.
    return step.Is("malloc(") && (fault.kind != fake::Fault::Kind::kResult);
  }

  bool ExpectsRefusals(const Injection&) override { return refusals_expected_; }

  void Check(const Injection* injection) override {
    EXPECT_TRUE(delivered_);
    outcome_ = OutcomeOf(injection);
    // Copies into what is mapped, or between resources for two sizes.
    refusals_expected_ = outcome_.staging_stays_mapped || outcome_.engine == Engine::kMixed ||
                         (outcome_.engine == Engine::kBroken && case_.frame == Frame::kLarger);
    if (case_.frame == Frame::kTwo) {
      CheckTwo(injection);
    } else {
      CheckShown(outcome_.shown, frame_);
      EXPECT_EQ(session_.Ratio(), outcome_.ratio);
      EXPECT_EQ(Pool().HandlerResult(), outcome_.handler);
      EXPECT_EQ(Pool().FramesWaiting(), outcome_.stays_in_pool ? 1u : 0u);
      const bool follows = case_.frame == Frame::kOfNewContentSize && outcome_.pool_follows;
      const SizeInt32 before = case_.frame == Frame::kLarger ? kLarger : kUsual;
      EXPECT_TRUE(SameSize(Pool().Size(), follows ? kAnother : before));
    }
    EXPECT_EQ(TakeLog(), outcome_.log);
    EXPECT_TRUE(session_.Running());
    EXPECT_FALSE(IsExitRequested(session_.handle()));
    Recover();
    session_.Destroy();
    EXPECT_EQ(TakeLog(), (std::vector<LogLine>{Info("Try to exit wgc thread"), Info("Wgc exit.")}));
  }

  // The library had no memory for the rectangles.
  void CheckOutOfMemory() {
    outcome_ = {};
    EXPECT_EQ(Pool().HandlerResult(), E_OUTOFMEMORY);
    CheckShown(Shown::kOld, frame_);
    EXPECT_EQ(TakeLog(), std::vector<LogLine>());
    session_.Ratio();
    Recover();
  }

  bool IsTexture() const { return case_.output == Output::kTexture; }

 private:
  static fake::FramePool& Pool() { return *fake::LastPool(); }

  float UndisturbedRatio() const {
    if (case_.output == Output::kBufferSimply) return 0;
    if (!case_.detection) return 1;
    const bool rebuilds = case_.frame == Frame::kFirst || case_.frame == Frame::kLarger;
    if (IsTexture()) return rebuilds ? 0 : RatioOf(Image(frame_.width, frame_.height), frame_);
    // Of two frames the first is looked at.
    return rebuilds ? 1 : RatioOf(old_, frame_);
  }

  Outcome OutcomeOf(const Injection* injection) const {
    Outcome outcome;
    outcome.ratio = UndisturbedRatio();
    if (!injection) return outcome;
    const Step& step = injection->step;
    const bool nothing = injection->IsEmptySuccess();
    const HRESULT result = nothing ? E_POINTER : injection->fault.result;

    if (step.Is("TryGetNextFrame(")) {
      outcome = Lost(nothing ? S_OK : result);
      outcome.stays_in_pool = !injection->IsAfterWork();
      return outcome;
    }
    if (step.Is("get_ContentSize(") && nothing) {
      // No content, and no pool for it either. The frame has been read by then.
      outcome.handler = E_INVALIDARG;
      outcome.pool_follows = false;
      return outcome;
    }
    if (step.Is("get_ContentSize(") || step.Is("get_Surface(") ||
        step.Is("QueryInterface(IDirect3DDxgiInterfaceAccess)") || step.Is("GetInterface(")) {
      return Lost(result);
    }
    if (step.Is("Recreate(")) {
      outcome.handler = nothing ? S_OK : result;
      outcome.pool_follows = injection->IsAfterWork();
      return outcome;
    }
    if (IsOfEngineBuild(*injection)) return EngineBuildFails(*injection, outcome);
    if (step.Is("Map(buffer")) {
      // A frame whose flags cannot be read was not compared; in texture output nobody minds.
      outcome.ratio = IsTexture() ? 0 : 1;
      return outcome;
    }
    if (IsTexture()) {
      EXPECT_TRUE(step.Is("CreateTexture2D(")) << "no rule for " << step.call;
      outcome.shown = injection->IsAfterWork() ? Shown::kBlank : Shown::kNothing;
      outcome.ratio = 0;
      return outcome;
    }
    return case_.output == Output::kBufferSimply ? SimpleWayFails(*injection, outcome)
                                                 : UsualWayFails(*injection, outcome);
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
  static Outcome UsualWayFails(const Injection& injection, Outcome outcome) {
    const Step& step = injection.step;
    if (step.Is("CreateTexture2D(")) {
      // Not even begun, so the ratio is nobody's yet.
      outcome.ratio = 0;
    } else if (step.Is("Map(")) {
      if (injection.IsEmptySuccess()) outcome.shown = Shown::kUncopied;
      outcome.staging_stays_mapped = injection.IsAfterWork();
    } else if (step.Is("malloc(30720)")) {
      outcome.log = {Error("Failed to allocate 30KB")};
      outcome.staging_stays_mapped = true;
    } else if (step.Is("malloc(8294400)")) {
      // A growth that fails is silent; the next attempt is no growth any more.
      outcome.staging_stays_mapped = true;
    } else {
      ADD_FAILURE() << "no rule for " << step.call;
    }
    return outcome;
  }

  // There is no other way left.
  Outcome SimpleWayFails(const Injection& injection, Outcome outcome) const {
    const Step& step = injection.step;
    if (injection.IsNth(1, "Map(")) {
      // Only one answer leads to a texture of its own; the frame's own has no pixels to map, so
      // that is the answer whatever else is done.
      const bool usual_answer = injection.IsAfterWork() || injection.fault.result == E_INVALIDARG;
      if (!usual_answer) outcome.shown = Shown::kUncopied;
    } else if (step.Is("Map(") && injection.IsEmptySuccess()) {
      outcome.shown = Shown::kUncopied;
    } else if (step.Is("Map(") || step.Is("CreateTexture2D(")) {
      outcome.shown = Shown::kOld;
    } else if (step.Is("malloc(30720)")) {
      outcome.shown = Shown::kOld;
      outcome.log = {Error("Failed to allocate 30KB")};
    } else if (step.Is("malloc(8294400)")) {
      outcome.shown = Shown::kNothing;
    } else {
      ADD_FAILURE() << "no rule for " << step.call;
    }
    return outcome;
  }

  // From its first texture, the only ones for mip maps, to the map of its last constant buffer.
  static bool IsOfEngineBuild(const Injection& injection) {
    const auto& steps = injection.steps;
    const auto first = std::find_if(steps.begin(), steps.end(),
                                    [](const Step& step) { return step.Has("misc 0x1,"); });
    const auto last = std::find_if(steps.rbegin(), steps.rend(),
                                   [](const Step& step) { return step.Has("WRITE_DISCARD"); });
    return first != steps.end() && injection.step.number >= first->number &&
           injection.step.number <= last->number;
  }

  Outcome EngineBuildFails(const Injection& injection, Outcome outcome) const {
    const Step& step = injection.step;
    const bool is_flag_map = step.Is("Map(buffer") && step.Has("READ");
    // Only its row length is asked for, and that matters to nobody.
    if (is_flag_map && injection.IsEmptySuccess()) return outcome;

    // Of what detection asks for, the constants of the flags come last. They are filled when they
    // are made, so the map that fills them again is of no account.
    const bool complete = IsLastWith("WRITE_DISCARD", injection) ||
                          (IsLastWith(kConstants, injection) && injection.IsAfterWork());
    if (complete) {
      outcome.engine = Engine::kFromNow;
    } else if (case_.frame == Frame::kFirst) {
      outcome.engine = Engine::kBroken;
    } else {
      outcome.engine =
          !injection.IsAfterWork() && IsAskedFor(injection) ? Engine::kBroken : Engine::kMixed;
    }
    return outcome;
  }

  static bool IsLastWith(std::string_view part, const Injection& injection) {
    return injection.step.Has(part) &&
           std::none_of(injection.steps.begin(), injection.steps.end(), [&](const Step& other) {
             return other.number > injection.step.number && other.Has(part);
           });
  }

  // What detection cannot do without: both views of frames, those of measures and flags, and the
  // constants of the flags.
  static bool IsAskedFor(const Injection& injection) {
    const Step& step = injection.step;
    return step.Is("CreateShaderResourceView(") ||
           injection.IsNth(2, "CreateUnorderedAccessView(") ||
           injection.IsNth(3, "CreateUnorderedAccessView(") || IsLastWith(kConstants, injection);
  }

  void ExpectPoll(const Poll& poll, const Image& picture) const {
    ASSERT_TRUE(poll.available);
    EXPECT_EQ(poll.width, picture.width);
    EXPECT_EQ(poll.height, picture.height);
    EXPECT_EQ(PixelsOf(poll), picture.pixels);
  }

  std::vector<uint32_t> PixelsOf(const Poll& poll) const {
    return IsTexture() ? TexturePixels(poll).pixels : Pixels(poll).pixels;
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
        EXPECT_EQ(poll_.width, old_.width);
        EXPECT_EQ(poll_.height, old_.height);
        return;
      case Shown::kUncopied:
        // The same pixels as before, new room in zeros, or a first buffer as it comes.
        if (case_.frame == Frame::kLarger)
          return ExpectPoll(poll_, Image(frame.width, frame.height));
        if (old_.width > 0) return ExpectPoll(poll_, old_);
        EXPECT_TRUE(poll_.available);
        EXPECT_EQ(poll_.width, frame.width);
        EXPECT_EQ(poll_.height, frame.height);
        EXPECT_GE(BufferCapacityOf(session_.handle()), frame.pixels.size() * sizeof(uint32_t));
        return;
      case Shown::kBlank:
        ASSERT_TRUE(poll_.available);
        EXPECT_EQ(poll_.width, old_.width);
        EXPECT_EQ(poll_.height, old_.height);
        EXPECT_EQ(PixelsOf(poll_), Image(frame.width, frame.height).pixels);
        return;
    }
  }

  // The first frame that is read is kept; the next is taken for it only when that fails.
  void CheckTwo(const Injection* injection) {
    Outcome& first = outcome_;
    const Image* shown = &frame_;
    float ratio = first.shown == Shown::kFrame ? first.ratio : UndisturbedRatio();
    HRESULT handler = S_OK;
    size_t waiting = 0;
    const float second_ratio = case_.detection ? RatioOf(old_, second_) : 1;
    if (injection && injection->IsNth(2, "TryGetNextFrame(")) {
      first = OutcomeOf(nullptr);
      handler = injection->IsEmptySuccess() ? S_OK : injection->fault.result;
      waiting = injection->IsAfterWork() ? 0 : 1;
    } else if (first.stays_in_pool) {
      // The second event takes the first frame.
      waiting = 1;
    } else if (FAILED(first.handler)) {
      shown = &second_;
      ratio = second_ratio;
      // What has been read has been looked at, too.
      if (first.shown == Shown::kFrame && case_.detection) ratio = RatioOf(frame_, second_);
    } else if (first.shown == Shown::kOld) {
      shown = &first_;
      ratio = first.ratio;
    } else if (first.shown == Shown::kUncopied) {
      shown = &first_;
    }
    ExpectPoll(poll_, *shown);
    EXPECT_EQ(session_.Ratio(), ratio);
    EXPECT_EQ(Pool().HandlerResult(), handler);
    EXPECT_EQ(Pool().FramesWaiting(), waiting);
    first.stays_in_pool = waiting > 0;
    if (waiting > 0) frame_ = second_;
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
      const Poll poll = session_.GetFrame();
      if (IsTexture()) TexturePixels(poll);
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
  const Image second_;
  Image old_;
  uint32_t seed_ = 10;  // of the pictures that follow
  Session session_;
  bool delivered_ = false;
  Poll poll_;
  Outcome outcome_;
  bool refusals_expected_ = false;
};

class FrameFailures : public SessionTest, public testing::WithParamInterface<FrameCase> {};

class SingleFrameFailures : public SessionTest {};

TEST_P(FrameFailures, OfEachCall) {
  EXPECT_GT(Sweep([] { return std::make_unique<FrameScenario>(GetParam()); }, AllFaults()), 0u);
}

// Rectangles need memory when more are found than ever before.
TEST_F(SingleFrameFailures, OfRectangles) {
  const FrameCase& changed = *std::find_if(
      std::begin(kCases), std::end(kCases),
      [](const FrameCase& other) { return other.name == std::string("BufferDetectedChanged"); });
  const auto failed = SweepNew([&] { return std::make_unique<FrameScenario>(changed); },
                               [](Scenario& scenario, const auto* recording) {
                                 if (!recording) return scenario.Check(nullptr);
                                 static_cast<FrameScenario&>(scenario).CheckOutOfMemory();
                               });
  EXPECT_EQ(failed, 1u);
}

// A plan that makes the n-th calls of a function fail, for each n of a list.
fake::FaultPlan CallsOf(std::string function, std::vector<uint64_t> numbers, fake::Fault fault) {
  return [=, seen = uint64_t{0}](const fake::FailableCall& call) mutable {
    const bool fails = call.function == function &&
                       std::find(numbers.begin(), numbers.end(), ++seen) != numbers.end();
    return fails ? std::optional(fault) : std::nullopt;
  };
}

TEST_F(SingleFrameFailures, NextFrameOfTheSamePollIsTriedWhenBothWaysFail) {
  const fake::Fault fault{fake::Fault::Kind::kResult, DXGI_ERROR_DEVICE_REMOVED};
  Session session;
  ASSERT_TRUE(session.Start());
  const auto first = PatternOf({64, 48}, 1);
  const auto second = PatternOf({64, 48}, 2);
  ASSERT_TRUE(fake::LastPool()->Deliver(first));
  ASSERT_TRUE(fake::LastPool()->Deliver(second));
  fake::PlanFaults(CallsOf("CreateTexture2D", {1, 2}, fault));
  const Poll poll = session.GetFrame();
  EXPECT_EQ(fake::FaultsInjected(), 2u);
  fake::PlanNoFaults();
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, second.pixels);
  EXPECT_EQ(fake::LastPool()->FramesWaiting(), 0u);
}

TEST_F(SingleFrameFailures, NoMemoryForTheFirstFrame) {
  // The staging texture of the failed attempt stays mapped, and copies into it are dropped.
  ExpectRefusals();
  Session session;
  ASSERT_TRUE(session.Start());
  const auto picture = PatternOf({64, 48}, 1);
  TakeLog();
  fake::PlanFaults(fake::EveryCallOf("malloc", {}));
  ASSERT_TRUE(fake::LastPool()->Deliver(picture));
  Poll poll = session.GetFrame();
  fake::PlanNoFaults();
  EXPECT_FALSE(poll.available);
  EXPECT_EQ(poll.width, 0u);
  EXPECT_EQ(poll.height, 0u);
  EXPECT_EQ(fake::LastPool()->HandlerResult(), S_OK);
  // Once in each way of reading the frame.
  const LogLine line = Error("Failed to allocate 12KB");
  EXPECT_EQ(TakeLog(), (std::vector<LogLine>{line, line}));

  ASSERT_TRUE(fake::LastPool()->Deliver(picture));
  poll = session.GetFrame();
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, picture.pixels);
  EXPECT_EQ(fake::HeapBytes(), 64 * 48 * 4);
}

TEST_F(SingleFrameFailures, NoMemoryForALargerFrame) {
  ExpectRefusals();
  Session session;
  ASSERT_TRUE(session.Start());
  const auto usual = PatternOf({64, 48}, 1);
  const auto larger = PatternOf(kLarger, 2);
  ASSERT_TRUE(fake::LastPool()->Deliver(usual, kLarger));
  ASSERT_TRUE(session.GetFrame().available);
  TakeLog();
  fake::PlanFaults(fake::EveryCallOf("malloc", {}));
  ASSERT_TRUE(fake::LastPool()->Deliver(larger));
  Poll poll = session.GetFrame();
  fake::PlanNoFaults();
  EXPECT_FALSE(poll.available);
  EXPECT_EQ(poll.width, 64u);
  EXPECT_EQ(poll.height, 48u);
  EXPECT_EQ(fake::HeapBytes(), 0);
  // The growth is silent; the second way finds no buffer and says so.
  EXPECT_EQ(TakeLog(), (std::vector<LogLine>{Error("Failed to allocate 70KB")}));

  ASSERT_TRUE(fake::LastPool()->Deliver(larger));
  poll = session.GetFrame();
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(poll.width, larger.width);
  EXPECT_EQ(poll.height, larger.height);
  EXPECT_EQ(Pixels(poll).pixels, larger.pixels);
  EXPECT_EQ(TakeLog(), std::vector<LogLine>());
}

TEST_F(SingleFrameFailures, NoMemoryForALargerFrameAndNoOtherWay) {
  ExpectRefusals();
  Session session;
  ASSERT_TRUE(session.Start());
  const auto usual = PatternOf({64, 48}, 1);
  const auto larger = PatternOf(kLarger, 2);
  ASSERT_TRUE(fake::LastPool()->Deliver(usual, kLarger));
  ASSERT_TRUE(session.GetFrame().available);
  TakeLog();
  // The first texture is the larger staging texture, the second the other way's own.
  fake::PlanFaults([textures = 0](const fake::FailableCall& call) mutable {
    const bool fails =
        call.function == "malloc" || (call.function == "CreateTexture2D" && ++textures == 2);
    return fails ? std::optional(fake::Fault{fake::Fault::Kind::kResult, E_OUTOFMEMORY})
                 : std::nullopt;
  });
  ASSERT_TRUE(fake::LastPool()->Deliver(larger));
  Poll poll = session.GetFrame();
  EXPECT_EQ(fake::FaultsInjected(), 2u);
  fake::PlanNoFaults();
  EXPECT_FALSE(poll.available);
  EXPECT_EQ(poll.width, 64u);
  EXPECT_EQ(poll.height, 48u);
  EXPECT_EQ(BufferCapacityOf(session.handle()), 0u);
  EXPECT_EQ(fake::HeapBytes(), 0);
  EXPECT_EQ(TakeLog(), std::vector<LogLine>());

  ASSERT_TRUE(fake::LastPool()->Deliver(larger));
  poll = session.GetFrame();
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, larger.pixels);
}

// A failed map of the frame itself is no failure unless it says that the GPU alone can reach it:
// what the map has left behind is what is copied.
TEST_F(SingleFrameFailures, FrameThatIsMappedAndReportedAsFailed) {
  Session session;
  ASSERT_TRUE(session.Start());
  const auto picture = PatternOf({64, 48}, 1);
  ID3D11Texture2D* const texture =
      fake::NewTexture(wgc_get_device(session.handle()),
                       fake::FrameDesc(64, 48, DXGI_FORMAT_B8G8R8A8_UNORM, D3D11_USAGE_STAGING));
  ASSERT_NE(texture, nullptr);
  fake::Draw(texture, picture);
  ASSERT_TRUE(fake::LastPool()->DeliverTexture(texture, {64, 48}));
  fake::PlanFaults([](const fake::FailableCall& call) -> std::optional<fake::Fault> {
    if (call.function == "CreateTexture2D") return fake::Fault{fake::Fault::Kind::kResult, E_FAIL};
    if (call.function == "Map") return fake::Fault{fake::Fault::Kind::kResultAfterWork, E_FAIL};
    return std::nullopt;
  });
  const Poll poll = session.GetFrame();
  EXPECT_EQ(fake::FaultsInjected(), 2u);
  fake::PlanNoFaults();
  ASSERT_TRUE(poll.available);
  EXPECT_EQ(Pixels(poll).pixels, picture.pixels);
  // The last unmap names no texture.
  EXPECT_TRUE(fake::IsMapped(texture));
  texture->Release();
}

INSTANTIATE_TEST_SUITE_P(, FrameFailures, testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace session_test
