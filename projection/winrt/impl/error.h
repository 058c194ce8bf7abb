// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Failing HRESULTs as exceptions, and exceptions as failing HRESULTs.
#pragma once

#include <cwctype>
#include <exception>
#include <new>
#include <stdexcept>
#include <utility>

#include "winrt/impl/com.h"
#include "winrt/impl/hresult.h"
#include "winrt/impl/string.h"

namespace winrt {

namespace impl {

// winerror.h, which mingw-w64's lacks.
inline constexpr hresult error_out_of_bounds{static_cast<std::int32_t>(0x8000000B)};
inline constexpr hresult error_changed_state{static_cast<std::int32_t>(0x8000000C)};
inline constexpr hresult error_illegal_state_change{static_cast<std::int32_t>(0x8000000D)};
inline constexpr hresult error_illegal_method_call{static_cast<std::int32_t>(0x8000000E)};
inline constexpr hresult error_illegal_delegate_assignment{static_cast<std::int32_t>(0x80000018)};
inline constexpr hresult error_canceled{static_cast<std::int32_t>(0x800704C7)};

// System texts end in a line break.
inline hstring trimmed(wchar_t const* text, std::uint32_t count) {
  while (count != 0 && std::iswspace(static_cast<std::wint_t>(text[count - 1]))) {
    --count;
  }
  return {text, count};
}

// A text that FormatMessageW has allocated.
class system_text {
 public:
  system_text() noexcept = default;
  ~system_text() { LocalFree(text_); }
  system_text(system_text const&) = delete;
  system_text& operator=(system_text const&) = delete;
  wchar_t** put() noexcept { return &text_; }
  wchar_t const* get() const noexcept { return text_; }

 private:
  wchar_t* text_ = nullptr;
};

// The system's text for a code; empty when it has none.
inline hstring system_message(hresult code) {
  system_text text;
  DWORD const count = FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, static_cast<DWORD>(code.value), MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
      reinterpret_cast<wchar_t*>(text.put()), 0, nullptr);
  return trimmed(text.get(), count);
}

class bstr {
 public:
  bstr() noexcept = default;
  ~bstr() { SysFreeString(text_); }
  bstr(bstr const&) = delete;
  bstr& operator=(bstr const&) = delete;
  explicit operator bool() const noexcept { return text_ != nullptr; }
  BSTR* put() noexcept { return &text_; }
  hstring text() const { return trimmed(text_, SysStringLen(text_)); }

 private:
  BSTR text_ = nullptr;
};

}  // namespace impl

struct hresult_error {
  hresult_error() noexcept = default;

  // Raises the error: tells the platform's error reporting where it began.
  explicit hresult_error(hresult code) noexcept : code_(code) { originate(nullptr); }
  hresult_error(hresult code, param::hstring const& message) noexcept : code_(code) {
    originate(static_cast<HSTRING>(get_abi(message)));
  }

  // Carries on an error that a call has reported, with the information it left on the thread.
  hresult_error(hresult code, take_ownership_from_abi_t) noexcept : code_(code) {
    com_ptr<IErrorInfo> info;
    GetErrorInfo(0, info.put());
    info_ = info.try_as<IRestrictedErrorInfo>();
    if (!info_) {
      originate_from(info);
    }
  }

  hresult code() const noexcept { return code_; }

  // The text that came with the error, else the system's text for its code; it may be empty.
  hstring message() const {
    if (info_) {
      impl::bstr description, restricted, capability;
      HRESULT code = S_OK;
      if (SUCCEEDED(info_->GetErrorDetails(description.put(), &code, restricted.put(),
                                           capability.put())) &&
          code == code_.value) {
        return restricted ? restricted.text() : description.text();
      }
    }
    return impl::system_message(code_);
  }

  // Leaves the error's information on the thread, for the caller across the interface.
  hresult to_abi() const noexcept {
    if (info_) {
      SetErrorInfo(0, info_.try_as<IErrorInfo>().get());
    }
    return code_;
  }

 private:
  void originate(HSTRING message) noexcept {
    RoOriginateLanguageException(code_, message, nullptr);
    com_ptr<IErrorInfo> info;
    GetErrorInfo(0, info.put());
    info_ = info.try_as<IRestrictedErrorInfo>();
  }

  void originate_from(com_ptr<IErrorInfo> const& info) noexcept {
    impl::bstr description;
    if (info && SUCCEEDED(info->GetDescription(description.put())) && description) {
      try {
        hstring const message = description.text();
        return originate(static_cast<HSTRING>(get_abi(message)));
      } catch (...) {
        // No memory for the text: the error goes on without it.
      }
    }
    originate(nullptr);
  }

  hresult code_{E_FAIL};
  com_ptr<IRestrictedErrorInfo> info_;
};

namespace impl {

template <std::int32_t Code>
struct coded_error : hresult_error {
  coded_error() noexcept : hresult_error(Code) {}
  explicit coded_error(param::hstring const& message) noexcept : hresult_error(Code, message) {}
  explicit coded_error(take_ownership_from_abi_t) noexcept
      : hresult_error(Code, take_ownership_from_abi) {}
};

}  // namespace impl

using hresult_access_denied = impl::coded_error<E_ACCESSDENIED>;
using hresult_wrong_thread = impl::coded_error<RPC_E_WRONG_THREAD>;
using hresult_not_implemented = impl::coded_error<E_NOTIMPL>;
using hresult_invalid_argument = impl::coded_error<E_INVALIDARG>;
using hresult_out_of_bounds = impl::coded_error<impl::error_out_of_bounds>;
using hresult_no_interface = impl::coded_error<E_NOINTERFACE>;
using hresult_class_not_available = impl::coded_error<CLASS_E_CLASSNOTAVAILABLE>;
using hresult_class_not_registered = impl::coded_error<REGDB_E_CLASSNOTREG>;
using hresult_changed_state = impl::coded_error<impl::error_changed_state>;
using hresult_illegal_method_call = impl::coded_error<impl::error_illegal_method_call>;
using hresult_illegal_state_change = impl::coded_error<impl::error_illegal_state_change>;
using hresult_illegal_delegate_assignment =
    impl::coded_error<impl::error_illegal_delegate_assignment>;
using hresult_canceled = impl::coded_error<impl::error_canceled>;

[[noreturn]] inline void throw_hresult(hresult result) {
  switch (result) {
    case E_OUTOFMEMORY:
      throw std::bad_alloc();
    case E_ACCESSDENIED:
      throw hresult_access_denied(take_ownership_from_abi);
    case RPC_E_WRONG_THREAD:
      throw hresult_wrong_thread(take_ownership_from_abi);
    case E_NOTIMPL:
      throw hresult_not_implemented(take_ownership_from_abi);
    case E_INVALIDARG:
      throw hresult_invalid_argument(take_ownership_from_abi);
    case impl::error_out_of_bounds:
      throw hresult_out_of_bounds(take_ownership_from_abi);
    case E_NOINTERFACE:
      throw hresult_no_interface(take_ownership_from_abi);
    case CLASS_E_CLASSNOTAVAILABLE:
      throw hresult_class_not_available(take_ownership_from_abi);
    case REGDB_E_CLASSNOTREG:
      throw hresult_class_not_registered(take_ownership_from_abi);
    case impl::error_changed_state:
      throw hresult_changed_state(take_ownership_from_abi);
    case impl::error_illegal_method_call:
      throw hresult_illegal_method_call(take_ownership_from_abi);
    case impl::error_illegal_state_change:
      throw hresult_illegal_state_change(take_ownership_from_abi);
    case impl::error_illegal_delegate_assignment:
      throw hresult_illegal_delegate_assignment(take_ownership_from_abi);
    case impl::error_canceled:
      throw hresult_canceled(take_ownership_from_abi);
    default:
      throw hresult_error(result, take_ownership_from_abi);
  }
}

inline void check_hresult(hresult result) {
  if (result < 0) {
    throw_hresult(result);
  }
}

namespace impl {

// Raises the error with its text, or without it when there is no memory for the text.
inline hresult described(hresult code, char const* text) noexcept {
  try {
    return hresult_error(code, to_hstring(text)).to_abi();
  } catch (...) {
    return hresult_error(code).to_abi();
  }
}

}  // namespace impl

inline hresult to_hresult() noexcept {
  try {
    throw;
  } catch (hresult_error const& error) {
    return error.to_abi();
  } catch (std::bad_alloc const&) {
    return E_OUTOFMEMORY;
  } catch (std::out_of_range const& error) {
    return impl::described(impl::error_out_of_bounds, error.what());
  } catch (std::invalid_argument const& error) {
    return impl::described(E_INVALIDARG, error.what());
  } catch (std::exception const& error) {
    return impl::described(E_FAIL, error.what());
  }
}

}  // namespace winrt
