// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Identifiers and method orders of projection/sdk against second sources: the rule for generic
// interfaces, the tool chain's own headers, and the platform's documentation.
#include <gtest/gtest.h>
#include <winrt/Windows.Foundation.Metadata.h>
#include <winrt/Windows.Graphics.Capture.h>
#include <winrt/Windows.System.h>
//
#include <windows.graphics.capture.interop.h>
#include <windows.graphics.directx.direct3d11.interop.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "projection/second_source.h"

namespace {

namespace abi = ABI::Windows;
namespace capture = winrt::Windows::Graphics::Capture;
namespace direct3d = winrt::Windows::Graphics::DirectX::Direct3D11;
namespace foundation = winrt::Windows::Foundation;
using winrt::guid_of;

std::string Text(GUID const& id) {
  char text[40];
  std::snprintf(text, sizeof(text), "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                static_cast<unsigned>(id.Data1), id.Data2, id.Data3, id.Data4[0], id.Data4[1],
                id.Data4[2], id.Data4[3], id.Data4[4], id.Data4[5], id.Data4[6], id.Data4[7]);
  return text;
}

// The position in the method table. A pointer to a virtual member function holds the offset there
// plus one.
template <typename Method>
int Slot(Method method) {
  std::intptr_t offset = 0;
  std::memcpy(&offset, &method, sizeof(offset));
  return static_cast<int>((offset - 1) / static_cast<std::intptr_t>(sizeof(void*)));
}

// A method table starts with IUnknown's three methods; IInspectable's three follow.
constexpr int first_own = 6;

template <typename... Methods>
void ExpectOrder(Methods... methods) {
  int expected = first_own;
  for (int const slot : {Slot(methods)...}) EXPECT_EQ(slot, expected++);
}

// The identifier of an instance of a generic interface is the name-based one (SHA-1) of its
// signature, as Python's uuid.uuid5 computes it: in the name space
// 11f47ad5-7b73-42c0-abae-878b1e16adee, of "pinterface({9de1c534-6ae1-11e0-84e1-18a905bcc53f};
// rc(CLASS;{IDENTIFIER});cinterface(IInspectable))", without the line break and blanks.
TEST(Identifiers, OfTheEventHandlersFollowTheRuleForGenericInterfaces) {
  using foundation::TypedEventHandler;
  EXPECT_EQ(
      Text(guid_of<
           TypedEventHandler<capture::Direct3D11CaptureFramePool, foundation::IInspectable>>()),
      "51a947f7-79cf-5a3e-a3a5-1289cfa6dfe8");
  EXPECT_EQ(
      Text(guid_of<TypedEventHandler<capture::GraphicsCaptureItem, foundation::IInspectable>>()),
      "e9c610c0-a68c-5bd9-8021-8589346eeee2");
}

TEST(Identifiers, AreThoseOfTheDocumentation) {
  using namespace abi::Graphics::Capture;
  using ::Windows::Graphics::DirectX::Direct3D11::IDirect3DDxgiInterfaceAccess;
  struct {
    GUID id;
    char const* text;
  } const documented[] = {
      {guid_of<capture::IGraphicsCaptureItem>(), "79c3f95b-31f7-4ec2-a464-632ef5d30760"},
      {guid_of<capture::GraphicsCaptureItem>(), "79c3f95b-31f7-4ec2-a464-632ef5d30760"},
      {guid_of<capture::Direct3D11CaptureFramePool>(), "24eb6d22-1975-422e-82e7-780dbd8ddf24"},
      {guid_of<IDirect3D11CaptureFramePoolStatics>(), "7784056a-67aa-4d53-ae54-1088d5a8ca21"},
      {guid_of<capture::Direct3D11CaptureFrame>(), "fa50c623-38da-4b32-acf3-fa9734ad800e"},
      {guid_of<capture::GraphicsCaptureSession>(), "814e42a9-f70f-4ad7-939b-fddcc6eb880d"},
      {guid_of<capture::IGraphicsCaptureSession2>(), "2c39ae40-7d2e-5044-804e-8b6799d4cf9e"},
      {guid_of<capture::IGraphicsCaptureSession3>(), "f2cdd966-22ae-5ea1-9596-3a289344c3be"},
      {guid_of<IGraphicsCaptureSessionStatics>(), "2224a540-5974-49aa-b232-0882536f4cb5"},
      {guid_of<IGraphicsCaptureItemInterop>(), "3628e81b-3cac-4c60-b7f4-23ce0e0c3356"},
      {guid_of<direct3d::IDirect3DDevice>(), "a37624ab-8d5f-4650-9d3e-9eae3d9bc670"},
      {guid_of<direct3d::IDirect3DSurface>(), "0bf4a146-13c1-4694-bee3-7abf15eaf586"},
      {guid_of<IDirect3DDxgiInterfaceAccess>(), "a9b3d012-3df2-4ee3-b8d1-8695f457d3c1"},
      {guid_of<IAgileObject>(), "94ea2b94-e9cc-49e0-c0ff-ee64ca8f5b90"},
  };
  for (auto const& [id, text] : documented) EXPECT_EQ(Text(id), text);
}

using abi::Foundation::IClosable;
using abi::Foundation::Metadata::IApiInformationStatics;

TEST(Identifiers, AreThoseOfTheToolChainsHeaders) {
  auto const* second = second_source_identifiers;
#define EXPECT_SAME_ID(TYPE, ID) EXPECT_EQ(Text(guid_of<TYPE>()), Text(**second++)) << #TYPE;
  SECOND_SOURCE_IDENTIFIERS(EXPECT_SAME_ID)
}

TEST(MethodOrder, IsThatOfTheToolChainsHeaders) {
  auto const* second = second_source_slots;
#define EXPECT_SAME_SLOT(TYPE, TABLE, METHOD) \
  EXPECT_EQ(Slot(&TYPE::METHOD), *second++) << #TYPE "::" #METHOD;
  SECOND_SOURCE_METHODS(EXPECT_SAME_SLOT)
}

TEST(MethodOrder, IsThatOfTheDocumentation) {
  using namespace abi::Graphics::Capture;
  ExpectOrder(&IGraphicsCaptureItem::get_DisplayName, &IGraphicsCaptureItem::get_Size,
              &IGraphicsCaptureItem::add_Closed, &IGraphicsCaptureItem::remove_Closed);
  ExpectOrder(&IDirect3D11CaptureFrame::get_Surface,
              &IDirect3D11CaptureFrame::get_SystemRelativeTime,
              &IDirect3D11CaptureFrame::get_ContentSize);
  using Pool = IDirect3D11CaptureFramePool;
  ExpectOrder(&Pool::Recreate, &Pool::TryGetNextFrame, &Pool::add_FrameArrived,
              &Pool::remove_FrameArrived, &Pool::CreateCaptureSession, &Pool::get_DispatcherQueue);
  ExpectOrder(&IDirect3D11CaptureFramePoolStatics::Create);
  ExpectOrder(&IGraphicsCaptureSession::StartCapture);
  ExpectOrder(&IGraphicsCaptureSession2::get_IsCursorCaptureEnabled,
              &IGraphicsCaptureSession2::put_IsCursorCaptureEnabled);
  ExpectOrder(&IGraphicsCaptureSession3::get_IsBorderRequired,
              &IGraphicsCaptureSession3::put_IsBorderRequired);
  ExpectOrder(&IGraphicsCaptureSessionStatics::IsSupported);
  using Controller = abi::System::IDispatcherQueueController;
  ExpectOrder(&Controller::get_DispatcherQueue, &Controller::ShutdownQueueAsync);
}

TEST(MethodOrder, OfInterfacesThatFollowIUnknown) {
  using FrameHandler =
      __FITypedEventHandler_2_Windows__CGraphics__CCapture__CDirect3D11CaptureFramePool_IInspectable;
  using ClosedHandler =
      __FITypedEventHandler_2_Windows__CGraphics__CCapture__CGraphicsCaptureItem_IInspectable;
  using Access = ::Windows::Graphics::DirectX::Direct3D11::IDirect3DDxgiInterfaceAccess;
  EXPECT_EQ(Slot(&FrameHandler::Invoke), 3);
  EXPECT_EQ(Slot(&ClosedHandler::Invoke), 3);
  EXPECT_EQ(Slot(&Access::GetInterface), 3);
  EXPECT_EQ(Slot(&IGraphicsCaptureItemInterop::CreateForWindow), 3);
  EXPECT_EQ(Slot(&IGraphicsCaptureItemInterop::CreateForMonitor), 4);
}

TEST(LayoutsAndConstants, AreThoseOfTheBinaryInterface) {
  EXPECT_EQ(sizeof(abi::Graphics::SizeInt32), 8u);
  EXPECT_EQ(sizeof(winrt::Windows::Graphics::SizeInt32), 8u);
  EXPECT_EQ(sizeof(EventRegistrationToken), 8u);
  EXPECT_EQ(sizeof(abi::Foundation::TimeSpan), 8u);
  EXPECT_EQ(sizeof(DispatcherQueueOptions), 12u);
  EXPECT_EQ(sizeof(boolean), 1u);
  EXPECT_EQ(int{DQTYPE_THREAD_DEDICATED}, 1);
  EXPECT_EQ(int{DQTYPE_THREAD_CURRENT}, 2);
  EXPECT_EQ(int{DQTAT_COM_NONE}, 0);
  EXPECT_EQ(int{DQTAT_COM_ASTA}, 1);
  EXPECT_EQ(int{DQTAT_COM_STA}, 2);
}

}  // namespace
