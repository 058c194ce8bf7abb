// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

#include <d3d11.h>
#include <dxgi.h>
#include <unknwn.h>

#include <winrt/Windows.Foundation.h>
#include <winrt/Windows.Graphics.Capture.h>
#include <winrt/Windows.Graphics.DirectX.Direct3D11.h>
#include <winrt/Windows.Graphics.h>
#include <winrt/Windows.System.h>

#include <atomic>
#include <cstdint>
#include <vector>

#include "diff/frame_diff_engine.h"

struct IGraphicsCaptureItemInterop;

// One capture of one window or one monitor: everything behind a session handle.
//
// The thread that calls Start becomes the session's start thread. The frame pool is bound to that
// thread's dispatcher queue, so on_frame_arrived runs there, inside the message pump of
// GetRecentFrame; frames, polls and the immediate context therefore share one thread and need no
// lock. on_closed may come on any thread and touches two atomic flags only. GetStatus and
// SetDirtyRect may be called from any thread; everything else belongs on the start thread.
class WgcCaptureSession {
 public:
  // Initialise COM for the process, once; winrt::hresult_error when the platform refuses, for
  // instance on a thread that already is a single-threaded apartment.
  explicit WgcCaptureSession(HWND window);
  explicit WgcCaptureSession(HMONITOR monitor);
  ~WgcCaptureSession();

  WgcCaptureSession(const WgcCaptureSession&) = delete;
  WgcCaptureSession& operator=(const WgcCaptureSession&) = delete;

  // Makes the device and the capture objects and starts capturing. Never throws; a failure is
  // logged, and what was made until then stays until destruction.
  bool Start();
  // Ends frame delivery. Never throws; releases nothing. Called once, right before destruction.
  void Stop();

  bool EnableCursor(bool enable);
  bool ShowBorder(bool show);
  void SetDirtyRect(bool enable);
  void SetCaptureToTexture(bool enable);

  // Pumps the calling thread's messages, which is what lets frames arrive, then reports the frame
  // held. The pixels stay the session's; a texture comes with a reference for the host.
  bool GetRecentFrame(void** frame, void* reserved, uint32_t* width, uint32_t* height,
                      bool* cursor_enabled);
  // The measure of change of the last frame handled; reading resets it.
  float GetUpdateRatio();
  bool GetStatus() const { return running_.load(); }
  // Borrowed; null until a start has made a device, and kept when the rest of that start fails.
  ID3D11Device* GetDevice() const { return d3d_device_.get(); }

 private:
  WgcCaptureSession(HWND window, HMONITOR monitor);

  // Start, by phase.
  bool CreateDevice();
  void ChooseAdapter();
  bool SetUpCapture();
  bool BuildCapture();
  void CreateDispatcherQueue();
  bool CreateCaptureItem(IGraphicsCaptureItemInterop* interop_factory);
  void ApplyCursorAndBorder();

  bool IsCursorToggleSupported();
  bool IsBorderRequiredSupported();

  void on_closed(const winrt::Windows::Graphics::Capture::GraphicsCaptureItem& sender,
                 const winrt::Windows::Foundation::IInspectable& args);
  void on_frame_arrived(const winrt::Windows::Graphics::Capture::Direct3D11CaptureFramePool& sender,
                        const winrt::Windows::Foundation::IInspectable& args);

  // Buffer output. True when frame_buffer_ holds the frame.
  bool ReadFrameToBuffer(winrt::Windows::Graphics::SizeInt32 content_size,
                         ID3D11Texture2D* texture);
  bool CopyFrameWithDiff(winrt::Windows::Graphics::SizeInt32 content_size,
                         ID3D11Texture2D* texture);
  bool ReadFrameTexture(const D3D11_TEXTURE2D_DESC& desc);
  bool CopyFrameDirectly(ID3D11Texture2D* texture);
  bool EnsureFrameTexture(ID3D11Texture2D* texture);
  bool EnsureFrameBuffer(uint32_t width, uint32_t height);
  bool StoreFrame(const D3D11_TEXTURE2D_DESC& desc, const D3D11_MAPPED_SUBRESOURCE& mapped);

  // Texture output.
  void CopyFrameToOutputTexture(winrt::Windows::Graphics::SizeInt32 content_size,
                                winrt::com_ptr<ID3D11Texture2D> texture);
  bool EnsureOutputTexture(const D3D11_TEXTURE2D_DESC& src);

  void FollowContentSize(winrt::Windows::Graphics::SizeInt32 content_size);

  // Frames the pool holds: one that is being read and one that arrives.
  static constexpr int32_t kFramePoolBuffers = 2;

  // Destruction releases the members in reverse order.
  winrt::com_ptr<ID3D11Device> d3d_device_;
  winrt::com_ptr<IDXGIFactory1> dxgi_factory_;
  winrt::com_ptr<IDXGIAdapter1> dxgi_adapter_;
  winrt::Windows::Graphics::Capture::GraphicsCaptureItem capture_item_{nullptr};
  winrt::Windows::Graphics::DirectX::Direct3D11::IDirect3DDevice winrt_device_{nullptr};
  winrt::com_ptr<ID3D11DeviceContext> d3d_context_;
  winrt::com_ptr<ID3D11Texture2D> frame_texture_;  // staging, reused from frame to frame
  D3D11_TEXTURE2D_DESC texture_desc_{};            // what output_texture_ was made from
  winrt::com_ptr<ID3D11Texture2D> output_texture_;
  winrt::Windows::Graphics::Capture::Direct3D11CaptureFramePool frame_pool_{nullptr};
  winrt::Windows::Graphics::Capture::GraphicsCaptureSession capture_session_{nullptr};
  winrt::Windows::Graphics::SizeInt32 content_size_{};  // the pool's size
  winrt::Windows::Graphics::Capture::GraphicsCaptureItem::Closed_revoker closed_revoker_;
  winrt::Windows::Graphics::Capture::Direct3D11CaptureFramePool::FrameArrived_revoker
      frame_arrived_revoker_;
  winrt::Windows::System::DispatcherQueueController dispatcher_controller_{nullptr};
  std::atomic<bool> running_{false};
  FrameDiffEngine frame_diff_;
  HWND hwnd_;
  HMONITOR hmonitor_;
  std::atomic<bool> exit_requested_{false};  // a record of the request; nothing waits for it
  uint32_t copy_mode_ = 2;                   // 2: the whole frame, 0: nothing to copy
  std::vector<D3D11_BOX> dirty_rects_;
  uint8_t* frame_buffer_ = nullptr;  // malloc; tightly packed BGRA rows of frame_width_ pixels
  uint64_t frame_buffer_size_ = 0;   // bytes
  uint32_t frame_width_ = 0;         // pixels, of the frame last handled in either output
  uint32_t frame_height_ = 0;
  float update_ratio_ = 0.0f;
  int32_t ticks_per_60ms_ = 0;  // performance-counter ticks; computed once, never read
  bool cursor_enabled_ = false;
  bool capture_to_texture_ = false;
  std::atomic<bool> dirty_rect_enabled_{false};
  bool border_enabled_ = false;
  bool frame_pending_ = false;  // a frame was read back since the last poll began
  // frame_buffer_ holds, whole, the frame that the engine was last given to compare the next one
  // with. Only then does "unchanged" mean that the buffer is right as it is.
  bool buffer_in_step_ = false;
};
