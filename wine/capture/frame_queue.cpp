// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "capture/frame_queue.h"

#include <algorithm>

#include "capture/tick.h"

namespace standin {
namespace {

// Long enough for a message loop to look once more and find its queue empty.
constexpr INT64 kPause = 4 * kUnitsPerMs;

}  // namespace

HRESULT BufferSet::MakeTextures(int count) {
  D3D11_TEXTURE2D_DESC description = {};
  description.Width = size_.Width;
  description.Height = size_.Height;
  description.MipLevels = 1;
  description.ArraySize = 1;
  description.Format = DXGI_FORMAT_B8G8R8A8_UNORM;
  description.SampleDesc.Count = 1;
  description.Usage = D3D11_USAGE_DEFAULT;
  description.BindFlags = D3D11_BIND_SHADER_RESOURCE | D3D11_BIND_RENDER_TARGET;
  for (int i = 0; i < count; ++i) {
    Buffer buffer;
    const HRESULT made = device_->CreateTexture2D(&description, nullptr, buffer.texture.Put());
    if (FAILED(made)) return made;
    buffers_.push_back(std::move(buffer));
  }
  return S_OK;
}

int BufferSet::Take() {
  const std::lock_guard lock(mutex_);
  const auto found =
      std::find_if(buffers_.begin(), buffers_.end(), [](const Buffer& b) { return !b.busy; });
  if (found == buffers_.end()) return -1;
  found->busy = true;
  return static_cast<int>(found - buffers_.begin());
}

void BufferSet::GiveBack(int buffer) {
  const std::lock_guard lock(mutex_);
  buffers_[buffer].busy = false;
}

bool BufferSet::HasFree() {
  const std::lock_guard lock(mutex_);
  return std::any_of(buffers_.begin(), buffers_.end(), [](const Buffer& b) { return !b.busy; });
}

void BufferSet::Fill(int buffer, const Picture& picture) {
  D3D11_BOX box = {};
  box.right = std::min(size_.Width, picture.size.Width);
  box.bottom = std::min(size_.Height, picture.size.Height);
  box.back = 1;
  Ref<ID3D11DeviceContext> context;
  device_->GetImmediateContext(context.Put());
  const UINT row_pitch = picture.size.Width * sizeof(picture.pixels[0]);
  context->UpdateSubresource(buffers_[buffer].texture.Get(), 0, &box, picture.pixels.data(),
                             row_pitch, 0);
}

void FrameQueue::Reset(std::shared_ptr<BufferSet> buffers) {
  std::deque<std::shared_ptr<WaitingFrame>> dropped;
  const std::lock_guard lock(mutex_);
  dropped.swap(waiting_);
  buffers_ = std::move(buffers);
  ++generation_;
}

void FrameQueue::Close() {
  Reset(nullptr);
  const std::lock_guard lock(mutex_);
  dispatcher_queue_ = nullptr;
}

bool FrameQueue::IsClosed() {
  const std::lock_guard lock(mutex_);
  return !dispatcher_queue_;
}

int FrameQueue::Generation() {
  const std::lock_guard lock(mutex_);
  return generation_;
}

bool FrameQueue::WantsPicture() {
  const std::lock_guard lock(mutex_);
  return buffers_ && !raising_ && Now() >= pause_until_ && buffers_->HasFree();
}

void FrameQueue::SendDuringEvents() {
  const std::lock_guard lock(mutex_);
  pauses_ = false;
  // The event that capture may be started from does not count either.
  raising_ = false;
  pause_until_ = 0;
}

bool FrameQueue::Push(std::shared_ptr<const Picture> picture, int generation,
                      ABI::Windows::System::IDispatcherQueueHandler* raise_event) {
  const std::lock_guard lock(mutex_);
  if (!buffers_ || raising_ || generation != generation_) return false;
  const int number = buffers_->Take();
  if (number < 0) return false;
  BusyBuffer buffer(buffers_, number);
  boolean queued = false;
  dispatcher_queue_->TryEnqueue(raise_event, &queued);
  if (!queued) return false;
  waiting_.push_back(
      std::make_shared<WaitingFrame>(WaitingFrame{std::move(buffer), std::move(picture)}));
  ++events_owed_;
  return true;
}

std::shared_ptr<WaitingFrame> FrameQueue::TryPop() {
  const std::lock_guard lock(mutex_);
  if (waiting_.empty()) return nullptr;
  auto frame = std::move(waiting_.front());
  waiting_.pop_front();
  return frame;
}

void FrameQueue::EventBegins() {
  const std::lock_guard lock(mutex_);
  raising_ = pauses_;
}

void FrameQueue::EventEnds() {
  const std::lock_guard lock(mutex_);
  if (--events_owed_ > 0 || !pauses_) return;
  raising_ = false;
  pause_until_ = Now() + kPause;
}

}  // namespace standin
