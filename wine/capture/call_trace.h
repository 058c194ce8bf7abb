// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

namespace standin {

// Records a call of the host's with its plain arguments, printf-style, while a trace is being
// taken.
__attribute__((format(printf, 1, 2))) void Trace(const char* format, ...);

}  // namespace standin
