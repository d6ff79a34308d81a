#include <gtest/gtest.h>

#include <string>

#include <kellanseek/KelLanSeek.h>

namespace {

TEST(GuidTextTest, ConvertsToTextAndBack) {
  OLECHAR text[39] = {L'x'};
  EXPECT_EQ(StringFromGUID2(CLSID_KelLanSeek, text, 38), 0);
  EXPECT_EQ(text[0], L'x');
  EXPECT_EQ(StringFromGUID2(CLSID_KelLanSeek, text, 39), 39);
  EXPECT_STREQ(text, L"{2B474DCE-7759-49B8-B088-5A5DE5943E2F}");
  for (const wchar_t* const same :
       {static_cast<const wchar_t*>(text), L"{2b474dce-7759-49b8-b088-5a5de5943e2f}"}) {
    GUID guid = {};
    EXPECT_EQ(CLSIDFromString(same, &guid), S_OK);
    EXPECT_TRUE(guid == CLSID_KelLanSeek);
  }
}

TEST(GuidTextTest, RejectsEveryOtherForm) {
  const wchar_t* const wrong[] = {
      L"{",
      L"{}",
      L"{2B474DCE-7759-49B8-B088-5A5DE5943E2F",
      L"{2B474DCE-7759-49B8-B088-5A5DE5943E2F} ",
      L"{2B474DCE-7759-49B8-B088-5A5DE5943E2F}}",
      L"{2B474DCE-7759-49B8-B088-5A5DE5943E2G}",
      L"{2B474DCE_7759-49B8-B088-5A5DE5943E2F}",
      L"{2B474DCE77594-9B8-B088-5A5DE5943E2F-}",
      L"{2B474DCE-7759-49B8-B088-5A5DE5943E2\u0664}",
      L"{+B474DCE-7759-49B8-B088-5A5DE5943E2F}",
  };
  for (const wchar_t* const text : wrong) {
    GUID guid = CLSID_KelLanSeek;
    EXPECT_EQ(CLSIDFromString(text, &guid), CO_E_CLASSSTRING) << std::wstring(text).size();
  }
  GUID guid = CLSID_KelLanSeek;
  EXPECT_EQ(CLSIDFromString(nullptr, &guid), S_OK);
  EXPECT_TRUE(guid == GUID{}) << "a null text yields the null identifier";
}

}  // namespace
