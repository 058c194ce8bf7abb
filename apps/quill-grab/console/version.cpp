// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/console/version.h"

namespace quill_grab {

const char* Version() {
  return QUILL_GRAB_VERSION;
}

}  // namespace quill_grab
