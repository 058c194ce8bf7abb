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

namespace fake {

using ABI::Windows::Graphics::SizeInt32;

// Lets revokers find a source without keeping it alive.
class WeakReference final : public Implements<IWeakReference> {
 public:
  explicit WeakReference(::IUnknown* unknown) : Implements("weakref"), unknown_(unknown) {}

  HRESULT STDMETHODCALLTYPE Resolve(REFIID id, ::IInspectable** result) override;
  void Forget();

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

class CaptureItem final
    : public WeaklyReferenced<ABI::Windows::Graphics::Capture::IGraphicsCaptureItem> {
 public:
  using Handler =
      __FITypedEventHandler_2_Windows__CGraphics__CCapture__CGraphicsCaptureItem_IInspectable;

  CaptureItem(HWND window, HMONITOR monitor);

  // The window is gone or the monitor was taken away. Any thread. The handler's answer, S_FALSE
  // when there is none.
  HRESULT RaiseClosed() { return closed_event_.Raise(this); }
  bool HasHandler() { return closed_event_.HasHandler(); }

  HRESULT STDMETHODCALLTYPE get_Size(SizeInt32* value) override;
  HRESULT STDMETHODCALLTYPE add_Closed(Handler* handler, EventRegistrationToken* token) override;
  HRESULT STDMETHODCALLTYPE remove_Closed(EventRegistrationToken token) override;

  const HWND window;
  const HMONITOR monitor;

 private:
  ~CaptureItem() override;

  Event<Handler> closed_event_;
};

class FramePool final
    : public WeaklyReferenced<ABI::Windows::Graphics::Capture::IDirect3D11CaptureFramePool,
                              ABI::Windows::Foundation::IClosable> {
 public:
  using Handler =
      __FITypedEventHandler_2_Windows__CGraphics__CCapture__CDirect3D11CaptureFramePool_IInspectable;
  using IDirect3DDevice = ABI::Windows::Graphics::DirectX::Direct3D11::IDirect3DDevice;

  FramePool(IDirect3DDevice* device, INT32 format, INT32 buffers, SizeInt32 size);

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
  size_t FramesWaiting();
  SizeInt32 Size() const { return size_; }
  ID3D11Device* Direct3DDevice() const { return device_; }

  HRESULT STDMETHODCALLTYPE
  Recreate(IDirect3DDevice* device, ABI::Windows::Graphics::DirectX::DirectXPixelFormat pixelFormat,
           INT32 numberOfBuffers, SizeInt32 size) override;
  HRESULT STDMETHODCALLTYPE
  TryGetNextFrame(ABI::Windows::Graphics::Capture::IDirect3D11CaptureFrame** result) override;
  HRESULT STDMETHODCALLTYPE add_FrameArrived(Handler* handler,
                                             EventRegistrationToken* token) override;
  HRESULT STDMETHODCALLTYPE remove_FrameArrived(EventRegistrationToken token) override;
  HRESULT STDMETHODCALLTYPE
  CreateCaptureSession(ABI::Windows::Graphics::Capture::IGraphicsCaptureItem* item,
                       ABI::Windows::Graphics::Capture::IGraphicsCaptureSession** result) override;
  HRESULT STDMETHODCALLTYPE Close() override;

 private:
  friend class CaptureSession;
  struct BufferSlot;
  class Frame;

  ~FramePool() override;
  void MakeBuffers();
  void PostEvent();
  bool Enqueue(ID3D11Texture2D* texture, SizeInt32 content_size,
               const std::shared_ptr<BufferSlot>& slot);

  const std::shared_ptr<MessageQueue> queue_;  // of the thread that made the pool
  Ref<Object> device_kept_;
  ID3D11Device* device_ = nullptr;
  SizeInt32 size_;
  INT32 buffers_;
  std::mutex mutex_;
  std::vector<std::shared_ptr<BufferSlot>> slots_;
  std::vector<Frame*> waiting_;
  Event<Handler> frame_event_;
  HRESULT handler_result_ = S_FALSE;
  bool capturing_ = false;
  bool closed_ = false;
};

class CaptureSession final
    : public Implements<ABI::Windows::Graphics::Capture::IGraphicsCaptureSession,
                        ABI::Windows::Graphics::Capture::IGraphicsCaptureSession2,
                        ABI::Windows::Graphics::Capture::IGraphicsCaptureSession3,
                        ABI::Windows::Foundation::IClosable> {
 public:
  explicit CaptureSession(FramePool* pool);

  // What an observer of the capture sees. The platform captures the cursor and draws the border
  // unless it is told otherwise.
  bool cursor_captured = true;
  bool border_drawn = true;
  bool IsClosed() const { return closed_; }

  void* Answer(REFIID id) override;
  HRESULT STDMETHODCALLTYPE StartCapture() override;
  HRESULT STDMETHODCALLTYPE put_IsCursorCaptureEnabled(boolean value) override;
  HRESULT STDMETHODCALLTYPE put_IsBorderRequired(boolean value) override;
  HRESULT STDMETHODCALLTYPE Close() override;

 private:
  ~CaptureSession() override;

  Ref<FramePool> pool_;
  bool closed_ = false;
};

// What the library made last on the calling thread, null when that is gone. Valid as long as the
// session that made it.
CaptureItem* LastItem();
FramePool* LastPool();
CaptureSession* LastSession();

}  // namespace fake
