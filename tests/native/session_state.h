// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Reads what a session keeps and no export tells. The naming of a private member in an explicit
// instantiation is not subject to access control; that is all the access these tests have.
#pragma once

#include "capture/wgc_capture_session.h"

namespace session_test {

template <typename Tag, auto Member, typename Object = WgcCaptureSession>
struct Reveal {
  friend auto& Read(Tag, Object& object) { return object.*Member; }
};

struct ExitRequested {};
struct TicksPer60Milliseconds {};
struct CopyMode {};
struct BufferCapacity {};
struct HeldBuffer {};
auto& Read(ExitRequested, WgcCaptureSession&);
auto& Read(TicksPer60Milliseconds, WgcCaptureSession&);
auto& Read(CopyMode, WgcCaptureSession&);
auto& Read(BufferCapacity, WgcCaptureSession&);
auto& Read(HeldBuffer, WgcCaptureSession&);
template struct Reveal<ExitRequested, &WgcCaptureSession::exit_requested_>;
template struct Reveal<TicksPer60Milliseconds, &WgcCaptureSession::ticks_per_60ms_>;
template struct Reveal<CopyMode, &WgcCaptureSession::copy_mode_>;
template struct Reveal<BufferCapacity, &WgcCaptureSession::frame_buffer_size_>;
template struct Reveal<HeldBuffer, &WgcCaptureSession::frame_buffer_>;

inline bool IsExitRequested(void* handle) {
  return Read(ExitRequested{}, *static_cast<WgcCaptureSession*>(handle)).load();
}
inline int32_t TicksPer60MillisecondsOf(void* handle) {
  return Read(TicksPer60Milliseconds{}, *static_cast<WgcCaptureSession*>(handle));
}
inline uint32_t CopyModeOf(void* handle) {
  return Read(CopyMode{}, *static_cast<WgcCaptureSession*>(handle));
}
inline uint64_t BufferCapacityOf(void* handle) {
  return Read(BufferCapacity{}, *static_cast<WgcCaptureSession*>(handle));
}

}  // namespace session_test
