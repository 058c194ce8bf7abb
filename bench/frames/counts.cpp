// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "counts.h"

#include <cstdlib>
#include <cstring>

#include "imports.h"
#include "wgc_library.h"

namespace bench {
namespace {

// Of the one thread that polls.
uint64_t allocations = 0;
uint64_t copied_bytes = 0;

void* CountedMalloc(size_t size) {
  ++allocations;
  return std::malloc(size);
}

void* CountedCalloc(size_t count, size_t size) {
  ++allocations;
  return std::calloc(count, size);
}

void* CountedRealloc(void* block, size_t size) {
  ++allocations;
  return std::realloc(block, size);
}

void* CountedCopy(void* to, const void* from, size_t size) {
  copied_bytes += size;
  return std::memcpy(to, from, size);
}

void* CountedMove(void* to, const void* from, size_t size) {
  copied_bytes += size;
  return std::memmove(to, from, size);
}

// The DLL's operator new is linked in and ends in malloc. Nothing else that it imports allocates,
// but for _strdup, which the linked thread library calls for the names of threads.
struct Counted {
  const char* name;
  void* replacement;
  void* original;
} counted[] = {
    {"malloc", reinterpret_cast<void*>(&CountedMalloc), nullptr},
    {"calloc", reinterpret_cast<void*>(&CountedCalloc), nullptr},
    {"realloc", reinterpret_cast<void*>(&CountedRealloc), nullptr},
    {"memcpy", reinterpret_cast<void*>(&CountedCopy), nullptr},
    {"memmove", reinterpret_cast<void*>(&CountedMove), nullptr},
};

}  // namespace

MemoryCounts::MemoryCounts() {
  bench::allocations = 0;
  bench::copied_bytes = 0;
  for (Counted& function : counted) {
    function.original = ReplaceImport(Wgc().module, function.name, function.replacement);
    Check(function.original != nullptr, "the DLL does not import a function that is to be counted");
  }
}

MemoryCounts::~MemoryCounts() {
  for (Counted& function : counted) {
    ReplaceImport(Wgc().module, function.name, function.original);
  }
}

uint64_t MemoryCounts::allocations() const {
  return bench::allocations;
}

uint64_t MemoryCounts::copied_bytes() const {
  return bench::copied_bytes;
}

}  // namespace bench
