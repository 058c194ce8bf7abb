// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Threads' message queues. Work for a thread waits here until that thread pumps.
#pragma once

#include <windows.h>

#include <deque>
#include <functional>
#include <memory>
#include <mutex>

namespace fake {

class MessageQueue {
 public:
  // Runs `work` when the queue's thread dispatches the message. Any thread. owner: see Purge.
  void Post(const void* owner, std::function<void()> work);
  // A message like those of the host's own windows, which only its number tells apart.
  void Post(UINT message);
  // Removes what was posted for an owner that is about to go.
  void Purge(const void* owner);

  bool Take(MSG* message);
  void Dispatch(const MSG& message);
  size_t Size();
  void Clear();

 private:
  struct Entry {
    UINT message;
    const void* owner;
    std::function<void()> work;
  };

  std::mutex mutex_;
  std::deque<Entry> waiting_;
  std::function<void()> taken_;
};

// The calling thread's; shared by what outlives the thread.
std::shared_ptr<MessageQueue> ThreadQueue();

// Runs the host's window procedure for messages of its own: what DispatchMessageW was given.
inline thread_local std::function<void(UINT message)> window_procedure;

}  // namespace fake
