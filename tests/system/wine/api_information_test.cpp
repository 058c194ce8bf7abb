// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include "platform.h"

namespace wine_test {
namespace {

class ApiInformation : public testing::Test {
 protected:
  void SetUp() override {
    statics_ =
        ActivationFactory<IApiInformationStatics>(L"Windows.Foundation.Metadata.ApiInformation");
    ASSERT_TRUE(statics_);
  }

  bool HasProperty(const wchar_t* type, const wchar_t* name) {
    boolean present = false;
    EXPECT_EQ(statics_->IsPropertyPresent(HString(type).Get(), HString(name).Get(), &present),
              S_OK);
    return present;
  }
  bool HasContract(UINT16 major, const wchar_t* name = L"Windows.Foundation.UniversalApiContract") {
    boolean present = false;
    EXPECT_EQ(statics_->IsApiContractPresentByMajor(HString(name).Get(), major, &present), S_OK);
    return present;
  }

  Ref<IApiInformationStatics> statics_;
};

TEST_F(ApiInformation, KnowsTheSessionsProperties) {
  EXPECT_TRUE(HasProperty(kSessionClass, L"IsCursorCaptureEnabled"));
  EXPECT_TRUE(HasProperty(kSessionClass, L"IsBorderRequired"));
  EXPECT_FALSE(HasProperty(kSessionClass, L"IsSoundCaptured"));
  EXPECT_FALSE(HasProperty(kItemClass, L"IsBorderRequired"));
  EXPECT_FALSE(HasProperty(L"", L""));
}

TEST_F(ApiInformation, TellsReadOnlyPropertiesFromWriteableOnes) {
  boolean read_only = false;
  boolean writeable = true;
  const HString type(kItemClass);
  const HString name(L"Size");
  EXPECT_EQ(statics_->IsReadOnlyPropertyPresent(type.Get(), name.Get(), &read_only), S_OK);
  EXPECT_EQ(statics_->IsWriteablePropertyPresent(type.Get(), name.Get(), &writeable), S_OK);
  EXPECT_TRUE(read_only);
  EXPECT_FALSE(writeable);
  const HString none(L"Colour");
  writeable = true;
  EXPECT_EQ(statics_->IsReadOnlyPropertyPresent(type.Get(), none.Get(), &read_only), S_OK);
  EXPECT_EQ(statics_->IsWriteablePropertyPresent(type.Get(), none.Get(), &writeable), S_OK);
  EXPECT_FALSE(read_only);
  EXPECT_FALSE(writeable);
}

TEST_F(ApiInformation, ForgetsPropertiesThatTheRegistryTakesAway) {
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

TEST_F(ApiInformation, OffersContractsUpToAVersion) {
  EXPECT_TRUE(HasContract(1));
  EXPECT_TRUE(HasContract(15));
  EXPECT_FALSE(HasContract(16));
  EXPECT_FALSE(HasContract(1, L"Windows.Foundation.NoSuchContract"));
  boolean present = true;
  const HString name(L"Windows.Foundation.UniversalApiContract");
  EXPECT_EQ(statics_->IsApiContractPresentByMajorAndMinor(name.Get(), 15, 1, &present), S_OK);
  EXPECT_FALSE(present);
}

TEST_F(ApiInformation, OffersTheContractThatTheRegistryNames) {
  const PlatformSetting setting(L"UniversalApiContract", 7);
  EXPECT_TRUE(HasContract(7));
  EXPECT_FALSE(HasContract(8));
}

}  // namespace
}  // namespace wine_test
