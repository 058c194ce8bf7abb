// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Host calls and platform events in any order, on up to two sessions of one thread, with faults.
//
// Input: steps until the bytes end. A step is a byte of which bit 7 chooses the session and the
// rest, modulo the number of steps, the step (see Step); its arguments follow.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>

#include "native/fuzz/fuzz_input.h"
#include "native/modelled_host.h"

namespace {

using session_model::Changed;
using session_model::kBgra;
using session_model::NewPicture;
using session_model::Picture;
using session_model::Size;
using session_model::SizeOf;

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

constexpr HRESULT kResults[] = {E_FAIL,
                                E_INVALIDARG,
                                E_OUTOFMEMORY,
                                E_ACCESSDENIED,
                                E_NOINTERFACE,
                                DXGI_ERROR_DEVICE_REMOVED,
                                DXGI_ERROR_NOT_FOUND,
                                RO_E_CLOSED};

class Run : session_model::ModelledHost {
 public:
  Run(const uint8_t* data, size_t size) : input_(data, size) {}

  void All() {
    while (input_.Remaining() > 0) {
      const uint8_t code = input_.Byte();
      ++steps_;
      step_ = (code & 0x7F) % static_cast<uint8_t>(Step::kCount);
      index_ = code >> 7;
      One(static_cast<Step>(step_), sessions[index_]);
      CheckHeap();
    }
    End();
  }

  // Where the sessions and the model part: the step's number in the input, from 1, and in Step.
  std::string Position() const {
    return "step " + std::to_string(steps_) + " (kind " + std::to_string(step_) + "), session " +
           std::to_string(index_) + ": ";
  }

 private:
  void One(Step step, Session& session) {
    switch (step) {
      case Step::kCreateForWindow:
        return Create(session, session_model::kWindow);
      case Step::kCreateForMonitor:
        return Create(session, session_model::kMonitor);
      case Step::kCreateForNothing:
        Require(wgc_session_create2(nullptr) == nullptr, "there is no session without a monitor");
        return Create(session, HWND{});
      case Step::kFailCall: {
        const uint64_t number = 1 + input_.Byte();
        return Plan(fake::NthCall(number, ReadFault()));
      }
      case Step::kFailEvery:
        return FailEvery();
      case Step::kFailMalloc:
        return Plan(fake::CallsOf("malloc", {1u + input_.Byte() % 4},
                                  {fake::Fault::Kind::kResult, E_OUTOFMEMORY}));
      case Step::kFailNew:
        return FailNew(1 + input_.Byte() % 32);
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
        return PostMessage(session);
      case Step::kHostPumps:
        return Pump();
      default:
        if (session.handle) OnSession(step, session);
    }
  }

  void OnSession(Step step, Session& session) {
    switch (step) {
      case Step::kStart:
        return Start(session, ReadSize(input_, pixels_left_));
      case Step::kPoll:
        Poll(session);
        return;
      case Step::kRatio:
        return Ratio(session);
      case Step::kStatus:
        return Status(session);
      case Step::kDetection:
        return SetDetection(session, ReadBit());
      case Step::kOutput:
        return SetOutput(session, ReadBit());
      case Step::kCursor:
        return EnableCursor(session, ReadBit());
      case Step::kBorder:
        return ShowBorder(session, ReadBit());
      case Step::kDeliver:
        return DeliverNext(session);
      case Step::kDeliverTexture:
        return DeliverNextTexture(session);
      case Step::kEmptyEvent:
        if (session.Pool()) RaiseEmptyEvent(session);
        return;
      case Step::kCloseItem:
        return CloseItem(session);
      case Step::kRecover:
        return Recover(session);
      case Step::kFreeFrame:
        return wgc_free_recent_frame(session.handle, &session);
      case Step::kDestroy:
        return Destroy(session);
      default:
        return;
    }
  }

  bool ReadBit() { return (input_.Byte() & 1) != 0; }

  fake::Fault ReadFault() {
    const uint8_t kind = input_.Byte();
    if (kind % 4 == 0) return {fake::Fault::Kind::kNothing, S_OK};
    return {fake::Fault::Kind::kResult, kResults[kind / 4 % std::size(kResults)]};
  }

  // As on a device that was removed, or with a platform that lacks something.
  void FailEvery() {
    constexpr const char* kFunctions[] = {"Map",
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
                                          "QueryInterface"};
    const char* const function = kFunctions[input_.Byte() % std::size(kFunctions)];
    Plan(fake::EveryCallOf(function, ReadFault()));
  }

  void DeliverNext(Session& session) {
    const uint8_t kind = input_.Byte();
    if (!session.Pool()) return;
    fake::SizeInt32 content = session.Pool()->Size();
    if (kind % 8 == 7) {
      const Size other = ReadSize(input_, pixels_left_);
      content = {static_cast<INT32>(other.width), static_cast<INT32>(other.height)};
      if (kind == 255) content.Width = -content.Width;
    }
    const Size size = session.PoolSize();
    if (size.Pixels() > pixels_left_) return;
    pixels_left_ -= size.Pixels();
    const auto& before = session.model.delivered;
    Picture picture;
    if (kind % 3 == 0 || before.empty() || SizeOf(*before.back()) != size) {
      picture = NewPicture(size, ++seed_);
    } else {
      picture = kind % 3 == 1 ? before.back() : PartlyChanged(*before.back());
    }
    Deliver(session, picture, content);
  }

  Picture PartlyChanged(const reference::Image& picture) {
    const uint32_t left = input_.Byte() * picture.width / 256;
    const uint32_t top = input_.Byte() * picture.height / 256;
    const uint32_t width = 1 + input_.Byte() % 80;
    const uint32_t height = 1 + input_.Byte() % 80;
    // Bit 7 set: the alpha value alone, which detection does not look at.
    const uint8_t kind = input_.Byte();
    return Changed(picture, left, top, {width, height},
                   (kind & 0x80) != 0 ? 0xFF000000 : 1u << (kind % 24));
  }

  void DeliverNextTexture(Session& session) {
    const uint8_t kind = input_.Byte();
    if (!session.Pool()) return;
    if (kind % 16 == 0) return DeliverTexture(session, nullptr, nullptr, kBgra);
    const Size size = ReadSize(input_, pixels_left_);
    const DXGI_FORMAT format = kind % 4 == 1 ? DXGI_FORMAT_R8G8B8A8_UNORM : kBgra;
    const D3D11_USAGE usage = kind % 8 == 2 ? D3D11_USAGE_STAGING : D3D11_USAGE_DEFAULT;
    ID3D11Texture2D* const texture = fake::NewTexture(
        session.Pool()->Direct3DDevice(), FrameDesc(size.width, size.height, format, usage));
    const Picture picture = NewPicture(size, ++seed_);
    fake::Draw(texture, *picture);
    DeliverTexture(session, texture, picture, format);
    texture->Release();
  }

  void PostMessage(Session& session) {
    Post([this, &session, action = input_.Byte() % 6] {
      if (!session.handle) return;
      switch (action) {
        case 0:
          Poll(session);
          return;
        case 1:
          return SetOutput(session, !session.model.to_texture);
        case 2:
          return SetDetection(session, !session.model.detect);
        case 3:
          return Ratio(session);
        case 4:
          return CloseItem(session);
        case 5:
          return Destroy(session);
      }
    });
  }

  FuzzInput input_;
  uint64_t pixels_left_ = kPixelsPerInput;
  uint32_t seed_ = 0;
  uint64_t steps_ = 0;
  uint8_t step_ = 0;
  size_t index_ = 0;
};

const Run* running = nullptr;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Run run(data, size);
  running = &run;
  position = [] { return running->Position(); };
  run.All();
  position = nullptr;
  return 0;
}
