// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "platform.h"

namespace wine_test {
namespace {

using Metadata::IApiInformationStatics;

class ApiInformation : public testing::Test {
 protected:
  using Question = HRESULT (STDMETHODCALLTYPE IApiInformationStatics::*)(HSTRING, HSTRING,
                                                                         boolean*);
  bool HasProperty(const wchar_t* type, const wchar_t* name,
                   Question question = &IApiInformationStatics::IsPropertyPresent) {
    boolean present = false;
    EXPECT_EQ((statics_.Get()->*question)(HString(type).Get(), HString(name).Get(), &present),
              S_OK);
    return present;
  }
  bool HasContract(UINT16 major, const wchar_t* name = L"Windows.Foundation.UniversalApiContract") {
    boolean present = false;
    EXPECT_EQ(statics_->IsApiContractPresentByMajor(HString(name).Get(), major, &present), S_OK);
    return present;
  }

  const Ref<IApiInformationStatics> statics_ =
      ActivationFactory<IApiInformationStatics>(L"Windows.Foundation.Metadata.ApiInformation");
};

TEST_F(ApiInformation, KnowsTheSessionsProperties) {
  EXPECT_TRUE(HasProperty(kSessionClass, L"IsCursorCaptureEnabled"));
  EXPECT_TRUE(HasProperty(kSessionClass, L"IsBorderRequired"));
  EXPECT_FALSE(HasProperty(kSessionClass, L"IsSoundCaptured"));
  EXPECT_FALSE(HasProperty(kItemClass, L"IsBorderRequired"));
  EXPECT_FALSE(HasProperty(L"", L""));
}

TEST_F(ApiInformation, TellsReadOnlyPropertiesFromWriteableOnes) {
  const Question read_only = &IApiInformationStatics::IsReadOnlyPropertyPresent;
  const Question writeable = &IApiInformationStatics::IsWriteablePropertyPresent;
  EXPECT_TRUE(HasProperty(kItemClass, L"Size", read_only));
  EXPECT_FALSE(HasProperty(kItemClass, L"Size", writeable));
  EXPECT_FALSE(HasProperty(kItemClass, L"Colour", read_only));
  EXPECT_FALSE(HasProperty(kItemClass, L"Colour", writeable));
}

TEST_F(ApiInformation, ForgetsPropertiesThatTheRegistryTakesAway) {
  if (!IsWine()) GTEST_SKIP() << kNeedsStandin;
  {
    const PlatformSetting setting(L"WithoutCursorProperty", 1);
    EXPECT_FALSE(HasProperty(kSessionClass, L"IsCursorCaptureEnabled"));
    EXPECT_TRUE(HasProperty(kSessionClass, L"IsBorderRequired"));
  }
  {
    const PlatformSetting setting(L"WithoutBorderProperty", 1);
    EXPECT_TRUE(HasProperty(kSessionClass, L"IsCursorCaptureEnabled"));
    EXPECT_FALSE(HasProperty(kSessionClass, L"IsBorderRequired"));
  }
  EXPECT_TRUE(HasProperty(kSessionClass, L"IsCursorCaptureEnabled"));
}

TEST_F(ApiInformation, KnowsNoContractOfAnotherName) {
  EXPECT_FALSE(HasContract(1, L"Windows.Foundation.NoSuchContract"));
}

TEST_F(ApiInformation, OffersContractsUpToAVersion) {
  if (!IsWine()) GTEST_SKIP() << "needs to know the version";
  EXPECT_TRUE(HasContract(1));
  EXPECT_TRUE(HasContract(15));
  EXPECT_FALSE(HasContract(16));
  boolean present = true;
  const HString name(L"Windows.Foundation.UniversalApiContract");
  EXPECT_EQ(statics_->IsApiContractPresentByMajorAndMinor(name.Get(), 15, 1, &present), S_OK);
  EXPECT_FALSE(present);
  const PlatformSetting setting(L"UniversalApiContract", 7);
  EXPECT_TRUE(HasContract(7));
  EXPECT_FALSE(HasContract(8));
}

}  // namespace
}  // namespace wine_test
