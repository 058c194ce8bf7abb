// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// What the tool chain's own headers say of interfaces that projection/sdk also declares. Read in C,
// where none of their names can meet those of projection/sdk.
#pragma once

#include <guiddef.h>

#ifdef __cplusplus
extern "C" {
#endif

struct SecondSourceInterface {
  const char* name;
  const GUID* id;
};

struct SecondSourceMethod {
  const char* interface_name;
  const char* name;
  int slot;
};

// Each list ends with a null name.
extern const struct SecondSourceInterface second_source_interfaces[];
extern const struct SecondSourceMethod second_source_methods[];

#ifdef __cplusplus
}
#endif
