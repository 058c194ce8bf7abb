// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <dxgi.h>
#include <wrl/client.h>

#include "common/text.h"
#include "quill-check/checks/checks.h"
#include "quill-check/checks/pattern_capture.h"
#include "quill-check/machine.h"

namespace quill_apps {

namespace {

using Microsoft::WRL::ComPtr;

// The adapter that the library chose, to be compared with the one that drives the monitor.
nlohmann::ordered_json AdapterOf(ID3D11Device* device) {
  ComPtr<IDXGIDevice> dxgi_device;
  ComPtr<IDXGIAdapter> adapter;
  if (device == nullptr || FAILED(device->QueryInterface(IID_PPV_ARGS(&dxgi_device))) ||
      FAILED(dxgi_device->GetAdapter(&adapter))) {
    return nullptr;
  }
  return DescribeAdapter(adapter.Get());
}

}  // namespace

void CheckFirstFrame(CheckContext& context) {
  Finding& finding = context.finding;
  StageWindowOptions options;
  options.position = SlotPosition(PrimaryMonitor(), context.slot);
  const StageWindow window(options);

  const auto start = std::chrono::steady_clock::now();
  CaptureSession session(context.library, window.handle(), nullptr, {});
  const double started = MillisecondsSince(start);
  constexpr double kLimit = 2.0;
  const bool has_come = Await(kLimit, [&] { return session.Poll().has_value(); });
  const double waited = MillisecondsSince(start) - started;

  finding.Figure("startMs", started);
  finding.Figure("firstFrameMs", waited);
  finding.Figure("adapter", AdapterOf(context.library.wgc_get_device(session.handle())));
  if (!has_come) {
    finding.Fail(Format("no frame within %.0f s of a start that took %.0f ms", kLimit, started));
    return;
  }
  constexpr double kUsualMs = 500.0;
  finding.Add(waited > kUsualMs ? Verdict::kWarn : Verdict::kPass,
              Format("the start took %.0f ms, the first frame %.0f ms more", started, waited));
}

}  // namespace quill_apps
