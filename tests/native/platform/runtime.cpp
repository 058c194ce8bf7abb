// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The flat functions of COM and the Windows Runtime: strings, errors, apartments, time.
#include <winrt/base.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "native/platform/calls.h"
#include "native/platform/messages.h"
#include "native/platform/settings.h"

// Windows Runtime strings: a handle points at a header, and the text follows or lies elsewhere.
namespace {

struct StringHeader {
  bool is_reference;
  UINT32 length;
  ULONG references;
  wchar_t const* text;
};
static_assert(sizeof(StringHeader) <= sizeof(HSTRING_HEADER));

StringHeader* HeaderOf(HSTRING string) {
  return reinterpret_cast<StringHeader*>(string);
}

}  // namespace

extern "C" HRESULT WINAPI WindowsCreateString(LPCWSTR text, UINT32 length, HSTRING* result) {
  fake::Call call(fake::Call::Quiet{}, "WindowsCreateString");
  if (call.Fails(result) || call.FailsAfterWork()) return call.Result();
  if (length == 0) return S_OK;
  if (!text) return E_POINTER;
  std::size_t const bytes = length * sizeof(wchar_t);
  char* const block = new char[sizeof(StringHeader) + bytes + sizeof(wchar_t)]();
  auto* const copy = reinterpret_cast<wchar_t*>(block + sizeof(StringHeader));
  std::memcpy(copy, text, bytes);
  *result = reinterpret_cast<HSTRING>(new (block) StringHeader{false, length, 1, copy});
  return S_OK;
}

extern "C" HRESULT WINAPI WindowsCreateStringReference(LPCWSTR text, UINT32 length,
                                                       HSTRING_HEADER* header, HSTRING* result) {
  fake::Call call(fake::Call::Quiet{}, "WindowsCreateStringReference");
  if (call.Fails(result) || call.FailsAfterWork()) return call.Result();
  if (!text) return length == 0 ? S_OK : E_POINTER;
  if (text[length] != L'\0') return E_INVALIDARG;
  if (length != 0) {
    *result = reinterpret_cast<HSTRING>(new (header) StringHeader{true, length, 1, text});
  }
  return S_OK;
}

extern "C" HRESULT WINAPI WindowsDuplicateString(HSTRING string, HSTRING* result) {
  fake::Call call(fake::Call::Quiet{}, "WindowsDuplicateString");
  if (call.Fails(result) || call.FailsAfterWork()) return call.Result();
  *result = string;
  if (string && HeaderOf(string)->is_reference)
    return WindowsCreateString(HeaderOf(string)->text, HeaderOf(string)->length, result);
  if (string) ++HeaderOf(string)->references;
  return S_OK;
}

extern "C" HRESULT WINAPI WindowsDeleteString(HSTRING string) {
  if (string && !HeaderOf(string)->is_reference && --HeaderOf(string)->references == 0)
    delete[] reinterpret_cast<char*>(string);
  return S_OK;
}

extern "C" LPCWSTR WINAPI WindowsGetStringRawBuffer(HSTRING string, UINT32* length) {
  if (length) *length = string ? HeaderOf(string)->length : 0;
  return string ? HeaderOf(string)->text : L"";
}

// Automation strings: the number of bytes lies before the text.
extern "C" BSTR WINAPI SysAllocString(OLECHAR const* text) {
  if (!text) return nullptr;
  UINT const bytes = winrt::impl::length(text) * sizeof(wchar_t);
  char* const block = new char[sizeof(UINT64) + bytes + sizeof(wchar_t)]();
  std::memcpy(block + sizeof(UINT64) - sizeof(bytes), &bytes, sizeof(bytes));
  std::memcpy(block + sizeof(UINT64), text, bytes);
  return reinterpret_cast<BSTR>(block + sizeof(UINT64));
}

extern "C" UINT WINAPI SysStringLen(BSTR text) {
  UINT bytes = 0;
  if (text) std::memcpy(&bytes, reinterpret_cast<char*>(text) - sizeof(bytes), sizeof(bytes));
  return bytes / sizeof(wchar_t);
}

extern "C" void WINAPI SysFreeString(BSTR text) {
  if (text) {
    char* const block = reinterpret_cast<char*>(text) - sizeof(UINT64);
    delete[] block;
  }
}

// Error information of the thread.
namespace {

thread_local winrt::com_ptr<IErrorInfo> error_info;

class Origin final : public IErrorInfo, public IRestrictedErrorInfo {
 public:
  Origin(HRESULT code, HSTRING message)
      : code_(code), message_(SysAllocString(WindowsGetStringRawBuffer(message, nullptr))) {}
  ~Origin() { SysFreeString(message_); }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** result) override {
    if (id == __uuidof(::IUnknown) || id == __uuidof(IErrorInfo)) {
      *result = static_cast<IErrorInfo*>(this);
    } else if (id == __uuidof(IRestrictedErrorInfo)) {
      *result = static_cast<IRestrictedErrorInfo*>(this);
    } else {
      *result = nullptr;
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    ULONG const left = --references_;
    if (left == 0) delete this;
    return left;
  }

  HRESULT STDMETHODCALLTYPE GetGUID(GUID*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetSource(BSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetDescription(BSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetErrorDetails(BSTR* description, HRESULT* code, BSTR* restricted,
                                            BSTR* capability) override {
    *description = *capability = nullptr;
    *code = code_;
    *restricted = SysAllocString(message_);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetReference(BSTR*) override { return E_NOTIMPL; }

 private:
  HRESULT const code_;
  BSTR const message_;
  ULONG references_ = 1;
};

struct SystemText {
  HRESULT code;
  char const* text;
};
constexpr SystemText system_texts[] = {
    {E_ACCESSDENIED, "Access denied.\r\n"},
    {E_INVALIDARG, "Invalid parameter.\r\n"},
    {static_cast<HRESULT>(0x800700C1), "Bad EXE format for %1.\r\n"},
};

}  // namespace

extern "C" HRESULT WINAPI GetErrorInfo(ULONG, IErrorInfo** info) {
  *info = error_info.detach();
  return *info ? S_OK : S_FALSE;
}

extern "C" HRESULT WINAPI SetErrorInfo(ULONG, IErrorInfo* info) {
  error_info.copy_from(info);
  return S_OK;
}

extern "C" BOOL WINAPI RoOriginateLanguageException(HRESULT error, HSTRING message, ::IUnknown*) {
  // Without a text the platform takes its own for the code, as hresult_error does by itself.
  if (message) error_info.attach(new Origin(error, message));
  return TRUE;
}

extern "C" DWORD WINAPI FormatMessageA(DWORD flags, void const*, DWORD code, DWORD, char* buffer,
                                       DWORD size, __ms_va_list*) {
  for (SystemText const& entry : system_texts) {
    // Nobody passes what a text has places for.
    bool const complete = (flags & FORMAT_MESSAGE_IGNORE_INSERTS) || !std::strchr(entry.text, '%');
    if (entry.code == static_cast<HRESULT>(code) && std::strlen(entry.text) < size && complete) {
      std::strcpy(buffer, entry.text);
      return static_cast<DWORD>(std::strlen(entry.text));
    }
  }
  return 0;
}

// With FORMAT_MESSAGE_ALLOCATE_BUFFER only, where the buffer is the place for its address.
extern "C" DWORD WINAPI FormatMessageW(DWORD flags, void const* source, DWORD code, DWORD language,
                                       WCHAR* buffer, DWORD, __ms_va_list* arguments) {
  char text[64];
  DWORD const count = FormatMessageA(flags, source, code, language, text, sizeof(text), arguments);
  if (count != 0) {
    auto* const copy = new wchar_t[count + 1]();
    std::copy(text, text + count, copy);
    *reinterpret_cast<wchar_t**>(buffer) = copy;
    fake::CountObject(1);
  }
  return count;
}

extern "C" HLOCAL WINAPI LocalFree(HLOCAL memory) {
  if (memory) fake::CountObject(-1);
  delete[] static_cast<wchar_t*>(memory);
  return nullptr;
}

// Text conversion, for CP_UTF8 only.
namespace {

constexpr char32_t replacement = 0xFFFD;

std::string ToUtf8(wchar_t const* text, int length) {
  std::string result;
  for (int i = 0; i < length; ++i) {
    char32_t c = static_cast<char16_t>(text[i]);
    bool const high = c >= 0xD800 && c < 0xDC00;
    char32_t const next = i + 1 < length ? static_cast<char16_t>(text[i + 1]) : 0;
    if (high && next >= 0xDC00 && next < 0xE000) {
      c = 0x10000 + ((c - 0xD800) << 10) + (next - 0xDC00);
      ++i;
    } else if (c >= 0xD800 && c < 0xE000) {
      c = replacement;
    }
    int const more = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    constexpr unsigned char lead[] = {0, 0xC0, 0xE0, 0xF0};
    result += static_cast<char>(lead[more] | (c >> (6 * more)));
    for (int shift = 6 * (more - 1); shift >= 0; shift -= 6) {
      result += static_cast<char>(0x80 | ((c >> shift) & 0x3F));
    }
  }
  return result;
}

// The text must be well formed.
std::vector<wchar_t> FromUtf8(char const* text, int length) {
  std::vector<wchar_t> result;
  for (int i = 0; i < length;) {
    auto const first = static_cast<unsigned char>(text[i++]);
    int const more = first < 0x80 ? 0 : first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
    char32_t c = more == 0 ? first : first & (0x3F >> more);
    for (int k = 0; k < more; ++k) {
      c = (c << 6) | (static_cast<unsigned char>(text[i++]) & 0x3F);
    }
    if (c >= 0x10000) {
      result.push_back(static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10)));
      c = 0xDC00 + ((c - 0x10000) & 0x3FF);
    }
    result.push_back(static_cast<wchar_t>(c));
  }
  return result;
}

template <typename Text, typename Unit>
int Deliver(Text const& text, Unit* buffer, int room) {
  int const count = static_cast<int>(text.size());
  if (room == 0) return count;
  if (count > room) return 0;
  std::copy(text.begin(), text.end(), buffer);
  return count;
}

}  // namespace

extern "C" INT WINAPI WideCharToMultiByte(UINT, DWORD, LPCWSTR text, INT length, LPSTR buffer,
                                          INT room, LPCSTR, LPBOOL) {
  const fake::OutsideLibrary outside;
  return Deliver(ToUtf8(text, length), buffer, room);
}

extern "C" INT WINAPI MultiByteToWideChar(UINT, DWORD, LPCSTR text, INT length, LPWSTR buffer,
                                          INT room) {
  const fake::OutsideLibrary outside;
  return Deliver(FromUtf8(text, length), buffer, room);
}

extern "C" HRESULT WINAPI CoIncrementMTAUsage(CO_MTA_USAGE_COOKIE* cookie) {
  ++fake::mta_usages;
  *cookie = nullptr;
  return S_OK;
}

// A module is the entry of the settings.
extern "C" HMODULE WINAPI LoadLibraryExW(LPCWSTR path, HANDLE, DWORD) {
  std::string const name = ToUtf8(path, static_cast<int>(winrt::impl::length(path)));
  for (fake::LibrarySettings& library : fake::settings.libraries) {
    if (library.name == name) {
      ++fake::libraries_loaded;
      return reinterpret_cast<HMODULE>(&library);
    }
  }
  return nullptr;
}

extern "C" FARPROC WINAPI GetProcAddress(HMODULE library, LPCSTR name) {
  if (std::strcmp(name, "DllGetActivationFactory") != 0) return nullptr;
  auto* const found = reinterpret_cast<fake::LibrarySettings*>(library);
  return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(found->get_activation_factory));
}

extern "C" BOOL WINAPI FreeLibrary(HMODULE) {
  --fake::libraries_loaded;
  return TRUE;
}

extern "C" BOOL WINAPI GetModuleHandleExW(DWORD flags, LPCWSTR, HMODULE* module) {
  *module = nullptr;
  if (flags == (GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN)) {
    ++fake::module_pins;
  }
  return TRUE;
}

extern "C" HRESULT WINAPI CoCreateFreeThreadedMarshaler(::IUnknown*, ::IUnknown** marshaler) {
  *marshaler = fake::settings.marshaler;
  if (!*marshaler) return E_OUTOFMEMORY;
  (*marshaler)->AddRef();
  return S_OK;
}

extern "C" HRESULT WINAPI CoInitializeEx(void* reserved, DWORD apartment) {
  fake::Call call("", "CoInitializeEx", reserved ? "reserved" : "null", apartment);
  if (call.Fails()) return call.Result();
  ++fake::com_initializations;
  fake::com_apartment = apartment;
  return call.FailsAfterWork() ? call.Result() : fake::settings.co_initialize_result;
}

extern "C" void WINAPI CoUninitialize() {
  ++fake::com_uninitializations;
}

extern "C" BOOL WINAPI QueryPerformanceFrequency(LARGE_INTEGER* frequency) {
  frequency->QuadPart = fake::settings.performance_frequency;
  return TRUE;
}

namespace fake {

std::string Narrow(HSTRING text) {
  const OutsideLibrary outside;
  UINT32 length = 0;
  LPCWSTR const raw = WindowsGetStringRawBuffer(text, &length);
  return ToUtf8(raw, static_cast<int>(length));
}

void Reset() {
  settings = {};
  com_initializations = 0;
  com_uninitializations = 0;
  module_pins = 0;
  com_apartment.reset();
  libraries_loaded = 0;
  mta_usages = 0;
  error_info = nullptr;
  window_procedure = {};
  thread_has_queue = false;
  ThreadQueue()->Clear();
  ResetCalls();
}

}  // namespace fake
