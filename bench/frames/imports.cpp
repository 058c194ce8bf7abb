// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "imports.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace bench {
namespace {

template <class T>
T* At(HMODULE module, size_t offset) {
  return reinterpret_cast<T*>(reinterpret_cast<uint8_t*>(module) + offset);
}

// The entry of one imported library's table that holds the address of `name`.
ULONG_PTR* FindEntry(HMODULE module, const IMAGE_IMPORT_DESCRIPTOR& library, const char* name) {
  const auto* names = At<IMAGE_THUNK_DATA>(module, library.OriginalFirstThunk);
  auto* addresses = At<IMAGE_THUNK_DATA>(module, library.FirstThunk);
  for (; names->u1.AddressOfData != 0; ++names, ++addresses) {
    if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal)) continue;
    const auto* by_name = At<IMAGE_IMPORT_BY_NAME>(module, names->u1.AddressOfData);
    if (std::strcmp(by_name->Name, name) == 0) return &addresses->u1.Function;
  }
  return nullptr;
}

}  // namespace

void* ReplaceImport(HMODULE module, const char* name, void* replacement) {
  const auto* dos = At<IMAGE_DOS_HEADER>(module, 0);
  const auto* headers = At<IMAGE_NT_HEADERS>(module, dos->e_lfanew);
  const IMAGE_DATA_DIRECTORY& imports =
      headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  const auto* library = At<IMAGE_IMPORT_DESCRIPTOR>(module, imports.VirtualAddress);
  for (; library->Name != 0; ++library) {
    ULONG_PTR* const entry = FindEntry(module, *library, name);
    if (!entry) continue;
    void* const before = reinterpret_cast<void*>(*entry);
    DWORD protection = 0;
    VirtualProtect(entry, sizeof(*entry), PAGE_READWRITE, &protection);
    *entry = reinterpret_cast<ULONG_PTR>(replacement);
    VirtualProtect(entry, sizeof(*entry), protection, &protection);
    return before;
  }
  return nullptr;
}

}  // namespace bench
