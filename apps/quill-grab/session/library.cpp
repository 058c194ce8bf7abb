// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/session/library.h"

#include "quill-grab/console/error.h"
#include "quill-grab/console/text.h"

namespace quill_grab {

namespace {

HMODULE LoadModule(const std::wstring& file_name) {
  // The program's own folder and the system's, but not the current one.
  const HMODULE module =
      LoadLibraryExW(file_name.c_str(), nullptr, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
  if (module != nullptr) return module;
  const DWORD error = GetLastError();
  const std::string name = ToUtf8(file_name);
  if (error == ERROR_MOD_NOT_FOUND) {
    throw GrabError(ExitCode::kUnsupported, name + " or a system DLL it needs was not found: put " +
                                                name + " into the folder of quill-grab.exe");
  }
  if (error == ERROR_PROC_NOT_FOUND) {
    throw GrabError(
        ExitCode::kUnsupported,
        name + " needs a newer Windows: capture takes Windows 10 version 1903 or later");
  }
  throw GrabError(ExitCode::kUnsupported, name + " could not be loaded: " + DescribeError(error));
}

template <typename Function>
void Find(HMODULE module, const std::wstring& file_name, const char* name, Function& function) {
  const FARPROC address = GetProcAddress(module, name);
  if (address == nullptr) {
    throw GrabError(ExitCode::kUnsupported,
                    ToUtf8(file_name) + " has no function " + name +
                        ": put the libquill-wgc.dll of this version beside quill-grab.exe");
  }
  // FARPROC stands for a function of any type.
  function = reinterpret_cast<Function>(reinterpret_cast<void*>(address));
}

}  // namespace

Library LoadLibraryFunctions(const std::wstring& file_name) {
  const HMODULE module = LoadModule(file_name);
  Library library;
  const auto find = [&](const char* name, auto& function) {
    Find(module, file_name, name, function);
  };
  find("is_wgc_session_supported", library.is_wgc_session_supported);
  find("wgc_register_logger", library.wgc_register_logger);
  find("wgc_session_create", library.wgc_session_create);
  find("wgc_session_create2", library.wgc_session_create2);
  find("wgc_session_start", library.wgc_session_start);
  find("wgc_session_destroy", library.wgc_session_destroy);
  find("wgc_get_recent_frame", library.wgc_get_recent_frame);
  find("wgc_free_recent_frame", library.wgc_free_recent_frame);
  find("wgc_get_update_ratio", library.wgc_get_update_ratio);
  find("wgc_get_status", library.wgc_get_status);
  find("wgc_get_device", library.wgc_get_device);
  find("wgc_enable_cursor", library.wgc_enable_cursor);
  find("wgc_show_border", library.wgc_show_border);
  find("wgc_set_dirty_rect", library.wgc_set_dirty_rect);
  find("wgc_set_capture_to_texture", library.wgc_set_capture_to_texture);
  return library;
}

}  // namespace quill_grab
