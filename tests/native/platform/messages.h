// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Threads' message queues. Work for a thread waits here until that thread pumps.
#pragma once

#include <windows.h>

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

#include "native/platform/calls.h"

namespace fake {

class MessageQueue {
 public:
  // Runs `work` when the queue's thread dispatches the message. Any thread. owner: see Purge.
  void Post(const void* owner, std::function<void()> work) { Add({kWork, owner, std::move(work)}); }
  // A message like those of the host's own windows, which only its number tells apart.
  void Post(UINT message) { Add({message, nullptr, {}}); }
  // Removes what was posted for an owner that is about to go.
  void Purge(const void* owner) {
    const std::lock_guard lock(mutex_);
    std::erase_if(waiting_, [=](const Entry& entry) { return entry.owner == owner; });
  }
  size_t Size() {
    const std::lock_guard lock(mutex_);
    return waiting_.size();
  }
  void Clear() {
    const std::lock_guard lock(mutex_);
    waiting_.clear();
  }

  bool Take(MSG* message);
  void Dispatch(const MSG& message);

 private:
  struct Entry {
    UINT message;
    const void* owner;
    std::function<void()> work;
  };

  // What the platform uses for itself, beyond every message of a window.
  static constexpr UINT kWork = 0xC000;

  void Add(Entry entry) {
    const OutsideLibrary outside;
    const std::lock_guard lock(mutex_);
    waiting_.push_back(std::move(entry));
  }

  std::mutex mutex_;
  std::deque<Entry> waiting_;
  std::function<void()> taken_;
};

// The calling thread's; shared by what outlives the thread.
std::shared_ptr<MessageQueue> ThreadQueue();

// Runs the host's window procedure for messages of its own: what DispatchMessageW was given.
inline thread_local std::function<void(UINT message)> window_procedure;

}  // namespace fake
