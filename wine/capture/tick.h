// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

namespace standin {

// The wait between two pictures: at most 60 a second, fewer by what taking one costs.
constexpr DWORD kTickMs = 16;

// The performance counter in 100 ns units.
INT64 Now();

constexpr INT64 kUnitsPerMs = 10'000;

}  // namespace standin
