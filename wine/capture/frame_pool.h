// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.graphics.capture.h>

#include "capture/frame_queue.h"
#include "common/dispatcher_queue_abi.h"
#include "common/event_source.h"
#include "common/object.h"

namespace standin {

using FrameArrivedHandler =
    __FITypedEventHandler_2_Windows__CGraphics__CCapture__CDirect3D11CaptureFramePool_IInspectable;

class FramePool : public RuntimeObject<ABI::Windows::Graphics::Capture::IDirect3D11CaptureFramePool,
                                       ABI::Windows::Foundation::IClosable> {
 public:
  // Binds the pool to the calling thread's dispatcher queue.
  static HRESULT Create(ABI::Windows::Graphics::DirectX::Direct3D11::IDirect3DDevice* device,
                        ABI::Windows::Graphics::DirectX::DirectXPixelFormat format,
                        INT32 number_of_buffers, ABI::Windows::Graphics::SizeInt32 size,
                        Ref<FramePool>& result);

  explicit FramePool(Ref<ABI::Windows::System::IDispatcherQueue> dispatcher_queue);
  ~FramePool() override;

  HRESULT STDMETHODCALLTYPE
  Recreate(ABI::Windows::Graphics::DirectX::Direct3D11::IDirect3DDevice* device,
           ABI::Windows::Graphics::DirectX::DirectXPixelFormat format, INT32 number_of_buffers,
           ABI::Windows::Graphics::SizeInt32 size) override;
  HRESULT STDMETHODCALLTYPE
  TryGetNextFrame(ABI::Windows::Graphics::Capture::IDirect3D11CaptureFrame** result) override;
  HRESULT STDMETHODCALLTYPE add_FrameArrived(FrameArrivedHandler* handler,
                                             EventRegistrationToken* token) override;
  HRESULT STDMETHODCALLTYPE remove_FrameArrived(EventRegistrationToken token) override;
  HRESULT STDMETHODCALLTYPE
  CreateCaptureSession(ABI::Windows::Graphics::Capture::IGraphicsCaptureItem* item,
                       ABI::Windows::Graphics::Capture::IGraphicsCaptureSession** result) override;
  HRESULT STDMETHODCALLTYPE get_DispatcherQueue(IInspectable** value) override;

  HRESULT STDMETHODCALLTYPE Close() override;

  void RaiseFrameArrived() {
    frame_arrived_.Raise(static_cast<IDirect3D11CaptureFramePool*>(this), nullptr);
  }

 private:
  HRESULT Refill(ABI::Windows::Graphics::DirectX::Direct3D11::IDirect3DDevice* device,
                 ABI::Windows::Graphics::DirectX::DirectXPixelFormat format,
                 INT32 number_of_buffers, ABI::Windows::Graphics::SizeInt32 size);

  using IDirect3D11CaptureFramePool = ABI::Windows::Graphics::Capture::IDirect3D11CaptureFramePool;

  const Ref<ABI::Windows::System::IDispatcherQueue> dispatcher_queue_;
  const std::shared_ptr<FrameQueue> frames_ = std::make_shared<FrameQueue>(dispatcher_queue_.Get());
  EventSource<FrameArrivedHandler> frame_arrived_;
};

}  // namespace standin
