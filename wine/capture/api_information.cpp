// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "capture/api_information.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "capture/settings.h"

namespace standin {
namespace {

constexpr std::wstring_view kItem = L"Windows.Graphics.Capture.GraphicsCaptureItem";
constexpr std::wstring_view kPool = L"Windows.Graphics.Capture.Direct3D11CaptureFramePool";
constexpr std::wstring_view kFrame = L"Windows.Graphics.Capture.Direct3D11CaptureFrame";
constexpr std::wstring_view kSession = L"Windows.Graphics.Capture.GraphicsCaptureSession";
constexpr std::wstring_view kTypes[] = {kItem, kPool, kFrame, kSession};

struct Property {
  std::wstring_view type;
  std::wstring_view name;
  bool writeable;
};

constexpr Property kProperties[] = {
    {kItem, L"DisplayName", false},
    {kItem, L"Size", false},
    {kPool, L"DispatcherQueue", false},
    {kFrame, L"Surface", false},
    {kFrame, L"SystemRelativeTime", false},
    {kFrame, L"ContentSize", false},
    {kSession, L"IsCursorCaptureEnabled", true},
    {kSession, L"IsBorderRequired", true},
};

std::wstring_view View(HSTRING string) {
  UINT32 length = 0;
  const wchar_t* const text = WindowsGetStringRawBuffer(string, &length);
  return {text, length};
}

// Null when the platform lacks it.
const Property* FindProperty(HSTRING type, HSTRING name) {
  const Settings settings = ReadSettings();
  const Property* const found =
      std::find_if(std::begin(kProperties), std::end(kProperties), [&](const Property& property) {
        return property.type == View(type) && property.name == View(name);
      });
  if (found == std::end(kProperties)) return nullptr;
  if (found->name == L"IsCursorCaptureEnabled" && !settings.cursor_property) return nullptr;
  if (found->name == L"IsBorderRequired" && !settings.border_property) return nullptr;
  return found;
}

HRESULT Answer(boolean* value, bool answer) {
  if (!value) return E_POINTER;
  *value = answer;
  return S_OK;
}

}  // namespace

HRESULT ApiInformation::IsTypePresent(HSTRING type, boolean* value) {
  return Answer(value,
                std::find(std::begin(kTypes), std::end(kTypes), View(type)) != std::end(kTypes));
}

HRESULT ApiInformation::IsPropertyPresent(HSTRING type, HSTRING property, boolean* value) {
  return Answer(value, FindProperty(type, property) != nullptr);
}

HRESULT ApiInformation::IsReadOnlyPropertyPresent(HSTRING type, HSTRING property, boolean* value) {
  const Property* const found = FindProperty(type, property);
  return Answer(value, found && !found->writeable);
}

HRESULT ApiInformation::IsWriteablePropertyPresent(HSTRING type, HSTRING property, boolean* value) {
  const Property* const found = FindProperty(type, property);
  return Answer(value, found && found->writeable);
}

HRESULT ApiInformation::IsApiContractPresentByMajor(HSTRING contract, UINT16 major,
                                                    boolean* value) {
  return IsApiContractPresentByMajorAndMinor(contract, major, 0, value);
}

HRESULT ApiInformation::IsApiContractPresentByMajorAndMinor(HSTRING contract, UINT16 major,
                                                            UINT16 minor, boolean* value) {
  const UINT16 offered = ReadSettings().universal_api_contract;
  return Answer(value, View(contract) == L"Windows.Foundation.UniversalApiContract" &&
                           (major < offered || (major == offered && minor == 0)));
}

HRESULT ApiInformation::IsMethodPresent(HSTRING, HSTRING, boolean*) {
  return E_NOTIMPL;
}

HRESULT ApiInformation::IsMethodPresentWithArity(HSTRING, HSTRING, UINT32, boolean*) {
  return E_NOTIMPL;
}

HRESULT ApiInformation::IsEventPresent(HSTRING, HSTRING, boolean*) {
  return E_NOTIMPL;
}

HRESULT ApiInformation::IsEnumNamedValuePresent(HSTRING, HSTRING, boolean*) {
  return E_NOTIMPL;
}

}  // namespace standin
