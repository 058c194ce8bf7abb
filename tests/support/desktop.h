// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What a test has to know of the machine that it runs on.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

// Whether the program runs under Wine, and thus on the stand-in for the capture service.
bool IsWine();

// CTest reports a test program that returns this as skipped.
constexpr int kSkippedExitCode = 77;

// Why the windows of this process cannot be captured; empty when they can.
std::string WhyNothingCanBeCaptured();

// Whether a frame of the window may have this size. Which bounds Windows captures is not
// documented, so both are accepted: those of GetWindowRect, which include invisible borders, and
// the visible ones. True for a window that is gone.
bool MayBeFrameSize(HWND window, uint32_t width, uint32_t height);
