// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The three compute programs on the CPU, one thread of the dispatch after the other, with the
// device's rules for what lies outside a resource: reads give zero, writes are dropped.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "native/platform/direct3d.h"

namespace fake {

enum class Program { kResetDiffRects, kFrameDiffRects, kGetBitFlag };

std::optional<Program> ProgramOf(const void* bytecode, size_t size);

// Null: nothing is bound there.
struct Bindings {
  const Storage* constants = nullptr;
  const Storage* shader_resources[2] = {};
  Storage* access_views[2] = {};
};

// groups_x, groups_y: thread groups of 16 x 1 (kResetDiffRects) or 16 x 16 threads.
void Run(Program program, const Bindings& bindings, uint32_t groups_x, uint32_t groups_y);

}  // namespace fake
