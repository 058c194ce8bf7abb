// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The capture service: items, frame pools, sessions and frames, with the events that tests raise.
#pragma once

#include <windows.h>

#include <weakreference.h>
#include <windows.foundation.h>
#include <windows.graphics.capture.h>

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "native/platform/direct3d.h"
#include "native/platform/messages.h"
#include "native/platform/object.h"
#include "native/platform/settings.h"

namespace fake {

using ABI::Windows::Graphics::SizeInt32;
namespace abi = ABI::Windows::Graphics::Capture;

// Lets revokers find a source without keeping it alive.
class WeakReference final : public Implements<IWeakReference> {
 public:
  explicit WeakReference(::IUnknown* unknown) : Implements("weakref"), unknown_(unknown) {}

  HRESULT STDMETHODCALLTYPE Resolve(REFIID id, ::IInspectable** result) override {
    Call call(Name(), "Resolve", id);
    if (call.Fails(result)) return call.Result();
    const std::lock_guard lock(mutex_);
    const HRESULT answer =
        unknown_ ? unknown_->QueryInterface(id, reinterpret_cast<void**>(result)) : S_OK;
    return FAILED(answer) ? answer : call.Done();
  }
  void Forget() {
    const std::lock_guard lock(mutex_);
    unknown_ = nullptr;
  }

 private:
  std::mutex mutex_;
  ::IUnknown* unknown_;
};

// An object that revokers find without keeping it alive.
template <typename First, typename... Rest>
class WeaklyReferenced : public Implements<First, Rest..., IWeakReferenceSource> {
 public:
  HRESULT STDMETHODCALLTYPE GetWeakReference(IWeakReference** result) override {
    Call call(this->Name(), "GetWeakReference");
    if (call.Fails(result)) return call.Result();
    auto* const weak = new WeakReference(static_cast<First*>(this));
    weak_ = Ref<WeakReference>(weak);
    *result = weak;
    return call.Done();
  }

 protected:
  using Implements<First, Rest..., IWeakReferenceSource>::Implements;

 private:
  void OnUnreferenced() override {
    if (weak_) weak_->Forget();
  }

  Ref<WeakReference> weak_;
};

// An event with room for one handler. Any thread.
template <typename Handler>
class Event {
 public:
  Event() = default;
  ~Event() {
    if (handler_) handler_->Release();
  }
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  bool HasHandler() {
    const std::lock_guard lock(mutex_);
    return handler_ != nullptr;
  }

  // The handler's answer, S_FALSE when there is none.
  template <typename Sender>
  HRESULT Raise(Sender* sender) {
    Handler* handler = nullptr;
    {
      const std::lock_guard lock(mutex_);
      handler = handler_;
      if (!handler) return S_FALSE;
      handler->AddRef();
    }
    const HRESULT result = handler->Invoke(sender, nullptr);
    handler->Release();
    return result;
  }

  HRESULT Add(Call& call, Handler* handler, EventRegistrationToken* token) {
    if (call.Fails(token)) return call.Result();
    const std::lock_guard lock(mutex_);
    if (handler_) return E_ILLEGAL_METHOD_CALL;
    handler_ = handler;
    handler_->AddRef();
    token->value = ++token_;
    return call.Done();
  }

  HRESULT Remove(Call& call, EventRegistrationToken token) {
    if (call.Fails()) return call.Result();
    Handler* handler = nullptr;
    {
      const std::lock_guard lock(mutex_);
      if (token.value != token_) return E_INVALIDARG;
      handler = std::exchange(handler_, nullptr);
    }
    if (handler) handler->Release();
    return call.Done();
  }

 private:
  std::mutex mutex_;
  Handler* handler_ = nullptr;
  INT64 token_ = 0;
};

class CaptureItem final : public WeaklyReferenced<abi::IGraphicsCaptureItem> {
 public:
  using Handler =
      __FITypedEventHandler_2_Windows__CGraphics__CCapture__CGraphicsCaptureItem_IInspectable;

  CaptureItem(HWND window, HMONITOR monitor)
      : WeaklyReferenced("item"), window(window), monitor(monitor) {
    last = this;
  }

  // The window is gone or the monitor was taken away. Any thread. The handler's answer, S_FALSE
  // when there is none.
  HRESULT RaiseClosed() { return closed_event_.Raise(this); }
  bool HasHandler() { return closed_event_.HasHandler(); }

  HRESULT STDMETHODCALLTYPE get_Size(SizeInt32* value) override {
    Call call(Name(), "get_Size");
    if (call.Fails(value)) return call.Result();
    *value = {settings.item_width, settings.item_height};
    return call.Done();
  }
  HRESULT STDMETHODCALLTYPE add_Closed(Handler* handler, EventRegistrationToken* token) override {
    Call call(Name(), "add_Closed");
    return closed_event_.Add(call, handler, token);
  }
  HRESULT STDMETHODCALLTYPE remove_Closed(EventRegistrationToken token) override {
    Call call(Name(), "remove_Closed", token.value);
    return closed_event_.Remove(call, token);
  }

  const HWND window;
  const HMONITOR monitor;
  static inline thread_local CaptureItem* last = nullptr;

 private:
  ~CaptureItem() override {
    if (last == this) last = nullptr;
  }

  Event<Handler> closed_event_;
};

class FramePool final : public WeaklyReferenced<abi::IDirect3D11CaptureFramePool,
                                                ABI::Windows::Foundation::IClosable> {
 public:
  using Handler =
      __FITypedEventHandler_2_Windows__CGraphics__CCapture__CDirect3D11CaptureFramePool_IInspectable;
  using IDirect3DDevice = ABI::Windows::Graphics::DirectX::Direct3D11::IDirect3DDevice;
  using Texture = std::shared_ptr<ID3D11Texture2D>;

  FramePool(IDirect3DDevice* device, INT32 buffers, SizeInt32 size);

  // The screen shows a picture: it goes into a free buffer, which keeps the pool's size, and the
  // event into the queue of the pool's thread. False, with the frame dropped, when all buffers are
  // out or nothing captures. Any thread.
  bool Deliver(const reference::Image& picture);
  bool Deliver(const reference::Image& picture, SizeInt32 content_size);
  // A frame with a texture of the test's own, which may be null.
  bool DeliverTexture(ID3D11Texture2D* texture, SizeInt32 content_size);
  // An event with no frame behind it.
  void RaiseFrameArrived();

  // What the handler answered last; S_FALSE before the first event.
  HRESULT HandlerResult() const { return handler_result_; }
  bool HasHandler() { return frame_event_.HasHandler(); }
  bool IsClosed() const { return closed_; }
  // Frames that the host has not taken yet.
  size_t FramesWaiting() {
    const std::lock_guard lock(mutex_);
    return waiting_.size();
  }
  SizeInt32 Size() const { return size_; }
  ID3D11Device* Direct3DDevice() const { return device_; }
  void SetCapturing(bool capturing) {
    const std::lock_guard lock(mutex_);
    capturing_ = capturing;
  }

  HRESULT STDMETHODCALLTYPE Recreate(IDirect3DDevice* device,
                                     ABI::Windows::Graphics::DirectX::DirectXPixelFormat format,
                                     INT32 buffers, SizeInt32 size) override;
  HRESULT STDMETHODCALLTYPE TryGetNextFrame(abi::IDirect3D11CaptureFrame** result) override;
  HRESULT STDMETHODCALLTYPE add_FrameArrived(Handler* handler,
                                             EventRegistrationToken* token) override {
    Call call(Name(), "add_FrameArrived");
    return frame_event_.Add(call, handler, token);
  }
  HRESULT STDMETHODCALLTYPE remove_FrameArrived(EventRegistrationToken token) override {
    Call call(Name(), "remove_FrameArrived", token.value);
    return frame_event_.Remove(call, token);
  }
  HRESULT STDMETHODCALLTYPE CreateCaptureSession(abi::IGraphicsCaptureItem* item,
                                                 abi::IGraphicsCaptureSession** result) override;
  HRESULT STDMETHODCALLTYPE Close() override;

  static inline thread_local FramePool* last = nullptr;

 private:
  ~FramePool() override;
  void MakeBuffers();
  bool Enqueue(const Texture& texture, SizeInt32 content_size);
  // Waiting frames are lost; the caller holds the lock until then.
  void DropFrames(std::unique_lock<std::mutex> lock);

  const std::shared_ptr<MessageQueue> queue_;  // of the thread that made the pool
  Ref<Object> device_kept_;
  ID3D11Device* device_ = nullptr;
  SizeInt32 size_;
  INT32 buffers_;
  std::mutex mutex_;
  std::vector<Texture> textures_;
  std::vector<abi::IDirect3D11CaptureFrame*> waiting_;
  Event<Handler> frame_event_;
  HRESULT handler_result_ = S_FALSE;
  bool capturing_ = false;
  bool closed_ = false;
};

class CaptureSession final
    : public Implements<abi::IGraphicsCaptureSession, abi::IGraphicsCaptureSession2,
                        abi::IGraphicsCaptureSession3, ABI::Windows::Foundation::IClosable> {
 public:
  explicit CaptureSession(FramePool* pool) : Implements("session"), pool_(pool) { last = this; }

  // What an observer of the capture sees. The platform captures the cursor and draws the border
  // unless it is told otherwise.
  bool cursor_captured = true;
  bool border_drawn = true;
  bool IsClosed() const { return closed_; }

  void* Answer(REFIID id) override {
    const bool absent =
        (id == __uuidof(abi::IGraphicsCaptureSession2) && !settings.cursor_property_present) ||
        (id == __uuidof(abi::IGraphicsCaptureSession3) && !settings.border_property_present);
    return absent ? nullptr : Implements::Answer(id);
  }
  HRESULT STDMETHODCALLTYPE StartCapture() override {
    Call call(Name(), "StartCapture");
    if (call.Fails()) return call.Result();
    pool_->SetCapturing(true);
    return call.Done();
  }
  HRESULT STDMETHODCALLTYPE put_IsCursorCaptureEnabled(boolean value) override {
    return Put("put_IsCursorCaptureEnabled", value, cursor_captured);
  }
  HRESULT STDMETHODCALLTYPE put_IsBorderRequired(boolean value) override {
    return Put("put_IsBorderRequired", value, border_drawn);
  }
  HRESULT STDMETHODCALLTYPE Close() override {
    Call call(Name(), "Close");
    if (call.Fails()) return call.Result();
    closed_ = true;
    pool_->SetCapturing(false);
    return call.Done();
  }

  static inline thread_local CaptureSession* last = nullptr;

 private:
  ~CaptureSession() override {
    if (last == this) last = nullptr;
  }

  HRESULT Put(const char* function, boolean value, bool& property) {
    Call call(Name(), function, value ? "true" : "false");
    if (call.Fails()) return call.Result();
    property = value;
    return call.Done();
  }

  Ref<FramePool> pool_;
  bool closed_ = false;
};

// What the library made last on the calling thread, null when that is gone. Valid as long as the
// session that made it.
inline CaptureItem* LastItem() {
  return CaptureItem::last;
}
inline FramePool* LastPool() {
  return FramePool::last;
}
inline CaptureSession* LastSession() {
  return CaptureSession::last;
}

}  // namespace fake
