// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-check/checks/checks.h"

#include <algorithm>
#include <stdexcept>

#include "quill-check/machine.h"

namespace quill_apps {

std::span<const Check> AllChecks() {
  static constexpr Check kChecks[] = {
      {1, "functions and probe", "the DLL has its fifteen functions, and its probe is right", 4,
       CheckProbe},
      {2, "first frame", "a started capture delivers a frame within 2 s", 8, CheckFirstFrame},
      {3, "pixels", "each pixel of a window comes as it was drawn", 8, CheckPixels},
      {4, "window frame", "a window's frame is captured without scaling its client area", 8,
       CheckWindowFrame},
      {5, "monitors", "a window is found on its monitor's capture, at its place", 8, CheckMonitors},
      {6, "latency", "a picture is there a few refreshes after it was presented", 8, CheckLatency},
      {7, "frame rate", "pictures presented at every refresh come, in order", 8, CheckRate},
      {8, "still window", "a window that does not change is not reported as new", 8,
       CheckStillWindow},
      {9, "cost", "no poll lasts over 1 s; what polls and frames cost", 12, CheckCost},
      {10, "change detection", "the GPU reports the changes that the CPU counts", 12,
       CheckDetection},
      {11, "resize", "the right size within 1 s", 8, CheckResize},
      {12, "minimise and hide", "a window that is shown again is captured again", 8,
       CheckHiddenWindow},
      {13, "closed target", "the status is false within 2 s after the window closes", 5,
       CheckClosedTarget},
      {14, "cursor", "the cursor is seen when it is turned on, and changes nothing else", 8,
       CheckCursor},
      {15, "border", "the border around what is captured is not in the frames", 8, CheckBorder},
      {16, "texture output", "the texture has the picture and can be copied and shared", 8,
       CheckTexture},
      {17, "next session", "a session on a fresh thread follows another", 10, CheckNextSession},
      {18, "threads", "sessions on several threads do not disturb each other", 8, CheckThreads},
      {19, "leaks", "a session leaves nothing behind", 20, CheckLeaks},
      {20, "lost device", "the loss of the device neither hangs nor ends the host", 20,
       CheckDeviceLoss},
      {21, "refusals", "what cannot be captured is refused, with a line in the log", 8,
       CheckRefusals},
      {22, "process exit", "a process ends within 1 s, whatever it did with the library", 15,
       CheckExits},
      {23, "protected window", "what Windows protects does not get out", 8, CheckProtectedWindow},
  };
  return kChecks;
}

const Check& FindCheck(int number) {
  static constexpr Check kMachine{0, "machine", "", 8, DescribeMachine};
  if (number == kMachine.number) return kMachine;
  const auto checks = AllChecks();
  const auto found = std::find_if(checks.begin(), checks.end(),
                                  [&](const Check& check) { return check.number == number; });
  if (found == checks.end()) throw std::out_of_range("there is no such check");
  return *found;
}

}  // namespace quill_apps
