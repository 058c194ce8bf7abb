// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <libquill_wgc.h>

#include <string>

namespace quill_grab {

// The fifteen functions of libquill-wgc.dll.
struct Library {
  decltype(&::is_wgc_session_supported) is_wgc_session_supported;
  decltype(&::wgc_register_logger) wgc_register_logger;
  decltype(&::wgc_session_create) wgc_session_create;
  decltype(&::wgc_session_create2) wgc_session_create2;
  decltype(&::wgc_session_start) wgc_session_start;
  decltype(&::wgc_session_destroy) wgc_session_destroy;
  decltype(&::wgc_get_recent_frame) wgc_get_recent_frame;
  decltype(&::wgc_free_recent_frame) wgc_free_recent_frame;
  decltype(&::wgc_get_update_ratio) wgc_get_update_ratio;
  decltype(&::wgc_get_status) wgc_get_status;
  decltype(&::wgc_get_device) wgc_get_device;
  decltype(&::wgc_enable_cursor) wgc_enable_cursor;
  decltype(&::wgc_show_border) wgc_show_border;
  decltype(&::wgc_set_dirty_rect) wgc_set_dirty_rect;
  decltype(&::wgc_set_capture_to_texture) wgc_set_capture_to_texture;
};

// Loads the DLL file_name and looks up its functions; throws GrabError. The DLL stays loaded until
// the process ends.
Library LoadLibraryFunctions(const std::wstring& file_name);

}  // namespace quill_grab
