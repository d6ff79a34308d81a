#include <gtest/gtest.h>

#include <cwchar>
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

TEST(GuidTextTest, PutsEveryByteInItsPlace) {
  constexpr GUID guid = KelGuid("01234567-89AB-CDEF-0F1E-2D3C4B5A6978");
  EXPECT_EQ(guid.Data1, 0x01234567U);
  EXPECT_EQ(guid.Data2, 0x89AB);
  EXPECT_EQ(guid.Data3, 0xCDEF);
  const BYTE tail[] = {0x0F, 0x1E, 0x2D, 0x3C, 0x4B, 0x5A, 0x69, 0x78};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(guid.Data4[i], tail[i]);
  GUID read = {};
  EXPECT_EQ(CLSIDFromString(L"{01234567-89AB-CDEF-0F1E-2D3C4B5A6978}", &read), S_OK);
  EXPECT_TRUE(read == guid);
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
