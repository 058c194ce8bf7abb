// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Refers to all that the import library offers, and ends with 0 when the probe says yes.
_Bool is_wgc_session_supported(void);
void wgc_register_logger(void);
void wgc_session_create(void);
void* wgc_session_create2(void* monitor);
void wgc_session_destroy(void);
void wgc_session_start(void);
void wgc_get_recent_frame(void);
void wgc_free_recent_frame(void);
void wgc_get_update_ratio(void);
void wgc_get_status(void);
void wgc_get_device(void);
void wgc_enable_cursor(void);
void wgc_show_border(void);
void wgc_set_dirty_rect(void);
void wgc_set_capture_to_texture(void);

void (*const volatile functions[])(void) = {
    wgc_register_logger,        wgc_session_create,   wgc_session_destroy,
    wgc_session_start,          wgc_get_recent_frame, wgc_free_recent_frame,
    wgc_get_update_ratio,       wgc_get_status,       wgc_get_device,
    wgc_enable_cursor,          wgc_show_border,      wgc_set_dirty_rect,
    wgc_set_capture_to_texture,
};

int start(void) {
  for (unsigned i = 0; i < sizeof(functions) / sizeof(*functions); ++i) {
    if (!functions[i]) return 1;
  }
  return is_wgc_session_supported() && !wgc_session_create2(0) ? 0 : 2;
}
