// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "native/platform/messages.h"

#include <utility>

namespace fake {

bool MessageQueue::Take(MSG* message) {
  const std::lock_guard lock(mutex_);
  if (waiting_.empty()) return false;
  *message = {};
  message->message = waiting_.front().message;
  taken_ = std::move(waiting_.front().work);
  waiting_.pop_front();
  return true;
}

void MessageQueue::Dispatch(const MSG& message) {
  // A handler may pump in its turn.
  const auto work = std::exchange(taken_, {});
  if (message.message == kWork) {
    if (work) work();
  } else if (window_procedure) {
    window_procedure(message.message);
  }
}

std::shared_ptr<MessageQueue> ThreadQueue() {
  thread_local const auto queue = std::make_shared<MessageQueue>();
  return queue;
}

}  // namespace fake

extern "C" BOOL WINAPI PeekMessageW(MSG* message, HWND window, UINT first, UINT last, UINT flags) {
  const fake::Call call("", "PeekMessageW", window ? "window" : "null", first, last, flags);
  return flags == PM_REMOVE && fake::ThreadQueue()->Take(message);
}

extern "C" BOOL WINAPI TranslateMessage(const MSG* message) {
  const fake::Call call("", "TranslateMessage", message->message);
  return FALSE;
}

extern "C" LRESULT WINAPI DispatchMessageW(const MSG* message) {
  {
    const fake::Call call("", "DispatchMessageW", message->message);
  }
  // From here on the handlers run, which may be the library's own.
  fake::ThreadQueue()->Dispatch(*message);
  return 0;
}
