// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include "support/pattern_window.h"

struct Poll;

// Reads a texture back by the host's own means and releases the reference that the poll added.
Picture ReadTexture(void* session, const Poll& poll);
