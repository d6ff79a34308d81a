#include <gtest/gtest.h>

#include <cstring>

#include <kellanseek/com.h>

namespace {

TEST(VariantTest, ClearFreesAnOwnedTextAndEmpties) {
  VARIANT value;
  std::memset(&value, 0xAA, sizeof(value));
  VariantInit(&value);
  EXPECT_EQ(value.vt, VT_EMPTY);
  value.vt = VT_BSTR;
  value.bstrVal = SysAllocString(L"11;1;0;");
  EXPECT_EQ(VariantClear(&value), S_OK);
  EXPECT_EQ(value.vt, VT_EMPTY);
  // A second clear must not free again.
  EXPECT_EQ(VariantClear(&value), S_OK);
}

TEST(VariantTest, ClearLeavesWhatIsHeldByReference) {
  KelBstr text(L"kept");
  BSTR reference = text.Get();
  VARIANT value;
  VariantInit(&value);
  value.vt = VT_BSTR | VT_BYREF;
  value.pbstrVal = &reference;
  EXPECT_EQ(VariantClear(&value), S_OK);
  EXPECT_EQ(value.vt, VT_EMPTY);
  EXPECT_EQ(text.View(), L"kept");
}

TEST(VariantTest, ClearTakesNumbersAndAbsentTexts) {
  VARIANT value;
  VariantInit(&value);
  value.vt = VT_I4;
  value.lVal = -1;
  EXPECT_EQ(VariantClear(&value), S_OK);
  value.vt = VT_BSTR;
  value.bstrVal = nullptr;
  EXPECT_EQ(VariantClear(&value), S_OK);
  EXPECT_EQ(value.vt, VT_EMPTY);
}

TEST(VariantTest, ClearRefusesKindsThatDoNotExist) {
  VARIANT value;
  VariantInit(&value);
  value.vt = 0x0FF0;
  EXPECT_EQ(VariantClear(&value), DISP_E_BADVARTYPE);
  EXPECT_EQ(value.vt, 0x0FF0);
}

}  // namespace
