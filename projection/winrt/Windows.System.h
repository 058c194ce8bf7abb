// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <dispatcherqueue.h>

#include "winrt/Windows.Foundation.h"

namespace winrt {

namespace Windows::System {
struct IDispatcherQueueController;
struct DispatcherQueueController;
}  // namespace Windows::System

template <>
struct impl::abi<Windows::System::IDispatcherQueueController> {
  using type = ABI::Windows::System::IDispatcherQueueController;
};
template <>
struct impl::abi<Windows::System::DispatcherQueueController>
    : impl::abi<Windows::System::IDispatcherQueueController> {};

namespace Windows::System {

struct IDispatcherQueueController : Foundation::IInspectable {
  using IInspectable::IInspectable;
};

struct DispatcherQueueController : IDispatcherQueueController {
  DispatcherQueueController() = delete;
  using IDispatcherQueueController::IDispatcherQueueController;
};

}  // namespace Windows::System
}  // namespace winrt
