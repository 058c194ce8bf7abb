// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "support/process_figures.h"

#include <windows.h>

#include <psapi.h>
#include <winternl.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

std::vector<char> SystemInformation(SYSTEM_INFORMATION_CLASS what) {
  std::vector<char> information(4 * 1024 * 1024);
  EXPECT_EQ(NtQuerySystemInformation(what, information.data(),
                                     static_cast<ULONG>(information.size()), nullptr),
            0);
  return information;
}

// Wine's GetProcessHandleCount always says 0.
int CountHandles() {
  const auto list = SystemInformation(SystemHandleInformation);
  const auto* const handles = reinterpret_cast<const SYSTEM_HANDLE_INFORMATION*>(list.data());
  return static_cast<int>(std::count_if(
      handles->Handle, handles->Handle + handles->Count,
      [](const SYSTEM_HANDLE_ENTRY& handle) { return handle.OwnerPid == GetCurrentProcessId(); }));
}

int CountThreads() {
  const auto list = SystemInformation(SystemProcessInformation);
  for (size_t offset = 0;;) {
    const auto* const process = reinterpret_cast<const SYSTEM_PROCESS_INFORMATION*>(&list[offset]);
    if (reinterpret_cast<ULONG_PTR>(process->UniqueProcessId) == GetCurrentProcessId()) {
      return static_cast<int>(process->NumberOfThreads);
    }
    if (process->NextEntryOffset == 0) return 0;
    offset += process->NextEntryOffset;
  }
}

// What Windows calls private bytes; Wine leaves that field 0, and the page file's share is the same
// number.
uint64_t PrivateBytes() {
  PROCESS_MEMORY_COUNTERS memory{};
  EXPECT_TRUE(K32GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof(memory)));
  return memory.PagefileUsage;
}

}  // namespace

ProcessFigures MeasureProcess() {
  return {CountHandles(), CountThreads(), PrivateBytes()};
}
