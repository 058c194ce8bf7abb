// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// A host with up to two sessions on one thread, for tests that call the library at random. Beside
// each session goes a model of what the host must see, and everything that the library does is held
// against it. A call that was made to fail leaves the models without certainty: until Recover their
// frames may be any that were delivered, but nothing else.
#pragma once

#include <winrt/base.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "libquill_wgc.h"
#include "native/platform/calls.h"
#include "native/platform/capture.h"
#include "native/platform/direct3d.h"
#include "native/platform/messages.h"
#include "native/platform/settings.h"
#include "native/require.h"
#include "native/session_model.h"
#include "native/session_state.h"

namespace session_test {

// What the platform knows as the session's item and pool.
struct HeldItem {};
struct HeldPool {};
auto& Read(HeldItem, WgcCaptureSession&);
auto& Read(HeldPool, WgcCaptureSession&);
template struct Reveal<HeldItem, &WgcCaptureSession::capture_item_>;
template struct Reveal<HeldPool, &WgcCaptureSession::frame_pool_>;

}  // namespace session_test

namespace session_model {

inline const HWND kWindow = reinterpret_cast<HWND>(0x10);
inline const HMONITOR kMonitor = reinterpret_cast<HMONITOR>(0x20);
inline constexpr DXGI_FORMAT kBgra = DXGI_FORMAT_B8G8R8A8_UNORM;

// A value of its own in every pixel, as far as that is affordable.
inline Picture NewPicture(Size size, uint32_t seed) {
  constexpr uint64_t kAllDifferent = 300'000;
  constexpr uint64_t kOneColour = 4'000'000;
  auto picture = std::make_shared<reference::Image>(size.width, size.height);
  uint32_t value = seed * 0x9E3779B9u;
  if (size.Pixels() <= kAllDifferent) {
    for (uint32_t& pixel : picture->pixels) pixel = value = value * 1664525u + 1013904223u;
  } else if (size.Pixels() <= kOneColour) {
    std::fill(picture->pixels.begin(), picture->pixels.end(), value);
  }
  return picture;
}

// The same with some bits of the pixels of a rectangle changed, as far as it lies in the picture.
inline Picture Changed(const reference::Image& picture, uint32_t left, uint32_t top, Size size,
                       uint32_t bits) {
  auto changed = std::make_shared<reference::Image>(picture);
  for (uint32_t y = top; y < std::min(top + size.height, picture.height); ++y) {
    for (uint32_t x = left; x < std::min(left + size.width, picture.width); ++x) {
      changed->At(x, y) ^= bits;
    }
  }
  return changed;
}

inline void CheckLine(int level, const char* text, size_t length) {
  Require(level >= WGC_LOG_INFO && level <= WGC_LOG_ERROR, "a line has one of three levels");
  Require(length > 0 && std::strlen(text) == length, "a line's length is that of its text");
}

class ModelledHost {
 public:
  struct Session {
    void* handle = nullptr;
    SessionModel model;
    int polls = 0;  // that are under way, one within the other

    WgcCaptureSession& Insides() const { return *static_cast<WgcCaptureSession*>(handle); }
    // What a buffer that could not be had counts for is not there.
    uint64_t BufferBytes() const {
      if (!handle || Read(session_test::HeldBuffer{}, Insides()) == nullptr) return 0;
      return session_test::BufferCapacityOf(handle);
    }
    fake::FramePool* Pool() const {
      if (!handle) return nullptr;
      return static_cast<fake::FramePool*>(
          static_cast<ABI::Windows::Graphics::Capture::IDirect3D11CaptureFramePool*>(
              winrt::get_abi(Read(session_test::HeldPool{}, Insides()))));
    }
    fake::CaptureItem* Item() const {
      if (!handle) return nullptr;
      return static_cast<fake::CaptureItem*>(
          static_cast<ABI::Windows::Graphics::Capture::IGraphicsCaptureItem*>(
              winrt::get_abi(Read(session_test::HeldItem{}, Insides()))));
    }
    Size PoolSize() const {
      return {static_cast<uint32_t>(Pool()->Size().Width),
              static_cast<uint32_t>(Pool()->Size().Height)};
    }
  };

  ModelledHost() {
    fake::Reset();
    fake::settings.several_queues_a_thread = true;  // for two sessions and for second starts
    // The first session of a process initialises COM, whose failure would reach this host.
    wgc_session_destroy(wgc_session_create(kWindow));
    wgc_register_logger(CheckLine);
    objects_before_ = fake::LiveObjects();
    heap_before_ = fake::HeapBytes();
    fake::window_procedure = [this](UINT) { OnHostMessage(); };
  }

  // Destroys the sessions, which show a last frame, and looks for what they leave behind.
  void End() {
    NoFaults();
    for (Session& session : sessions) {
      Recover(session);
      Destroy(session);
    }
    ReleaseTextures();
    wgc_register_logger(nullptr);
    Require(fake::LiveObjects() == objects_before_, "nothing of the sessions is left");
    Require(fake::HeapBytes() == heap_before_, "no memory of the sessions is left");
    fake::Reset();
  }

  std::array<Session, 2> sessions;

  // Faults.

  void Plan(fake::FaultPlan plan) {
    fake::PlanFaults([this, plan = std::move(plan)](const fake::FailableCall& call) mutable {
      auto fault = plan(call);
      // COM itself does not hold together where these answer success and hand out nothing.
      if (fault && fault->kind == fake::Fault::Kind::kNothing &&
          (call.function == "QueryInterface" || call.function == "RoGetActivationFactory")) {
        *fault = {fake::Fault::Kind::kResult, E_NOINTERFACE};
      }
      if (fault && call.function == "Map") {
        ++maps_failed_;
        if (fault->kind == fake::Fault::Kind::kNothing || maps_failed_ > 1) {
          map_without_data_ = true;
        }
      }
      return fault;
    });
    maps_failed_ = 0;
    faults_seen_ = 0;
  }

  // The n-th operator new of the next call into the library.
  void FailNew(uint64_t number) { failing_new_ = number; }

  void NoFaults() {
    fake::PlanNoFaults();
    faults_seen_ = 0;
    failing_new_ = 0;
  }

  // Since FailNew of the platform, as of the last poll.
  uint64_t NewCalls() const { return new_calls_; }

  // Host calls.

  template <typename Target>
  void Create(Session& session, Target target) {
    if (session.handle) return;
    void* const handle = Library([&] {
      if constexpr (std::is_same_v<Target, HMONITOR>) {
        return wgc_session_create2(target);
      } else {
        return wgc_session_create(target);
      }
    });
    const bool faults = FaultsHappened();
    if (handle == nullptr) {
      Require(faults, "a session is made unless memory is short");
      return;
    }
    session = {};
    session.handle = handle;
    session.model.has_target = target != nullptr;
    Require(!wgc_get_status(handle), "a new session does not run");
    Require(wgc_get_device(handle) == nullptr, "a new session has no device");
  }

  void Start(Session& session, Size item) {
    SessionModel& model = session.model;
    fake::settings.item_width = static_cast<int32_t>(item.width);
    fake::settings.item_height = static_cast<int32_t>(item.height);
    const bool started = Library([&] { return wgc_session_start(session.handle); });
    const bool faults = FaultsHappened();
    if (!faults) Require(started == model.has_target, "a start without faults needs a target only");
    if (!started && model.started) {
      // The capture goes on as if there had been no second start.
      return Status(session);
    }
    // The pool before is gone, and its events with it.
    Forget(session);
    model.waiting.clear();
    model.started = started;
    model.started_clean = started && !faults;
    if (started) {
      model.running = true;
      model.device = wgc_get_device(session.handle);
      Require(model.device != nullptr, "a session that has started has a device");
      model.Restart({fake::settings.item_width, fake::settings.item_height});
    }
    if (faults || !model.known) LoseCertainty(model);
    Status(session);
  }

  // Whether a frame is reported.
  bool Poll(Session& session) {
    SessionModel& model = session.model;
    model.pending = false;
    void* frame = &frame;
    void* const untouched = frame;
    uint32_t width = 1, height = 1;
    bool cursor = !model.cursor;
    ++session.polls;
    const bool available = Library([&] {
      return wgc_get_recent_frame(session.handle, &frame, &frame, &width, &height, &cursor);
    });
    new_calls_ = fake::NewCalls();
    --session.polls;
    Dispatched();
    LoseCertaintyAfterFaults();
    CheckCopies();

    Require(cursor == model.cursor, "a poll tells the cursor switch");
    if (!available) Require(frame == untouched, "a poll without a frame leaves the pointer alone");
    if (model.known) {
      Require((Size{width, height} == model.size), "the size is that of the last frame handled");
      if (!model.to_texture) {
        Require(available == (model.has_buffer && width > 0), "a poll tells of the frame held");
      } else if (model.output_known) {
        Require(available == (model.output != nullptr), "a poll tells of the texture held");
      }
      Require(session.BufferBytes() == model.capacity, "the buffer grows by its tiers");
      if (model.started) {
        Require(!(session.Pool()->Size() != model.content), "the pool follows the content's size");
      }
    }
    if (available && model.to_texture) {
      CheckTexture(session, static_cast<ID3D11Texture2D*>(frame));
    } else if (available) {
      CheckBuffer(session, frame, {width, height});
    }
    return available;
  }

  void Ratio(Session& session) {
    SessionModel& model = session.model;
    const float ratio = wgc_get_update_ratio(session.handle);
    Require(ratio >= 0.0f && ratio <= 1.0f, "the ratio is a share");
    if (model.ratio) Require(ratio == *model.ratio, "the ratio is that of the last frame handled");
    Require(wgc_get_update_ratio(session.handle) == 0.0f, "reading resets the ratio");
    model.ratio = 0.0f;
  }

  static void Status(const Session& session) {
    const SessionModel& model = session.model;
    Require(wgc_get_status(session.handle) == model.running,
            "a session runs from its start until its item closes");
    if (model.started) {
      Require(wgc_get_device(session.handle) == model.device, "the device stays the same");
    }
  }

  static void SetDetection(Session& session, bool detect) {
    session.model.detect = detect;
    wgc_set_dirty_rect(session.handle, detect);
  }

  static void SetOutput(Session& session, bool to_texture) {
    session.model.to_texture = to_texture;
    if (to_texture) session.model.textures_asked = true;
    wgc_set_capture_to_texture(session.handle, to_texture);
  }

  void EnableCursor(Session& session, bool enable) {
    const bool accepted = Library([&] { return wgc_enable_cursor(session.handle, enable); });
    if (!FaultsHappened()) {
      Require(accepted == (!enable || fake::settings.cursor_property_present),
              "the cursor is refused where the platform lacks it");
    } else {
      Require(accepted || enable, "a cursor is never refused to be disabled");
    }
    if (accepted) session.model.cursor = enable;
  }

  void ShowBorder(Session& session, bool show) {
    const bool accepted = Library([&] { return wgc_show_border(session.handle, show); });
    if (!FaultsHappened()) {
      Require(accepted == (show || fake::settings.border_property_present),
              "a border can be hidden where the platform lets it");
    } else {
      Require(accepted || !show, "a border is never refused to be shown");
    }
  }

  void Destroy(Session& session) {
    if (!session.handle || session.polls > 0) return;
    CheckCopies();
    Library([&] { wgc_session_destroy(session.handle); });
    FaultsHappened();
    Forget(session);
    session = {};
  }

  // Gives back what the polls have given, after a last look.
  void ReleaseTextures() {
    for (const HostTexture& held : textures_) {
      if (held.expected) CheckPixels(held.texture, *held.expected);
      held.texture->Release();
    }
    textures_.clear();
  }

  // Platform events. Content sizes follow the pool unless they are given.

  void Deliver(Session& session, const Picture& picture, SizeInt32 content) {
    const auto& waiting = session.model.waiting;
    const bool pool_has_room = session.model.known && std::count_if(waiting.begin(), waiting.end(),
                                                                    [](const Frame& frame) {
                                                                      return frame.in_pool_buffer;
                                                                    }) < kPoolBuffers;
    if (session.Pool()->Deliver(*picture, content)) {
      Delivered(session, {picture, kBgra, content, true});
    } else {
      Require(!pool_has_room, "the pool gets its buffers back");
    }
  }

  // With a texture of its own, which may be null.
  void DeliverTexture(Session& session, ID3D11Texture2D* texture, const Picture& picture,
                      DXGI_FORMAT format) {
    const SizeInt32 content = session.Pool()->Size();
    if (session.Pool()->DeliverTexture(texture, content)) {
      Delivered(session, {picture, format, content});
    }
  }

  void RaiseEmptyEvent(Session& session) {
    session.Pool()->RaiseFrameArrived();
    messages_.push_back({&session, {}});
  }

  static void CloseItem(Session& session) {
    fake::CaptureItem* const item = session.Item();
    if (!item) return;
    if (item->RaiseClosed() == S_OK) session.model.running = false;
    Status(session);
  }

  // A message of the host's own, whose window procedure acts.
  void Post(std::function<void()> action) {
    messages_.push_back({nullptr, std::move(action)});
    fake::ThreadQueue()->Post(WM_USER);
  }

  void Pump() {
    Library([] {
      MSG message;
      while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
    });
    Dispatched();
    LoseCertaintyAfterFaults();
  }

  // Whatever failed before: the next frame of a session that has started comes through.
  void Recover(Session& session) {
    SessionModel& model = session.model;
    if (!session.handle || !model.started || session.polls > 0) return;
    NoFaults();
    SetDetection(session, false);
    SetOutput(session, false);
    Poll(session);
    // The poll may have run a message that destroys the session or changes its switches.
    fake::FramePool* const pool = session.Pool();
    if (!pool || model.to_texture || model.detect || !pool->HasHandler()) return;
    // Frames that the library could not take are still there.
    for (size_t left = pool->FramesWaiting(); left > 0; --left) {
      RaiseEmptyEvent(session);
      Poll(session);
    }
    Require(pool->FramesWaiting() == 0, "an event takes a frame");

    const Size size = session.PoolSize();
    if (size.Pixels() > 1'000'000) return;
    const Frame frame{NewPicture(size, ++seed_), kBgra, pool->Size(), true};
    if (!pool->Deliver(*frame.picture)) {
      Require(!model.started_clean, "the pool gets its buffers back");
      return;
    }
    Delivered(session, frame);
    if (!model.known) {
      // From here on it is certain again.
      model.known = true;
      model.pending = false;
      model.unfilled = false;
      model.waiting = {frame};
      model.content = frame.content;
      model.in_step = false;
      model.size = {};
      model.has_buffer = session.BufferBytes() > 0;
      model.capacity = session.BufferBytes();
    }
    Poll(session);
  }

  void CheckHeap() const {
    Require(fake::HeapBytes() - heap_before_ ==
                static_cast<int64_t>(sessions[0].BufferBytes() + sessions[1].BufferBytes()),
            "a session's memory is its buffer");
  }

  // Beyond those that were there before the host.
  int64_t Objects() const { return fake::LiveObjects() - objects_before_; }

 private:
  struct HostTexture {
    ID3D11Texture2D* texture;
    std::shared_ptr<OutputTexture> expected;  // null: not certain
  };

  // What waits in the thread's message queue.
  struct Message {
    Session* frame_of = nullptr;  // null: the host's own
    std::function<void()> action;
  };

  static constexpr ptrdiff_t kPoolBuffers = 2;

  // Whether a call failed since the last question.
  bool FaultsHappened() {
    const uint64_t faults = fake::FaultsInjected();
    const bool happened = faults > faults_seen_ || new_failed_;
    faults_seen_ = faults;
    new_failed_ = false;
    return happened;
  }

  // Calls into the library, with the operator new that was chosen made to fail.
  template <typename Function>
  std::invoke_result_t<Function> Library(Function function) {
    if (failing_new_ == 0) return function();
    armed_new_ = std::exchange(failing_new_, 0);
    fake::FailNew(armed_new_);
    struct Disarm {
      ModelledHost* host;
      ~Disarm() {
        host->NoteFailedNew();
        host->armed_new_ = 0;
        fake::FailNew(0);
      }
    } const disarm{this};
    return function();
  }

  void NoteFailedNew() {
    if (armed_new_ > 0 && fake::NewCalls() >= armed_new_) new_failed_ = true;
  }

  void LoseCertainty(SessionModel& model) {
    model.LoseCertainty();
    for (HostTexture& held : textures_) held.expected = nullptr;
    if (std::exchange(map_without_data_, false)) {
      for (Session& session : sessions) session.model.unfilled = true;
    }
  }

  void LoseCertaintyAfterFaults() {
    if (!FaultsHappened()) return;
    for (Session& session : sessions) LoseCertainty(session.model);
  }

  void Forget(Session& session) {
    std::erase_if(messages_, [&](const Message& message) { return message.frame_of == &session; });
  }

  void CheckCopies() {
    const uint64_t copies = fake::texture_reads - std::exchange(reads_before_, fake::texture_reads);
    uint64_t least = 0, most = 0;
    bool certain = true;
    for (Session& session : sessions) {
      certain = certain && (!session.handle || session.model.known);
      least += std::exchange(session.model.copies, 0);
      most += std::exchange(session.model.possible_copies, 0);
    }
    if (std::exchange(copies_certain_, certain) && certain) {
      Require(copies >= least && copies <= least + most,
              "a frame is copied if it is new to the host, and only then");
    }
  }

  static void CheckBuffer(Session& session, const void* frame, Size size) {
    SessionModel& model = session.model;
    const auto shows = [&](const Picture& picture) {
      return SizeOf(*picture) == size &&
             std::memcmp(frame, picture->pixels.data(), size.Pixels() * 4) == 0;
    };
    if (model.known) {
      Require(model.held != nullptr, "the buffer holds a frame");
      if (SizeOf(*model.held) != size) {
        Require(model.textures_asked, "the buffer holds a frame of the size that is told");
        return;
      }
      Require(session.BufferBytes() >= size.Pixels() * 4, "the frame lies in the buffer");
      const auto other = std::find_if(model.alternatives.begin(), model.alternatives.end(), shows);
      if (other != model.alternatives.end()) {
        model.held = *other;
      } else {
        Require(shows(model.held), "the buffer shows the first frame that was read");
      }
      model.alternatives.clear();
      return;
    }
    if (model.textures_asked || model.unfilled) return;
    Require(session.BufferBytes() >= size.Pixels() * 4, "the frame lies in the buffer");
    Require(std::any_of(model.delivered.begin(), model.delivered.end(), shows),
            "the buffer shows one of the frames");
  }

  void CheckTexture(Session& session, ID3D11Texture2D* texture) {
    SessionModel& model = session.model;
    const D3D11_TEXTURE2D_DESC desc = fake::DescOf(texture);
    Require(desc.Usage == D3D11_USAGE_DEFAULT && desc.BindFlags == D3D11_BIND_RENDER_TARGET &&
                desc.MipLevels == 1 && desc.ArraySize == 1,
            "the texture is the host's to draw with");
    if (model.output_known) {
      Require(desc.Format == model.output->format, "the texture has the frame's format");
      CheckPixels(texture, *model.output);
    } else {
      const reference::Image shown = fake::PixelsOf(texture);
      Require(std::any_of(model.delivered.begin(), model.delivered.end(),
                          [&](const Picture& picture) {
                            return SizeOf(*picture) == SizeOf(shown) &&
                                   picture->pixels == shown.pixels;
                          }),
              "the texture shows one of the frames");
    }
    constexpr size_t kMostTextures = 8;
    if (textures_.size() == kMostTextures) ReleaseTextures();
    textures_.push_back({texture, model.output});
  }

  static void CheckPixels(ID3D11Texture2D* texture, const OutputTexture& expected) {
    const reference::Image shown = fake::PixelsOf(texture);
    Require(SizeOf(shown) == SizeOf(*expected.picture), "the texture has the frame's size");
    Require(shown.pixels == expected.picture->pixels, "the texture shows the last frame");
  }

  void Delivered(Session& session, Frame frame) {
    SessionModel& model = session.model;
    if (frame.picture) {
      frame.first_of_its_size = model.sizes.insert(SizeOf(*frame.picture)).second;
      model.delivered.push_back(frame.picture);
    }
    if (model.known) model.waiting.push_back(std::move(frame));
    messages_.push_back({&session, {}});
  }

  // The queue is empty: everything has been handled, in its order.
  void Dispatched() {
    ForgetRatios();
    while (!messages_.empty()) {
      Require(messages_.front().frame_of != nullptr, "a poll dispatches every message");
      HandleNext();
    }
  }

  // Any number of frames may have been handled.
  void ForgetRatios() {
    for (Session& session : sessions) {
      if (!session.model.known) session.model.ratio.reset();
    }
  }

  void HandleNext() {
    Session* const session = messages_.front().frame_of;
    messages_.pop_front();
    if (session) session->model.HandleEvent();
  }

  // In the middle of a pump: a window procedure of the host's that calls into the library.
  void OnHostMessage() {
    const fake::OutsideLibrary outside;
    NoteFailedNew();
    ForgetRatios();
    while (messages_.front().frame_of != nullptr) HandleNext();
    const Message message = std::move(messages_.front());
    messages_.pop_front();
    LoseCertaintyAfterFaults();
    message.action();
  }

  std::deque<Message> messages_;
  std::vector<HostTexture> textures_;
  int64_t objects_before_ = 0;
  int64_t heap_before_ = 0;  // the fuzzer's own
  uint32_t seed_ = 1u << 30;
  uint64_t failing_new_ = 0;  // for the next call into the library
  uint64_t armed_new_ = 0;    // for the one under way
  uint64_t new_calls_ = 0;
  bool new_failed_ = false;
  uint64_t faults_seen_ = 0;
  uint64_t reads_before_ = fake::texture_reads;
  bool copies_certain_ = true;  // as of the last look
  int maps_failed_ = 0;
  bool map_without_data_ = false;
};

}  // namespace session_model
