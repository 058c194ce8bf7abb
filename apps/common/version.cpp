// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "common/version.h"

namespace quill_apps {

const char* Version() {
  return QUILL_WGC_VERSION;
}

}  // namespace quill_apps
