// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What the Python tests need of the native tests' platform, for ctypes. It becomes part of the
// shared object that holds the library's sources and that platform.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "native/platform/calls.h"
#include "native/platform/capture.h"
#include "native/platform/settings.h"

extern "C" {

// All settings as at first, for new items of that size.
void fake_reset(int32_t width, int32_t height) {
  fake::Reset();
  fake::settings.item_width = width;
  fake::settings.item_height = height;
}

// The screen shows a picture of packed BGRA rows; false when nobody takes it.
bool fake_deliver(const void* pixels, uint32_t width, uint32_t height) {
  reference::Image picture(width, height);
  std::memcpy(picture.pixels.data(), pixels, size_t{width} * height * 4);
  fake::FramePool* const pool = fake::LastPool();
  return pool != nullptr && pool->Deliver(picture);
}

void fake_close_item() {
  fake::LastItem()->RaiseClosed();
}

void fake_fail_device() {
  fake::PlanFaults(fake::EveryCallOf("D3D11CreateDevice", {fake::Fault::Kind::kResult, E_FAIL}));
}

// A platform before both properties.
void fake_be_old() {
  fake::settings.cursor_property_present = false;
  fake::settings.border_property_present = false;
  fake::settings.universal_contract = 7;
}

bool fake_captures_monitor() {
  return fake::LastItem()->monitor != nullptr;
}

bool fake_cursor_captured() {
  return fake::LastSession()->cursor_captured;
}

bool fake_border_drawn() {
  return fake::LastSession()->border_drawn;
}

int64_t fake_live_objects() {
  return fake::LiveObjects();
}

}  // extern "C"
