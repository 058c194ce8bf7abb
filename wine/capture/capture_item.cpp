// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "capture/capture_item.h"

#include "capture/call_trace.h"

namespace standin {

using ABI::Windows::Graphics::SizeInt32;
using ABI::Windows::Graphics::Capture::IGraphicsCaptureItem;

namespace {

constexpr DWORD kWatchIntervalMs = 20;

}  // namespace

CaptureItem::CaptureItem(std::shared_ptr<CaptureTarget> target)
    : RuntimeObject(L"Windows.Graphics.Capture.GraphicsCaptureItem"), target_(std::move(target)) {}

HRESULT CaptureItem::get_DisplayName(HSTRING* value) {
  if (!value) return E_POINTER;
  const std::wstring name = target_->Name();
  return WindowsCreateString(name.c_str(), static_cast<UINT32>(name.size()), value);
}

// The size at the time of the call; the last known one when the target has gone.
HRESULT CaptureItem::get_Size(SizeInt32* value) {
  Trace("get_Size");
  if (!value) return E_POINTER;
  const std::lock_guard lock(mutex_);
  if (target_->Exists()) {
    const RECT bounds = target_->Bounds();
    last_size_ = {bounds.right - bounds.left, bounds.bottom - bounds.top};
  }
  *value = last_size_;
  return S_OK;
}

HRESULT CaptureItem::add_Closed(ItemClosedHandler* handler, EventRegistrationToken* token) {
  Trace("add_Closed");
  const HRESULT added = closed_.Add(handler, token);
  return FAILED(added) ? added : WatchTarget();
}

HRESULT CaptureItem::remove_Closed(EventRegistrationToken token) {
  Trace("remove_Closed");
  closed_.Remove(token);
  return S_OK;
}

// The watcher refers to the item weakly, so that it does not keep alive an item that the host
// drops.
HRESULT CaptureItem::WatchTarget() {
  const std::lock_guard lock(mutex_);
  if (watched_) return S_OK;
  Ref<IWeakReference> weak_item;
  GetWeakReference(weak_item.Put());
  const HRESULT started = watcher_.Start(kWatchIntervalMs, [this, weak_item, target = target_] {
    if (target->Exists()) return true;
    Ref<IInspectable> alive;
    weak_item->Resolve(__uuidof(IGraphicsCaptureItem), alive.Put());
    if (alive) closed_.Raise(static_cast<IGraphicsCaptureItem*>(this), nullptr);
    return false;
  });
  watched_ = SUCCEEDED(started);
  return started;
}

}  // namespace standin
