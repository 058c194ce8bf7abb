// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/session/library.h"

#include <gtest/gtest.h>

#include "quill-grab/console/error.h"

namespace quill_grab {
namespace {

std::string ErrorOf(const wchar_t* file_name) {
  try {
    LoadLibraryFunctions(file_name);
  } catch (const GrabError& error) {
    EXPECT_EQ(error.code(), ExitCode::kUnsupported);
    return error.what();
  }
  ADD_FAILURE() << "loaded";
  return "";
}

TEST(LoadLibraryFunctionsTest, FindsEachFunctionUnderItsName) {
  const Library library = LoadLibraryFunctions(L"libquill-wgc.dll");
  const HMODULE module = GetModuleHandleW(L"libquill-wgc.dll");
  const auto expect = [&](auto function, const char* name) {
    EXPECT_EQ(reinterpret_cast<void*>(function),
              reinterpret_cast<void*>(GetProcAddress(module, name)))
        << name;
  };
  expect(library.is_wgc_session_supported, "is_wgc_session_supported");
  expect(library.wgc_register_logger, "wgc_register_logger");
  expect(library.wgc_session_create, "wgc_session_create");
  expect(library.wgc_session_create2, "wgc_session_create2");
  expect(library.wgc_session_start, "wgc_session_start");
  expect(library.wgc_session_destroy, "wgc_session_destroy");
  expect(library.wgc_get_recent_frame, "wgc_get_recent_frame");
  expect(library.wgc_free_recent_frame, "wgc_free_recent_frame");
  expect(library.wgc_get_update_ratio, "wgc_get_update_ratio");
  expect(library.wgc_get_status, "wgc_get_status");
  expect(library.wgc_get_device, "wgc_get_device");
  expect(library.wgc_enable_cursor, "wgc_enable_cursor");
  expect(library.wgc_show_border, "wgc_show_border");
  expect(library.wgc_set_dirty_rect, "wgc_set_dirty_rect");
  expect(library.wgc_set_capture_to_texture, "wgc_set_capture_to_texture");
}

TEST(LoadLibraryFunctionsTest, SaysWhereAMissingLibraryBelongs) {
  EXPECT_NE(ErrorOf(L"no-such-library.dll").find("put no-such-library.dll into the folder"),
            std::string::npos);
}

TEST(LoadLibraryFunctionsTest, NamesTheFunctionThatALibraryLacks) {
  EXPECT_NE(ErrorOf(L"kernel32.dll").find("kernel32.dll has no function is_wgc_session_supported"),
            std::string::npos);
}

}  // namespace
}  // namespace quill_grab
