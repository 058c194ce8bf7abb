// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <thread>

namespace quill_apps {

// Time as the program sees it. Tests replace it by one that passes without waiting.
class Clock {
 public:
  virtual ~Clock() = default;

  virtual double Now() {
    return Seconds(std::chrono::steady_clock::now().time_since_epoch()).count();
  }
  virtual void Sleep(double seconds) { std::this_thread::sleep_for(Seconds(seconds)); }

 private:
  using Seconds = std::chrono::duration<double>;
};

}  // namespace quill_apps
