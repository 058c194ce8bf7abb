// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What the tests of hosts in other languages need of the native tests' platform. It becomes part of
// the shared object that holds the library's sources and that platform.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "native/platform/calls.h"
#include "native/platform/capture.h"
#include "native/platform/messages.h"
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

void fake_release(void* object) {
  static_cast<::IUnknown*>(object)->Release();
}

constexpr uint32_t kFoundWidth = 97;
constexpr uint32_t kFoundHeight = 65;

// Windows' FindWindowW for whole programs. The title says what comes with the session's first poll.
void* fake_find_window(const char16_t* /*class_name*/, const char16_t* title) {
  const std::u16string_view text = title;
  fake::settings.item_width = kFoundWidth;
  fake::settings.item_height = kFoundHeight;
  if (text == u"Pattern") {
    fake::ThreadQueue()->Post(nullptr, [] {
      std::vector<uint8_t> pixels(size_t{kFoundWidth} * kFoundHeight * 4);
      for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<uint8_t>(i % 251);
      fake_deliver(pixels.data(), kFoundWidth, kFoundHeight);
    });
  } else if (text == u"Closing") {
    fake::ThreadQueue()->Post(nullptr, fake_close_item);
  } else if (text == u"Failing") {
    fake_fail_device();
  } else if (text != u"Minimised") {
    return nullptr;
  }
  return &fake::settings;  // any window
}

}  // extern "C"
