// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <new>
#include <string>

#include "projection/test_objects.h"

namespace {

using winrt::hresult_error;

class Errors : public ObjectsTest {
 protected:
  void SetUp() override { SetErrorInfo(0, nullptr); }
  void TearDown() override {
    SetErrorInfo(0, nullptr);
    ObjectsTest::TearDown();
  }
};

// The error that check_hresult throws for `code`.
hresult_error Thrown(HRESULT code) {
  try {
    winrt::check_hresult(code);
  } catch (hresult_error const& error) {
    return error;
  }
  ADD_FAILURE() << "nothing thrown";
  return hresult_error(S_OK, winrt::take_ownership_from_abi);
}

std::string MessageOf(HRESULT code) {
  return winrt::to_string(Thrown(code).message());
}

// The system's own text for a code, without the line break at its end.
std::string SystemText(HRESULT code) {
  char text[512] = "";
  FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                 static_cast<DWORD>(code), 0, text, sizeof(text), nullptr);
  std::string result(text);
  result.erase(result.find_last_not_of(" \r\n") + 1);
  return result;
}

TEST_F(Errors, SuccessDoesNotThrow) {
  for (HRESULT const code : {S_OK, S_FALSE, HRESULT{0x7fffffff}}) {
    EXPECT_NO_THROW(winrt::check_hresult(code));
  }
}

template <typename Error>
void ExpectThrown(HRESULT code) {
  try {
    winrt::check_hresult(code);
    ADD_FAILURE() << "nothing thrown for " << std::hex << code;
  } catch (Error const& error) {
    EXPECT_EQ(error.code(), code);
  } catch (...) {
    ADD_FAILURE() << "another type for " << std::hex << code;
  }
}

TEST_F(Errors, KnownCodesHaveTypesOfTheirOwn) {
  ExpectThrown<winrt::hresult_access_denied>(static_cast<HRESULT>(0x80070005));
  ExpectThrown<winrt::hresult_wrong_thread>(static_cast<HRESULT>(0x8001010E));
  ExpectThrown<winrt::hresult_not_implemented>(static_cast<HRESULT>(0x80004001));
  ExpectThrown<winrt::hresult_invalid_argument>(static_cast<HRESULT>(0x80070057));
  ExpectThrown<winrt::hresult_out_of_bounds>(static_cast<HRESULT>(0x8000000B));
  ExpectThrown<winrt::hresult_no_interface>(static_cast<HRESULT>(0x80004002));
  ExpectThrown<winrt::hresult_class_not_available>(static_cast<HRESULT>(0x80040111));
  ExpectThrown<winrt::hresult_class_not_registered>(static_cast<HRESULT>(0x80040154));
  ExpectThrown<winrt::hresult_changed_state>(static_cast<HRESULT>(0x8000000C));
  ExpectThrown<winrt::hresult_illegal_method_call>(static_cast<HRESULT>(0x8000000E));
  ExpectThrown<winrt::hresult_illegal_state_change>(static_cast<HRESULT>(0x8000000D));
  ExpectThrown<winrt::hresult_illegal_delegate_assignment>(static_cast<HRESULT>(0x80000018));
  ExpectThrown<winrt::hresult_canceled>(static_cast<HRESULT>(0x800704C7));
  ExpectThrown<hresult_error>(static_cast<HRESULT>(0x887A0005));
  EXPECT_THROW(winrt::check_hresult(E_OUTOFMEMORY), std::bad_alloc);
}

TEST_F(Errors, AnErrorMadeFromItsTypeHasItsCode) {
  EXPECT_EQ(hresult_error().code(), static_cast<HRESULT>(0x80004005));
  EXPECT_EQ(winrt::hresult_no_interface().code(), static_cast<HRESULT>(0x80004002));
  EXPECT_EQ(winrt::hresult_out_of_bounds().code(), static_cast<HRESULT>(0x8000000B));
}

TEST_F(Errors, TheMessageIsTheRestrictedTextElseThePublicOneOfTheSameError) {
  LeaveOnThread(E_ACCESSDENIED, L"public", L"the window is protected \r\n");
  EXPECT_EQ(MessageOf(E_ACCESSDENIED), "the window is protected");
  LeaveOnThread(E_ACCESSDENIED, L"public\r\n", nullptr);
  EXPECT_EQ(MessageOf(E_ACCESSDENIED), "public");
  LeaveOnThread(E_NOTIMPL, L"public", L"restricted");
  EXPECT_EQ(MessageOf(E_ACCESSDENIED), SystemText(E_ACCESSDENIED));
}

TEST_F(Errors, TheSystemsTextIsTheLastResort) {
  EXPECT_EQ(MessageOf(E_INVALIDARG), SystemText(E_INVALIDARG));
  EXPECT_FALSE(MessageOf(E_INVALIDARG).empty());
  // With a place for an argument that nobody supplies.
  std::string const with_place = MessageOf(HRESULT_FROM_WIN32(ERROR_BAD_EXE_FORMAT));
  EXPECT_EQ(with_place, SystemText(HRESULT_FROM_WIN32(ERROR_BAD_EXE_FORMAT)));
  EXPECT_NE(with_place.find("%1"), std::string::npos);
  // No such facility.
  EXPECT_EQ(MessageOf(static_cast<HRESULT>(0xA7FF1234)), "");
}

TEST_F(Errors, AnErrorTakesTheInformationAndGivesItBack) {
  LeaveOnThread(E_ACCESSDENIED, L"public", L"restricted");
  {
    hresult_error const error = Thrown(E_ACCESSDENIED);
    com_ptr<IErrorInfo> info;
    EXPECT_EQ(GetErrorInfo(0, info.put()), S_FALSE);
    hresult_error const copy = error;
    EXPECT_EQ(copy.to_abi(), E_ACCESSDENIED);
    EXPECT_EQ(GetErrorInfo(0, info.put()), S_OK);
    EXPECT_TRUE(info.try_as<IRestrictedErrorInfo>());
  }
  EXPECT_EQ(objects_alive, 0);
}

TEST_F(Errors, ACaughtErrorKeepsItsInformationAcrossTheInterface) {
  LeaveOnThread(E_ACCESSDENIED, L"public", L"restricted");
  HRESULT code = S_OK;
  try {
    winrt::check_hresult(E_ACCESSDENIED);
  } catch (...) {
    code = winrt::to_hresult();
  }
  EXPECT_EQ(code, E_ACCESSDENIED);
  EXPECT_EQ(MessageOf(code), "restricted");
}

// Whether the running platform keeps what RoOriginateLanguageException is told; Wine's does not.
bool PlatformKeepsOrigins() {
  winrt::param::hstring const text(L"origin");
  RoOriginateLanguageException(E_FAIL, static_cast<HSTRING>(get_abi(text)), nullptr);
  com_ptr<IErrorInfo> info;
  return GetErrorInfo(0, info.put()) == S_OK;
}

TEST_F(Errors, ADescriptionBecomesTheMessageWhereOriginsAreKept) {
  auto const info = Make<LegacyErrorInfo<>>(L"legacy\r\n");
  bool const kept = PlatformKeepsOrigins();
  SetErrorInfo(0, info.get());
  EXPECT_EQ(MessageOf(E_ACCESSDENIED), kept ? "legacy" : SystemText(E_ACCESSDENIED));
  EXPECT_EQ(info->asked, 1);
}

TEST_F(Errors, AnErrorsOwnTextIsItsMessageWhereOriginsAreKept) {
  bool const kept = PlatformKeepsOrigins();
  hresult_error const error(E_ACCESSDENIED, L"no such window");
  EXPECT_EQ(error.code(), E_ACCESSDENIED);
  EXPECT_EQ(winrt::to_string(error.message()),
            kept ? "no such window" : SystemText(E_ACCESSDENIED));
}

}  // namespace
