// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Host calls and platform events in any order, on up to two sessions of one thread, with faults.
//
// Input: steps until the bytes end. A step is a byte of which bit 7 chooses the session and the
// rest, modulo the number of steps, the step (see Step); its arguments follow. Beside the sessions
// goes a model of what a host must see. A call that was made to fail leaves the model without
// certainty about the sessions concerned: until Step::kRecover their frames may be any that were
// delivered, but nothing else.

#include <winrt/base.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "native/fuzz/fuzz_input.h"
#include "libquill_wgc.h"
#include "native/session_model.h"
#include "native/session_state.h"
#include "native/platform/calls.h"
#include "native/platform/capture.h"
#include "native/platform/direct3d.h"
#include "native/platform/messages.h"
#include "native/platform/settings.h"
#include "support/reference_diff.h"

namespace session_test {

// What the platform knows as the session's item and pool.
struct HeldItem {};
struct HeldPool {};
struct HeldBuffer {};
auto& Read(HeldItem, WgcCaptureSession&);
auto& Read(HeldPool, WgcCaptureSession&);
auto& Read(HeldBuffer, WgcCaptureSession&);
template struct Reveal<HeldItem, &WgcCaptureSession::capture_item_>;
template struct Reveal<HeldPool, &WgcCaptureSession::frame_pool_>;
template struct Reveal<HeldBuffer, &WgcCaptureSession::frame_buffer_>;

}  // namespace session_test

namespace {

using fake::SizeInt32;
using session_model::Frame;
using session_model::OutputTexture;
using session_model::Picture;
using session_model::SessionModel;
using session_model::Size;
using session_model::SizeOf;
using session_model::operator!=;
using session_test::BufferCapacityOf;

const HWND kWindow = reinterpret_cast<HWND>(0x10);
const HMONITOR kMonitor = reinterpret_cast<HMONITOR>(0x20);

enum class Step : uint8_t {
  kCreateForWindow,
  kCreateForMonitor,
  kCreateForNothing,
  kStart,
  kPoll,
  kRatio,
  kStatus,
  kDetection,
  kOutput,
  kCursor,
  kBorder,
  kDeliver,
  kDeliverTexture,
  kEmptyEvent,
  kHostMessage,
  kHostPumps,
  kCloseItem,
  kFailCall,
  kFailEvery,
  kFailMalloc,
  kFailNew,
  kNoFaults,
  kProperties,
  kRecover,
  kReleaseTextures,
  kFreeFrame,
  kDestroy,
  kCount,
};

// Sizes.

// Large frames are rare, and few in one input: a run is to take milliseconds.
constexpr uint64_t kPixelsPerInput = 48'000'000;

Size ReadSize(FuzzInput& input, uint64_t& pixels_left) {
  constexpr uint32_t kSmall = 96;
  constexpr uint32_t kAtTiles[] = {1, 31, 32, 33, 63, 64, 65, 96, 97, 128};
  constexpr Size kLong[] = {{640, 480}, {8192, 1},  {1, 4320},  {4097, 64},
                            {4129, 33}, {1025, 64}, {1057, 97}, {33, 1025}};
  constexpr Size kScreens[] = {{1280, 720},  {1366, 768},  {1920, 1079}, {1920, 1080},
                               {1921, 1080}, {2560, 1440}, {3200, 1800}, {3840, 2160},
                               {4096, 2160}, {5120, 2880}, {8192, 4320}};
  const uint8_t kind = input.Byte();
  const uint8_t first = input.Byte();
  const uint8_t second = input.Byte();
  const Size usual{1 + first % kSmall, 1 + second % kSmall};
  Size size = usual;
  if (kind == 255) {
    size = kScreens[first % std::size(kScreens)];
  } else if (kind >= 240) {
    size = kLong[first % std::size(kLong)];
  } else if (kind >= 160) {
    size = {kAtTiles[first % std::size(kAtTiles)], kAtTiles[second % std::size(kAtTiles)]};
  }
  if (size.Pixels() > pixels_left) size = usual;
  pixels_left -= std::min(pixels_left, size.Pixels());
  return size;
}

// Pictures.

// A value of its own in every pixel, as far as that is affordable.
Picture NewPicture(Size size, uint32_t seed) {
  constexpr uint64_t kAllDifferent = 300'000;
  constexpr uint64_t kOneColour = 4'000'000;
  auto picture = std::make_shared<reference::Image>(size.width, size.height);
  uint32_t value = seed * 0x9E3779B9u;
  if (size.Pixels() <= kAllDifferent) {
    for (uint32_t& pixel : picture->pixels) {
      value = value * 1664525u + 1013904223u;
      pixel = value;
    }
  } else if (size.Pixels() <= kOneColour) {
    std::fill(picture->pixels.begin(), picture->pixels.end(), value);
  }
  return picture;
}

// The same with the pixels of a rectangle changed.
Picture PartlyChanged(const reference::Image& picture, FuzzInput& input) {
  auto changed = std::make_shared<reference::Image>(picture);
  const uint32_t left = input.Byte() * picture.width / 256;
  const uint32_t top = input.Byte() * picture.height / 256;
  const uint32_t right = std::min(left + 1 + input.Byte() % 80, picture.width);
  const uint32_t bottom = std::min(top + 1 + input.Byte() % 80, picture.height);
  // Bit 7 set: the alpha value alone, which detection does not look at.
  const uint8_t kind = input.Byte();
  const uint32_t mask = (kind & 0x80) != 0 ? 0xFF000000 : 1u << (kind % 24);
  for (uint32_t y = top; y < bottom; ++y) {
    for (uint32_t x = left; x < right; ++x) changed->At(x, y) ^= mask;
  }
  return changed;
}

struct HostTexture {
  ID3D11Texture2D* texture;
  std::shared_ptr<OutputTexture> expected;  // null: not certain
};

// The library's lines.

enum class Ending { kNone, kHex, kDecimal, kAny };

struct KnownLine {
  int level;
  std::string_view text;
  Ending ending = Ending::kNone;
};

constexpr KnownLine kKnownLines[] = {
    {1, "WgcCaptureSession::Start"},
    {3, "Failed to create dxgi factory1, hr:", Ending::kHex},
    {3, "Failed to find any adapter to create d3d11 device"},
    {3, "Failed to create d3d11 device,hr:", Ending::kHex},
    {3, "Failed to QueryInterface[IDXGIDevice]. hr:", Ending::kHex},
    {3, "Failed to call CreateDirect3D11DeviceFromDXGIDevice, hr:", Ending::kHex},
    {3, "Failed to call IGraphicsCaptureItemInterop::CreateForWindow, hr:", Ending::kHex},
    {3, "Failed to call IGraphicsCaptureItemInterop::CreateForMonitor, hr:", Ending::kHex},
    {3, "No window or monitor to capture"},
    {1, "Wgc cursor Enable "},
    {1, "Wgc cursor Disable "},
    {1, "IsCursorToggleSupported: no"},
    {1, "Wgc border Enable "},
    {1, "Wgc border Disable "},
    {1, "IsBorderRequiredSupported: no"},
    {1, "Wgc session started."},
    {1, "Wgc on_closed"},
    {3, "Winrt exception:", Ending::kDecimal},
    {3, "std exception:std::bad_alloc"},
    {1, "Try to exit wgc thread"},
    {1, "Wgc exit."},
    {3, "Exception catced ", Ending::kAny},
    {3, "Exception catched: ", Ending::kHex},
    {2, "Failed to enable cursor"},
    {1, "Set enable cursor"},
    {1, "Set disable cursor"},
    {2, "Failed to  hide border"},
    {1, "Set show border"},
    {1, "Set hide border"},
    {1, "Set dirtyRect enable"},
    {1, "Set dirtyRect disable"},
    {3, "Failed to allocate ", Ending::kAny},
};

bool EndsAs(std::string_view rest, Ending ending) {
  const auto all = [&](auto holds) { return std::all_of(rest.begin(), rest.end(), holds); };
  switch (ending) {
    case Ending::kNone:
      return rest.empty();
    case Ending::kHex:
      return rest.size() == 8 && all([](unsigned char c) { return std::isxdigit(c) != 0; });
    case Ending::kDecimal:
      return rest.size() > 1 && rest[0] == '-' &&
             std::all_of(rest.begin() + 1, rest.end(),
                         [](unsigned char c) { return std::isdigit(c) != 0; });
    case Ending::kAny:
      return true;
  }
  return false;
}

void OnLog(int level, const char* text, size_t length) {
  const fake::OutsideLibrary outside;
  const std::string_view line(text);
  Require(line.size() == length, "a line's length is that of its text");
  Require(std::any_of(std::begin(kKnownLines), std::end(kKnownLines),
                      [&](const KnownLine& known) {
                        return known.level == level && line.starts_with(known.text) &&
                               EndsAs(line.substr(known.text.size()), known.ending);
                      }),
          "a line is one of those that hosts know");
}

// One run.

constexpr HRESULT kResults[] = {E_FAIL,
                                E_INVALIDARG,
                                E_OUTOFMEMORY,
                                E_ACCESSDENIED,
                                E_NOINTERFACE,
                                static_cast<HRESULT>(0x887A0005),   // DXGI_ERROR_DEVICE_REMOVED
                                static_cast<HRESULT>(0x887A0002),   // DXGI_ERROR_NOT_FOUND
                                static_cast<HRESULT>(0x80000013)};  // RO_E_CLOSED

class Run {
 public:
  Run(const uint8_t* data, size_t size) : input_(data, size) {
    fake::Reset();
    fake::settings.several_queues_a_thread = true;  // for two sessions and for second starts
    wgc_register_logger(OnLog);
    objects_before_ = fake::LiveObjects();
    heap_before_ = fake::HeapBytes();
    fake::window_procedure = [this](UINT message) { OnHostMessage(message); };
  }

  void All() {
    while (input_.Remaining() > 0) {
      const uint8_t code = input_.Byte();
      ++steps_;
      step_ = (code & 0x7F) % static_cast<uint8_t>(Step::kCount);
      index_ = code >> 7;
      One(static_cast<Step>(step_), index_);
      CheckHeap();
    }
    NoFaults();
    for (size_t i = 0; i < sessions_.size(); ++i) {
      index_ = i;
      Recover(i);
      Destroy(i);
    }
    ReleaseTextures();
    wgc_register_logger(nullptr);
    Require(fake::LiveObjects() == objects_before_, "nothing of the sessions is left");
    Require(fake::HeapBytes() == heap_before_, "no memory of the sessions is left");
    fake::Reset();
  }

  // Where the sessions and the model part: the step's number in the input, from 1, and in Step.
  std::string Position() const {
    return "step " + std::to_string(steps_) + " (kind " + std::to_string(step_) + "), session " +
           std::to_string(index_) + ": ";
  }

 private:
  struct Session {
    void* handle = nullptr;
    SessionModel model;
    int polls = 0;  // that are under way, one within the other

    WgcCaptureSession& Insides() const { return *static_cast<WgcCaptureSession*>(handle); }
    // What a buffer that could not be had counts for is not there.
    uint64_t BufferBytes() const {
      if (!handle || Read(session_test::HeldBuffer{}, Insides()) == nullptr) return 0;
      return BufferCapacityOf(handle);
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
  };

  // What waits in the thread's message queue.
  struct Message {
    Session* frame_of = nullptr;  // null: the host's own
    uint8_t action = 0;
    size_t target = 0;
  };

  void One(Step step, size_t index) {
    Session& session = sessions_[index];
    switch (step) {
      case Step::kCreateForWindow:
        return Create(session, true, [] { return wgc_session_create(kWindow); });
      case Step::kCreateForMonitor:
        return Create(session, true, [] { return wgc_session_create2(kMonitor); });
      case Step::kCreateForNothing:
        Require(wgc_session_create2(nullptr) == nullptr, "there is no session without a monitor");
        return Create(session, false, [] { return wgc_session_create(nullptr); });
      case Step::kFailCall:
        return FailCall();
      case Step::kFailEvery:
        return FailEvery();
      case Step::kFailMalloc:
        return Plan(fake::NthCallOf("malloc", 1 + input_.Byte() % 4,
                                    {fake::Fault::Kind::kResult, E_OUTOFMEMORY}));
      case Step::kFailNew:
        failing_new_ = 1 + input_.Byte() % 32;
        return;
      case Step::kNoFaults:
        return NoFaults();
      case Step::kProperties: {
        const uint8_t bits = input_.Byte();
        fake::settings.cursor_property_present = (bits & 1) != 0;
        fake::settings.border_property_present = (bits & 2) != 0;
        return;
      }
      case Step::kReleaseTextures:
        return ReleaseTextures();
      case Step::kHostMessage:
        return PostHostMessage(index);
      case Step::kHostPumps:
        return HostPumps();
      default:
        if (session.handle) OnSession(step, index);
    }
  }

  void OnSession(Step step, size_t index) {
    Session& session = sessions_[index];
    SessionModel& model = session.model;
    switch (step) {
      case Step::kStart:
        return Start(session);
      case Step::kPoll:
        return Poll(session);
      case Step::kRatio:
        return Ratio(session);
      case Step::kStatus:
        return Status(session);
      case Step::kDetection:
        model.detect = (input_.Byte() & 1) != 0;
        return wgc_set_dirty_rect(session.handle, model.detect);
      case Step::kOutput:
        return SetOutput(session, (input_.Byte() & 1) != 0);
      case Step::kCursor:
        return Cursor(session);
      case Step::kBorder:
        return Border(session);
      case Step::kDeliver:
        return Deliver(session);
      case Step::kDeliverTexture:
        return DeliverTexture(session);
      case Step::kEmptyEvent:
        if (session.Pool()) {
          session.Pool()->RaiseFrameArrived();
          messages_.push_back({&session});
        }
        return;
      case Step::kCloseItem:
        return CloseItem(session);
      case Step::kRecover:
        return Recover(index);
      case Step::kFreeFrame:
        return wgc_free_recent_frame(session.handle, &session);
      case Step::kDestroy:
        return Destroy(index);
      default:
        return;
    }
  }

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
        if (fault->kind == fake::Fault::Kind::kNothing || maps_failed_ > 1)
          map_without_data_ = true;
      }
      return fault;
    });
    maps_failed_ = 0;
    faults_seen_ = 0;
  }

  void NoFaults() {
    fake::PlanNoFaults();
    faults_seen_ = 0;
    failing_new_ = 0;
  }

  fake::Fault ReadFault() {
    const uint8_t kind = input_.Byte();
    if (kind % 4 == 0) return {fake::Fault::Kind::kNothing, S_OK};
    return {fake::Fault::Kind::kResult, kResults[kind / 4 % std::size(kResults)]};
  }

  void FailCall() {
    const uint64_t number = 1 + input_.Byte();
    Plan(fake::NthCall(number, ReadFault()));
  }

  // As on a device that was removed, or with a platform that lacks something.
  void FailEvery() {
    constexpr const char* kFunctions[] = {
        "Map",
        "CreateTexture2D",
        "CreateBuffer",
        "CreateComputeShader",
        "get_Surface",
        "GetInterface",
        "CreateShaderResourceView",
        "CreateUnorderedAccessView",
        "Recreate",
        "malloc",
        "TryGetNextFrame",
        "QueryInterface",
    };
    const char* const function = kFunctions[input_.Byte() % std::size(kFunctions)];
    Plan(fake::EveryCallOf(function, ReadFault()));
  }

  // Whether a call failed since the last question.
  bool FaultsHappened() {
    const uint64_t faults = fake::FaultsInjected();
    const bool happened = faults > faults_seen_ || new_failed_;
    faults_seen_ = faults;
    new_failed_ = false;
    return happened;
  }

  // Calls into the library, with the operator new that the input has chosen made to fail.
  template <typename Function>
  auto Library(Function function) {
    if (failing_new_ == 0) return function();
    armed_new_ = std::exchange(failing_new_, 0);
    fake::FailNew(armed_new_);
    struct Disarm {
      Run* run;
      ~Disarm() {
        run->NoteFailedNew();
        run->armed_new_ = 0;
        fake::FailNew(0);
      }
    } const disarm{this};
    return function();
  }

  void NoteFailedNew() {
    if (armed_new_ > 0 && fake::NewCalls() >= armed_new_) new_failed_ = true;
  }

  void LoseCertainty(SessionModel& model) {
    model.known = false;
    model.detector.known = false;
    model.waiting.clear();
    model.alternatives.clear();
    model.held = nullptr;
    model.output_known = false;
    model.output = nullptr;
    model.ratio.reset();
    for (HostTexture& held : textures_) held.expected = nullptr;
    if (std::exchange(map_without_data_, false)) {
      for (Session& session : sessions_) session.model.unfilled = true;
    }
  }

  void LoseCertaintyAfterFaults() {
    if (!FaultsHappened()) return;
    for (Session& session : sessions_) LoseCertainty(session.model);
  }

  // Host calls.

  template <typename Function>
  void Create(Session& session, bool has_target, Function create) {
    if (session.handle) return;
    void* const handle = Library(create);
    const bool faults = FaultsHappened();
    if (handle == nullptr) {
      Require(faults, "a session is made unless memory is short");
      return;
    }
    session = {};
    session.handle = handle;
    session.model.has_target = has_target;
    Require(!wgc_get_status(handle), "a new session does not run");
    Require(wgc_get_device(handle) == nullptr, "a new session has no device");
  }

  void Start(Session& session) {
    SessionModel& model = session.model;
    if (session.polls > 0) return;
    const Size item = ReadSize(input_, pixels_left_);
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

  void Forget(Session& session) {
    std::erase_if(messages_, [&](const Message& message) { return message.frame_of == &session; });
  }

  void Poll(Session& session) {
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
  }

  void CheckCopies() {
    const uint64_t copies = fake::texture_reads - std::exchange(reads_before_, fake::texture_reads);
    uint64_t least = 0, most = 0;
    bool certain = true;
    for (Session& session : sessions_) {
      certain = certain && (!session.handle || session.model.known);
      least += std::exchange(session.model.copies, 0);
      most += std::exchange(session.model.possible_copies, 0);
    }
    if (std::exchange(copies_certain_, certain) && certain) {
      Require(copies >= least && copies <= least + most,
              "a frame is copied if it is new to the host, and only then");
    }
  }

  void CheckBuffer(Session& session, const void* frame, Size size) {
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
    const D3D11_TEXTURE2D_DESC desc = fake::DescOf(texture);
    Require((Size{desc.Width, desc.Height} == SizeOf(*expected.picture)),
            "the texture has the frame's size");
    Require(fake::PixelsOf(texture).pixels == expected.picture->pixels,
            "the texture shows the last frame");
  }

  // Gives back what the polls have given, after a last look.
  void ReleaseTextures() {
    for (const HostTexture& held : textures_) {
      if (held.expected) CheckPixels(held.texture, *held.expected);
      held.texture->Release();
    }
    textures_.clear();
  }

  void Ratio(Session& session) {
    SessionModel& model = session.model;
    const float ratio = wgc_get_update_ratio(session.handle);
    Require(ratio >= 0.0f && ratio <= 1.0f, "the ratio is a share");
    if (model.ratio) Require(ratio == *model.ratio, "the ratio is that of the last frame handled");
    Require(wgc_get_update_ratio(session.handle) == 0.0f, "reading resets the ratio");
    model.ratio = 0.0f;
  }

  void Status(Session& session) {
    const SessionModel& model = session.model;
    Require(wgc_get_status(session.handle) == model.running,
            "a session runs from its start until its item closes");
    if (model.started) {
      Require(wgc_get_device(session.handle) == model.device, "the device stays the same");
    }
  }

  static void SetOutput(Session& session, bool to_texture) {
    session.model.to_texture = to_texture;
    if (to_texture) session.model.textures_asked = true;
    wgc_set_capture_to_texture(session.handle, to_texture);
  }

  void Cursor(Session& session) {
    const bool enable = (input_.Byte() & 1) != 0;
    const bool accepted = Library([&] { return wgc_enable_cursor(session.handle, enable); });
    if (!FaultsHappened()) {
      Require(accepted == (!enable || fake::settings.cursor_property_present),
              "the cursor is refused where the platform lacks it");
    } else {
      Require(accepted || enable, "a cursor is never refused to be disabled");
    }
    if (accepted) session.model.cursor = enable;
  }

  void Border(Session& session) {
    const bool show = (input_.Byte() & 1) != 0;
    const bool accepted = Library([&] { return wgc_show_border(session.handle, show); });
    if (!FaultsHappened()) {
      Require(accepted == (show || fake::settings.border_property_present),
              "a border can be hidden where the platform lets it");
    } else {
      Require(accepted || !show, "a border is never refused to be shown");
    }
  }

  void Destroy(size_t index) {
    Session& session = sessions_[index];
    if (!session.handle || session.polls > 0) return;
    CheckCopies();
    Library([&] { wgc_session_destroy(session.handle); });
    FaultsHappened();
    Forget(session);
    session = {};
  }

  // Platform events.

  void Deliver(Session& session) {
    fake::FramePool* const pool = session.Pool();
    const uint8_t kind = input_.Byte();
    if (!pool) return;
    const Size size{static_cast<uint32_t>(pool->Size().Width),
                    static_cast<uint32_t>(pool->Size().Height)};
    SizeInt32 content = pool->Size();
    if (kind % 8 == 7) {
      const Size other = ReadSize(input_, pixels_left_);
      content = {static_cast<INT32>(other.width), static_cast<INT32>(other.height)};
      if (kind == 255) content.Width = -content.Width;
    }
    if (size.Pixels() > pixels_left_) return;
    pixels_left_ -= size.Pixels();
    Picture picture;
    const auto& before = session.model.delivered;
    if (kind % 3 != 0 && !before.empty() && SizeOf(*before.back()) == size) {
      picture = kind % 3 == 1 ? before.back() : PartlyChanged(*before.back(), input_);
    } else {
      picture = NewPicture(size, ++seed_);
    }
    const auto& waiting = session.model.waiting;
    const bool pool_has_room = session.model.known && std::count_if(waiting.begin(), waiting.end(),
                                                                    [](const Frame& frame) {
                                                                      return frame.in_pool_buffer;
                                                                    }) < kPoolBuffers;
    if (pool->Deliver(*picture, content)) {
      Delivered(session, {picture, kBgra, content, true});
    } else {
      Require(!pool_has_room, "the pool gets its buffers back");
    }
  }

  void DeliverTexture(Session& session) {
    fake::FramePool* const pool = session.Pool();
    const uint8_t kind = input_.Byte();
    if (!pool) return;
    const SizeInt32 content = pool->Size();
    if (kind % 16 == 0) {
      if (pool->DeliverTexture(nullptr, content)) Delivered(session, {nullptr, kBgra, content});
      return;
    }
    const Size size = ReadSize(input_, pixels_left_);
    const DXGI_FORMAT format = kind % 4 == 1 ? DXGI_FORMAT_R8G8B8A8_UNORM : kBgra;
    const D3D11_USAGE usage = kind % 8 == 2 ? D3D11_USAGE_STAGING : D3D11_USAGE_DEFAULT;
    ID3D11Texture2D* const texture = fake::NewTexture(
        pool->Direct3DDevice(), fake::FrameDesc(size.width, size.height, format, usage));
    const Picture picture = NewPicture(size, ++seed_);
    fake::Draw(texture, *picture);
    if (pool->DeliverTexture(texture, content)) Delivered(session, {picture, format, content});
    texture->Release();
  }

  void Delivered(Session& session, Frame frame) {
    SessionModel& model = session.model;
    if (frame.picture) {
      frame.first_of_its_size = model.sizes.insert(SizeOf(*frame.picture)).second;
      model.delivered.push_back(frame.picture);
    }
    if (model.known) model.waiting.push_back(std::move(frame));
    messages_.push_back({&session});
  }

  void CloseItem(Session& session) {
    fake::CaptureItem* const item = session.Item();
    if (!item) return;
    if (item->RaiseClosed() == S_OK) session.model.running = false;
    Status(session);
  }

  // The thread's messages.

  void PostHostMessage(size_t index) {
    messages_.push_back({nullptr, input_.Byte(), index});
    fake::ThreadQueue()->Post(WM_USER);
  }

  void HostPumps() {
    Library([] {
      MSG message;
      while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
    });
    Dispatched();
    LoseCertaintyAfterFaults();
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
    for (Session& session : sessions_) {
      if (!session.model.known) session.model.ratio.reset();
    }
  }

  void HandleNext() {
    Session* const session = messages_.front().frame_of;
    messages_.pop_front();
    if (session) session->model.HandleEvent();
  }

  // In the middle of a pump: a window procedure of the host's that calls into the library.
  void OnHostMessage(UINT) {
    const fake::OutsideLibrary outside;
    NoteFailedNew();
    ForgetRatios();
    while (messages_.front().frame_of != nullptr) HandleNext();
    const Message message = messages_.front();
    messages_.pop_front();
    LoseCertaintyAfterFaults();
    Session& session = sessions_[message.target];
    if (!session.handle) return;
    SessionModel& model = session.model;
    switch (message.action % 6) {
      case 0:
        return Poll(session);
      case 1:
        return SetOutput(session, !model.to_texture);
      case 2:
        model.detect = !model.detect;
        return wgc_set_dirty_rect(session.handle, model.detect);
      case 3:
        return Ratio(session);
      case 4:
        return CloseItem(session);
      case 5:
        return Destroy(message.target);
    }
  }

  // Whatever failed before: the next frame of a session that has started comes through.
  void Recover(size_t index) {
    Session& session = sessions_[index];
    SessionModel& model = session.model;
    if (!session.handle || !model.started || session.polls > 0) return;
    NoFaults();
    model.detect = false;
    model.to_texture = false;
    wgc_set_dirty_rect(session.handle, false);
    wgc_set_capture_to_texture(session.handle, false);
    Poll(session);
    // The poll may have run a message that destroys the session or changes its switches.
    fake::FramePool* const pool = session.Pool();
    if (!pool || model.to_texture || model.detect || !pool->HasHandler()) return;
    // Frames that the library could not take are still there.
    for (size_t left = pool->FramesWaiting(); left > 0; --left) {
      pool->RaiseFrameArrived();
      messages_.push_back({&session});
      Poll(session);
    }
    Require(pool->FramesWaiting() == 0, "an event takes a frame");

    const Size size{static_cast<uint32_t>(pool->Size().Width),
                    static_cast<uint32_t>(pool->Size().Height)};
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

  void CheckHeap() {
    Require(fake::HeapBytes() - heap_before_ ==
                static_cast<int64_t>(sessions_[0].BufferBytes() + sessions_[1].BufferBytes()),
            "a session's memory is its buffer");
  }

  static constexpr ptrdiff_t kPoolBuffers = 2;
  static constexpr DXGI_FORMAT kBgra = DXGI_FORMAT_B8G8R8A8_UNORM;

  FuzzInput input_;
  std::array<Session, 2> sessions_;
  std::deque<Message> messages_;
  std::vector<HostTexture> textures_;
  int64_t objects_before_ = 0;
  int64_t heap_before_ = 0;  // the fuzzer's own
  uint64_t pixels_left_ = kPixelsPerInput;
  uint32_t seed_ = 0;
  uint64_t failing_new_ = 0;  // for the next call into the library
  uint64_t armed_new_ = 0;    // for the one under way
  bool new_failed_ = false;
  uint64_t faults_seen_ = 0;
  uint64_t reads_before_ = fake::texture_reads;
  bool copies_certain_ = true;  // as of the last look
  uint64_t steps_ = 0;
  uint8_t step_ = 0;
  size_t index_ = 0;
  int maps_failed_ = 0;
  bool map_without_data_ = false;
};

const Run* running = nullptr;

// COM is initialised once a process, so this is, too: a platform that refuses is the one error that
// leaves the library by exception, and the next attempt is free to succeed.
bool CheckRefusedCom() {
  fake::Reset();
  fake::PlanFaults(
      fake::NthCallOf("CoInitializeEx", 1, {fake::Fault::Kind::kResult, RPC_E_CHANGED_MODE}));
  HRESULT raised = S_OK;
  try {
    wgc_session_create(kWindow);
  } catch (const winrt::hresult_error& error) {
    raised = error.code();
  }
  Require(raised == RPC_E_CHANGED_MODE, "the refusal reaches the host");
  void* const session = wgc_session_create(kWindow);
  Require(session != nullptr, "a later attempt succeeds");
  wgc_session_destroy(session);
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  [[maybe_unused]] static const bool checked = CheckRefusedCom();
  Run run(data, size);
  running = &run;
  fuzz_position = [] { return running->Position(); };
  run.All();
  fuzz_position = nullptr;
  return 0;
}
