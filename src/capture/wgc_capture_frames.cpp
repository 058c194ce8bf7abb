// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The path of a frame: from the pool to the host's poll. Everything here runs on the start thread,
// inside message dispatch. Direct3D failures are not logged. Windows Runtime failures are raised;
// the event's delegate turns them into the result that the platform sees.
#include "capture/wgc_capture_session.h"

#include <windows.graphics.directx.direct3d11.interop.h>

#include <cstdlib>
#include <cstring>
#include <utility>

#include "api/wgc_log.h"
#include "capture/frame_buffer_capacity.h"

using winrt::Windows::Graphics::SizeInt32;
using winrt::Windows::Graphics::Capture::Direct3D11CaptureFrame;
using winrt::Windows::Graphics::Capture::Direct3D11CaptureFramePool;
using winrt::Windows::Graphics::DirectX::DirectXPixelFormat;

namespace {

winrt::com_ptr<ID3D11Texture2D> TextureOf(const Direct3D11CaptureFrame& frame) {
  const auto surface = frame.Surface();
  if (!surface) throw winrt::hresult_error(E_POINTER);
  const auto access =
      surface.as<::Windows::Graphics::DirectX::Direct3D11::IDirect3DDxgiInterfaceAccess>();
  winrt::com_ptr<ID3D11Texture2D> texture;
  winrt::check_hresult(access->GetInterface(__uuidof(ID3D11Texture2D), texture.put_void()));
  if (!texture) throw winrt::hresult_error(E_POINTER);
  return texture;
}

}  // namespace

void WgcCaptureSession::on_frame_arrived(const Direct3D11CaptureFramePool& sender,
                                         const winrt::Windows::Foundation::IInspectable& /*args*/) {
  // Take the frame even when it is dropped below: left in the pool it would block the pool.
  const Direct3D11CaptureFrame frame = sender.TryGetNextFrame();
  if (!frame) return;
  if (frame_pending_) return;

  const SizeInt32 content_size = frame.ContentSize();
  const winrt::com_ptr<ID3D11Texture2D> texture = TextureOf(frame);
  if (!capture_to_texture_) {
    if (ReadFrameToBuffer(content_size, texture.get())) frame_pending_ = true;
  } else {
    CopyFrameToOutputTexture(content_size, texture);
  }
  FollowContentSize(content_size);
}

// The pool's textures keep their size until the pool is recreated, so the frames of a resized
// window have the right size only some frames later.
void WgcCaptureSession::FollowContentSize(SizeInt32 content_size) {
  if (content_size.Width == content_size_.Width && content_size.Height == content_size_.Height) {
    return;
  }
  // Remains false if Recreate throws, because the host may never be told of this frame.
  const bool is_in_step = std::exchange(buffer_in_step_, false);
  frame_pool_.Recreate(winrt_device_, DirectXPixelFormat::B8G8R8A8UIntNormalized, kFramePoolBuffers,
                       content_size);
  content_size_ = content_size;
  buffer_in_step_ = is_in_step;
}

// Tries the second way only for a frame that the first could not read. When both fail, the poll
// goes on to the next frame.
bool WgcCaptureSession::ReadFrameToBuffer(SizeInt32 content_size, ID3D11Texture2D* texture) {
  if (CopyFrameWithDiff(content_size, texture) || CopyFrameDirectly(texture)) return true;
  buffer_in_step_ = false;
  return false;
}

// The usual way: through the persistent staging texture. Skips the copy only if nothing changed and
// the buffer holds the frame that the engine compared with.
bool WgcCaptureSession::CopyFrameWithDiff(SizeInt32 content_size, ID3D11Texture2D* texture) {
  const bool was_in_step = std::exchange(buffer_in_step_, false);
  if (!EnsureFrameTexture(texture)) return false;
  D3D11_TEXTURE2D_DESC desc;
  texture->GetDesc(&desc);

  dirty_rects_.clear();
  copy_mode_ = 2;
  update_ratio_ = 1.0f;
  // Before detection, so that the GPU copies while the CPU waits for the detector's flags.
  d3d_context_->CopyResource(frame_texture_.get(), texture);
  if (dirty_rect_enabled_) {
    if (frame_diff_.IsSizeChanged(desc.Width, desc.Height)) {
      if (!frame_diff_.Resize(desc)) return false;
      frame_diff_.UpdateOld(texture);
    } else if (frame_diff_.Detect(texture, &dirty_rects_, &update_ratio_)) {
      if (dirty_rects_.empty() && was_in_step && frame_diff_.IsSound()) {
        copy_mode_ = 0;
      } else if (update_ratio_ == 0.0f) {
        // The frame equals one that the buffer does not hold, or was not compared at all. It is new
        // to the host, which skips frames by the ratio.
        update_ratio_ = 1.0f;
      }
    }
    // Harmless after a rebuild, which did it already; needed after a detection that failed: the
    // next frame is always compared with this one.
    frame_diff_.UpdateOld(texture);
    buffer_in_step_ = true;
  }
  if (!ReadFrameTexture(desc)) return false;

  // Before the frame counts as read: when Recreate throws, the frame does not count, and the poll
  // goes on.
  FollowContentSize(content_size);
  return true;
}

// From the staging texture to the buffer, as copy_mode_ says.
bool WgcCaptureSession::ReadFrameTexture(const D3D11_TEXTURE2D_DESC& desc) {
  D3D11_MAPPED_SUBRESOURCE slice_map_info{};
  if (copy_mode_ != 0) {
    if (FAILED(d3d_context_->Map(frame_texture_.get(), 0, D3D11_MAP_READ, 0, &slice_map_info))) {
      return false;
    }
    if (slice_map_info.pData == nullptr) {
      copy_mode_ = 0;
      buffer_in_step_ = false;
    }
  }
  // On failure the texture stays mapped; the simple way, which is tried next, does not use it.
  if (!StoreFrame(desc, slice_map_info)) return false;
  if (copy_mode_ != 0) d3d_context_->Unmap(frame_texture_.get(), 0);
  return true;
}

// The simple way: maps the frame itself, or a staging texture made for it alone.
bool WgcCaptureSession::CopyFrameDirectly(ID3D11Texture2D* texture) {
  D3D11_TEXTURE2D_DESC desc;
  texture->GetDesc(&desc);
  winrt::com_ptr<ID3D11Device> device;
  texture->GetDevice(device.put());

  winrt::com_ptr<ID3D11Texture2D> staging;
  ID3D11Texture2D* mapped_texture = nullptr;
  D3D11_MAPPED_SUBRESOURCE map_info{};
  const HRESULT result = d3d_context_->Map(texture, 0, D3D11_MAP_READ, 0, &map_info);
  if (SUCCEEDED(result)) {
    mapped_texture = texture;
  } else if (result == E_INVALIDARG) {
    // Taken for the answer of a texture that only the GPU can access; none is documented.
    const D3D11_TEXTURE2D_DESC staging_desc = StagingDesc(desc);
    if (FAILED(device->CreateTexture2D(&staging_desc, nullptr, staging.put())) || !staging) {
      return false;
    }
    d3d_context_->CopyResource(staging.get(), texture);
    if (FAILED(d3d_context_->Map(staging.get(), 0, D3D11_MAP_READ, 0, &map_info))) return false;
    mapped_texture = staging.get();
  }
  // Any other failure deliberately does not count as one: the frame counts as read, the rows that
  // the map left in the record are copied, none for a null pointer, and the unmap names no texture.

  if (!StoreFrame(desc, map_info)) return false;
  if (map_info.pData == nullptr) buffer_in_step_ = false;
  d3d_context_->Unmap(mapped_texture, 0);
  return true;
}

bool WgcCaptureSession::EnsureFrameTexture(ID3D11Texture2D* texture) {
  if (texture == nullptr) return false;
  D3D11_TEXTURE2D_DESC held{};
  if (frame_texture_) frame_texture_->GetDesc(&held);
  D3D11_TEXTURE2D_DESC frame;
  texture->GetDesc(&frame);
  if (held.Width == frame.Width && held.Height == frame.Height && held.Format == frame.Format) {
    return true;
  }

  const D3D11_TEXTURE2D_DESC desc = StagingDesc(frame);
  return SUCCEEDED(d3d_device_->CreateTexture2D(&desc, nullptr, frame_texture_.put())) &&
         frame_texture_;
}

// Makes frame_buffer_ large enough. The first buffer is exactly as large as the first frame; later
// it grows to common screen sizes and never shrinks.
bool WgcCaptureSession::EnsureFrameBuffer(uint32_t width, uint32_t height) {
  const uint32_t needed_bytes = width * height * 4;
  if (frame_buffer_ == nullptr) {
    frame_buffer_ = static_cast<uint8_t*>(std::malloc(needed_bytes));
    frame_buffer_size_ = needed_bytes;
    if (frame_buffer_ == nullptr) {
      WgcLogf(LogError, "Failed to allocate %uKB", needed_bytes / 1024);
      return false;
    }
    return true;
  }
  if (frame_buffer_size_ >= needed_bytes) return true;

  // Free the old buffer first, so that the peak is one buffer and not two.
  const uint32_t capacity = GrownFrameBufferCapacity(needed_bytes);
  std::free(frame_buffer_);
  frame_buffer_ = static_cast<uint8_t*>(std::malloc(capacity));
  if (frame_buffer_ == nullptr) {
    frame_buffer_size_ = 0;
    return false;
  }
  frame_buffer_size_ = capacity;
  std::memset(frame_buffer_, 0, capacity);
  return true;
}

// Stores the frame's size and copies the mapped rows, without the padding of the row pitch. A
// record with a null pointer has no rows; the buffer then keeps its contents.
bool WgcCaptureSession::StoreFrame(const D3D11_TEXTURE2D_DESC& desc,
                                   const D3D11_MAPPED_SUBRESOURCE& mapped) {
  const auto* const source = static_cast<const uint8_t*>(mapped.pData);
  const bool is_size_known = frame_width_ == desc.Width && frame_height_ == desc.Height;
  if (source == nullptr && is_size_known) return true;
  // Rows need the buffer checked at a known size, too: texture output sets the size without growing
  // the buffer, and a growth that fails leaves the size without a buffer.
  if (!EnsureFrameBuffer(desc.Width, desc.Height)) return false;
  frame_width_ = desc.Width;
  frame_height_ = desc.Height;
  if (source == nullptr) return true;

  const uint32_t row_bytes = frame_width_ * 4;
  for (uint32_t row = 0; row < frame_height_; ++row) {
    std::memcpy(frame_buffer_ + static_cast<size_t>(row) * row_bytes,
                source + static_cast<size_t>(row) * mapped.RowPitch, row_bytes);
  }
  return true;
}

void WgcCaptureSession::CopyFrameToOutputTexture(SizeInt32 /*content_size*/,
                                                 winrt::com_ptr<ID3D11Texture2D> texture) {
  D3D11_TEXTURE2D_DESC src;
  texture->GetDesc(&src);
  if (!EnsureOutputTexture(src)) return;

  if (dirty_rect_enabled_) {
    // Never update the old frame here: texture output compares every frame with the same one,
    // whatever the engine held before. An engine that fails does not stop the frame.
    dirty_rects_.clear();
    update_ratio_ = 0.0f;
    if (frame_diff_.IsSizeChanged(src.Width, src.Height)) {
      // The engine forgets the frame that the buffer holds.
      buffer_in_step_ = false;
      frame_diff_.Resize(src);
    } else {
      frame_diff_.Detect(texture.get(), &dirty_rects_, &update_ratio_);
    }
  } else {
    update_ratio_ = 1.0f;
  }

  frame_width_ = src.Width;
  frame_height_ = src.Height;
  d3d_context_->CopyResource(output_texture_.get(), texture.get());
}

// Makes a new texture when size or format change. The host's references keep the old one alive; it
// then shows the last frame of its size.
bool WgcCaptureSession::EnsureOutputTexture(const D3D11_TEXTURE2D_DESC& src) {
  if (output_texture_ && texture_desc_.Width == src.Width && texture_desc_.Height == src.Height &&
      texture_desc_.Format == src.Format) {
    return true;
  }
  texture_desc_ = {};
  texture_desc_.Width = src.Width;
  texture_desc_.Height = src.Height;
  texture_desc_.MipLevels = 1;
  texture_desc_.ArraySize = 1;
  texture_desc_.Format = src.Format;
  texture_desc_.SampleDesc = src.SampleDesc;
  texture_desc_.Usage = D3D11_USAGE_DEFAULT;
  texture_desc_.BindFlags = D3D11_BIND_RENDER_TARGET;
  return SUCCEEDED(d3d_device_->CreateTexture2D(&texture_desc_, nullptr, output_texture_.put())) &&
         output_texture_;
}

bool WgcCaptureSession::GetRecentFrame(void** frame, void* /*reserved*/, uint32_t* width,
                                       uint32_t* height, bool* cursor_enabled) {
  frame_pending_ = false;
  // Empty the queue, without a filter: frames come as messages of the dispatcher queue's window,
  // and the host's own windows live on this thread, too. WM_QUIT is removed like any other message.
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }

  *width = frame_width_;
  *height = frame_height_;
  *cursor_enabled = cursor_enabled_;
  if (!capture_to_texture_) {
    if (frame_width_ == 0 || frame_buffer_ == nullptr) return false;
    *frame = frame_buffer_;
    return true;
  }
  if (!output_texture_) return false;
  *frame = output_texture_.get();
  output_texture_->AddRef();
  return true;
}

float WgcCaptureSession::GetUpdateRatio() {
  const float ratio = update_ratio_;
  update_ratio_ = 0.0f;
  return ratio;
}
