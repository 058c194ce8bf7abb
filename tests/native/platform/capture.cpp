// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "native/platform/capture.h"

#include <dispatcherqueue.h>
#include <windows.foundation.metadata.h>
#include <windows.graphics.capture.interop.h>
#include <windows.graphics.directx.direct3d11.interop.h>

#include <algorithm>
#include <string>
#include <utility>

#include "native/platform/runtime_strings.h"
#include "native/platform/settings.h"

namespace fake {
namespace {

namespace capture_abi = ABI::Windows::Graphics::Capture;
namespace directx_abi = ABI::Windows::Graphics::DirectX;
using directx_abi::Direct3D11::IDirect3DDevice;
using directx_abi::Direct3D11::IDirect3DSurface;
using ::Windows::Graphics::DirectX::Direct3D11::IDirect3DDxgiInterfaceAccess;

thread_local CaptureItem* last_item = nullptr;
thread_local FramePool* last_pool = nullptr;
thread_local CaptureSession* last_session = nullptr;

template <typename T>
void ForgetLast(T*& last, T* object) {
  if (last == object) last = nullptr;
}

// Reads as "64x48".
auto TextOf(SizeInt32 size) {
  return [=] { return std::to_string(size.Width) + "x" + std::to_string(size.Height); };
}

const char* TextOf(boolean value) {
  return value ? "true" : "false";
}

template <typename T, typename Interface>
HRESULT Deliver(Call& call, T* made, Interface** result) {
  const HRESULT answer = call.Made(made, result);
  if (call.FailsAfterWork()) {
    // A failing call leaves nothing behind: what it made goes again.
    made->Release();
    *result = nullptr;
  }
  return answer;
}

class RuntimeDevice final : public Implements<IDirect3DDevice, IDirect3DDxgiInterfaceAccess> {
 public:
  explicit RuntimeDevice(ID3D11Device* device) : Implements("winrt_device"), device(device) {
    device->AddRef();
  }

  ID3D11Device* const device;

 private:
  ~RuntimeDevice() override { device->Release(); }
};

class DispatcherQueueController final
    : public Implements<ABI::Windows::System::IDispatcherQueueController> {
 public:
  DispatcherQueueController() : Implements("controller") {}
};

class Surface final : public Implements<IDirect3DSurface, IDirect3DDxgiInterfaceAccess> {
 public:
  explicit Surface(ID3D11Texture2D* texture) : Implements("surface"), texture_(texture) {
    if (texture_) texture_->AddRef();
  }

  HRESULT STDMETHODCALLTYPE GetInterface(REFIID id, void** object) override {
    Call call(Name(), "GetInterface", id);
    if (call.Fails(object)) return call.Result();
    if (!texture_) return S_OK;
    if (id != __uuidof(ID3D11Texture2D)) return E_NOINTERFACE;
    texture_->AddRef();
    *object = texture_;
    call.Made(NameOf(texture_));
    return call.Done();
  }

 private:
  ~Surface() override {
    if (texture_) texture_->Release();
  }

  ID3D11Texture2D* const texture_;
};

// What both statics and factories of this platform are.
template <typename First, typename... Rest>
class FactoryObject : public Implements<First, Rest...> {
 public:
  void* Answer(REFIID id) override {
    if (id == __uuidof(IAgileObject)) {
      return settings.agile_factories ? static_cast<First*>(this) : nullptr;
    }
    return Implements<First, Rest...>::Answer(id);
  }

 protected:
  using Implements<First, Rest...>::Implements;
};

class ItemFactory final : public FactoryObject<IActivationFactory, IGraphicsCaptureItemInterop> {
 public:
  ItemFactory() : FactoryObject("item_factory") {}

  HRESULT STDMETHODCALLTYPE CreateForWindow(HWND window, REFIID id, void** result) override {
    Call call(Name(), "CreateForWindow", window, id);
    return Make(call, window, nullptr, id, result);
  }
  HRESULT STDMETHODCALLTYPE CreateForMonitor(HMONITOR monitor, REFIID id, void** result) override {
    Call call(Name(), "CreateForMonitor", monitor, id);
    return Make(call, nullptr, monitor, id, result);
  }

 private:
  static HRESULT Make(Call& call, HWND window, HMONITOR monitor, REFIID id, void** result) {
    if (call.Fails(result)) return call.Result();
    if (id != __uuidof(capture_abi::IGraphicsCaptureItem)) return E_NOINTERFACE;
    auto* const item = new CaptureItem(window, monitor);
    *result = static_cast<capture_abi::IGraphicsCaptureItem*>(item);
    call.Made(item->Name());
    return call.Done();
  }
};

class PoolStatics final
    : public FactoryObject<capture_abi::IDirect3D11CaptureFramePoolStatics, IActivationFactory> {
 public:
  PoolStatics() : FactoryObject("pool_statics") {}

  HRESULT STDMETHODCALLTYPE Create(IDirect3DDevice* device, directx_abi::DirectXPixelFormat format,
                                   INT32 buffers, SizeInt32 size,
                                   capture_abi::IDirect3D11CaptureFramePool** result) override {
    Call call(Name(), "Create", device, static_cast<int>(format), buffers, TextOf(size));
    if (call.Fails(result)) return call.Result();
    if (!device || size.Width <= 0 || size.Height <= 0) return E_INVALIDARG;
    return Deliver(call, new FramePool(device, format, buffers, size), result);
  }
};

class ApiInformation final
    : public FactoryObject<ABI::Windows::Foundation::Metadata::IApiInformationStatics,
                           IActivationFactory> {
 public:
  ApiInformation() : FactoryObject("api_information") {}

  HRESULT STDMETHODCALLTYPE IsPropertyPresent(HSTRING type, HSTRING property,
                                              boolean* value) override {
    const std::string type_name = Narrow(type);
    const std::string name = Narrow(property);
    Call call(Name(), "IsPropertyPresent", type_name, name);
    if (call.Fails(value)) return call.Result();
    if (type_name == "Windows.Graphics.Capture.GraphicsCaptureSession") {
      *value = (name == "IsCursorCaptureEnabled" && settings.cursor_property_present) ||
               (name == "IsBorderRequired" && settings.border_property_present);
    }
    return call.Done();
  }

  HRESULT STDMETHODCALLTYPE IsApiContractPresentByMajor(HSTRING contract, UINT16 major,
                                                        boolean* value) override {
    const std::string name = Narrow(contract);
    Call call(Name(), "IsApiContractPresent", name, major);
    if (call.Fails(value)) return call.Result();
    *value =
        name == "Windows.Foundation.UniversalApiContract" && major <= settings.universal_contract;
    return call.Done();
  }
};

}  // namespace

// WeakReference.

HRESULT WeakReference::Resolve(REFIID id, ::IInspectable** result) {
  Call call(Name(), "Resolve", id);
  if (call.Fails(result)) return call.Result();
  const std::lock_guard lock(mutex_);
  const HRESULT answer =
      unknown_ ? unknown_->QueryInterface(id, reinterpret_cast<void**>(result)) : S_OK;
  return FAILED(answer) ? answer : call.Done();
}

void WeakReference::Forget() {
  const std::lock_guard lock(mutex_);
  unknown_ = nullptr;
}

// CaptureItem.

CaptureItem::CaptureItem(HWND window, HMONITOR monitor)
    : WeaklyReferenced("item"), window(window), monitor(monitor) {
  last_item = this;
}

CaptureItem::~CaptureItem() {
  ForgetLast(last_item, this);
}

HRESULT CaptureItem::get_Size(SizeInt32* value) {
  Call call(Name(), "get_Size");
  if (call.Fails(value)) return call.Result();
  *value = {settings.item_width, settings.item_height};
  return call.Done();
}

HRESULT CaptureItem::add_Closed(Handler* handler, EventRegistrationToken* token) {
  Call call(Name(), "add_Closed");
  return closed_event_.Add(call, handler, token);
}

HRESULT CaptureItem::remove_Closed(EventRegistrationToken token) {
  Call call(Name(), "remove_Closed", token.value);
  return closed_event_.Remove(call, token);
}

// FramePool.

struct FramePool::BufferSlot {
  explicit BufferSlot(ID3D11Texture2D* texture) : texture(texture) {}
  ~BufferSlot() { texture->Release(); }
  BufferSlot(const BufferSlot&) = delete;
  BufferSlot& operator=(const BufferSlot&) = delete;
  ID3D11Texture2D* const texture;
};

class FramePool::Frame final
    : public Implements<capture_abi::IDirect3D11CaptureFrame, ABI::Windows::Foundation::IClosable> {
 public:
  Frame(ID3D11Texture2D* texture, SizeInt32 content_size, std::shared_ptr<BufferSlot> slot)
      : Implements("frame"),
        texture_(texture),
        content_size_(content_size),
        slot_(std::move(slot)) {
    if (texture_) texture_->AddRef();
  }

  HRESULT STDMETHODCALLTYPE get_Surface(IDirect3DSurface** value) override {
    Call call(Name(), "get_Surface");
    if (call.Fails(value)) return call.Result();
    return fake::Deliver(call, new Surface(texture_), value);
  }
  HRESULT STDMETHODCALLTYPE get_ContentSize(SizeInt32* value) override {
    Call call(Name(), "get_ContentSize");
    if (call.Fails(value)) return call.Result();
    *value = content_size_;
    return call.Done();
  }

 private:
  ~Frame() override {
    if (texture_) texture_->Release();
  }

  ID3D11Texture2D* const texture_;
  const SizeInt32 content_size_;
  const std::shared_ptr<BufferSlot> slot_;
};

FramePool::FramePool(IDirect3DDevice* device, INT32, INT32 buffers, SizeInt32 size)
    : WeaklyReferenced("pool"),
      queue_(ThreadQueue()),
      device_kept_(dynamic_cast<RuntimeDevice*>(device)),
      device_(dynamic_cast<RuntimeDevice*>(device)->device),
      size_(size),
      buffers_(buffers) {
  last_pool = this;
  MakeBuffers();
}

FramePool::~FramePool() {
  ForgetLast(last_pool, this);
  queue_->Purge(this);
  for (Frame* const frame : waiting_) frame->Release();
}

void FramePool::MakeBuffers() {
  slots_.clear();
  for (INT32 i = 0; i < buffers_; ++i) {
    ID3D11Texture2D* const texture = NewTexture(
        device_,
        FrameDesc(static_cast<uint32_t>(size_.Width), static_cast<uint32_t>(size_.Height)));
    if (texture) slots_.push_back(std::make_shared<BufferSlot>(texture));
  }
}

bool FramePool::Deliver(const reference::Image& picture) {
  return Deliver(picture, {static_cast<INT32>(picture.width), static_cast<INT32>(picture.height)});
}

bool FramePool::Deliver(const reference::Image& picture, SizeInt32 content_size) {
  const OutsideLibrary outside;
  std::shared_ptr<BufferSlot> slot;
  {
    const std::lock_guard lock(mutex_);
    if (!capturing_ || closed_) return false;
    const auto free = std::find_if(slots_.begin(), slots_.end(),
                                   [](const auto& other) { return other.use_count() == 1; });
    if (free == slots_.end()) return false;
    slot = *free;
  }
  Draw(slot->texture, picture);
  return Enqueue(slot->texture, content_size, slot);
}

bool FramePool::DeliverTexture(ID3D11Texture2D* texture, SizeInt32 content_size) {
  const OutsideLibrary outside;
  return Enqueue(texture, content_size, nullptr);
}

bool FramePool::Enqueue(ID3D11Texture2D* texture, SizeInt32 content_size,
                        const std::shared_ptr<BufferSlot>& slot) {
  auto* const frame = new Frame(texture, content_size, slot);
  {
    const std::lock_guard lock(mutex_);
    if (!capturing_ || closed_) {
      frame->Release();
      return false;
    }
    waiting_.push_back(frame);
  }
  PostEvent();
  return true;
}

void FramePool::RaiseFrameArrived() {
  PostEvent();
}

void FramePool::PostEvent() {
  const OutsideLibrary outside;
  queue_->Post(this, [this] {
    if (!frame_event_.HasHandler()) return;
    // The pool outlives its event, whatever the handler does.
    const Ref<FramePool> self(this);
    handler_result_ = frame_event_.Raise(this);
  });
}

size_t FramePool::FramesWaiting() {
  const std::lock_guard lock(mutex_);
  return waiting_.size();
}

HRESULT FramePool::Recreate(IDirect3DDevice* device, directx_abi::DirectXPixelFormat format,
                            INT32 buffers, SizeInt32 size) {
  Call call(Name(), "Recreate", device, static_cast<int>(format), buffers, TextOf(size));
  if (call.Fails()) return call.Result();
  if (!device || size.Width <= 0 || size.Height <= 0) return E_INVALIDARG;
  std::vector<Frame*> lost;
  {
    const std::lock_guard lock(mutex_);
    if (closed_) return RO_E_CLOSED;
    lost = std::exchange(waiting_, {});
    size_ = size;
    buffers_ = buffers;
    MakeBuffers();
  }
  for (Frame* const frame : lost) frame->Release();
  return call.Done();
}

HRESULT FramePool::TryGetNextFrame(capture_abi::IDirect3D11CaptureFrame** result) {
  Call call(Name(), "TryGetNextFrame");
  if (call.Fails(result)) return call.Result();
  const std::lock_guard lock(mutex_);
  if (closed_) return RO_E_CLOSED;
  if (waiting_.empty()) return S_OK;
  *result = waiting_.front();
  call.Made(waiting_.front()->Name());
  waiting_.erase(waiting_.begin());
  if (call.FailsAfterWork()) {
    (*result)->Release();
    *result = nullptr;
  }
  return call.Done();
}

HRESULT FramePool::add_FrameArrived(Handler* handler, EventRegistrationToken* token) {
  Call call(Name(), "add_FrameArrived");
  return frame_event_.Add(call, handler, token);
}

HRESULT FramePool::remove_FrameArrived(EventRegistrationToken token) {
  Call call(Name(), "remove_FrameArrived", token.value);
  return frame_event_.Remove(call, token);
}

HRESULT FramePool::CreateCaptureSession(capture_abi::IGraphicsCaptureItem* item,
                                        capture_abi::IGraphicsCaptureSession** result) {
  Call call(Name(), "CreateCaptureSession", item);
  if (call.Fails(result)) return call.Result();
  return fake::Deliver(call, new CaptureSession(this), result);
}

HRESULT FramePool::Close() {
  Call call(Name(), "Close");
  if (call.Fails()) return call.Result();
  std::vector<Frame*> lost;
  {
    const std::lock_guard lock(mutex_);
    closed_ = true;
    lost = std::exchange(waiting_, {});
  }
  queue_->Purge(this);
  for (Frame* const frame : lost) frame->Release();
  return call.Done();
}

// CaptureSession.

CaptureSession::CaptureSession(FramePool* pool) : Implements("session"), pool_(pool) {
  last_session = this;
}

CaptureSession::~CaptureSession() {
  ForgetLast(last_session, this);
}

void* CaptureSession::Answer(REFIID id) {
  if (id == __uuidof(capture_abi::IGraphicsCaptureSession2) && !settings.cursor_property_present) {
    return nullptr;
  }
  if (id == __uuidof(capture_abi::IGraphicsCaptureSession3) && !settings.border_property_present) {
    return nullptr;
  }
  return Implements::Answer(id);
}

HRESULT CaptureSession::StartCapture() {
  Call call(Name(), "StartCapture");
  if (call.Fails()) return call.Result();
  const std::lock_guard lock(pool_->mutex_);
  pool_->capturing_ = true;
  return call.Done();
}

HRESULT CaptureSession::put_IsCursorCaptureEnabled(boolean value) {
  Call call(Name(), "put_IsCursorCaptureEnabled", TextOf(value));
  if (call.Fails()) return call.Result();
  cursor_captured = value;
  return call.Done();
}

HRESULT CaptureSession::put_IsBorderRequired(boolean value) {
  Call call(Name(), "put_IsBorderRequired", TextOf(value));
  if (call.Fails()) return call.Result();
  border_drawn = value;
  return call.Done();
}

HRESULT CaptureSession::Close() {
  Call call(Name(), "Close");
  if (call.Fails()) return call.Result();
  closed_ = true;
  const std::lock_guard lock(pool_->mutex_);
  pool_->capturing_ = false;
  return call.Done();
}

CaptureItem* LastItem() {
  return last_item;
}

FramePool* LastPool() {
  return last_pool;
}

CaptureSession* LastSession() {
  return last_session;
}

}  // namespace fake

extern "C" HRESULT WINAPI CreateDirect3D11DeviceFromDXGIDevice(IDXGIDevice* device,
                                                               ::IInspectable** result) {
  fake::Call call("", "CreateDirect3D11DeviceFromDXGIDevice", device);
  if (call.Fails(result)) return call.Result();
  auto* const direct3d = dynamic_cast<ID3D11Device*>(device);
  if (!direct3d) return E_INVALIDARG;
  return fake::Deliver(call, new fake::RuntimeDevice(direct3d), result);
}

HRESULT WINAPI CreateDispatcherQueueController(
    DispatcherQueueOptions options, ABI::Windows::System::IDispatcherQueueController** controller) {
  fake::Call call("", "CreateDispatcherQueueController", options.dwSize,
                  static_cast<int>(options.threadType), static_cast<int>(options.apartmentType));
  if (call.Fails(controller)) return call.Result();
  if (fake::thread_has_queue && !fake::settings.several_queues_a_thread) return RPC_E_WRONG_THREAD;
  const HRESULT result = fake::Deliver(call, new fake::DispatcherQueueController, controller);
  if (*controller) fake::thread_has_queue = true;
  return result;
}

extern "C" HRESULT WINAPI RoGetActivationFactory(HSTRING name, REFIID id, void** factory) {
  const std::string class_name = fake::Narrow(name);
  fake::Call call("", "RoGetActivationFactory", class_name, id);
  if (call.Fails(factory)) return call.Result();
  if (fake::settings.apartment_needed && fake::mta_usages == 0) return CO_E_NOTINITIALIZED;

  const auto activate = [&](auto* made) -> HRESULT {
    *factory = call.FailsAfterWork() ? nullptr : made->Answer(id);
    if (*factory) {
      call.Made(made->Name());
      return S_OK;
    }
    made->Release();
    return call.FailsAfterWork() ? call.Result() : E_NOINTERFACE;
  };
  if (class_name == "Windows.Graphics.Capture.GraphicsCaptureItem") {
    return activate(new fake::ItemFactory);
  }
  if (class_name == "Windows.Graphics.Capture.Direct3D11CaptureFramePool") {
    return activate(new fake::PoolStatics);
  }
  if (class_name == "Windows.Foundation.Metadata.ApiInformation") {
    return activate(new fake::ApiInformation);
  }
  if (fake::settings.foreign_factory) {
    return fake::settings.foreign_factory->QueryInterface(id, factory);
  }
  return REGDB_E_CLASSNOTREG;
}
