// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <eventtoken.h>

#include <mutex>
#include <vector>

#include "common/ref.h"

namespace standin {

// The handlers of one event. All operations may be called from any thread, from a handler as well.
template <class Handler>
class EventSource {
 public:
  HRESULT Add(Handler* handler, EventRegistrationToken* token) {
    if (!handler || !token) return E_POINTER;
    const std::lock_guard lock(mutex_);
    token->value = ++last_token_;
    handlers_.push_back({token->value, Ref<Handler>(handler)});
    return S_OK;
  }

  // An unknown token is ignored, as on Windows.
  void Remove(EventRegistrationToken token) {
    Ref<Handler> removed;  // Released after the lock: the handler's destructor is the host's code.
    const std::lock_guard lock(mutex_);
    for (auto entry = handlers_.begin(); entry != handlers_.end(); ++entry) {
      if (entry->token != token.value) continue;
      removed = std::move(entry->handler);
      handlers_.erase(entry);
      return;
    }
  }

  void RemoveAll() {
    std::vector<Entry> removed;
    const std::lock_guard lock(mutex_);
    removed.swap(handlers_);
  }

  // Calls the handlers registered now, outside the lock. Their results are ignored: there is nobody
  // to report them to.
  template <class Sender>
  void Raise(Sender* sender, IInspectable* arguments) {
    std::vector<Entry> handlers;
    {
      const std::lock_guard lock(mutex_);
      handlers = handlers_;
    }
    for (const Entry& entry : handlers) entry.handler->Invoke(sender, arguments);
  }

 private:
  struct Entry {
    INT64 token;
    Ref<Handler> handler;
  };

  std::mutex mutex_;
  INT64 last_token_ = 0;
  std::vector<Entry> handlers_;
};

}  // namespace standin
