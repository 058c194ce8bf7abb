// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.graphics.capture.h>

#include <bit>
#include <cstdint>

#include "winrt/Windows.Foundation.h"
#include "winrt/Windows.Graphics.DirectX.Direct3D11.h"
#include "winrt/Windows.Graphics.DirectX.h"
#include "winrt/Windows.Graphics.h"

namespace winrt {

namespace Windows::Graphics::Capture {
struct IDirect3D11CaptureFrame;
struct IDirect3D11CaptureFramePool;
struct IGraphicsCaptureItem;
struct IGraphicsCaptureSession;
struct IGraphicsCaptureSession2;
struct IGraphicsCaptureSession3;
struct Direct3D11CaptureFrame;
struct Direct3D11CaptureFramePool;
struct GraphicsCaptureItem;
struct GraphicsCaptureSession;
}  // namespace Windows::Graphics::Capture

namespace impl {

template <>
struct abi<Windows::Graphics::Capture::IDirect3D11CaptureFrame> {
  using type = ABI::Windows::Graphics::Capture::IDirect3D11CaptureFrame;
};
template <>
struct abi<Windows::Graphics::Capture::IDirect3D11CaptureFramePool> {
  using type = ABI::Windows::Graphics::Capture::IDirect3D11CaptureFramePool;
};
template <>
struct abi<Windows::Graphics::Capture::IGraphicsCaptureItem> {
  using type = ABI::Windows::Graphics::Capture::IGraphicsCaptureItem;
};
template <>
struct abi<Windows::Graphics::Capture::IGraphicsCaptureSession> {
  using type = ABI::Windows::Graphics::Capture::IGraphicsCaptureSession;
};
template <>
struct abi<Windows::Graphics::Capture::IGraphicsCaptureSession2> {
  using type = ABI::Windows::Graphics::Capture::IGraphicsCaptureSession2;
};
template <>
struct abi<Windows::Graphics::Capture::IGraphicsCaptureSession3> {
  using type = ABI::Windows::Graphics::Capture::IGraphicsCaptureSession3;
};

template <>
struct abi<Windows::Graphics::Capture::Direct3D11CaptureFrame>
    : abi<Windows::Graphics::Capture::IDirect3D11CaptureFrame> {};
template <>
struct abi<Windows::Graphics::Capture::Direct3D11CaptureFramePool>
    : abi<Windows::Graphics::Capture::IDirect3D11CaptureFramePool> {};
template <>
struct abi<Windows::Graphics::Capture::GraphicsCaptureItem>
    : abi<Windows::Graphics::Capture::IGraphicsCaptureItem> {};
template <>
struct abi<Windows::Graphics::Capture::GraphicsCaptureSession>
    : abi<Windows::Graphics::Capture::IGraphicsCaptureSession> {};

template <>
struct abi<Windows::Foundation::TypedEventHandler<Windows::Graphics::Capture::GraphicsCaptureItem,
                                                  Windows::Foundation::IInspectable>> {
  using type =
      __FITypedEventHandler_2_Windows__CGraphics__CCapture__CGraphicsCaptureItem_IInspectable;
};
template <>
struct abi<Windows::Foundation::TypedEventHandler<
    Windows::Graphics::Capture::Direct3D11CaptureFramePool, Windows::Foundation::IInspectable>> {
  using type =
      __FITypedEventHandler_2_Windows__CGraphics__CCapture__CDirect3D11CaptureFramePool_IInspectable;
};

template <>
inline constexpr wchar_t const* class_name<Windows::Graphics::Capture::Direct3D11CaptureFramePool> =
    L"Windows.Graphics.Capture.Direct3D11CaptureFramePool";
template <>
inline constexpr wchar_t const* class_name<Windows::Graphics::Capture::GraphicsCaptureItem> =
    L"Windows.Graphics.Capture.GraphicsCaptureItem";
template <>
inline constexpr wchar_t const* class_name<Windows::Graphics::Capture::GraphicsCaptureSession> =
    L"Windows.Graphics.Capture.GraphicsCaptureSession";

}  // namespace impl

namespace Windows::Graphics::Capture {

struct IGraphicsCaptureItem : Foundation::IInspectable {
 private:
  using Handler = Foundation::TypedEventHandler<GraphicsCaptureItem, IInspectable>;

 public:
  using IInspectable::IInspectable;
  using Closed_revoker =
      impl::event_revoker<IGraphicsCaptureItem,
                          &ABI::Windows::Graphics::Capture::IGraphicsCaptureItem::remove_Closed>;

  hstring DisplayName() const {
    hstring name;
    check_hresult(impl::abi_of(*this)->get_DisplayName(reinterpret_cast<HSTRING*>(put_abi(name))));
    return name;
  }

  SizeInt32 Size() const {
    ABI::Windows::Graphics::SizeInt32 size{};
    check_hresult(impl::abi_of(*this)->get_Size(&size));
    return std::bit_cast<SizeInt32>(size);
  }

  event_token Closed(Handler const& handler) const {
    EventRegistrationToken token{};
    check_hresult(impl::abi_of(*this)->add_Closed(impl::abi_of(handler), &token));
    return {token.value};
  }

  [[nodiscard]] Closed_revoker Closed(auto_revoke_t, Handler const& handler) const {
    return {*this, Closed(handler)};
  }

  void Closed(event_token const& token) const noexcept {
    impl::abi_of(*this)->remove_Closed({token.value});
  }
};

struct GraphicsCaptureItem : IGraphicsCaptureItem {
  GraphicsCaptureItem() = delete;
  using IGraphicsCaptureItem::IGraphicsCaptureItem;
};

struct IDirect3D11CaptureFrame : Foundation::IInspectable {
  using IInspectable::IInspectable;

  DirectX::Direct3D11::IDirect3DSurface Surface() const {
    void* surface = nullptr;
    check_hresult(impl::abi_of(*this)->get_Surface(
        reinterpret_cast<ABI::Windows::Graphics::DirectX::Direct3D11::IDirect3DSurface**>(
            &surface)));
    return {surface, take_ownership_from_abi};
  }

  Foundation::TimeSpan SystemRelativeTime() const {
    ABI::Windows::Foundation::TimeSpan time{};
    check_hresult(impl::abi_of(*this)->get_SystemRelativeTime(&time));
    return Foundation::TimeSpan(time.Duration);
  }

  SizeInt32 ContentSize() const {
    ABI::Windows::Graphics::SizeInt32 size{};
    check_hresult(impl::abi_of(*this)->get_ContentSize(&size));
    return std::bit_cast<SizeInt32>(size);
  }
};

struct Direct3D11CaptureFrame : IDirect3D11CaptureFrame {
  Direct3D11CaptureFrame() = delete;
  using IDirect3D11CaptureFrame::IDirect3D11CaptureFrame;

  void Close() const { as<Foundation::IClosable>().Close(); }
};

struct IGraphicsCaptureSession : Foundation::IInspectable {
  using IInspectable::IInspectable;

  void StartCapture() const { check_hresult(impl::abi_of(*this)->StartCapture()); }
};

struct IGraphicsCaptureSession2 : Foundation::IInspectable {
  using IInspectable::IInspectable;

  bool IsCursorCaptureEnabled() const {
    boolean enabled = 0;
    check_hresult(impl::abi_of(*this)->get_IsCursorCaptureEnabled(&enabled));
    return enabled != 0;
  }
  void IsCursorCaptureEnabled(bool enabled) const {
    check_hresult(impl::abi_of(*this)->put_IsCursorCaptureEnabled(enabled));
  }
};

struct IGraphicsCaptureSession3 : Foundation::IInspectable {
  using IInspectable::IInspectable;

  bool IsBorderRequired() const {
    boolean required = 0;
    check_hresult(impl::abi_of(*this)->get_IsBorderRequired(&required));
    return required != 0;
  }
  void IsBorderRequired(bool required) const {
    check_hresult(impl::abi_of(*this)->put_IsBorderRequired(required));
  }
};

// Later platforms add interfaces to the class: a setting that the running one lacks throws
// hresult_no_interface.
struct GraphicsCaptureSession : IGraphicsCaptureSession {
  GraphicsCaptureSession() = delete;
  using IGraphicsCaptureSession::IGraphicsCaptureSession;

  static bool IsSupported() {
    using Statics = ABI::Windows::Graphics::Capture::IGraphicsCaptureSessionStatics;
    return impl::call_statics<GraphicsCaptureSession, Statics>([](Statics* statics) {
      boolean supported = 0;
      check_hresult(statics->IsSupported(&supported));
      return supported != 0;
    });
  }

  void Close() const { as<Foundation::IClosable>().Close(); }

  bool IsCursorCaptureEnabled() const {
    return as<IGraphicsCaptureSession2>().IsCursorCaptureEnabled();
  }
  void IsCursorCaptureEnabled(bool enabled) const {
    as<IGraphicsCaptureSession2>().IsCursorCaptureEnabled(enabled);
  }

  bool IsBorderRequired() const { return as<IGraphicsCaptureSession3>().IsBorderRequired(); }
  void IsBorderRequired(bool required) const {
    as<IGraphicsCaptureSession3>().IsBorderRequired(required);
  }
};

struct IDirect3D11CaptureFramePool : Foundation::IInspectable {
 private:
  using Handler = Foundation::TypedEventHandler<Direct3D11CaptureFramePool, IInspectable>;

 public:
  using IInspectable::IInspectable;
  using FrameArrived_revoker = impl::event_revoker<
      IDirect3D11CaptureFramePool,
      &ABI::Windows::Graphics::Capture::IDirect3D11CaptureFramePool::remove_FrameArrived>;

  void Recreate(DirectX::Direct3D11::IDirect3DDevice const& device,
                DirectX::DirectXPixelFormat pixel_format, std::int32_t number_of_buffers,
                SizeInt32 const& size) const {
    check_hresult(impl::abi_of(*this)->Recreate(
        impl::abi_of(device),
        static_cast<ABI::Windows::Graphics::DirectX::DirectXPixelFormat>(pixel_format),
        number_of_buffers, std::bit_cast<ABI::Windows::Graphics::SizeInt32>(size)));
  }

  // Empty when no frame waits.
  Direct3D11CaptureFrame TryGetNextFrame() const {
    ABI::Windows::Graphics::Capture::IDirect3D11CaptureFrame* frame = nullptr;
    check_hresult(impl::abi_of(*this)->TryGetNextFrame(&frame));
    return {frame, take_ownership_from_abi};
  }

  GraphicsCaptureSession CreateCaptureSession(GraphicsCaptureItem const& item) const {
    ABI::Windows::Graphics::Capture::IGraphicsCaptureSession* session = nullptr;
    check_hresult(impl::abi_of(*this)->CreateCaptureSession(impl::abi_of(item), &session));
    return {session, take_ownership_from_abi};
  }

  event_token FrameArrived(Handler const& handler) const {
    EventRegistrationToken token{};
    check_hresult(impl::abi_of(*this)->add_FrameArrived(impl::abi_of(handler), &token));
    return {token.value};
  }

  [[nodiscard]] FrameArrived_revoker FrameArrived(auto_revoke_t, Handler const& handler) const {
    return {*this, FrameArrived(handler)};
  }

  void FrameArrived(event_token const& token) const noexcept {
    impl::abi_of(*this)->remove_FrameArrived({token.value});
  }
};

struct Direct3D11CaptureFramePool : IDirect3D11CaptureFramePool {
  Direct3D11CaptureFramePool() = delete;
  using IDirect3D11CaptureFramePool::IDirect3D11CaptureFramePool;

  static Direct3D11CaptureFramePool Create(DirectX::Direct3D11::IDirect3DDevice const& device,
                                           DirectX::DirectXPixelFormat pixel_format,
                                           std::int32_t number_of_buffers, SizeInt32 const& size) {
    using Statics = ABI::Windows::Graphics::Capture::IDirect3D11CaptureFramePoolStatics;
    return impl::call_statics<Direct3D11CaptureFramePool, Statics>(
        [&](Statics* statics) -> Direct3D11CaptureFramePool {
          ABI::Windows::Graphics::Capture::IDirect3D11CaptureFramePool* pool = nullptr;
          check_hresult(statics->Create(
              impl::abi_of(device),
              static_cast<ABI::Windows::Graphics::DirectX::DirectXPixelFormat>(pixel_format),
              number_of_buffers, std::bit_cast<ABI::Windows::Graphics::SizeInt32>(size), &pool));
          return {pool, take_ownership_from_abi};
        });
  }

  void Close() const { as<Foundation::IClosable>().Close(); }
};

}  // namespace Windows::Graphics::Capture
}  // namespace winrt
