// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Windows Runtime strings: counted, immutable UTF-16 with a NUL after the last character.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "winrt/impl/hresult.h"
#include "winrt/impl/platform.h"

namespace winrt {

namespace impl {

// Not wcslen or char_traits: where wchar_t is narrowed to 16 bits, the C library's functions still
// read its own wider type.
constexpr std::uint32_t length(wchar_t const* text) noexcept {
  std::uint32_t count = 0;
  while (text && text[count] != L'\0') {
    ++count;
  }
  return count;
}

}  // namespace impl

class hstring {
 public:
  using value_type = wchar_t;
  using size_type = std::uint32_t;
  using const_iterator = wchar_t const*;

  hstring() noexcept = default;
  hstring(std::nullptr_t) = delete;
  hstring(wchar_t const* text) : hstring(text, impl::length(text)) {}
  hstring(wchar_t const* text, size_type count) {
    check_hresult(WindowsCreateString(text, count, &handle_));
  }
  explicit hstring(std::wstring_view text)
      : hstring(text.data(), static_cast<size_type>(text.size())) {}
  hstring(hstring const& other) { check_hresult(WindowsDuplicateString(other.handle_, &handle_)); }
  hstring(hstring&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  ~hstring() { clear(); }

  hstring& operator=(hstring const& other) {
    hstring copy(other);
    swap(*this, copy);
    return *this;
  }

  hstring& operator=(hstring&& other) noexcept {
    if (this != &other) {
      clear();
      handle_ = std::exchange(other.handle_, nullptr);
    }
    return *this;
  }

  void clear() noexcept { WindowsDeleteString(std::exchange(handle_, nullptr)); }

  // Never null: an empty string gives the address of a NUL.
  wchar_t const* c_str() const noexcept { return WindowsGetStringRawBuffer(handle_, nullptr); }
  wchar_t const* data() const noexcept { return c_str(); }

  size_type size() const noexcept {
    size_type count = 0;
    WindowsGetStringRawBuffer(handle_, &count);
    return count;
  }

  bool empty() const noexcept { return handle_ == nullptr; }
  const_iterator begin() const noexcept { return data(); }
  const_iterator end() const noexcept { return data() + size(); }
  operator std::wstring_view() const noexcept { return {data(), size()}; }

  friend void swap(hstring& left, hstring& right) noexcept {
    std::swap(left.handle_, right.handle_);
  }

  friend bool operator==(hstring const& left, hstring const& right) noexcept {
    return std::equal(left.begin(), left.end(), right.begin(), right.end());
  }
  friend bool operator==(hstring const& left, wchar_t const* right) noexcept {
    return std::equal(left.begin(), left.end(), right, right + impl::length(right));
  }

 private:
  friend void* get_abi(hstring const& string) noexcept;
  friend void** put_abi(hstring& string) noexcept;
  friend void* detach_abi(hstring& string) noexcept;

  HSTRING handle_ = nullptr;
};

inline void* get_abi(hstring const& string) noexcept {
  return string.handle_;
}

inline void** put_abi(hstring& string) noexcept {
  string.clear();
  return reinterpret_cast<void**>(&string.handle_);
}

inline void attach_abi(hstring& string, void* value) noexcept {
  *put_abi(string) = value;
}

inline void* detach_abi(hstring& string) noexcept {
  return std::exchange(string.handle_, nullptr);
}

namespace param {

// A string argument. Text that ends in a NUL is passed on as it lies, without an allocation; the
// argument must not outlive it.
class hstring {
 public:
  hstring() noexcept = default;
  hstring(hstring const&) = delete;
  hstring& operator=(hstring const&) = delete;

  hstring(winrt::hstring const& text) noexcept : handle_(static_cast<HSTRING>(get_abi(text))) {}
  hstring(wchar_t const* text) { refer(text, impl::length(text)); }
  hstring(std::wstring_view text) { refer(text.data(), static_cast<std::uint32_t>(text.size())); }
  hstring(std::wstring const& text) {
    refer(text.c_str(), static_cast<std::uint32_t>(text.size()));
  }

 private:
  friend void* get_abi(hstring const& string) noexcept;

  void refer(wchar_t const* text, std::uint32_t count) {
    if (count != 0) {
      check_hresult(WindowsCreateStringReference(text, count, &header_, &handle_));
    }
  }

  HSTRING handle_ = nullptr;
  HSTRING_HEADER header_;
};

inline void* get_abi(hstring const& string) noexcept {
  return string.handle_;
}

}  // namespace param

// To UTF-8. An unpaired surrogate becomes U+FFFD.
inline std::string to_string(std::wstring_view text) {
  auto const count = static_cast<int>(text.size());
  int const bytes =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), count, nullptr, 0, nullptr, nullptr);
  std::string result(static_cast<std::size_t>(bytes), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), count, result.data(), bytes, nullptr, nullptr);
  return result;
}

// From UTF-8.
inline hstring to_hstring(std::string_view text) {
  auto const bytes = static_cast<int>(text.size());
  int const count = MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, nullptr, 0);
  std::vector<wchar_t> result(static_cast<std::size_t>(count));
  MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, result.data(), count);
  return {result.data(), static_cast<std::uint32_t>(count)};
}

}  // namespace winrt
