// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "capture/capture_loop.h"

#include "capture/frame_pool.h"

namespace standin {

using ABI::Windows::Graphics::Capture::IDirect3D11CaptureFramePool;
using ABI::Windows::System::IDispatcherQueueHandler;

namespace {

// Raises FrameArrived, once, on the dispatcher queue's thread.
class FrameArrivedWork : public Object<IDispatcherQueueHandler> {
 public:
  FrameArrivedWork(std::shared_ptr<FrameQueue> frames, Ref<IWeakReference> pool)
      : frames_(std::move(frames)), pool_(std::move(pool)) {}

  HRESULT STDMETHODCALLTYPE Invoke() override {
    Ref<IDirect3D11CaptureFramePool> pool;
    pool_->Resolve(__uuidof(IDirect3D11CaptureFramePool),
                   reinterpret_cast<IInspectable**>(pool.Put()));
    frames_->EventBegins();
    // The weak reference is of one of our own pools.
    if (pool) static_cast<FramePool*>(pool.Get())->RaiseFrameArrived();
    frames_->EventEnds();
    return S_OK;
  }

 private:
  const std::shared_ptr<FrameQueue> frames_;
  const Ref<IWeakReference> pool_;
};

}  // namespace

bool CaptureLoop::Tick() {
  if (frames->IsClosed() || !target->Exists()) return false;
  if (!target->IsShown()) {
    shown_anew_ = true;
    return true;
  }
  if (!frames->WantsPicture()) return true;
  // A window that is shown again is black until it has painted.
  if (shown_anew_ && !target->IsPainted()) return true;
  shown_anew_ = false;
  const int generation = frames->Generation();
  if (!picture_) picture_ = std::make_shared<Picture>();
  if (!camera_.Take(*target, *cursor, *picture_)) return true;
  // If the window was minimised meanwhile, the picture is black with an icon in a corner.
  if (!target->IsShown()) {
    shown_anew_ = true;
    return true;
  }
  if (!send_unchanged && WasSent(*picture_, generation)) return true;
  const auto raise_event = Make<FrameArrivedWork>(frames, pool);
  if (!frames->Push(picture_, generation, raise_event.Get())) return true;
  last_sent_ = std::move(picture_);
  last_generation_ = generation;
  return true;
}

// After Recreate the same picture is sent again: the new buffers do not hold it.
bool CaptureLoop::WasSent(const Picture& picture, int generation) const {
  return last_sent_ && generation == last_generation_ && ShowsTheSame(picture, *last_sent_);
}

}  // namespace standin
