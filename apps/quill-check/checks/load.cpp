// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "common/text.h"
#include "common/version.h"
#include "quill-check/checks/checks.h"
#include "quill-check/library_file.h"
#include "quill-check/machine.h"

namespace quill_apps {

void CheckProbe(CheckContext& context) {
  Finding& finding = context.finding;
  // The functions were found when the worker loaded the DLL.
  int functions = 0;
#define QUILL_CHECK_COUNT(name) ++functions;
  QUILL_WGC_EXPORTS(QUILL_CHECK_COUNT)
#undef QUILL_CHECK_COUNT
  finding.Figure("functions", functions);

  const std::string version = FileVersion(LibraryPath());
  finding.Figure("version", version);
  if (version != Version()) {
    finding.Fail("libquill-wgc.dll is version " + (version.empty() ? "unknown" : version) +
                 ", and this is quill-check " + Version() + ": use the two from one zip");
  }

  const bool probe = context.library.is_wgc_session_supported();
  const unsigned build = WindowsBuild();
  const int contract = UniversalContract();
  finding.Figure("probe", probe);
  finding.Figure("build", build);
  finding.Figure("universalContract", contract);
  // The contract came with Windows 10 version 1903. Wine's build number says nothing about what it
  // has.
  constexpr unsigned kFirstBuild = 18362;
  constexpr int kFirstContract = 8;
  const bool is_there = IsWine() ? contract >= kFirstContract : build >= kFirstBuild;
  finding.Add(probe == is_there ? Verdict::kPass : Verdict::kFail,
              Format("%d functions; the probe says %s, with build %u and universal contract %d",
                     functions, probe ? "yes" : "no", build, contract));
}

}  // namespace quill_apps
