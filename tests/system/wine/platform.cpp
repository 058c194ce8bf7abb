// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "platform.h"

#include <fstream>
#include <iostream>

namespace wine_test {
namespace {

// One thread in the multithreaded apartment is enough: all others count as members of it. Wine 8
// gives out factories without one; Windows and later Wines do not.
class Apartment : public testing::Environment {
 public:
  void SetUp() override { ASSERT_EQ(RoInitialize(RO_INIT_MULTITHREADED), S_OK); }
};

testing::Environment* const apartment = testing::AddGlobalTestEnvironment(new Apartment);

// On Windows a failed expectation tells where the stand-in differs. Lists all of them at the end
// and in a file in the working folder.
class Differences : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo& test) override {
    test_ = std::string(test.test_suite_name()) + "." + test.name();
  }
  void OnTestPartResult(const testing::TestPartResult& result) override {
    if (!result.failed()) return;
    ++count_;
    text_ += test_ + "\n" + result.message() + "\n";
  }
  void OnTestProgramEnd(const testing::UnitTest&) override {
    text_ = std::to_string(count_) + " differences from the stand-in:\n\n" + text_;
    std::cout << text_ << std::flush;
    std::ofstream("standin_differences.txt") << text_;
  }

  std::string test_;
  int count_ = 0;
  std::string text_;
};

class ListDifferences : public testing::Environment {
 public:
  void SetUp() override {
    if (!IsWine()) testing::UnitTest::GetInstance()->listeners().Append(new Differences);
  }
};

testing::Environment* const list_differences =
    testing::AddGlobalTestEnvironment(new ListDifferences);

GraphicsDevice MakeDevice() {
  GraphicsDevice device;
  const D3D_FEATURE_LEVEL level = D3D_FEATURE_LEVEL_11_0;
  D3D11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, D3D11_CREATE_DEVICE_BGRA_SUPPORT,
                    &level, 1, D3D11_SDK_VERSION, device.d3d.Put(), nullptr, device.context.Put());
  const auto dxgi = Query<IDXGIDevice>(device.d3d.Get());
  Ref<IInspectable> inspectable;
  CreateDirect3D11DeviceFromDXGIDevice(dxgi.Get(), inspectable.Put());
  device.winrt = Query<IDirect3DDevice>(inspectable.Get());
  return device;
}

// Factories are kept, as hosts keep them: Wine's RoGetActivationFactory loses a handle at every
// call, which would hide what a capture leaves behind.
template <class Handle>
Ref<IGraphicsCaptureItem> MakeItemBy(
    HRESULT (STDMETHODCALLTYPE IGraphicsCaptureItemInterop::*create)(Handle, REFIID, void**),
    Handle target) {
  static const auto& interop =
      *new auto(ActivationFactory<IGraphicsCaptureItemInterop>(kItemClass));
  Ref<IGraphicsCaptureItem> item;
  (interop.Get()->*create)(target, __uuidof(IGraphicsCaptureItem),
                           reinterpret_cast<void**>(item.Put()));
  return item;
}

}  // namespace

// Left to the end of the process: releasing a device while statics are destroyed helps nobody.
GraphicsDevice& Device() {
  static GraphicsDevice& device = *new GraphicsDevice(MakeDevice());
  return device;
}

Ref<IDispatcherQueueController> MakeDispatcherQueue() {
  Ref<IDispatcherQueueController> controller;
  CreateDispatcherQueueController(
      {sizeof(DispatcherQueueOptions), DQTYPE_THREAD_CURRENT, DQTAT_COM_STA}, controller.Put());
  return controller;
}

// Refused where there is one already. The queue stays when its controller is released.
void EnsureDispatcherQueue() {
  MakeDispatcherQueue();
}

Ref<IGraphicsCaptureItem> MakeItem(HWND window) {
  return MakeItemBy(&IGraphicsCaptureItemInterop::CreateForWindow, window);
}

Ref<IGraphicsCaptureItem> MakeItem(HMONITOR monitor) {
  return MakeItemBy(&IGraphicsCaptureItemInterop::CreateForMonitor, monitor);
}

HMONITOR PrimaryMonitor() {
  return MonitorFromPoint({0, 0}, MONITOR_DEFAULTTOPRIMARY);
}

SizeInt32 SizeOf(IGraphicsCaptureItem* item) {
  SizeInt32 size = {};
  EXPECT_EQ(item->get_Size(&size), S_OK);
  return size;
}

Ref<IDirect3D11CaptureFramePool> MakePool(SizeInt32 size, HRESULT* result) {
  static const auto& statics =
      *new auto(ActivationFactory<IDirect3D11CaptureFramePoolStatics>(kPoolClass));
  Ref<IDirect3D11CaptureFramePool> pool;
  const HRESULT created = statics->Create(
      Device().winrt.Get(), DirectXPixelFormat_B8G8R8A8UIntNormalized, 2, size, pool.Put());
  if (result) *result = created;
  return pool;
}

Ref<IDirect3D11CaptureFrame> TryGetNextFrame(IDirect3D11CaptureFramePool* pool) {
  Ref<IDirect3D11CaptureFrame> frame;
  EXPECT_EQ(pool->TryGetNextFrame(frame.Put()), S_OK);
  return frame;
}

EventRegistrationToken AddHandler(const Ref<IGraphicsCaptureItem>& item,
                                  ClosedHandler::Function handle) {
  EventRegistrationToken token = {};
  EXPECT_EQ(item->add_Closed(ClosedHandler::Make(std::move(handle)).Get(), &token), S_OK);
  return token;
}

EventRegistrationToken AddHandler(IDirect3D11CaptureFramePool* pool,
                                  ArrivedHandler::Function handle) {
  EventRegistrationToken token = {};
  EXPECT_EQ(pool->add_FrameArrived(ArrivedHandler::Make(std::move(handle)).Get(), &token), S_OK);
  return token;
}

HRESULT Close(IUnknown* object) {
  const auto closable = Query<IClosable>(object);
  return closable ? closable->Close() : E_NOINTERFACE;
}

Ref<IWeakReference> WeaklyReferTo(IUnknown* object) {
  Ref<IWeakReference> weak;
  if (const auto source = Query<IWeakReferenceSource>(object)) source->GetWeakReference(weak.Put());
  return weak;
}

Ref<IUnknown> Resolve(IWeakReference* reference) {
  Ref<IInspectable> resolved;
  EXPECT_EQ(reference->Resolve(__uuidof(IUnknown), resolved.Put()), S_OK);
  return Ref<IUnknown>(resolved.Get());
}

Ref<ID3D11Texture2D> TextureOf(IDirect3D11CaptureFrame* frame) {
  Ref<IDirect3DSurface> surface;
  Ref<ID3D11Texture2D> texture;
  if (FAILED(frame->get_Surface(surface.Put()))) return texture;
  const auto access = Query<IDirect3DDxgiInterfaceAccess>(surface.Get());
  access->GetInterface(__uuidof(ID3D11Texture2D), reinterpret_cast<void**>(texture.Put()));
  return texture;
}

Picture ReadPixels(IDirect3D11CaptureFrame* frame) {
  Picture pixels = ReadTexture(TextureOf(frame).Get());
  for (uint32_t& pixel : pixels.pixels) pixel |= 0xFF000000;
  return pixels;
}

SizeInt32 ContentSize(IDirect3D11CaptureFrame* frame) {
  SizeInt32 size = {};
  EXPECT_EQ(frame->get_ContentSize(&size), S_OK);
  return size;
}

void DrainMessages() {
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
}

bool PumpUntil(const std::function<bool()>& done, DWORD limit_ms) {
  const ULONGLONG end = GetTickCount64() + limit_ms;
  for (;;) {
    DrainMessages();
    if (done()) return true;
    if (GetTickCount64() >= end) return false;
    MsgWaitForMultipleObjects(0, nullptr, FALSE, 5, QS_ALLINPUT);
  }
}

Recording::Recording(const Ref<IGraphicsCaptureItem>& item, SizeInt32 pool_size, bool cursor) {
  EnsureDispatcherQueue();
  HRESULT created = E_FAIL;
  pool_ = MakePool(pool_size.Width != 0 ? pool_size : SizeOf(item.Get()), &created);
  EXPECT_EQ(created, S_OK);
  if (!pool_) return;
  EXPECT_EQ(pool_->CreateCaptureSession(item.Get(), session_.Put()), S_OK);
  EXPECT_EQ(Query<IGraphicsCaptureSession2>(session_.Get())->put_IsCursorCaptureEnabled(cursor),
            S_OK);
  EXPECT_EQ(session_->StartCapture(), S_OK);
}

Ref<IDirect3D11CaptureFrame> Recording::NextFrame(DWORD limit_ms) {
  Ref<IDirect3D11CaptureFrame> frame;
  if (!pool_) return frame;
  PumpUntil([&] { return pool_->TryGetNextFrame(frame.Put()) == S_OK && frame; }, limit_ms);
  return frame;
}

Ref<IDirect3D11CaptureFrame> Recording::FrameWhere(
    const std::function<bool(IDirect3D11CaptureFrame*)>& wanted) {
  const ULONGLONG end = GetTickCount64() + 5000;
  while (GetTickCount64() < end) {
    auto frame = NextFrame(200);
    if (frame && wanted(frame.Get())) return frame;
  }
  return {};
}

bool Recording::ComesToShow(const Picture& picture) {
  const SIZE size = {static_cast<LONG>(picture.width), static_cast<LONG>(picture.height)};
  return static_cast<bool>(FrameWhere([&](IDirect3D11CaptureFrame* frame) {
    const SizeInt32 content = ContentSize(frame);
    return content.Width == size.cx && content.Height == size.cy &&
           Crop(ReadPixels(frame), {0, 0}, size) == picture;
  }));
}

void Recording::TakeAllFrames() {
  while (NextFrame(200)) continue;
}

void SkipOnWindows() {
  if (!IsWine()) GTEST_SKIP() << kNeedsStandin;
}

bool PutCursor(PatternWindow& window, HCURSOR cursor, POINT position) {
  window.SetState(SW_SHOW);
  if (IsWine()) SetForegroundWindow(window.handle());
  ClientToScreen(window.handle(), &position);
  SetCursorPos(position.x, position.y);
  return PumpUntil([&] {
    CURSORINFO told = {};
    told.cbSize = sizeof(told);
    return GetCursorInfo(&told) && told.hCursor == cursor && told.ptScreenPos.x == position.x &&
           told.ptScreenPos.y == position.y;
  });
}

Picture Crop(const Picture& picture, POINT position, SIZE size) {
  const uint32_t left = position.x;
  const uint32_t top = position.y;
  if (left + size.cx > picture.width || top + size.cy > picture.height) return {};
  return Picture(size.cx, size.cy, &picture.pixels[top * picture.width + left], picture.width * 4);
}

}  // namespace wine_test
