// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What a fragment of C in the Markdown pages and the header's comments may use beside the C library
// and its session: the host's own parts, which are left to the reader.
#pragma once

#include <stdlib.h>
#include <string.h>

#include "libquill_wgc.h"

void fragment(void* session);

extern HWND window;
extern bool running;
bool stop_requested(void);
void use(const void* pixels, uint32_t width, uint32_t height, uint32_t row_bytes);
void encode(const void* pixels, uint32_t width, uint32_t height);
void repeat_last_frame(void);
void consume_row(const uint8_t* row, uint32_t width);
void hand_over(void* pixels, uint32_t width, uint32_t height);
