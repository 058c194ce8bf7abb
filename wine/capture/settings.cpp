// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "capture/settings.h"

#include "common/platform_value.h"

namespace standin {

Settings ReadSettings() {
  Settings settings;
  settings.send_unchanged_frames = PlatformValue(L"SendUnchangedFrames", 0) != 0;
  settings.send_during_events = PlatformValue(L"SendDuringEvents", 0);
  settings.cursor_property = PlatformValue(L"WithoutCursorProperty", 0) == 0;
  settings.border_property = PlatformValue(L"WithoutBorderProperty", 0) == 0;
  settings.universal_api_contract =
      static_cast<UINT16>(PlatformValue(L"UniversalApiContract", settings.universal_api_contract));
  return settings;
}

}  // namespace standin
