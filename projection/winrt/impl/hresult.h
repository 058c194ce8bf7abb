// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

namespace winrt {

struct hresult {
  std::int32_t value = 0;

  constexpr hresult() noexcept = default;
  constexpr hresult(std::int32_t code) noexcept : value(code) {}
  constexpr operator std::int32_t() const noexcept { return value; }
};

// Throw what throw_hresult throws when `result` is a failure.
void check_hresult(hresult result);

// Throws std::bad_alloc for E_OUTOFMEMORY, else a hresult_error or the type derived from it that
// stands for the code. Takes over the error information that the failed call left on the thread.
[[noreturn]] void throw_hresult(hresult result);

// Inside a catch block: the code of the exception being handled, whose error information goes back
// to the thread for the caller across the interface. An exception that is neither a hresult_error
// nor a std::exception ends the process.
hresult to_hresult() noexcept;

}  // namespace winrt
