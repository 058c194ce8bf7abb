// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "common/library.h"

#include "common/error.h"
#include "common/text.h"

namespace quill_apps {

namespace {

std::string FileName(const std::filesystem::path& path) {
  return ToUtf8(path.filename().wstring());
}

HMODULE LoadModule(const std::wstring& file_name) {
  // Searches the program's own folder and the system's, but not the current one.
  const HMODULE module =
      LoadLibraryExW(file_name.c_str(), nullptr, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
  if (module != nullptr) return module;
  const DWORD error = GetLastError();
  const std::string name = FileName(file_name);
  if (error == ERROR_MOD_NOT_FOUND) {
    throw ToolError(ExitCode::kUnsupported,
                    name + " or a system DLL that it needs was not found: put " + name +
                        " into the folder of " + FileName(ProgramPath()));
  }
  if (error == ERROR_PROC_NOT_FOUND) {
    throw ToolError(
        ExitCode::kUnsupported,
        name + " cannot run on this Windows: Windows 10 version 1903 or later is needed");
  }
  throw ToolError(ExitCode::kUnsupported, name + " could not be loaded: " + DescribeError(error));
}

template <typename Function>
void Find(HMODULE module, const std::wstring& file_name, const char* name, Function& function) {
  const FARPROC address = GetProcAddress(module, name);
  if (address == nullptr) {
    throw ToolError(ExitCode::kUnsupported,
                    FileName(file_name) + " has no function " + name +
                        ": put the libquill-wgc.dll of this version beside " +
                        FileName(ProgramPath()));
  }
  // A FARPROC stands for a function of any type.
  function = reinterpret_cast<Function>(reinterpret_cast<void*>(address));
}

}  // namespace

std::filesystem::path ProgramPath() {
  std::wstring path(MAX_PATH, L'\0');
  DWORD length;
  while ((length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()))) ==
         path.size()) {
    path.resize(path.size() * 2);
  }
  path.resize(length);
  return path;
}

Library LoadLibraryFunctions(const std::wstring& file_name) {
  const HMODULE module = LoadModule(file_name);
  Library library;
#define QUILL_APPS_FIND(name) Find(module, file_name, #name, library.name);
  QUILL_WGC_EXPORTS(QUILL_APPS_FIND)
#undef QUILL_APPS_FIND
  return library;
}

}  // namespace quill_apps
