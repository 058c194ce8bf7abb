// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The capture service of the bench: items of a chosen size, and a frame pool whose textures are
// filled in advance, so that a frame costs the source next to nothing. It takes the place of
// Windows.Graphics.Capture inside this process only, on Windows and under Wine alike.
#pragma once

#include <windows.h>

#include <d3d11.h>
#include <windows.graphics.capture.h>

#include <vector>

#include "common/object.h"
#include "frame_pump.h"

namespace bench {

using ABI::Windows::Graphics::SizeInt32;
using standin::Ref;

// A frame that is handed out again and again; made once for each texture of the pool.
class Frame
    : public standin::RuntimeObject<ABI::Windows::Graphics::Capture::IDirect3D11CaptureFrame,
                                    ABI::Windows::Foundation::IClosable> {
 public:
  explicit Frame(Ref<ID3D11Texture2D> texture);

  ID3D11Texture2D* texture() const { return texture_.Get(); }
  void set_content_size(SizeInt32 size) { content_size_ = size; }

  HRESULT STDMETHODCALLTYPE
  get_Surface(ABI::Windows::Graphics::DirectX::Direct3D11::IDirect3DSurface** value) override;
  HRESULT STDMETHODCALLTYPE
  get_SystemRelativeTime(ABI::Windows::Foundation::TimeSpan* value) override;
  HRESULT STDMETHODCALLTYPE get_ContentSize(SizeInt32* value) override;
  HRESULT STDMETHODCALLTYPE Close() override { return S_OK; }

 private:
  const Ref<ID3D11Texture2D> texture_;
  const Ref<ABI::Windows::Graphics::DirectX::Direct3D11::IDirect3DSurface> surface_;
  SizeInt32 content_size_ = {};
};

class FramePool
    : public standin::RuntimeObject<ABI::Windows::Graphics::Capture::IDirect3D11CaptureFramePool,
                                    ABI::Windows::Foundation::IClosable>,
      public FrameReceiver {
 public:
  using Handler =
      __FITypedEventHandler_2_Windows__CGraphics__CCapture__CDirect3D11CaptureFramePool_IInspectable;
  using IDirect3DDevice = ABI::Windows::Graphics::DirectX::Direct3D11::IDirect3DDevice;
  using DirectXPixelFormat = ABI::Windows::Graphics::DirectX::DirectXPixelFormat;

  FramePool();
  HRESULT Fill(IDirect3DDevice* device, INT32 number_of_buffers, SizeInt32 size);

  ID3D11Texture2D* texture(size_t index) const { return frames_[index]->texture(); }
  // The frame that the next TryGetNextFrame gives: a texture of the pool, with content of this size
  // in it.
  void SetNext(size_t index, SizeInt32 content_size);
  // Raises FrameArrived.
  void OnFrame() override;

  HRESULT STDMETHODCALLTYPE Recreate(IDirect3DDevice* device, DirectXPixelFormat format,
                                     INT32 number_of_buffers, SizeInt32 size) override;
  HRESULT STDMETHODCALLTYPE
  TryGetNextFrame(ABI::Windows::Graphics::Capture::IDirect3D11CaptureFrame** result) override;
  HRESULT STDMETHODCALLTYPE add_FrameArrived(Handler* handler,
                                             EventRegistrationToken* token) override;
  HRESULT STDMETHODCALLTYPE remove_FrameArrived(EventRegistrationToken token) override;
  HRESULT STDMETHODCALLTYPE
  CreateCaptureSession(ABI::Windows::Graphics::Capture::IGraphicsCaptureItem* item,
                       ABI::Windows::Graphics::Capture::IGraphicsCaptureSession** result) override;
  HRESULT STDMETHODCALLTYPE get_DispatcherQueue(::IInspectable** value) override;
  HRESULT STDMETHODCALLTYPE Close() override;

 private:
  std::vector<Ref<Frame>> frames_;
  size_t next_ = 0;
  Ref<Handler> handler_;
};

// From now on what the module activates of Windows.Graphics.Capture comes from here; all other
// classes come from the system.
void ServeCapture(HMODULE module);

// The size of items made from now on, in pixels.
void SetItemSize(SizeInt32 size);

// Made last. Borrowed: lives as long as the session that had it made.
FramePool* LastPool();

}  // namespace bench
