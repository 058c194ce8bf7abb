// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "capture/frame_pool.h"

#include <roapi.h>
#include <windows.graphics.directx.direct3d11.interop.h>

#include <mutex>

#include "capture/call_trace.h"
#include "capture/capture_frame.h"
#include "capture/capture_item.h"
#include "capture/capture_session.h"
#include "common/errors.h"

namespace standin {

using ABI::Windows::Graphics::SizeInt32;
using ABI::Windows::Graphics::Capture::IDirect3D11CaptureFrame;
using ABI::Windows::Graphics::Capture::IGraphicsCaptureItem;
using ABI::Windows::Graphics::Capture::IGraphicsCaptureSession;
using ABI::Windows::Graphics::DirectX::DirectXPixelFormat;
using ABI::Windows::Graphics::DirectX::DirectXPixelFormat_B8G8R8A8UIntNormalized;
using ABI::Windows::Graphics::DirectX::Direct3D11::IDirect3DDevice;
using ABI::Windows::System::IDispatcherQueue;
using ABI::Windows::System::IDispatcherQueueStatics;
using Windows::Graphics::DirectX::Direct3D11::IDirect3DDxgiInterfaceAccess;

namespace {

HRESULT GetDispatcherQueueStatics(Ref<IDispatcherQueueStatics>& statics) {
  constexpr wchar_t kName[] = L"Windows.System.DispatcherQueue";
  HSTRING name = nullptr;
  HSTRING_HEADER header;
  const HRESULT named = WindowsCreateStringReference(kName, ARRAYSIZE(kName) - 1, &header, &name);
  if (FAILED(named)) return named;
  return RoGetActivationFactory(name, __uuidof(IDispatcherQueueStatics),
                                reinterpret_cast<void**>(statics.Put()));
}

HRESULT FindDispatcherQueue(Ref<IDispatcherQueue>& queue) {
  // Kept for the life of the process: Wine's RoGetActivationFactory loses a handle at every call.
  static std::mutex& mutex = *new std::mutex;
  static Ref<IDispatcherQueueStatics>& statics = *new Ref<IDispatcherQueueStatics>;
  const std::lock_guard lock(mutex);
  if (!statics) {
    const HRESULT found = GetDispatcherQueueStatics(statics);
    if (FAILED(found)) return found;
  }
  return statics->GetForCurrentThread(queue.Put());
}

HRESULT MakeBuffers(IDirect3DDevice* device, DirectXPixelFormat format, INT32 count, SizeInt32 size,
                    std::shared_ptr<BufferSet>& result) {
  if (!device || format != DirectXPixelFormat_B8G8R8A8UIntNormalized || count < 1 ||
      size.Width < 1 || size.Height < 1) {
    return E_INVALIDARG;
  }
  const auto access = Query<IDirect3DDxgiInterfaceAccess>(device);
  if (!access) return E_INVALIDARG;
  Ref<ID3D11Device> d3d_device;
  const HRESULT found =
      access->GetInterface(__uuidof(ID3D11Device), reinterpret_cast<void**>(d3d_device.Put()));
  if (FAILED(found)) return found;
  auto buffers = std::make_shared<BufferSet>(std::move(d3d_device), size);
  const HRESULT made = buffers->MakeTextures(count);
  if (SUCCEEDED(made)) result = std::move(buffers);
  return made;
}

}  // namespace

HRESULT FramePool::Create(IDirect3DDevice* device, DirectXPixelFormat format,
                          INT32 number_of_buffers, SizeInt32 size, Ref<FramePool>& result) {
  Ref<IDispatcherQueue> queue;
  const HRESULT found = FindDispatcherQueue(queue);
  if (FAILED(found)) return found;
  if (!queue) return RPC_E_WRONG_THREAD;
  auto pool = Make<FramePool>(std::move(queue));
  const HRESULT filled = pool->Refill(device, format, number_of_buffers, size);
  if (SUCCEEDED(filled)) result = std::move(pool);
  return filled;
}

FramePool::FramePool(Ref<IDispatcherQueue> dispatcher_queue)
    : RuntimeObject(L"Windows.Graphics.Capture.Direct3D11CaptureFramePool"),
      dispatcher_queue_(std::move(dispatcher_queue)) {}

FramePool::~FramePool() {
  frames_->Close();
}

HRESULT FramePool::Recreate(IDirect3DDevice* device, DirectXPixelFormat format,
                            INT32 number_of_buffers, SizeInt32 size) {
  Trace("Recreate %d %d %dx%d", format, number_of_buffers, size.Width, size.Height);
  return Refill(device, format, number_of_buffers, size);
}

HRESULT FramePool::Refill(IDirect3DDevice* device, DirectXPixelFormat format,
                          INT32 number_of_buffers, SizeInt32 size) {
  if (frames_->IsClosed()) return kClosed;
  std::shared_ptr<BufferSet> buffers;
  const HRESULT made = MakeBuffers(device, format, number_of_buffers, size, buffers);
  if (SUCCEEDED(made)) frames_->Reset(std::move(buffers));
  return made;
}

// The picture becomes a texture only here, on the thread where the host uses its device.
HRESULT FramePool::TryGetNextFrame(IDirect3D11CaptureFrame** result) {
  Trace("TryGetNextFrame");
  if (!result) return E_POINTER;
  *result = nullptr;
  if (frames_->IsClosed()) return kClosed;
  auto frame = frames_->TryPop();
  if (!frame) return S_OK;
  frame->buffer.Fill(*frame->picture);
  *result = Make<CaptureFrame>(std::move(frame)).Detach();
  return S_OK;
}

HRESULT FramePool::add_FrameArrived(FrameArrivedHandler* handler, EventRegistrationToken* token) {
  Trace("add_FrameArrived");
  if (frames_->IsClosed()) return kClosed;
  return frame_arrived_.Add(handler, token);
}

HRESULT FramePool::remove_FrameArrived(EventRegistrationToken token) {
  Trace("remove_FrameArrived");
  frame_arrived_.Remove(token);
  return S_OK;
}

HRESULT FramePool::CreateCaptureSession(IGraphicsCaptureItem* item,
                                        IGraphicsCaptureSession** result) {
  Trace("CreateCaptureSession");
  if (!result) return E_POINTER;
  *result = nullptr;
  if (frames_->IsClosed()) return kClosed;
  if (!Query<ICaptureTargetAccess>(item)) return E_INVALIDARG;
  Ref<IWeakReference> weak_pool;
  GetWeakReference(weak_pool.Put());
  *result =
      Make<CaptureSession>(Ref<IGraphicsCaptureItem>(item), frames_, std::move(weak_pool)).Detach();
  return S_OK;
}

HRESULT FramePool::get_DispatcherQueue(IInspectable** value) {
  if (!value) return E_POINTER;
  *value = Ref<IDispatcherQueue>(dispatcher_queue_).Detach();
  return S_OK;
}

HRESULT FramePool::Close() {
  Trace("pool Close");
  frames_->Close();
  frame_arrived_.RemoveAll();
  return S_OK;
}

}  // namespace standin
