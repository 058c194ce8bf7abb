// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-check/machine.h"

#include <d3d11_2.h>
#include <dxgi1_6.h>
#include <roapi.h>
#include <shellscalingapi.h>
#include <windows.foundation.metadata.h>
#include <winstring.h>
#include <wrl/client.h>

#include <cwchar>
#include <vector>

#include "common/monitors.h"
#include "common/text.h"

namespace quill_apps {

namespace {

using Json = nlohmann::ordered_json;
using Microsoft::WRL::ComPtr;

constexpr wchar_t kVersionKey[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";

std::string RegistryText(const wchar_t* name) {
  wchar_t text[64];
  DWORD size = sizeof text;
  const LSTATUS status =
      RegGetValueW(HKEY_LOCAL_MACHINE, kVersionKey, name, RRF_RT_REG_SZ, nullptr, text, &size);
  return status == ERROR_SUCCESS ? ToUtf8(text) : "";
}

unsigned UpdateRevision() {
  DWORD revision = 0;
  DWORD size = sizeof revision;
  RegGetValueW(HKEY_LOCAL_MACHINE, kVersionKey, L"UBR", RRF_RT_REG_DWORD, nullptr, &revision,
               &size);
  return revision;
}

Json DescribeWindows() {
  DWORD session = 0;
  ProcessIdToSessionId(GetCurrentProcessId(), &session);
  return {{"product", RegistryText(L"ProductName")},
          {"release", RegistryText(L"DisplayVersion")},
          {"build", WindowsBuild()},
          {"revision", UpdateRevision()},
          {"universalContract", UniversalContract()},
          {"session", session},
          {"remote", GetSystemMetrics(SM_REMOTESESSION) != 0},
          {"wine", IsWine()}};
}

std::string Hex(unsigned value) {
  return Format("0x%04x", value);
}

std::string LuidText(const LUID& luid) {
  return Format("%08lx:%08lx", static_cast<unsigned long>(luid.HighPart), luid.LowPart);
}

// What change detection needs beyond feature level 11.0: unordered-access views of R8_UINT, and
// typed loads from them.
Json DescribeDevice(IDXGIAdapter* adapter) {
  ComPtr<ID3D11Device> device;
  D3D_FEATURE_LEVEL level{};
  const HRESULT made =
      D3D11CreateDevice(adapter, D3D_DRIVER_TYPE_UNKNOWN, nullptr, D3D11_CREATE_DEVICE_BGRA_SUPPORT,
                        nullptr, 0, D3D11_SDK_VERSION, &device, &level, nullptr);
  if (FAILED(made)) return {{"error", DescribeError(static_cast<DWORD>(made))}};
  D3D11_FEATURE_DATA_D3D11_OPTIONS2 options{};
  const HRESULT asked =
      device->CheckFeatureSupport(D3D11_FEATURE_D3D11_OPTIONS2, &options, sizeof options);
  UINT support = 0;
  device->CheckFormatSupport(DXGI_FORMAT_R8_UINT, &support);
  D3D11_FEATURE_DATA_FORMAT_SUPPORT2 support2{DXGI_FORMAT_R8_UINT, 0};
  device->CheckFeatureSupport(D3D11_FEATURE_FORMAT_SUPPORT2, &support2, sizeof support2);
  return {
      {"featureLevel", Format("%u.%u", level >> 12, (level >> 8) & 15)},
      {"typedUavLoadAdditionalFormats",
       SUCCEEDED(asked) ? Json(options.TypedUAVLoadAdditionalFormats != 0) : Json(nullptr)},
      {"r8UintUav", (support & D3D11_FORMAT_SUPPORT_TYPED_UNORDERED_ACCESS_VIEW) != 0},
      {"r8UintUavLoad", (support2.OutFormatSupport2 & D3D11_FORMAT_SUPPORT2_UAV_TYPED_LOAD) != 0}};
}

double WhiteLevel(const DISPLAYCONFIG_PATH_INFO& path) {
  DISPLAYCONFIG_SDR_WHITE_LEVEL level{};
  level.header.type = DISPLAYCONFIG_DEVICE_INFO_GET_SDR_WHITE_LEVEL;
  level.header.size = sizeof level;
  level.header.adapterId = path.targetInfo.adapterId;
  level.header.id = path.targetInfo.id;
  if (DisplayConfigGetDeviceInfo(&level.header) != ERROR_SUCCESS) return 0.0;
  return level.SDRWhiteLevel / 1000.0 * 80.0;  // as its documentation says
}

// Of the display with this GDI name, in nits; 0 when Windows does not tell.
double WhiteLevelOf(const wchar_t* name) {
  UINT32 path_count = 0;
  UINT32 mode_count = 0;
  if (GetDisplayConfigBufferSizes(QDC_ONLY_ACTIVE_PATHS, &path_count, &mode_count) != 0) return 0.0;
  std::vector<DISPLAYCONFIG_PATH_INFO> paths(path_count);
  std::vector<DISPLAYCONFIG_MODE_INFO> modes(mode_count);
  if (QueryDisplayConfig(QDC_ONLY_ACTIVE_PATHS, &path_count, paths.data(), &mode_count,
                         modes.data(), nullptr) != 0) {
    return 0.0;
  }
  paths.resize(path_count);
  for (const DISPLAYCONFIG_PATH_INFO& path : paths) {
    DISPLAYCONFIG_SOURCE_DEVICE_NAME source{};
    source.header.type = DISPLAYCONFIG_DEVICE_INFO_GET_SOURCE_NAME;
    source.header.size = sizeof source;
    source.header.adapterId = path.sourceInfo.adapterId;
    source.header.id = path.sourceInfo.id;
    if (DisplayConfigGetDeviceInfo(&source.header) != 0) continue;
    if (std::wcscmp(source.viewGdiDeviceName, name) == 0) return WhiteLevel(path);
  }
  return 0.0;
}

Json DescribeOutput(IDXGIOutput* output) {
  DXGI_OUTPUT_DESC description{};
  output->GetDesc(&description);
  DEVMODEW mode{};
  mode.dmSize = sizeof mode;
  EnumDisplaySettingsW(description.DeviceName, ENUM_CURRENT_SETTINGS, &mode);
  UINT dpi_x = 0;
  UINT dpi_y = 0;
  GetDpiForMonitor(description.Monitor, MDT_EFFECTIVE_DPI, &dpi_x, &dpi_y);
  Json json = {
      {"name", ToUtf8(description.DeviceName)},
      {"width", description.DesktopCoordinates.right - description.DesktopCoordinates.left},
      {"height", description.DesktopCoordinates.bottom - description.DesktopCoordinates.top},
      {"dpi", dpi_x},
      {"refreshHz", mode.dmDisplayFrequency},
      {"sdrWhiteNits", WhiteLevelOf(description.DeviceName)}};
  ComPtr<IDXGIOutput6> output6;
  DXGI_OUTPUT_DESC1 colour{};
  if (SUCCEEDED(output->QueryInterface(IID_PPV_ARGS(&output6))) &&
      SUCCEEDED(output6->GetDesc1(&colour))) {
    json["hdr"] = colour.ColorSpace == DXGI_COLOR_SPACE_RGB_FULL_G2084_NONE_P2020;
    json["bitsPerColour"] = colour.BitsPerColor;
  }
  return json;
}

Json DescribeAdapters() {
  Json adapters = Json::array();
  ComPtr<IDXGIFactory1> factory;
  if (FAILED(CreateDXGIFactory1(IID_PPV_ARGS(&factory)))) return adapters;
  ComPtr<IDXGIAdapter1> adapter;
  for (UINT i = 0; factory->EnumAdapters1(i, adapter.ReleaseAndGetAddressOf()) == S_OK; ++i) {
    Json json = DescribeAdapter(adapter.Get());
    json.update(DescribeDevice(adapter.Get()));
    Json monitors = Json::array();
    ComPtr<IDXGIOutput> output;
    for (UINT j = 0; adapter->EnumOutputs(j, output.ReleaseAndGetAddressOf()) == S_OK; ++j) {
      monitors.push_back(DescribeOutput(output.Get()));
    }
    json["monitors"] = std::move(monitors);
    adapters.push_back(std::move(json));
  }
  return adapters;
}

// The name of the desktop that receives input: "Default", another one when the session is locked.
std::string InputDesktop() {
  const HDESK desktop = OpenInputDesktop(0, FALSE, DESKTOP_READOBJECTS);
  if (desktop == nullptr) return "";
  wchar_t name[64] = L"";
  GetUserObjectInformationW(desktop, UOI_NAME, name, sizeof name, nullptr);
  CloseDesktop(desktop);
  return ToUtf8(name);
}

}  // namespace

unsigned WindowsBuild() {
  // GetVersionEx answers what the manifest claims support for; this answers what is there.
  using RtlGetVersion = LONG(WINAPI*)(OSVERSIONINFOW*);
  const auto get_version = reinterpret_cast<RtlGetVersion>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlGetVersion")));
  OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof version;
  if (get_version == nullptr || get_version(&version) != 0) return 0;
  return version.dwBuildNumber;
}

int UniversalContract() {
  namespace Metadata = ABI::Windows::Foundation::Metadata;
  constexpr wchar_t kClass[] = L"Windows.Foundation.Metadata.ApiInformation";
  constexpr wchar_t kContract[] = L"Windows.Foundation.UniversalApiContract";
  HSTRING_HEADER class_header;
  HSTRING class_name;
  HSTRING_HEADER contract_header;
  HSTRING contract;
  ComPtr<Metadata::IApiInformationStatics> information;
  if (FAILED(WindowsCreateStringReference(kClass, std::size(kClass) - 1, &class_header,
                                          &class_name)) ||
      FAILED(WindowsCreateStringReference(kContract, std::size(kContract) - 1, &contract_header,
                                          &contract)) ||
      FAILED(RoGetActivationFactory(class_name, IID_PPV_ARGS(&information)))) {
    return 0;
  }
  int highest = 0;
  boolean present = TRUE;
  while (present &&
         SUCCEEDED(information->IsApiContractPresentByMajor(
             contract, static_cast<UINT16>(highest + 1), &present)) &&
         present) {
    ++highest;
  }
  return highest;
}

Json DescribeAdapter(IDXGIAdapter* adapter) {
  DXGI_ADAPTER_DESC description{};
  adapter->GetDesc(&description);
  LARGE_INTEGER driver{};
  adapter->CheckInterfaceSupport(__uuidof(IDXGIDevice), &driver);
  return {{"name", ToUtf8(description.Description)},
          {"vendor", Hex(description.VendorId)},
          {"device", Hex(description.DeviceId)},
          {"driver", Format("%u.%u.%u.%u", HIWORD(driver.HighPart), LOWORD(driver.HighPart),
                            HIWORD(driver.LowPart), LOWORD(driver.LowPart))},
          {"luid", LuidText(description.AdapterLuid)}};
}

std::string WhyNoDesktop() {
  DWORD session = 0;
  ProcessIdToSessionId(GetCurrentProcessId(), &session);
  if (session == 0 && !IsWine()) {
    return "this is session 0, which has no desktop: run it in a user's session";
  }
  const std::string desktop = InputDesktop();
  if (desktop != "Default") {
    return "the desktop is locked or not in front: unlock it and try again";
  }
  if (ListMonitors().empty()) return "there is no monitor: connect one";
  return "";
}

void DescribeMachine(CheckContext& context) {
  context.finding.Figure("windows", DescribeWindows());
  context.finding.Figure("adapters", DescribeAdapters());
}

}  // namespace quill_apps
