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
      {3, "pixels", "each pixel of a window comes as it was drawn", 8, CheckPixels},
      {4, "window frame", "a window's frame is captured without scaling its client area", 8,
       CheckWindowFrame},
      {5, "monitors", "a window is found on its monitor's capture, at its place", 8, CheckMonitors},
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
