// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>
#include <winrt/base.h>

#include <string>
#include <string_view>
#include <utility>

namespace {

using winrt::hstring;

HSTRING Handle(void* abi) {
  return static_cast<HSTRING>(abi);
}

std::uint32_t Length(void* abi) {
  UINT32 length = 0;
  WindowsGetStringRawBuffer(Handle(abi), &length);
  return length;
}

TEST(Strings, AnEmptyStringHasNoHandleAndATerminator) {
  hstring const empty;
  EXPECT_EQ(winrt::get_abi(empty), nullptr);
  EXPECT_TRUE(empty.empty());
  EXPECT_EQ(empty.size(), 0u);
  EXPECT_EQ(*empty.c_str(), L'\0');
  EXPECT_EQ(winrt::get_abi(hstring(L"")), nullptr);
  EXPECT_EQ(empty, hstring(L""));
}

TEST(Strings, TextIsCopied) {
  wchar_t text[] = L"abc";
  hstring const string(text);
  text[0] = L'x';
  EXPECT_EQ(string.size(), 3u);
  EXPECT_EQ(string, L"abc");
  EXPECT_EQ(string.c_str()[3], L'\0');
}

TEST(Strings, CopiesAndMovesKeepTheText) {
  hstring first(L"abc");
  hstring second = first;
  EXPECT_EQ(first, second);
  hstring third = std::move(first);
  EXPECT_TRUE(first.empty());
  EXPECT_EQ(third, L"abc");
  second = hstring(L"other");
  third = second;
  EXPECT_EQ(third, L"other");
  hstring& same = third;
  third = same;
  EXPECT_EQ(third, L"other");
  third = std::move(same);
  EXPECT_EQ(third, L"other");
}

TEST(Strings, CompareByAllTheirCharactersEmbeddedNulsIncluded) {
  EXPECT_FALSE(hstring(L"ab") == hstring(L"abc"));
  EXPECT_FALSE(hstring(L"abc") == hstring(L"ab"));
  EXPECT_FALSE(hstring(L"ab") == L"abc");
  EXPECT_FALSE(hstring(L"abc") == L"ab");
  hstring const string(L"a\0b", 3);
  EXPECT_EQ(string.size(), 3u);
  EXPECT_FALSE(string == L"a");
  EXPECT_EQ(winrt::to_string(string), std::string("a\0b", 3));
}

TEST(Strings, AbiFunctionsMoveHandles) {
  hstring string(L"abc");
  void* const raw = winrt::detach_abi(string);
  EXPECT_TRUE(string.empty());
  EXPECT_EQ(Length(raw), 3u);
  winrt::attach_abi(string, raw);
  EXPECT_EQ(string, L"abc");
  EXPECT_EQ(*winrt::put_abi(string), nullptr);
}

TEST(Strings, AnArgumentRefersToItsTextWithoutACopy) {
  static constexpr wchar_t text[] = L"Windows.Foundation.UniversalApiContract";
  winrt::param::hstring const argument(text);
  EXPECT_EQ(WindowsGetStringRawBuffer(Handle(get_abi(argument)), nullptr), text);
  EXPECT_EQ(Length(get_abi(argument)), 39u);
}

TEST(Strings, AnArgumentTakesEveryKindOfText) {
  hstring const counted(L"abc");
  winrt::param::hstring const from_counted(counted);
  EXPECT_EQ(get_abi(from_counted), winrt::get_abi(counted));
  EXPECT_EQ(Length(get_abi(winrt::param::hstring(L"a"))), 1u);
  std::wstring_view const view(L"a\0b", 3);
  EXPECT_EQ(Length(get_abi(winrt::param::hstring(view))), 3u);
  EXPECT_EQ(get_abi(winrt::param::hstring(L"")), nullptr);
  EXPECT_EQ(get_abi(winrt::param::hstring(std::wstring_view())), nullptr);
  EXPECT_EQ(get_abi(winrt::param::hstring()), nullptr);
}

TEST(Strings, AnArgumentMustEndInANul) {
  EXPECT_THROW(winrt::param::hstring(std::wstring_view(L"abc", 2)),
               winrt::hresult_invalid_argument);
}

TEST(Strings, Utf8) {
  EXPECT_EQ(winrt::to_string(hstring()), "");
  EXPECT_EQ(winrt::to_string(hstring(L"a\u00e9\u20ac\U0001F600")),
            "a\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80");
  // Half a surrogate pair.
  EXPECT_EQ(winrt::to_string(hstring(L"\xd83d!")), "\xef\xbf\xbd!");
  EXPECT_EQ(winrt::to_hstring("a\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80"),
            hstring(L"a\u00e9\u20ac\U0001F600"));
  EXPECT_TRUE(winrt::to_hstring("").empty());
}

}  // namespace
