// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <windows.h>

#include <asyncinfo.h>
#include <dispatcherqueue.h>
#include <objbase.h>

#include <mutex>
#include <optional>
#include <vector>

#include "common/error.h"
#include "common/text.h"
#include "quill-check/checks/checks.h"
#include "quill-check/checks/pattern_capture.h"

namespace quill_apps {

namespace {

StageWindowOptions Options(const CheckContext& context) {
  StageWindowOptions options;
  options.drawing = Drawing::kGdi;
  options.position = SlotPosition(PrimaryMonitor(), context.slot);
  return options;
}

// What a start on this thread came to: empty when a frame came.
std::string WhyNoFrame(const Library& library, StageWindow& window, uint32_t counter) {
  try {
    PatternCapture capture(library, window.handle());
    return capture.AwaitPresented(window, counter, kPatientSeconds)
               ? ""
               : "no right frame came within 2 s";
  } catch (const ToolError& error) {
    return error.what();
  }
}

// Works off this thread's messages for that time.
void Pump(double seconds) {
  Await(seconds, [] {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
    return false;
  });
}

struct SecondSession {
  double pause;
  std::string outcome;
};

}  // namespace

void CheckNextSession(CheckContext& context) {
  Finding& finding = context.finding;
  StageWindow window(Options(context));
  // The window shows one picture at a time.
  std::mutex mutex;
  uint32_t counter = 1;
  const auto try_session = [&] {
    const std::lock_guard lock(mutex);
    return WhyNoFrame(context.library, window, ++counter);
  };
  SecondSession sessions[] = {{0.0, ""}, {1.0, ""}, {3.0, ""}};
  std::vector<std::thread> threads;
  std::string first_failure;
  for (SecondSession& session : sessions) {
    threads.emplace_back([&] {
      const std::string first = try_session();
      if (!first.empty()) {
        const std::lock_guard lock(mutex);
        first_failure = first;
      }
      Pump(session.pause);
      session.outcome = try_session();
    });
  }
  for (std::thread& thread : threads) thread.join();
  if (!first_failure.empty()) finding.Fail("a first session on a fresh thread: " + first_failure);
  for (const SecondSession& session : sessions) {
    finding.Info(Format("a second session on a thread, after %.0f s: ", session.pause) +
                 (session.outcome.empty() ? "works" : session.outcome));
  }
  std::string fresh;
  OnFreshThread([&] { fresh = try_session(); });
  finding.Add(fresh.empty() ? Verdict::kPass : Verdict::kFail,
              "the next session on a fresh thread: " + (fresh.empty() ? "works" : fresh));
}

namespace {

void CheckTwoAtOnce(CheckContext& context) {
  StageWindowOptions options = Options(context);
  options.drawing = Drawing::kDirect3D;  // GDI cannot wait for the display
  StageWindow window(options);
  window.StartAnimation(1);
  std::string outcomes[2];
  std::vector<std::thread> threads;
  for (std::string& outcome : outcomes) {
    threads.emplace_back([&] {
      try {
        PatternCapture capture(context.library, window.handle());
        int frames = 0;
        constexpr int kEnough = 10;
        const bool has_come = Await(2.0, [&] {
          if (capture.Poll() && capture.reading().IsCompared()) ++frames;
          return frames >= kEnough;
        });
        if (!has_come) outcome = Format("only %d right frames came within 2 s", frames);
      } catch (const ToolError& error) {
        outcome = error.what();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  window.StopAnimation();
  const std::string& failure = outcomes[0].empty() ? outcomes[1] : outcomes[0];
  context.finding.Add(failure.empty() ? Verdict::kPass : Verdict::kFail,
                      "two sessions on two threads: " + (failure.empty() ? "work" : failure));
}

// Nothing is promised for such a thread; the library's own start works there when Windows lets it.
void CheckSingleThreadedApartment(CheckContext& context, StageWindow& window) {
  std::string outcome;
  OnFreshThread([&] {
    const HRESULT apartment = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    outcome = WhyNoFrame(context.library, window, 2);
    if (SUCCEEDED(apartment)) CoUninitialize();
  });
  context.finding.Info("a start in a single-threaded apartment: " +
                       (outcome.empty() ? "works" : outcome));
}

// As Windows asks of a thread before it ends. The stand-in has no such call. The operation is an
// IAsyncAction, which only the SDK declares.
template <typename Controller, typename Operation>
void ShutDown(Controller* controller,
              HRESULT (STDMETHODCALLTYPE Controller::*shut_down)(Operation**)) {
  Operation* operation = nullptr;
  if (FAILED((controller->*shut_down)(&operation))) return;
  IAsyncInfo* information = nullptr;
  if (SUCCEEDED(operation->QueryInterface(IID_PPV_ARGS(&information)))) {
    Await(1.0, [&] {
      Pump(0.0);
      AsyncStatus status{};  // Started
      return FAILED(information->get_Status(&status)) || status != AsyncStatus{};
    });
    information->Release();
  }
  operation->Release();
}

// A second queue for a thread is an error by Windows' documentation, so the start must fail, and
// say so.
void CheckThreadWithQueue(CheckContext& context, StageWindow& window) {
  using Create = decltype(&CreateDispatcherQueueController);
  const HMODULE module = LoadLibraryW(L"CoreMessaging.dll");
  const auto create = reinterpret_cast<Create>(reinterpret_cast<void*>(
      module == nullptr ? nullptr : GetProcAddress(module, "CreateDispatcherQueueController")));
  if (create == nullptr) {
    context.finding.Skip("a start on a thread that has a dispatcher queue: no such function");
    return;
  }
  std::string outcome;
  HRESULT made = E_FAIL;
  OnFreshThread([&] {
    const DispatcherQueueOptions options{sizeof options, DQTYPE_THREAD_CURRENT, DQTAT_COM_NONE};
    ABI::Windows::System::IDispatcherQueueController* controller = nullptr;
    made = create(options, &controller);
    if (FAILED(made)) return;
    outcome = WhyNoFrame(context.library, window, 3);
    ShutDown(controller, &ABI::Windows::System::IDispatcherQueueController::ShutdownQueueAsync);
    controller->Release();
  });
  const std::string what = "a start on a thread that has a dispatcher queue: ";
  if (FAILED(made)) {
    context.finding.Skip(what + "none could be made: " + DescribeError(static_cast<DWORD>(made)));
  } else {
    context.finding.Info(what + (outcome.empty() ? "works" : outcome));
  }
}

void CheckCreatorHasEnded(CheckContext& context, StageWindow& window) {
  const Library& library = context.library;
  SetLogSink(nullptr, false);
  void* session = nullptr;
  OnFreshThread([&] { session = library.wgc_session_create(window.handle()); });
  bool has_come = false;
  OnFreshThread([&] {
    has_come = library.wgc_session_start(session) && Await(1.0, [&] {
                 void* frame;
                 FrameSize size;
                 bool cursor;
                 return library.wgc_get_recent_frame(session, &frame, nullptr, &size.width,
                                                     &size.height, &cursor);
               });
    library.wgc_session_destroy(session);
  });
  const std::string error = LastLoggedError();
  context.finding.Add(
      has_come ? Verdict::kPass : Verdict::kFail,
      "a start after the creating thread has ended: " + (has_come        ? "works"
                                                         : error.empty() ? "no frame comes"
                                                                         : error));
}

}  // namespace

void CheckThreads(CheckContext& context) {
  OnFreshThread([&] { CheckTwoAtOnce(context); });
  StageWindow window(Options(context));
  CheckSingleThreadedApartment(context, window);
  CheckThreadWithQueue(context, window);
  CheckCreatorHasEnded(context, window);
}

}  // namespace quill_apps
