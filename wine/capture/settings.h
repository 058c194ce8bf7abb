// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <windows.h>

namespace standin {

// What the prefix says about the capture classes.
struct Settings {
  bool send_unchanged_frames = false;
  DWORD send_during_events = 0;  // The wait between two pictures in ms; 0: not sent then.
  bool cursor_property = true;
  bool border_property = true;
  UINT16 universal_api_contract = 15;
};

Settings ReadSettings();

}  // namespace standin
