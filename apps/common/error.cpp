// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "common/error.h"

#include <new>

#include "common/text.h"

namespace quill_apps {

void ResultCheck::operator()(HRESULT result, const char* call) const {
  if (SUCCEEDED(result)) return;
  if (result == E_OUTOFMEMORY) throw std::bad_alloc();
  std::string text = std::string(task) + ": " + call + ": ";
  text += DescribeError(static_cast<DWORD>(result));
  if (*remedy != '\0') text += std::string(": ") + remedy;
  throw ToolError(code, text);
}

}  // namespace quill_apps
