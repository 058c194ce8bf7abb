// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What happens once in a session's life. There is no floor for it: it is reported.
#pragma once

#include "report.h"

namespace bench {

// From nothing to loaded, the system's own libraries aside. To be called before anything else loads
// the DLL.
Row MeasureLoad();
// From wgc_session_create to the first frame in the host's hands.
Row MeasureStart();
// From the first frame whose content has another size to the first frame of that size.
Row MeasureResize(bool detection);
// What a session keeps that has handled frames in every mode, and the same for the floor.
Row MeasureMemory();

}  // namespace bench
