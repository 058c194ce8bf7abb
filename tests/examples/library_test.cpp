// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/library.h"

#include <gtest/gtest.h>

#include "quill-grab/error.h"

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
