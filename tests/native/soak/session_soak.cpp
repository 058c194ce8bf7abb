// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// session_soak [--frames=N] [--seed=N]: sessions that capture for long, with all that happens to
// them: resizes, switches, closed items, failing calls. Each reported frame is compared pixel by
// pixel with the one that was delivered; what a session holds must be the same at the end of its
// life as at the beginning. Prints one line of figures. Ends with the first frame that is lost,
// wrong or copied without need, and fails when anything grows.

#include <charconv>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <utility>

#include "native/modelled_host.h"

namespace {

using session_model::NewPicture;
using session_model::Picture;
using session_model::Size;
using session_model::SizeOf;

struct Figures {
  uint64_t frames = 0;    // delivered
  uint64_t failures = 0;  // calls that were made to fail
  uint64_t sessions = 0;
  uint64_t failed_starts = 0;
  uint64_t closes = 0;
  uint64_t resizes = 0;
  uint64_t switches = 0;
  int64_t objects_per_session = 0;
  uint64_t largest_buffer = 0;
  uint64_t steady_frames = 0;
  uint64_t steady_new = 0;  // calls of operator new and malloc in these
  uint64_t steady_malloc = 0;
};

class Soak : session_model::ModelledHost {
 public:
  explicit Soak(uint32_t seed) : seed_(seed), random_(seed) {}

  const Figures& Run(uint64_t frames) {
    while (figures_.frames < frames) OneSession();
    End();
    return figures_;
  }

  std::string Position() const {
    return "seed=" + std::to_string(seed_) + " session=" + std::to_string(figures_.sessions) +
           " frame=" + std::to_string(figures_.frames) +
           (session_.model.to_texture ? " texture" : " byte") + " output, detection " +
           (session_.model.detect ? "on, " : "off, ");
  }

 private:
  uint32_t Below(uint32_t limit) { return static_cast<uint32_t>(random_() % limit); }
  bool OneIn(uint32_t count) { return Below(count) == 0; }

  void OneSession() {
    ++figures_.sessions;
    Create(session_, session_model::kWindow);
    PlanFault(OneIn(8) ? 1 + Below(60) : 0);
    Start(session_, {64, 48});
    if (NoteFaults()) {
      // Some calls may fail without harm; such a session is not worth soaking.
      ++figures_.failed_starts;
    } else {
      const uint64_t end = figures_.frames + 200 + Below(1000);
      Settle();
      while (figures_.frames < end) OneFrame();
      Settle();
      if (OneIn(2)) {
        ++figures_.closes;
        CloseItem(session_);
        Require(!session_.model.running, "a close is heard of");
      }
      Status(session_);
    }
    ReleaseTextures();
    Destroy(session_);
    Require(Objects() == 0, "a session leaves no object");
    CheckHeap();
  }

  // Makes the n-th call from now on fail; 0 for none.
  void PlanFault(uint64_t number) {
    constexpr HRESULT kResults[] = {E_FAIL, E_INVALIDARG, E_OUTOFMEMORY, E_ACCESSDENIED,
                                    DXGI_ERROR_DEVICE_REMOVED};
    const HRESULT result = kResults[Below(std::size(kResults))];
    Plan([this, number, result](const fake::FailableCall& call) {
      if (call.function == "malloc") ++mallocs_;
      return call.number == number
                 ? std::optional<fake::Fault>({fake::Fault::Kind::kResult, result})
                 : std::nullopt;
    });
  }

  bool NoteFaults() {
    const uint64_t faults = fake::FaultsInjected();
    figures_.failures += faults;
    PlanFault(0);
    return faults > 0;
  }

  Picture NextPicture(Size size) {
    if (!last_ || SizeOf(*last_) != size || OneIn(4)) return NewPicture(size, random_());
    if (OneIn(3)) return last_;
    return session_model::Changed(*last_, Below(size.width), Below(size.height), {20, 20}, 1);
  }

  void DeliverPicture(const Picture& picture, Size content) {
    ++figures_.frames;
    if (content != session_.PoolSize()) ++figures_.resizes;
    last_ = picture;
    Deliver(session_, picture,
            {static_cast<INT32>(content.width), static_cast<INT32>(content.height)});
  }
  void DeliverNext(Size content) { DeliverPicture(NextPicture(session_.PoolSize()), content); }
  void DeliverNext() { DeliverNext(session_.PoolSize()); }

  // Polls for what was delivered since the last poll.
  void ExpectFrames() {
    Require(Poll(session_), "the frame that was delivered is reported");
    Ratio(session_);
    CheckHeap();
    figures_.largest_buffer = std::max(figures_.largest_buffer, session_.BufferBytes());
  }

  Size AnySize() {
    if (OneIn(40)) return OneIn(2) ? Size{1280, 720} : Size{1921, 1080};
    return {16 + Below(120), 16 + Below(80)};
  }

  void OneFrame() {
    if (OneIn(40)) {
      ++figures_.switches;
      SetOutput(session_, !session_.model.to_texture);
    }
    if (OneIn(40)) {
      ++figures_.switches;
      SetDetection(session_, !session_.model.detect);
    }
    if (OneIn(60)) return OneFrameWithFault();

    // A large picture is expensive and goes at once.
    if (session_.PoolSize().width > 1000 || OneIn(60)) {
      DeliverNext(AnySize());
    } else {
      DeliverNext();
      if (OneIn(10)) DeliverNext();
    }
    ExpectFrames();
  }

  // A frame whose handling fails somewhere may be lost. It is never half a frame, and the next one
  // comes through.
  void OneFrameWithFault() {
    DeliverNext();
    PlanFault(1 + Below(40));
    Poll(session_);
    if (!NoteFaults()) return Ratio(session_);
    const bool detect = session_.model.detect;
    const bool to_texture = session_.model.to_texture;
    Recover(session_);
    PlanFault(0);
    Ratio(session_);
    // The output texture, too: it may show the frame that failed, or the one before it.
    SetOutput(session_, true);
    DeliverNext();
    ExpectFrames();
    SetDetection(session_, detect);
    SetOutput(session_, to_texture);
  }

  // The same steps for every session, early and late: everything that a session can hold, it holds
  // afterwards, for frames of the same size.
  void Settle() {
    SetOutput(session_, false);
    SetDetection(session_, true);
    for (const Size size : {Size{61, 47}, kSettled}) {
      DeliverNext(size);
      ExpectFrames();
    }
    for (const bool to_texture : {true, false}) {
      for (const bool detect : {true, false}) {
        SetOutput(session_, to_texture);
        SetDetection(session_, detect);
        MeasureSteadyFrames();
      }
    }
    ReleaseTextures();
    if (figures_.objects_per_session == 0) figures_.objects_per_session = Objects();
    Require(Objects() == figures_.objects_per_session,
            "a session holds the same as every other, and as before");
  }

  // One frame after the other, each with the same pixels changed: no memory is asked for.
  void MeasureSteadyFrames() {
    constexpr int kWarmUp = 4;
    constexpr int kMeasured = 4;
    for (int i = 0; i < kWarmUp + kMeasured; ++i) {
      auto picture =
          std::make_shared<reference::Image>(kSettled.width, kSettled.height, 0x00102030u);
      picture->At(3, 3) += static_cast<uint32_t>(i + 1);
      DeliverPicture(picture, kSettled);
      mallocs_ = 0;
      fake::FailNew(0);
      ExpectFrames();
      if (i < kWarmUp) continue;
      ++figures_.steady_frames;
      figures_.steady_new += NewCalls();
      figures_.steady_malloc += mallocs_;
    }
  }

  static constexpr Size kSettled{64, 48};

  const uint32_t seed_;
  std::mt19937 random_;
  Figures figures_;
  uint64_t mallocs_ = 0;
  Session& session_ = sessions[0];
  Picture last_;
};

const Soak* running = nullptr;

bool ReadNumber(std::string_view argument, std::string_view name, uint64_t& value) {
  if (!argument.starts_with(name)) return false;
  argument.remove_prefix(name.size());
  const char* const end = argument.data() + argument.size();
  const auto read = std::from_chars(argument.data(), end, value);
  return read.ec == std::errc() && read.ptr == end;
}

}  // namespace

int main(int argc, char** argv) {
  uint64_t frames = 40'000;
  uint64_t seed = std::random_device()();
  for (int i = 1; i < argc; ++i) {
    if (ReadNumber(argv[i], "--frames=", frames) || ReadNumber(argv[i], "--seed=", seed)) continue;
    std::fprintf(stderr, "usage: %s [--frames=N] [--seed=N]\n", argv[0]);
    return 2;
  }
  const auto begin = std::chrono::steady_clock::now();
  Soak soak(static_cast<uint32_t>(seed));
  running = &soak;
  position = [] { return running->Position(); };
  const Figures& figures = soak.Run(frames);
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;

  const std::pair<const char*, uint64_t> values[] = {
      {"seed", seed},
      {"frames", figures.frames},
      {"failed_calls", figures.failures},
      {"sessions", figures.sessions},
      {"failed_starts", figures.failed_starts},
      {"closes", figures.closes},
      {"resizes", figures.resizes},
      {"switches", figures.switches},
      {"objects_per_session", static_cast<uint64_t>(figures.objects_per_session)},
      {"largest_buffer", figures.largest_buffer},
      {"steady_frames", figures.steady_frames},
      {"steady_new", figures.steady_new},
      {"steady_malloc", figures.steady_malloc},
  };
  for (const auto& [name, value] : values) {
    std::printf("%s=%llu ", name, static_cast<unsigned long long>(value));
  }
  std::printf("seconds=%.1f\n", seconds.count());
  return figures.steady_new == 0 && figures.steady_malloc == 0 ? 0 : 1;
}
