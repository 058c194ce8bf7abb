// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.foundation.metadata.h>

#include <cstdint>

#include "winrt/base.h"

namespace winrt {

namespace Windows::Foundation::Metadata {
struct ApiInformation;
}

template <>
inline constexpr wchar_t const* impl::class_name<Windows::Foundation::Metadata::ApiInformation> =
    L"Windows.Foundation.Metadata.ApiInformation";

namespace Windows::Foundation::Metadata {

struct ApiInformation {
  ApiInformation() = delete;

  static bool IsPropertyPresent(param::hstring const& type_name,
                                param::hstring const& property_name) {
    return ask([&](Statics* statics, boolean* present) {
      return statics->IsPropertyPresent(handle(type_name), handle(property_name), present);
    });
  }

  static bool IsApiContractPresent(param::hstring const& contract_name,
                                   std::uint16_t major_version) {
    return ask([&](Statics* statics, boolean* present) {
      return statics->IsApiContractPresentByMajor(handle(contract_name), major_version, present);
    });
  }

 private:
  using Statics = ABI::Windows::Foundation::Metadata::IApiInformationStatics;

  static HSTRING handle(param::hstring const& text) noexcept {
    return static_cast<HSTRING>(get_abi(text));
  }

  template <typename Question>
  static bool ask(Question question) {
    return impl::call_statics<ApiInformation, Statics>([&](Statics* statics) {
      boolean present = 0;
      check_hresult(question(statics, &present));
      return present != 0;
    });
  }
};

}  // namespace Windows::Foundation::Metadata
}  // namespace winrt
