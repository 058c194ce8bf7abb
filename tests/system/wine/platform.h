// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What the tests of the stand-in platform share: its factories and objects, through the interfaces
// that Windows declares, and the reading of a captured frame's pixels.
#pragma once

#include <d3d11.h>
#include <dispatcherqueue.h>
#include <roapi.h>
#include <weakreference.h>
#include <windows.foundation.metadata.h>
#include <windows.graphics.capture.h>
#include <windows.graphics.capture.interop.h>
#include <windows.graphics.directx.direct3d11.interop.h>
#include <winstring.h>

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string_view>

#include "common/object.h"
#include "support/desktop.h"
#include "support/own_thread.h"
#include "support/pattern_window.h"
#include "support/platform_setting.h"
#include "support/read_texture.h"

namespace wine_test {

using namespace ABI::Windows::Foundation;
using namespace ABI::Windows::Graphics;
using namespace ABI::Windows::Graphics::Capture;
using namespace ABI::Windows::Graphics::DirectX;
using namespace ABI::Windows::Graphics::DirectX::Direct3D11;
using namespace ABI::Windows::System;
using Windows::Graphics::DirectX::Direct3D11::IDirect3DDxgiInterfaceAccess;

using standin::Query;
using standin::Ref;

constexpr HRESULT kClosed = static_cast<HRESULT>(0x80000013);  // RO_E_CLOSED

inline constexpr wchar_t kItemClass[] = L"Windows.Graphics.Capture.GraphicsCaptureItem";
inline constexpr wchar_t kPoolClass[] = L"Windows.Graphics.Capture.Direct3D11CaptureFramePool";
inline constexpr wchar_t kSessionClass[] = L"Windows.Graphics.Capture.GraphicsCaptureSession";

// A string for the length of one call.
class HString {
 public:
  explicit HString(std::wstring_view text) {
    WindowsCreateString(text.data(), static_cast<UINT32>(text.size()), &string_);
  }
  HString(const HString&) = delete;
  HString& operator=(const HString&) = delete;
  ~HString() { WindowsDeleteString(string_); }
  HSTRING Get() const { return string_; }

 private:
  HSTRING string_ = nullptr;
};

template <class Interface>
Ref<Interface> ActivationFactory(std::wstring_view class_name) {
  Ref<Interface> factory;
  RoGetActivationFactory(HString(class_name).Get(), __uuidof(Interface),
                         reinterpret_cast<void**>(factory.Put()));
  return factory;
}

// The hardware (here: software) device that the tests share; made once, since making one is slow.
struct GraphicsDevice {
  Ref<ID3D11Device> d3d;
  Ref<ID3D11DeviceContext> context;
  Ref<IDirect3DDevice> winrt;
};
GraphicsDevice& Device();

// An event handler, or any delegate with one Invoke, that calls a function.
template <class Interface, class... Arguments>
class Delegate : public standin::Object<Interface> {
 public:
  using Function = std::function<void(Arguments...)>;

  static Ref<Interface> Make(Function function) {
    return Ref<Interface>::Attach(new Delegate(std::move(function)));
  }
  HRESULT STDMETHODCALLTYPE Invoke(Arguments... arguments) override {
    function_(arguments...);
    return S_OK;
  }

 private:
  explicit Delegate(Function function) : function_(std::move(function)) {}

  const Function function_;
};

using ArrivedHandler = Delegate<
    __FITypedEventHandler_2_Windows__CGraphics__CCapture__CDirect3D11CaptureFramePool_IInspectable,
    IDirect3D11CaptureFramePool*, IInspectable*>;
using ClosedHandler = Delegate<
    __FITypedEventHandler_2_Windows__CGraphics__CCapture__CGraphicsCaptureItem_IInspectable,
    IGraphicsCaptureItem*, IInspectable*>;

// Each adds a handler and fails the test when it is refused.
EventRegistrationToken AddHandler(const Ref<IGraphicsCaptureItem>& item,
                                  ClosedHandler::Function handle);
EventRegistrationToken AddHandler(IDirect3D11CaptureFramePool* pool,
                                  ArrivedHandler::Function handle);

// A thread has at most one dispatcher queue in its life: cases that make one of their own do so on
// a new thread, all others share that of the thread they run on.
Ref<IDispatcherQueueController> MakeDispatcherQueue();
void EnsureDispatcherQueue();

Ref<IGraphicsCaptureItem> MakeItem(HWND window);
Ref<IGraphicsCaptureItem> MakeItem(HMONITOR monitor);
HMONITOR PrimaryMonitor();
SizeInt32 SizeOf(IGraphicsCaptureItem* item);

// The result of Create is put into `result` when that is given.
Ref<IDirect3D11CaptureFramePool> MakePool(SizeInt32 size, HRESULT* result = nullptr);
Ref<IDirect3D11CaptureFrame> TryGetNextFrame(IDirect3D11CaptureFramePool* pool);

HRESULT Close(IUnknown* object);
// Null when the object does not offer it.
Ref<IWeakReference> WeaklyReferTo(IUnknown* object);
// The object that the reference refers to; null when it is gone.
Ref<IUnknown> Resolve(IWeakReference* reference);

Ref<ID3D11Texture2D> TextureOf(IDirect3D11CaptureFrame* frame);
// Opaque, whatever the frame's alpha is.
Picture ReadPixels(IDirect3D11CaptureFrame* frame);
SizeInt32 ContentSize(IDirect3D11CaptureFrame* frame);

// Removes and dispatches the thread's messages until there are none.
void DrainMessages();
// Drains messages until `done` holds or the time is up; whether it holds.
bool PumpUntil(const std::function<bool()>& done, DWORD limit_ms = 5000);

// A running capture on the calling thread, the way a host sets one up. Fails the test when a step
// does.
class Recording {
 public:
  // The pool gets the item's size unless another is given. Without the cursor, the pixels are the
  // target's own.
  explicit Recording(const Ref<IGraphicsCaptureItem>& item, SizeInt32 pool_size = {0, 0},
                     bool cursor = false);
  explicit Recording(const PatternWindow& window) : Recording(MakeItem(window.handle())) {}

  // The next frame that comes within the time; null when none does.
  Ref<IDirect3D11CaptureFrame> NextFrame(DWORD limit_ms = 3000);
  // The first frame in five seconds that `wanted` holds for.
  Ref<IDirect3D11CaptureFrame> FrameWhere(
      const std::function<bool(IDirect3D11CaptureFrame*)>& wanted);
  // Whether a frame comes whose content is this picture, at the top left of the pool's texture.
  bool ComesToShow(const Picture& picture);
  // Takes frames until none has come for 200 ms.
  void TakeAllFrames();

  IDirect3D11CaptureFramePool* Pool() { return pool_.Get(); }
  IGraphicsCaptureSession* Session() { return session_.Get(); }

 private:
  Ref<IDirect3D11CaptureFramePool> pool_;
  Ref<IGraphicsCaptureSession> session_;
};

inline const Picture kFirst = MakePattern(160, 120);
inline const Picture kSecond = MakePattern(160, 120, 1);

// A running capture of a window that shows kFirst.
class RunningCapture : public testing::Test {
 protected:
  PatternWindow window_{kFirst};
  Recording recording_{window_};
};

// Skips the test, without ending the function that calls this.
void SkipOnWindows();

struct EveryTickSetting {
  EveryTickSetting() {
    SkipOnWindows();
    if (IsWine()) every_tick.emplace(L"SendUnchangedFrames", 1);
  }
  std::optional<PlatformSetting> every_tick;
};
// The same where unchanged frames come as well. The capture reads the setting when it starts.
class EveryTickCapture : EveryTickSetting, public RunningCapture {};

// Moves the cursor to a point of the window's client area. Under Wine the window gets the focus, as
// Wine tells the cursor of the foreground window only.
bool PutCursor(PatternWindow& window, HCURSOR cursor, POINT position);

// Part of a picture.
Picture Crop(const Picture& picture, POINT position, SIZE size);

}  // namespace wine_test
