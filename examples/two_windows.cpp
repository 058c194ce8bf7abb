// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// two_windows TITLE TITLE SECONDS
// Captures the two windows of these titles at once and prints how much each frame changed. Ends
// when the time is over or one of the windows closes.
//
// Each session has a thread of its own: its frames come through the dispatcher queue of the thread
// that starts it, Windows gives a thread one such queue in its life, and a poll works off all
// messages of its thread. The two share nothing and wait for nothing of each other's.
#include <libquill_wgc.h>

#include <atomic>
#include <cstdio>
#include <cwchar>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

using Error = std::runtime_error;
using Session = std::unique_ptr<void, decltype(&wgc_session_destroy)>;

// Set by the first session that ends, so that the other one does too.
static std::atomic<bool> ended = false;

// An error is logged by the thread whose call failed.
static thread_local std::string last_error = "no reason given";

static void KeepError(int level, const char* text, size_t) {
  if (level == WGC_LOG_ERROR) last_error = text;
}

struct Capture {
  const char* name;
  Session session;
  bool failed = false;
  unsigned polls = 0;
  unsigned changed_frames = 0;
};

static Capture NewCapture(const char* name, const wchar_t* title) {
  const HWND window = FindWindowW(nullptr, title);
  if (window == nullptr) throw Error(std::string("no window has the ") + name + " title");
  Session session(wgc_session_create(window), wgc_session_destroy);
  if (!session) throw Error("memory is short");
  // With detection a frame without a change has the ratio 0.
  wgc_set_dirty_rect(session.get(), true);
  return {name, std::move(session)};
}

static void Poll(Capture& capture) {
  void* const session = capture.session.get();
  void* frame;
  uint32_t width, height;
  bool cursor;
  ++capture.polls;
  if (!wgc_get_recent_frame(session, &frame, nullptr, &width, &height, &cursor)) return;
  // The measure is of the last frame and reads as 0 until the next one.
  const float ratio = wgc_get_update_ratio(session);
  if (ratio > 0) {
    ++capture.changed_frames;
    // Here a host uses the bytes at frame: they are valid until the next poll.
    std::printf("%s: %u x %u, %.1f %% changed\n", capture.name, width, height, 100.0 * ratio);
    std::fflush(stdout);
  }
  wgc_free_recent_frame(session, frame);
}

// The thread of one session: starts it, polls it and destroys it.
static void Run(Capture& capture, ULONGLONG end_time) {
  if (!wgc_session_start(capture.session.get())) {
    capture.failed = true;
    std::fprintf(stderr, "two_windows: the %s capture could not start: %s\n", capture.name,
                 last_error.c_str());
  }
  while (!ended && wgc_get_status(capture.session.get()) && GetTickCount64() < end_time) {
    Poll(capture);
    Sleep(10);
  }
  ended = true;
  capture.session.reset();
}

int wmain(int argc, wchar_t** argv) try {
  const double seconds = argc == 4 ? std::wcstod(argv[3], nullptr) : 0;
  if (!(seconds > 0)) throw Error("usage: two_windows TITLE TITLE SECONDS");
  if (!is_wgc_session_supported()) throw Error("capture needs Windows 10 version 1903");
  wgc_register_logger(KeepError);
  // Created on this thread, which outlives the other two: the first session of a process brings up
  // COM on the thread that creates it.
  Capture captures[] = {NewCapture("first", argv[1]), NewCapture("second", argv[2])};

  const ULONGLONG end_time = GetTickCount64() + static_cast<ULONGLONG>(seconds * 1000);
  std::jthread first(Run, std::ref(captures[0]), end_time);
  std::jthread second(Run, std::ref(captures[1]), end_time);
  first.join();
  second.join();
  for (const Capture& capture : captures) {
    if (!capture.failed) {
      std::printf("%s: %u polls, %u frames with a change\n", capture.name, capture.polls,
                  capture.changed_frames);
    }
  }
  return captures[0].failed || captures[1].failed;
} catch (const std::exception& error) {
  std::fprintf(stderr, "two_windows: %s\n", error.what());
  return 1;
}
