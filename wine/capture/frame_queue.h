// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <d3d11.h>
#include <windows.graphics.h>

#include <deque>
#include <memory>
#include <mutex>
#include <vector>

#include "capture/picture.h"
#include "common/dispatcher_queue_abi.h"
#include "common/ref.h"

namespace standin {

// The textures of a frame pool since its creation or last Recreate. A buffer is busy from the
// moment a picture waits in it until its frame is dropped, closed or released.
class BufferSet {
 public:
  BufferSet(Ref<ID3D11Device> device, ABI::Windows::Graphics::SizeInt32 size)
      : device_(std::move(device)), size_(size) {}

  HRESULT MakeTextures(int count);

  // The number of a buffer that is busy from now on; -1 when all are.
  int Take();
  void GiveBack(int buffer);
  bool HasFree();

  // Writes `picture` to the buffer's top left corner; what does not fit is cut off. Uses the
  // device's immediate context, so it belongs on the thread where the host uses that.
  void Fill(int buffer, const Picture& picture);
  const Ref<ID3D11Texture2D>& Texture(int buffer) const { return buffers_[buffer].texture; }

 private:
  struct Buffer {
    Ref<ID3D11Texture2D> texture;
    bool busy = false;
  };

  const Ref<ID3D11Device> device_;
  const ABI::Windows::Graphics::SizeInt32 size_;
  std::mutex mutex_;  // Guards `busy`.
  std::vector<Buffer> buffers_;
};

// A buffer that is busy on behalf of its holder.
class BusyBuffer {
 public:
  BusyBuffer(std::shared_ptr<BufferSet> set, int number) : set_(std::move(set)), number_(number) {}
  BusyBuffer(BusyBuffer&& other) noexcept = default;
  BusyBuffer& operator=(BusyBuffer&&) = delete;
  ~BusyBuffer() {
    if (set_) set_->GiveBack(number_);
  }

  void Fill(const Picture& picture) { set_->Fill(number_, picture); }
  const Ref<ID3D11Texture2D>& Texture() const { return set_->Texture(number_); }

 private:
  std::shared_ptr<BufferSet> set_;
  int number_;
};

struct WaitingFrame {
  BusyBuffer buffer;
  std::shared_ptr<const Picture> picture;
};

// What a frame pool shares with the capture threads that feed it: the buffers, the frames that wait
// for TryGetNextFrame, and the pace. It outlives the pool, closed, while such a thread still runs.
class FrameQueue {
 public:
  // Borrows the queue until Close(): where QueueEndsWithController is set, a capture thread that
  // has yet to notice its end must not keep the host's queue alive, or the host could not make the
  // next one on that thread.
  explicit FrameQueue(ABI::Windows::System::IDispatcherQueue* dispatcher_queue)
      : dispatcher_queue_(dispatcher_queue) {}

  // Replaces the buffers and drops what waits. Frames handed out keep their own buffers.
  void Reset(std::shared_ptr<BufferSet> buffers);
  void Close();
  bool IsClosed();

  // Changes whenever the buffers are replaced.
  int Generation();

  // Whether a picture should be taken now. Pictures pause while the queue's thread works off the
  // events of earlier ones, and for a moment after that. Without this a host whose frame handler
  // needs longer than a tick, as it easily does with Direct3D in software, could never empty its
  // message queue.
  bool WantsPicture();
  // From now on there are no such pauses.
  void SendDuringEvents();

  // Lets the picture wait and enqueues `raise_event`. False when the picture is dropped: every
  // buffer is busy, the buffers are no longer those of `generation`, the events of earlier pictures
  // are being worked off, or the queue's thread has ended.
  bool Push(std::shared_ptr<const Picture> picture, int generation,
            ABI::Windows::System::IDispatcherQueueHandler* raise_event);
  // Empty when nothing waits.
  std::shared_ptr<WaitingFrame> TryPop();

  void EventBegins();
  void EventEnds();

 private:
  std::mutex mutex_;
  ABI::Windows::System::IDispatcherQueue* dispatcher_queue_;  // Null once closed.
  int generation_ = 0;
  std::shared_ptr<BufferSet> buffers_;
  std::deque<std::shared_ptr<WaitingFrame>> waiting_;
  int events_owed_ = 0;
  bool pauses_ = true;
  bool raising_ = false;
  INT64 pause_until_ = 0;  // See Now().
};

}  // namespace standin
