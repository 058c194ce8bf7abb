// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <span>

#include "support/picture.h"

// The picture of a PNG file. Its width is 0 when the bytes are not a complete PNG file. The thread
// must have initialised COM.
Picture DecodePng(std::span<const uint8_t> bytes);
