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

#include "native/platform/settings.h"

namespace fake {
namespace {

namespace directx_abi = ABI::Windows::Graphics::DirectX;
using directx_abi::Direct3D11::IDirect3DDevice;
using directx_abi::Direct3D11::IDirect3DSurface;
using ::Windows::Graphics::DirectX::Direct3D11::IDirect3DDxgiInterfaceAccess;

// A reference of the platform's that the library could hold as well.
template <typename T>
std::shared_ptr<T> Share(T* object) {
  if (object) object->AddRef();
  return {object, [](T* held) {
            if (held) held->Release();
          }};
}

// Reads as "64x48".
auto TextOf(SizeInt32 size) {
  return [=] { return std::to_string(size.Width) + "x" + std::to_string(size.Height); };
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
  explicit RuntimeDevice(ID3D11Device* device)
      : Implements("winrt_device"), device(Share(device)) {}

  const std::shared_ptr<ID3D11Device> device;
};

class DispatcherQueueController final
    : public Implements<ABI::Windows::System::IDispatcherQueueController> {
 public:
  DispatcherQueueController() : Implements("controller") {}
};

class Surface final : public Implements<IDirect3DSurface, IDirect3DDxgiInterfaceAccess> {
 public:
  explicit Surface(const FramePool::Texture& texture) : Implements("surface"), texture_(texture) {}

  HRESULT STDMETHODCALLTYPE GetInterface(REFIID id, void** object) override {
    Call call(Name(), "GetInterface", id);
    if (call.Fails(object)) return call.Result();
    if (!texture_) return S_OK;
    if (id != __uuidof(ID3D11Texture2D)) return E_NOINTERFACE;
    texture_->AddRef();
    *object = texture_.get();
    call.Made(NameOf(texture_.get()));
    return call.Done();
  }

 private:
  const FramePool::Texture texture_;
};

class Frame final
    : public Implements<abi::IDirect3D11CaptureFrame, ABI::Windows::Foundation::IClosable> {
 public:
  Frame(const FramePool::Texture& texture, SizeInt32 content_size)
      : Implements("frame"), texture_(texture), content_size_(content_size) {}

  HRESULT STDMETHODCALLTYPE get_Surface(IDirect3DSurface** value) override {
    Call call(Name(), "get_Surface");
    if (call.Fails(value)) return call.Result();
    return Deliver(call, new Surface(texture_), value);
  }
  HRESULT STDMETHODCALLTYPE get_ContentSize(SizeInt32* value) override {
    Call call(Name(), "get_ContentSize");
    if (call.Fails(value)) return call.Result();
    *value = content_size_;
    return call.Done();
  }

 private:
  const FramePool::Texture texture_;
  const SizeInt32 content_size_;
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
    if (id != __uuidof(abi::IGraphicsCaptureItem)) return E_NOINTERFACE;
    auto* const item = new CaptureItem(window, monitor);
    *result = static_cast<abi::IGraphicsCaptureItem*>(item);
    call.Made(item->Name());
    return call.Done();
  }
};

class PoolStatics final
    : public FactoryObject<abi::IDirect3D11CaptureFramePoolStatics, IActivationFactory> {
 public:
  PoolStatics() : FactoryObject("pool_statics") {}

  HRESULT STDMETHODCALLTYPE Create(IDirect3DDevice* device, directx_abi::DirectXPixelFormat format,
                                   INT32 buffers, SizeInt32 size,
                                   abi::IDirect3D11CaptureFramePool** result) override {
    Call call(Name(), "Create", device, static_cast<int>(format), buffers, TextOf(size));
    if (call.Fails(result)) return call.Result();
    if (!device || size.Width <= 0 || size.Height <= 0) return E_INVALIDARG;
    return Deliver(call, new FramePool(device, buffers, size), result);
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

FramePool::FramePool(IDirect3DDevice* device, INT32 buffers, SizeInt32 size)
    : WeaklyReferenced("pool"),
      queue_(ThreadQueue()),
      device_kept_(dynamic_cast<RuntimeDevice*>(device)),
      device_(dynamic_cast<RuntimeDevice*>(device)->device.get()),
      size_(size),
      buffers_(buffers) {
  last = this;
  MakeBuffers();
}

FramePool::~FramePool() {
  if (last == this) last = nullptr;
  queue_->Purge(this);
  DropFrames(std::unique_lock(mutex_));
}

void FramePool::MakeBuffers() {
  textures_.clear();
  const auto desc =
      FrameDesc(static_cast<uint32_t>(size_.Width), static_cast<uint32_t>(size_.Height));
  for (INT32 i = 0; i < buffers_; ++i) {
    ID3D11Texture2D* const texture = NewTexture(device_, desc);
    if (!texture) return;
    textures_.push_back(Share(texture));
    texture->Release();
  }
}

bool FramePool::Deliver(const reference::Image& picture) {
  return Deliver(picture, {static_cast<INT32>(picture.width), static_cast<INT32>(picture.height)});
}

bool FramePool::Deliver(const reference::Image& picture, SizeInt32 content_size) {
  const OutsideLibrary outside;
  Texture texture;
  {
    const std::lock_guard lock(mutex_);
    const auto free = std::find_if(textures_.begin(), textures_.end(),
                                   [](const Texture& other) { return other.use_count() == 1; });
    if (!capturing_ || closed_ || free == textures_.end()) return false;
    texture = *free;
  }
  Draw(texture.get(), picture);
  return Enqueue(texture, content_size);
}

bool FramePool::DeliverTexture(ID3D11Texture2D* texture, SizeInt32 content_size) {
  const OutsideLibrary outside;
  return Enqueue(Share(texture), content_size);
}

bool FramePool::Enqueue(const Texture& texture, SizeInt32 content_size) {
  {
    const std::lock_guard lock(mutex_);
    if (!capturing_ || closed_) return false;
    waiting_.push_back(new Frame(texture, content_size));
  }
  RaiseFrameArrived();
  return true;
}

void FramePool::RaiseFrameArrived() {
  const OutsideLibrary outside;
  queue_->Post(this, [this] {
    if (!frame_event_.HasHandler()) return;
    // The pool outlives its event, whatever the handler does.
    const Ref<FramePool> self(this);
    handler_result_ = frame_event_.Raise(this);
  });
}

void FramePool::DropFrames(std::unique_lock<std::mutex> lock) {
  const auto lost = std::exchange(waiting_, {});
  lock.unlock();
  for (abi::IDirect3D11CaptureFrame* const frame : lost) frame->Release();
}

HRESULT FramePool::Recreate(IDirect3DDevice* device, directx_abi::DirectXPixelFormat format,
                            INT32 buffers, SizeInt32 size) {
  Call call(Name(), "Recreate", device, static_cast<int>(format), buffers, TextOf(size));
  if (call.Fails()) return call.Result();
  if (!device || size.Width <= 0 || size.Height <= 0) return E_INVALIDARG;
  std::unique_lock lock(mutex_);
  if (closed_) return RO_E_CLOSED;
  size_ = size;
  buffers_ = buffers;
  MakeBuffers();
  DropFrames(std::move(lock));
  return call.Done();
}

HRESULT FramePool::TryGetNextFrame(abi::IDirect3D11CaptureFrame** result) {
  Call call(Name(), "TryGetNextFrame");
  if (call.Fails(result)) return call.Result();
  const std::lock_guard lock(mutex_);
  if (closed_) return RO_E_CLOSED;
  if (waiting_.empty()) return S_OK;
  auto* const frame = static_cast<Frame*>(waiting_.front());
  waiting_.erase(waiting_.begin());
  return fake::Deliver(call, frame, result);
}

HRESULT FramePool::CreateCaptureSession(abi::IGraphicsCaptureItem* item,
                                        abi::IGraphicsCaptureSession** result) {
  Call call(Name(), "CreateCaptureSession", item);
  if (call.Fails(result)) return call.Result();
  return fake::Deliver(call, new CaptureSession(this), result);
}

HRESULT FramePool::Close() {
  Call call(Name(), "Close");
  if (call.Fails()) return call.Result();
  queue_->Purge(this);
  std::unique_lock lock(mutex_);
  closed_ = true;
  DropFrames(std::move(lock));
  return call.Done();
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
