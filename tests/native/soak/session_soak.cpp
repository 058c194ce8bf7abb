// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// session_soak [--frames=N] [--seed=N]: sessions that capture for long, with all that happens to
// them: resizes, switches, closed items, failing calls. Each reported frame is compared pixel by
// pixel with the one that was delivered; what a session holds must be the same at the end of its
// life as at the beginning. Prints one line of figures, and before it, for what is not as it must
// be, the seed, the session and the frame. Fails when a frame is lost, wrong or copied without
// need, and when anything grows.

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <optional>
#include <random>
#include <string_view>
#include <utility>

#include "libquill_wgc.h"
#include "native/session_model.h"
#include "native/session_state.h"
#include "native/platform/calls.h"
#include "native/platform/capture.h"
#include "native/platform/direct3d.h"
#include "native/platform/settings.h"

namespace {

using fake::SizeInt32;
using session_model::Frame;
using session_model::Picture;
using session_model::SessionModel;
using session_model::Size;
using session_model::SizeOf;
using session_model::operator!=;
using session_test::BufferCapacityOf;

const HWND kWindow = reinterpret_cast<HWND>(0x10);

struct Figures {
  uint64_t frames = 0;  // delivered
  uint64_t polls = 0;
  uint64_t lost = 0;
  uint64_t wrong = 0;
  uint64_t failures = 0;  // calls that were made to fail
  uint64_t sessions = 0;
  uint64_t failed_starts = 0;
  uint64_t closes = 0;
  uint64_t resizes = 0;
  uint64_t flips = 0;
  uint64_t steady_frames = 0;
  uint64_t steady_new = 0;  // calls of operator new and malloc in these
  uint64_t steady_malloc = 0;
  uint64_t largest_buffer = 0;
};

class Soak {
 public:
  Soak(uint64_t frames, uint32_t seed) : frames_(frames), seed_(seed), random_(seed) {}

  void Run() {
    fake::Reset();
    wgc_register_logger([](int, const char*, size_t) {});
    objects_before_ = fake::LiveObjects();
    while (figures_.frames < frames_) OneSession();
    wgc_register_logger(nullptr);
  }

  const Figures& figures() const { return figures_; }
  int64_t objects_of_session() const { return objects_of_session_; }

 private:
  // Ends the run unless `holds`.
  void Check(bool holds, const char* expectation) const {
    if (holds) return;
    Report(expectation);
    std::exit(1);
  }

  // Where the session and the model have parted.
  void Report(const char* expectation) const {
    std::printf("seed=%u session=%llu frame=%llu %s output, detection %s, not so: %s\n", seed_,
                static_cast<unsigned long long>(figures_.sessions),
                static_cast<unsigned long long>(figures_.frames),
                model_.to_texture ? "texture" : "byte", model_.detect ? "on" : "off", expectation);
    std::fflush(stdout);
  }

  uint32_t Below(uint32_t limit) { return static_cast<uint32_t>(random_() % limit); }
  bool OneIn(uint32_t count) { return Below(count) == 0; }

  void OneSession() {
    ++figures_.sessions;
    fake::thread_has_queue = false;  // A session to a thread; which one it is makes no difference.
    model_ = {};
    model_.has_target = true;
    session_ = wgc_session_create(kWindow);
    Check(session_ != nullptr, "a session is made");
    PlanFault(OneIn(8) ? 1 + Below(60) : 0);
    const bool started = wgc_session_start(session_);
    if (NoteFaults()) {
      // Some calls may fail without harm; such a session is not worth soaking.
      ++figures_.failed_starts;
    } else {
      Check(started, "a session starts");
      model_.running = model_.started = model_.started_clean = true;
      model_.Restart(fake::LastPool()->Size());
      ForgetCopies();
      const uint64_t end = figures_.frames + 200 + Below(1000);
      Settle();
      while (figures_.frames < end) OneFrame();
      Settle();
      Close();
    }
    wgc_session_destroy(std::exchange(session_, nullptr));
    Check(fake::LiveObjects() == objects_before_, "a session leaves no object");
    Check(fake::HeapBytes() == 0, "a session leaves no memory");
  }

  void Close() {
    if (OneIn(2)) {
      ++figures_.closes;
      Check(fake::LastItem()->RaiseClosed() == S_OK, "a close is heard of");
      model_.running = false;
    }
    Check(wgc_get_status(session_) == model_.running, "a session runs until its item closes");
  }

  // Faults.

  // Makes the n-th call from now on fail; 0 for none.
  void PlanFault(uint64_t number) {
    constexpr HRESULT kResults[] = {E_FAIL, E_INVALIDARG, E_OUTOFMEMORY, E_ACCESSDENIED,
                                    DXGI_ERROR_DEVICE_REMOVED};
    const HRESULT result = kResults[Below(std::size(kResults))];
    fake::PlanFaults([this, number, result](const fake::FailableCall& call) {
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

  // Switches.

  void SetDetection(bool enable) {
    model_.detect = enable;
    wgc_set_dirty_rect(session_, enable);
  }

  void SetOutput(bool to_texture) {
    model_.to_texture = to_texture;
    wgc_set_capture_to_texture(session_, to_texture);
  }

  // Frames.

  Picture NextPicture(Size size) {
    if (last_ && SizeOf(*last_) == size && !OneIn(4)) {
      if (OneIn(3)) return last_;
      auto changed = std::make_shared<reference::Image>(*last_);
      const uint32_t left = Below(size.width), top = Below(size.height);
      for (uint32_t y = top; y < std::min(top + 20, size.height); ++y) {
        for (uint32_t x = left; x < std::min(left + 20, size.width); ++x) changed->At(x, y) += 1;
      }
      return changed;
    }
    auto picture = std::make_shared<reference::Image>(size.width, size.height);
    uint32_t value = random_();
    for (uint32_t& pixel : picture->pixels) pixel = value = value * 1664525u + 1013904223u;
    return picture;
  }

  // The screen shows a picture, whose content has changed its size when `content` says so.
  Picture Deliver(SizeInt32 content) {
    fake::FramePool* const pool = fake::LastPool();
    const Size size{static_cast<uint32_t>(pool->Size().Width),
                    static_cast<uint32_t>(pool->Size().Height)};
    Picture picture = NextPicture(size);
    Check(pool->Deliver(*picture, content), "the pool gets its buffers back");
    last_ = picture;
    ++figures_.frames;
    Frame frame{picture, DXGI_FORMAT_B8G8R8A8_UNORM, content, true};
    frame.first_of_its_size = model_.sizes.insert(size).second;
    if (content != pool->Size()) ++figures_.resizes;
    model_.waiting.push_back(std::move(frame));
    return picture;
  }
  Picture Deliver() { return Deliver(fake::LastPool()->Size()); }
  Picture Deliver(Size content) {
    return Deliver(
        SizeInt32{static_cast<INT32>(content.width), static_cast<INT32>(content.height)});
  }

  struct Poll {
    bool available;
    void* frame;
    Size size;
  };

  Poll PollSession() {
    ++figures_.polls;
    Poll poll{};
    bool cursor;
    poll.available = wgc_get_recent_frame(session_, &poll.frame, nullptr, &poll.size.width,
                                          &poll.size.height, &cursor);
    return poll;
  }

  bool Shows(const Poll& poll, const Picture& picture) const {
    if (!poll.available || !picture || SizeOf(*picture) != poll.size) return false;
    if (model_.to_texture) return ShowsTexture(poll, picture);
    // Back from texture output, the size may be a larger frame's until one comes through as bytes.
    if (BufferCapacityOf(session_) < poll.size.Pixels() * 4) return false;
    return std::memcmp(poll.frame, picture->pixels.data(), poll.size.Pixels() * 4) == 0;
  }

  // A texture may be older than the size that is reported with it, when frames came as bytes since.
  static bool ShowsTexture(const Poll& poll, const Picture& picture) {
    const reference::Image shown = fake::PixelsOf(static_cast<ID3D11Texture2D*>(poll.frame));
    return picture && SizeOf(shown) == SizeOf(*picture) && shown.pixels == picture->pixels;
  }

  void Release(const Poll& poll) const {
    if (poll.available && model_.to_texture) static_cast<ID3D11Texture2D*>(poll.frame)->Release();
  }

  // Polls for what was delivered since the last poll.
  void ExpectFrames() {
    const Picture before =
        model_.to_texture ? (model_.output ? model_.output->picture : nullptr) : model_.held;
    const size_t events = model_.waiting.size();
    model_.pending = false;
    const Poll poll = PollSession();
    for (size_t i = 0; i < events; ++i) model_.HandleEvent();

    const Picture& expected = model_.to_texture ? model_.output->picture : model_.held;
    bool shown = Shows(poll, expected);
    if (!model_.to_texture) {
      for (const Picture& other : model_.alternatives) {
        if (shown || !Shows(poll, other)) continue;
        model_.held = other;
        shown = true;
      }
      model_.alternatives.clear();
    }
    if (!shown) CountMissed(!poll.available || Shows(poll, before));
    Release(poll);
    CheckRatio();
    CheckCopies();
    CheckMemory();
  }

  // The first is told; the others are counted, so that the figures tell how bad it is.
  void CountMissed(bool lost) {
    if (figures_.lost + figures_.wrong == 0) {
      Report(lost ? "the frame that was delivered is reported" : "the frame reported is right");
    }
    ++(lost ? figures_.lost : figures_.wrong);
  }

  void CheckCopies() {
    const uint64_t copies = fake::texture_reads - texture_reads_before_;
    Check(copies >= model_.copies && copies <= model_.copies + model_.possible_copies,
          "a frame is copied if it is new to the host, and only then");
    ForgetCopies();
  }
  void ForgetCopies() {
    texture_reads_before_ = fake::texture_reads;
    model_.copies = model_.possible_copies = 0;
  }

  void CheckRatio() {
    const float ratio = wgc_get_update_ratio(session_);
    Check(!model_.ratio || *model_.ratio == ratio, "the ratio is that of the frame");
    Check(ratio >= 0.0f && ratio <= 1.0f, "the ratio is a share");
    model_.ratio = 0.0f;
  }

  void CheckMemory() {
    const uint64_t capacity = model_.has_buffer ? model_.capacity : 0;
    Check(BufferCapacityOf(session_) == capacity, "the buffer is as large as the frames made it");
    Check(static_cast<uint64_t>(fake::HeapBytes()) == capacity, "the buffer is all there is");
    figures_.largest_buffer = std::max(figures_.largest_buffer, capacity);
  }

  Size AnySize() {
    if (OneIn(40)) return OneIn(2) ? Size{1280, 720} : Size{1921, 1080};
    return {16 + Below(120), 16 + Below(80)};
  }

  void OneFrame() {
    if (OneIn(40)) {
      ++figures_.flips;
      SetOutput(!model_.to_texture);
    }
    if (OneIn(40)) {
      ++figures_.flips;
      SetDetection(!model_.detect);
    }
    if (OneIn(60)) return OneFrameWithFault();

    // A large picture is expensive and goes at once.
    const bool large = fake::LastPool()->Size().Width > 1000;
    if (large || OneIn(60)) {
      Deliver(AnySize());
    } else {
      Deliver();
      if (OneIn(10)) Deliver();
    }
    ExpectFrames();
  }

  // A frame whose handling fails somewhere may be lost. It is never half a frame, and the next one
  // comes through.
  void OneFrameWithFault() {
    const Picture before = model_.held;
    const Picture texture_before = model_.output ? model_.output->picture : nullptr;
    const Picture now = Deliver();
    PlanFault(1 + Below(40));
    const Poll poll = PollSession();
    const bool failed = NoteFaults();
    if (!failed) {
      // Fewer calls than that. The poll is not repeated: nothing would wait any more.
      model_.pending = false;
      model_.HandleEvent();
      Check(Shows(poll, model_.to_texture ? model_.output->picture : model_.held) ||
                std::any_of(model_.alternatives.begin(), model_.alternatives.end(),
                            [&](const Picture& other) { return Shows(poll, other); }),
            "the frame that was delivered is reported");
      if (!model_.alternatives.empty() && Shows(poll, now)) model_.held = now;
      model_.alternatives.clear();
      Release(poll);
      CheckCopies();
      return CheckRatio();
    }
    Check(!poll.available || Shows(poll, now) ||
              (model_.to_texture ? ShowsTexture(poll, texture_before)
                                 : Shows(poll, before) || BufferIsOfAnotherSize(poll, before)),
          "a frame is reported whole");
    Release(poll);
    Recover();
  }

  // A switch of the output alone leaves the buffer as it was, of the size that it had.
  bool BufferIsOfAnotherSize(const Poll& poll, const Picture& before) const {
    return !before || SizeOf(*before) != poll.size;
  }

  void Recover() {
    const bool detect = model_.detect;
    const bool to_texture = model_.to_texture;
    SetDetection(false);
    SetOutput(false);
    // A frame that could not be taken from the pool is taken by the next event.
    while (fake::LastPool()->FramesWaiting() > 0) {
      fake::LastPool()->RaiseFrameArrived();
      Release(PollSession());
    }
    model_.waiting.clear();
    model_.pending = false;
    model_.in_step = false;
    model_.size = {};
    model_.has_buffer = fake::HeapBytes() > 0;
    model_.capacity = static_cast<uint64_t>(fake::HeapBytes());
    model_.output = nullptr;
    model_.detector.known = false;
    model_.content = fake::LastPool()->Size();
    ForgetCopies();
    wgc_get_update_ratio(session_);
    Deliver();
    ExpectFrames();
    // The output texture, too: it may show the frame that failed, or the one before it.
    SetOutput(true);
    Deliver();
    ExpectFrames();
    SetDetection(detect);
    SetOutput(to_texture);
  }

  // The same steps for every session, early and late: everything that a session can hold, it holds
  // afterwards, for frames of the same size.
  void Settle() {
    constexpr Size kOther{61, 47};
    constexpr Size kSettled{64, 48};
    SetOutput(false);
    SetDetection(true);
    for (const Size size : {kOther, kSettled}) {
      Deliver(size);
      ExpectFrames();
    }
    for (const bool to_texture : {true, false}) {
      for (const bool detect : {true, false}) {
        SetOutput(to_texture);
        SetDetection(detect);
        MeasureSteadyFrames();
      }
    }
    const int64_t objects = fake::LiveObjects() - objects_before_;
    if (objects_of_session_ == 0) objects_of_session_ = objects;
    Check(objects == objects_of_session_, "a session holds the same as every other, and as before");
  }

  // One frame after the other, each with the same pixels changed: no memory is asked for.
  void MeasureSteadyFrames() {
    constexpr int kWarmUp = 4;
    constexpr int kMeasured = 4;
    for (int i = 0; i < kWarmUp + kMeasured; ++i) {
      auto picture = std::make_shared<reference::Image>(64, 48, 0x00102030u);
      picture->At(3, 3) += static_cast<uint32_t>(i + 1);
      last_ = picture;
      fake::LastPool()->Deliver(*picture);
      ++figures_.frames;
      Frame frame{picture, DXGI_FORMAT_B8G8R8A8_UNORM, {64, 48}, true};
      frame.first_of_its_size = model_.sizes.insert({64, 48}).second;
      model_.waiting.push_back(std::move(frame));

      mallocs_ = 0;
      fake::FailNew(0);
      const Poll poll = PollSession();
      const uint64_t news = fake::NewCalls();
      const uint64_t mallocs = mallocs_;
      model_.pending = false;
      model_.HandleEvent();
      if (!Shows(poll, picture)) CountMissed(true);
      Release(poll);
      CheckRatio();
      CheckCopies();
      CheckMemory();
      if (i < kWarmUp) continue;
      ++figures_.steady_frames;
      figures_.steady_new += news;
      figures_.steady_malloc += mallocs;
    }
  }

  const uint64_t frames_;
  const uint32_t seed_;
  std::mt19937 random_;
  Figures figures_;
  int64_t objects_before_ = 0;
  int64_t objects_of_session_ = 0;
  uint64_t mallocs_ = 0;
  uint64_t texture_reads_before_ = 0;
  void* session_ = nullptr;
  SessionModel model_;
  Picture last_;
};

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
  Soak soak(frames, static_cast<uint32_t>(seed));
  std::printf("seed=%u\n", static_cast<uint32_t>(seed));
  std::fflush(stdout);
  soak.Run();
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;

  const Figures& figures = soak.figures();
  const std::pair<const char*, uint64_t> values[] = {
      {"seed", seed},
      {"frames", figures.frames},
      {"polls", figures.polls},
      {"lost", figures.lost},
      {"wrong", figures.wrong},
      {"failed_calls", figures.failures},
      {"sessions", figures.sessions},
      {"failed_starts", figures.failed_starts},
      {"closes", figures.closes},
      {"resizes", figures.resizes},
      {"switches", figures.flips},
      {"objects_per_session", static_cast<uint64_t>(soak.objects_of_session())},
      {"largest_buffer", figures.largest_buffer},
      {"steady_frames", figures.steady_frames},
      {"steady_new", figures.steady_new},
      {"steady_malloc", figures.steady_malloc},
  };
  for (const auto& [name, value] : values) {
    std::printf("%s=%llu ", name, static_cast<unsigned long long>(value));
  }
  std::printf("seconds=%.1f\n", seconds.count());
  const bool sound = figures.lost == 0 && figures.wrong == 0 && figures.steady_new == 0 &&
                     figures.steady_malloc == 0;
  return sound ? 0 : 1;
}
