// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What the native tests' platform is like. A test sets it before the library looks.
#pragma once

#include <windows.h>

#include <activation.h>
#include <hstring.h>

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace fake {

struct AdapterSettings {
  UINT vendor_id = 0x8086;
  HRESULT get_desc_result = S_OK;
  UINT flags = 0;
};

struct LibrarySettings {
  std::string name;  // as LoadLibraryExW is given it
  // Its DllGetActivationFactory, null when it has none.
  HRESULT(WINAPI* get_activation_factory)(HSTRING name, IActivationFactory** factory) = nullptr;
};

struct Settings {
  std::vector<AdapterSettings> adapters = {{}};
  UINT feature_level = 0xB000;  // of the devices on all of them

  // Whether a thread can have a dispatcher queue beside its first, which stays with it. On Windows
  // it cannot; for tests of several sessions on one thread, and of a second start there.
  bool several_queues_a_thread = false;

  bool cursor_property_present = true;
  bool border_property_present = true;
  uint16_t universal_contract = 8;
  // Agile statics are kept by the library's process-wide cache for good, out of reach of the next
  // test; the platform's real ones are agile.
  bool agile_factories = false;

  // Size of new capture items, in pixels.
  int32_t item_width = 64;
  int32_t item_height = 48;

  // What every byte of a new texture for the GPU holds; Direct3D leaves its contents undefined.
  uint8_t new_texture_byte = 0;
  // Padding after each row of a mapped texture, in bytes.
  uint32_t row_padding = 64;
  // Padding after a mapped buffer, in bytes; filled with ones.
  uint32_t buffer_padding = 0;

  // What RoGetActivationFactory finds under names that are not of this platform; the test keeps it
  // alive.
  IActivationFactory* foreign_factory = nullptr;
  // What the loader finds.
  std::vector<LibrarySettings> libraries;
  // What CoCreateFreeThreadedMarshaler hands out; it fails without one. The test keeps it alive.
  ::IUnknown* marshaler = nullptr;
  // Whether activation needs an apartment, that is, a call to CoIncrementMTAUsage before.
  bool apartment_needed = false;

  HRESULT co_initialize_result = S_OK;
  int64_t performance_frequency = 10'000'000;  // hertz
};

inline Settings settings;

// What became of the process-wide initialisation of COM.
inline int com_initializations = 0;
inline int com_uninitializations = 0;
inline std::optional<DWORD> com_apartment;  // as asked for

// How often the library asked never to be unloaded.
inline std::atomic<int> module_pins = 0;

// How often libraries were loaded, less how often they were freed.
inline int libraries_loaded = 0;

// How often CoIncrementMTAUsage was called.
inline int mta_usages = 0;

// Whether the thread has its dispatcher queue. A test that clears it goes on as if on a new thread.
inline thread_local bool thread_has_queue = false;

// Settings, recordings, plans, and this thread with its messages, as a new test finds them. What
// the library holds stays alive.
void Reset();

// The text of a Windows Runtime string, in UTF-8.
std::string Narrow(HSTRING text);

}  // namespace fake
